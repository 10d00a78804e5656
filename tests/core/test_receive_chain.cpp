// The whole receiver: rendered PSK31 in, text out, through the engine's
// sample entry exactly as the audio thread feeds it (2000-sample blocks).
#include "tests/support/DriftSignals.h"
#include "tests/support/IdleSignals.h"
#include "engine/TarnData.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace {

using testsignals::addNoise;
using testsignals::messageWithIdle;
using testsignals::runReceiver;

// Idle the receiver hears before the text. From silence the squelch
// average (0.99 per symbol) needs about 30 symbols to rise past -20, and the
// symbol clock up to about 20 to find the decision instant; 16 symbols fail
// for some alignments, 24 are enough for all, 64 leave a margin.
constexpr int kIdleBefore = 64;
// After the text: the last character closes two symbols after it and is
// decided about nine symbols later.
constexpr int kIdleAfter = 24;
constexpr int kSamplesPerSymbol = 256;

const double kFrequencies[] = {600.0, 1500.0, 2400.0};

const std::string kQso = "CQ CQ CQ de DL1ABC DL1ABC pse k\r\n"
                         "DL1ABC de G4XYZ G4XYZ ge om, tnx fer call. Ur RST 579 579. "
                         "Name: John, QTH nr London (IO91wm). Rig 50W & dipole @ 12m; "
                         "wx 14°C. HW? BTU DL1ABC de G4XYZ k\n";

// A receiver tuned to `tuned` Hz with AFC off, listening to `silence`
// samples of silence (which the first block replays behind the start-up
// history of zeros), then to the idle of `onAir`. Whatever it prints while
// it acquires the signal is dropped; returns what the rest decodes to.
std::string copy(const std::vector<float>& onAir, double tuned, int silence = 8000,
                 int idleBefore = kIdleBefore) {
    NullAudioPlatform platform;
    auto tarn = TarnData::create(platform);
    tarn->setAutomaticFrequencyControl(false);
    tarn->setFrequency(tuned);
    const size_t split = static_cast<size_t>(idleBefore) * kSamplesPerSymbol;
    std::vector<float> acquire(static_cast<size_t>(silence), 0.0f);
    acquire.insert(acquire.end(), onAir.begin(), onAir.begin() + split);
    runReceiver(*tarn, acquire);
    return runReceiver(*tarn, std::vector<float>(onAir.begin() + split, onAir.end())).text;
}

TEST(ReceiveChain, EveryCharacterCodeDecodesAtEveryFrequency) {
    for (double f : kFrequencies) {
        for (int first = 0; first < 256; first += 64) {
            std::string text;
            for (int code = first; code < first + 64; ++code) {
                text += static_cast<char>(code);
            }
            EXPECT_EQ(copy(messageWithIdle(text, f, kIdleBefore, kIdleAfter), f), text)
                << f << " Hz, codes " << first << ".." << first + 63;
        }
    }
}

// Noise of RMS 0.3 over the 0 .. 4000 Hz band against the carrier's power
// of 0.125: SNR +3.5 dB in 2500 Hz (Eb/N0 22.5 dB). First errors appear near
// -4 dB, so this leaves a 7 dB margin.
TEST(ReceiveChain, QsoTextDecodesExactlyAlsoInWhiteNoise) {
    uint32_t seed = 1;
    for (double f : kFrequencies) {
        std::vector<float> onAir = messageWithIdle(kQso, f, kIdleBefore, kIdleAfter);
        EXPECT_EQ(copy(onAir, f), kQso) << f << " Hz";
        addNoise(onAir, 0.3, seed++);
        EXPECT_EQ(copy(onAir, f), kQso) << f << " Hz in noise";
    }
}

TEST(ReceiveChain, ClockLocksFromAnyAlignmentWithinTheIdle) {
    // The signal starts at every 8th sample position of a symbol relative to
    // the decimation, each time with only 24 idle symbols to acquire.
    const std::string text = "CQ de DL1ABC k";
    const std::vector<float> onAir = messageWithIdle(text, 1500.0, 24, kIdleAfter);
    for (int shift = 0; shift < kSamplesPerSymbol; shift += 8) {
        EXPECT_EQ(copy(onAir, 1500.0, 8000 + shift, 24), text) << "shift " << shift;
    }
}

// Signal on the air while the receiver listens 500 Hz away; it all fits the
// 8-second history (one second of silence, the idle and the message).
class Retune : public ::testing::Test {
protected:
    void SetUp() override {
        tarn = TarnData::create(platform);
        tarn->setFrequency(1000.0);
        std::vector<float> onAir = messageWithIdle(kText, 1500.0, 32, kIdleAfter);
        addNoise(onAir, 0.1, 7);
        std::vector<float> input(8000, 0.0f);
        input.insert(input.end(), onAir.begin(), onAir.end());
        input.resize((input.size() / 2000 + 1) * 2000, 0.0f);
        ASSERT_LE(input.size(), 64000u);
        heardOffFrequency = runReceiver(*tarn, input).text;
    }

    std::string drain() {
        std::string text;
        while (auto part = tarn->drainTextBuffer()) {
            text += *part;
        }
        return text;
    }
    const std::string kText = "de G4XYZ k";
    NullAudioPlatform platform;
    std::unique_ptr<TarnData> tarn;
    std::string heardOffFrequency;
};

TEST_F(Retune, TapNearASignalShowsItsTextWithTheNextBlock) {
    ASSERT_EQ(heardOffFrequency.find(kText), std::string::npos);
    // The tap lands 4 Hz low; the FFT AFC pulls in during the replay.
    tarn->setFrequency(1496.0);
    EXPECT_EQ(drain(), "");
    const std::vector<float> silence(2000, 0.0f);
    tarn->processInputAudioSamples(silence.data(), 2000);
    EXPECT_NE(drain().find(kText), std::string::npos);
    EXPECT_NEAR(tarn->frequency() + tarn->frequencyErrorOffset.load(), 1500.0, 0.5);
}

TEST_F(Retune, NudgeShowsTheTextAtOnce) {
    tarn->setAutomaticFrequencyControl(false);
    tarn->nudgeFrequency(1500.0);
    EXPECT_NE(drain().find(kText), std::string::npos);
}

} // namespace
