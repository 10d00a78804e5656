// The demodulator: character assembly from bits, the phase decision between
// two symbol-filter outputs, squelch gating, and the symbol clock's slips.
#include "tests/support/DriftSignals.h"
#include "tests/support/IdleSignals.h"
#include "engine/TarnData.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

class Demodulator : public ::testing::Test {
protected:
    void SetUp() override { tarn->setAutomaticFrequencyControl(false); }

    // Feeds bits ('0'/'1') to the assembler and returns what it emitted.
    std::string bits(const std::string& sequence) {
        for (char bit : sequence) {
            if (bit == '1') {
                tarn->decodeSymbol1();
            } else {
                tarn->decodeSymbol0(0);
            }
        }
        return drain();
    }

    std::string drain() {
        std::string text;
        while (auto part = tarn->drainTextBuffer()) {
            text += *part;
        }
        return text;
    }

    NullAudioPlatform platform;
    std::unique_ptr<TarnData> tarn = TarnData::create(platform);
};

// Bits fed in turn to one assembler: what each run emits and the bit index
// it leaves.
TEST_F(Demodulator, BitsAssembleIntoCharacters) {
    const struct {
        std::string bits, text;
        int index;
    } steps[] = {
        {"1100", "e", 0}, // two zeros close a character
        {"101100", "a", 0},
        {"100", " ", 0},
        {"1110100", "\n", 0},
        {"11000010110000100", "ea ", 0}, // four-zero separators change nothing
        {"0000000000", "", 0},           // idle zeros with no character open
        {"0001100", "e", 0},
        // A steady carrier: only 1 bits, the index wraps every 16, nothing shows.
        {std::string(16, '1'), "", 0},
        {std::string(29, '1'), "", 13},
        {"00", std::string(1, '\0'), 0}, // thirteen 1s: no such pattern
        {"1010101010101010"
         "1100",
         "e", 0}, // abandoned bits do not leak into the next character
        {"111111111111100", std::string(1, '\0'), 0},
        {"1110111101"
         "00",
         std::string(1, static_cast<char>(128)), 0},
    };
    for (const auto& step : steps) {
        EXPECT_EQ(bits(step.bits), step.text) << step.bits;
        EXPECT_EQ(tarn->inputStringIndex, step.index) << step.bits;
    }
}

TEST_F(Demodulator, SignEntryTreatsAChangeOfSignAsAZeroBit) {
    // Starting from sign 1: same, same, change, change = 1, 1, 0, 0.
    for (int sign : {1, 1, -1, 1}) {
        tarn->decodeSymbol(sign);
    }
    EXPECT_EQ(drain(), "e");
    EXPECT_EQ(tarn->oldSign, 1);
}

// One baseband step whose decision compares the symbol-filter outputs of
// two single samples one symbol apart: `earlier` and `later` land in the
// oldest tap of the first point and the newest tap of the second. Returns
// the bit decided ('0', '1') or 0 when none was.
char decide(TarnData& tarn, float earlierI, float earlierQ, float laterI, float laterQ) {
    const int32_t p = 200; // p mod 16 = 8, the decision instant at start
    for (int n = 0; n < tarn::kRingSize; ++n) {
        tarn.secondStageInputAudioI[n] = tarn.secondStageInputAudioQ[n] = 0.0f;
    }
    tarn.secondStageInputAudioI[p - 176] = earlierI;
    tarn.secondStageInputAudioQ[p - 176] = earlierQ;
    tarn.secondStageInputAudioI[p - 97] = laterI;
    tarn.secondStageInputAudioQ[p - 97] = laterQ;
    tarn.iqSecondStageIndex = p - 1;
    tarn.signalAtFrequency = 0.0f;
    tarn.backgroundNoiseLevel = -100.0f;
    tarn.inputString[0] = '1';
    tarn.inputStringIndex = 1;
    tarn.processInputIQBuffer();
    return tarn.inputStringIndex == 2 ? tarn.inputString[1] : 0;
}

TEST_F(Demodulator, PhaseChangesOfAHalfToOneAndAHalfPiAreReversals) {
    ASSERT_EQ(tarn->phaseSyncSubBit, 8);
    struct Case {
        float ai, aq, bi, bq;
        char bit;
    };
    // Both outputs pass the same (negative) tap, so both phases turn by π:
    // (1, 0) is seen at +π, (0, -1) at +π/2 and (0, 1) at -π/2.
    const Case cases[] = {
        {1, 0, 1, 0, '1'},               // no change
        {1, 0, -1, 0, '0'},              // a full reversal
        {1, 0, 0, -1, '0'},              // exactly 0.5π: a reversal
        {1, 0, 0, 1, '1'},               // exactly 1.5π (across the seam): no change
        {0.6f, 0.8f, 0.8f, 0.6f, '1'},   // a small change
        {-1, 0.02f, -1, -0.02f, '1'},    // a small change across ±π
        {0.8f, 0.6f, -0.6f, -0.8f, '0'}, // close to π
    };
    for (const Case& c : cases) {
        tarn->delayDecoder = 8;
        EXPECT_EQ(decide(*tarn, c.ai, c.aq, c.bi, c.bq), c.bit)
            << c.ai << "," << c.aq << " -> " << c.bi << "," << c.bq;
    }
    // No decision until nine baseband samples after a slip.
    tarn->delayDecoder = 7;
    EXPECT_EQ(decide(*tarn, 1, 0, -1, 0), 0);
}

// Sets the powers the clock sees at its next step (at p, p mod 16 being the
// decision instant): the eight older and seven newer of its window; the
// newest comes from the silent mixer rings and is 0.
void windowPowers(TarnData& tarn, int32_t p, float older, float newer) {
    for (int k = 0; k < 15; ++k) {
        tarn.amplitudeBuffer[(p - 16 + k + 1024) % 1024] = k < 8 ? older : newer;
    }
    tarn.iqSecondStageIndex = p - 1;
}

TEST_F(Demodulator, ClockSlipsWrapAroundTheSymbol) {
    tarn->backgroundNoiseLevel = 100.0f; // timing only
    // More power early in the window: decide later, 15 + 1 wraps to 0; more
    // power late: decide earlier, 0 - 1 wraps to 15. A slip restarts the
    // decision hold-off and the phase AFC's angle history.
    const struct {
        int8_t subBit;
        int32_t p;
        float older, newer;
        int8_t slipped;
    } slips[] = {{15, 31, 1.0f, 0.0f, 0}, {0, 32, 0.0f, 1.0f, 15}};
    for (const auto& slip : slips) {
        tarn->phaseSyncSubBit = slip.subBit;
        tarn->delayDecoder = 5;
        tarn->afcLastAngle = 0.3f;
        windowPowers(*tarn, slip.p, slip.older, slip.newer);
        tarn->processInputIQBuffer();
        EXPECT_EQ(tarn->phaseSyncSubBit, slip.slipped);
        EXPECT_EQ(tarn->delayDecoder, 0);
        EXPECT_EQ(tarn->afcLastAngle.load(), 0.0f);
        EXPECT_EQ(tarn->carrierStart.load(), 0.0f); // ±1 ∓ 0.2 is out of range
    }

    // A balanced window leaves a small error in place, and no step is made
    // away from the decision instant.
    tarn->carrierStart = 0.1f;
    windowPowers(*tarn, 16 * 10 + 15, 0.5f, 0.5f);
    tarn->amplitudeBuffer[16 * 10 + 14] = 0.5f;
    tarn->iqSecondStageIndex = 16 * 10 + 14;
    for (float& x : tarn->inputAudioI) {
        x = 1.0f; // so the newest power is 0.25 from the mixer ring
    }
    tarn->processInputIQBuffer();
    EXPECT_EQ(tarn->phaseSyncSubBit, 15);
    const float kept = tarn->carrierStart.load();
    EXPECT_TRUE(kept > -0.2f && kept < 0.2f && kept != 0.0f) << kept;
    tarn->iqSecondStageIndex = 16 * 10 + 13; // not an instant: untouched
    tarn->processInputIQBuffer();
    EXPECT_EQ(tarn->carrierStart.load(), kept);
}

TEST_F(Demodulator, SquelchStopsDecisionsButNotTheClockOrTheLevel) {
    NullAudioPlatform otherPlatform;
    auto squelched = TarnData::create(otherPlatform);
    squelched->setAutomaticFrequencyControl(false);
    squelched->setBackgroundNoiseLevel(100.0f);

    std::vector<float> input(8000, 0.0f); // one second of silence first
    const std::vector<float> message = testsignals::messageWithIdle("squelch test", 1500.0, 64, 24);
    input.insert(input.end(), message.begin(), message.end());
    const auto open = testsignals::runReceiver(*tarn, input);
    const auto closed = testsignals::runReceiver(*squelched, input);

    EXPECT_NE(open.text.find("squelch test"), std::string::npos);
    EXPECT_EQ(closed.text, "");
    EXPECT_EQ(squelched->inputStringIndex, 0);
    EXPECT_GT(squelched->signalAtFrequency.load(), -12.0f); // silence is about -25
    EXPECT_EQ(squelched->signalAtFrequency.load(), tarn->signalAtFrequency.load());
    EXPECT_EQ(squelched->phaseSyncSubBit, tarn->phaseSyncSubBit);
    EXPECT_EQ(squelched->carrierStart.load(), tarn->carrierStart.load());
    EXPECT_EQ(squelched->delayDecoder, tarn->delayDecoder);
}

} // namespace
