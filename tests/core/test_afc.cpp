// Automatic frequency control: the phase stage and the FFT stage step by step,
// then the whole receiver pulling in and following real PSK31 signals.
#include "tests/support/DriftSignals.h"
#include "engine/TarnData.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace {

using testsignals::effectiveFrequency;
using testsignals::ReceiveRun;
using testsignals::runReceiver;

class AFC : public ::testing::Test {
protected:
    // One phase-AFC call whose folded angle is `angle` (|angle| < π/4).
    void phaseStep(double angle) {
        tarn->automaticFrequencyAdjust(1.0f, static_cast<float>(std::tan(angle)));
    }

    // Fills the baseband ring with complex tones (Hz from the receive
    // frequency, amplitude) and puts the write index at `index`: `tones` in
    // the newest 512 samples, the FFT stage's window, `older` before them.
    void fillBaseband(std::initializer_list<std::pair<double, double>> tones, int index = 0,
                      std::initializer_list<std::pair<double, double>> older = {}) {
        for (int n = 0; n < tarn::kRingSize; ++n) {
            const int age = (index - n + 2 * tarn::kRingSize - 1) % tarn::kRingSize + 1;
            double i = 0.0, q = 0.0;
            for (const auto& [hz, amplitude] : age <= 512 ? tones : older) {
                i += amplitude * std::cos(tarn::kTwoPi * hz * -age / 500.0);
                q += amplitude * std::sin(tarn::kTwoPi * hz * -age / 500.0);
            }
            tarn->secondStageInputAudioI[n] = static_cast<float>(i);
            tarn->secondStageInputAudioQ[n] = static_cast<float>(q);
        }
        tarn->iqSecondStageIndex = index;
    }
    // Offset (Hz), last and stored angle, phase-step count, FFT stage armed,
    // quiet FFT evaluations.
    using State = std::tuple<float, float, float, int, bool, int>;
    State state() const {
        return {tarn->frequencyErrorOffset.load(), tarn->afcLastAngle.load(),
                tarn->afcStoredAngle.load(),       tarn->afcUpdates.load(),
                tarn->useFFTForAFC.load(),         tarn->FFTAFCStable.load()};
    }
    void fftSteps(int count) {
        for (int call = 0; call < count; ++call) {
            tarn->FFTBasedAFC();
        }
    }

    NullAudioPlatform platform;
    std::unique_ptr<TarnData> tarn = TarnData::create(platform);
};

constexpr float kBinHz = 500.0f / 512.0f;

TEST_F(AFC, PhaseStepsNeedTwoAnglesOfTheSameSign) {
    phaseStep(0.1); // first call after a reset only remembers the angle
    EXPECT_EQ(tarn->afcUpdates.load(), 1);
    EXPECT_FLOAT_EQ(tarn->afcLastAngle.load(), 0.1f);
    EXPECT_EQ(tarn->afcStoredAngle.load(), 0.0f);
    EXPECT_EQ(tarn->frequencyErrorOffset.load(), 0.0f);
    phaseStep(-0.1); // opposite signs: no step
    EXPECT_EQ(tarn->afcStoredAngle.load(), 0.0f);
    EXPECT_FLOAT_EQ(tarn->afcLastAngle.load(), -0.1f);

    tarn->afcReset();
    phaseStep(0.1);
    phaseStep(0.3);
    EXPECT_NEAR(tarn->afcStoredAngle.load(), 0.01f, 1e-7);
    EXPECT_NEAR(tarn->frequencyErrorOffset.load(), 0.0003f, 1e-8);
    EXPECT_EQ(tarn->afcUpdates.load(), 2);

    // A near-silent symbol gives angle 0: no step now and none at the next.
    tarn->automaticFrequencyAdjust(0.0009f, -0.0009f);
    EXPECT_EQ(tarn->afcLastAngle.load(), 0.0f);
    const float offset = tarn->frequencyErrorOffset.load();
    phaseStep(0.2);
    EXPECT_EQ(tarn->frequencyErrorOffset.load(), offset);

    // The same carrier phase turned by quarter turns (reversals are half
    // turns) gives the same folded angle, including the |I| < |Q| branch.
    for (int quarter = 0; quarter < 4; ++quarter) {
        const double turned = 0.3 + quarter * tarn::kTwoPi / 4;
        tarn->automaticFrequencyAdjust(static_cast<float>(std::cos(turned)),
                                       static_cast<float>(std::sin(turned)));
        EXPECT_NEAR(tarn->afcLastAngle.load(), 0.3f, 1e-6) << quarter;
    }
}

TEST_F(AFC, PhaseStageClampsTheOffsetWithTheUnclampedAngle) {
    tarn->afcStoredAngle = 2.0f; // outside its range, as an out-of-order clamp would leave it
    tarn->frequencyErrorOffset = 1.0f;
    phaseStep(0.1);
    phaseStep(0.2);
    // 1 + 0.03 x (0.95 x 2 + 0.05 x 0.1): the step uses 1.905, the store keeps 1.
    EXPECT_NEAR(tarn->frequencyErrorOffset.load(), 1.05715f, 1e-6);
    EXPECT_EQ(tarn->afcStoredAngle.load(), 1.0f);

    tarn->frequencyErrorOffset = 7.99f;
    phaseStep(0.3);
    EXPECT_EQ(tarn->frequencyErrorOffset.load(), 8.0f);
    tarn->afcStoredAngle = -1.0f;
    tarn->frequencyErrorOffset = -7.99f;
    phaseStep(0.25);
    EXPECT_EQ(tarn->frequencyErrorOffset.load(), -8.0f);
}

TEST_F(AFC, FFTStagePullsTowardsTheStrongerSide) {
    fillBaseband({{5 * kBinHz, 1.0}}, 700);
    tarn->FFTBasedAFC();
    EXPECT_NEAR(tarn->frequencyErrorOffset.load(), 0.3f, 1e-4); // all energy above: r = 1
    fillBaseband({{-5 * kBinHz, 1.0}}, 700);
    fftSteps(2);
    EXPECT_NEAR(tarn->frequencyErrorOffset.load(), -0.3f, 1e-4);
    EXPECT_EQ(tarn->FFTAFCStable.load(), 0);

    // Only the newest 512 samples count, across the ring's wrap: an older
    // tone below the centre is outside the window.
    fillBaseband({{5 * kBinHz, 1.0}}, 100, {{-5 * kBinHz, 1.0}});
    tarn->FFTBasedAFC(); // back up by one full step
    EXPECT_NEAR(tarn->frequencyErrorOffset.load(), 0.0f, 1e-4);

    // Beyond 23 bins the stage is blind: a strong tone 30 bins up does not
    // hold against a weak one 3 bins down.
    tarn->frequencyErrorOffset = 0.0f;
    fillBaseband({{30 * kBinHz, 10.0}, {-3 * kBinHz, 0.1}});
    tarn->FFTBasedAFC();
    EXPECT_NEAR(tarn->frequencyErrorOffset.load(), -0.3f, 2e-3);

    // 7.99 Hz plus a step of about 0.3 x 0.5 ends at the limit.
    fillBaseband({{kBinHz, 1.0}, {-kBinHz, 1.0 / 3}});
    tarn->frequencyErrorOffset = 7.99f;
    tarn->FFTBasedAFC();
    EXPECT_EQ(tarn->frequencyErrorOffset.load(), 8.0f);
}

TEST_F(AFC, FFTStageHandsOverOnTheTwentiethQuietEvaluation) {
    // A balance of about 0.005: quiet, yet still applied until the hand-over.
    fillBaseband({{kBinHz, 1.0}, {-kBinHz, 0.99}});
    tarn->FFTBasedAFC();
    const float step = tarn->frequencyErrorOffset.load();
    EXPECT_NEAR(step, 0.0015f, 0.00002f);
    fftSteps(18);
    EXPECT_NEAR(tarn->frequencyErrorOffset.load(), 19 * step, 1e-6);
    EXPECT_TRUE(tarn->useFFTForAFC.load());
    const float before = tarn->frequencyErrorOffset.load();
    tarn->FFTBasedAFC(); // the 20th: handed over, no step
    EXPECT_EQ(state(), State(before, 0.0f, 0.0f, 0, false, 20));
}

TEST_F(AFC, QuietEvaluationsNeedNotBeConsecutiveAndSilenceIsQuiet) {
    fillBaseband({});
    fftSteps(10);
    EXPECT_EQ(tarn->frequencyErrorOffset.load(), 0.0f);
    fillBaseband({{3 * kBinHz, 1.0}});
    tarn->FFTBasedAFC(); // loud: applied, count kept
    EXPECT_EQ(tarn->FFTAFCStable.load(), 10);
    fillBaseband({});
    fftSteps(9);
    EXPECT_TRUE(tarn->useFFTForAFC.load());
    tarn->FFTBasedAFC();
    EXPECT_FALSE(tarn->useFFTForAFC.load());
}

TEST_F(AFC, EverythingHoldsStillWhileSending) {
    fillBaseband({{4 * kBinHz, 1.0}});
    tarn->afcLastAngle = 0.1f;
    tarn->FFTAFCStable = 19;
    tarn->setIsSending(true);
    tarn->automaticFrequencyAdjust(1.0f, 0.2f);
    tarn->FFTBasedAFC(); // loud
    fillBaseband({});
    tarn->FFTBasedAFC(); // quiet: would hand over
    EXPECT_EQ(state(), State(0.0f, 0.1f, 0.0f, 0, true, 19));
}

TEST_F(AFC, SwitchingOffResetsTheCorrectionButKeepsTheStage) {
    phaseStep(0.1);
    phaseStep(0.3);
    tarn->useFFTForAFC = false;
    tarn->FFTAFCStable = 20;
    tarn->setAutomaticFrequencyControl(false);
    EXPECT_EQ(state(), State(0.0f, 0.0f, 0.0f, 0, false, 20));
    tarn->setAutomaticFrequencyControl(true);
    EXPECT_FALSE(tarn->useFFTForAFC.load()); // not re-armed
}

// ---- Through the whole receiver ------------------------------------------

const std::string kMessage = "CQ CQ CQ de TARN TARN TARN pse k\n";

// Runs `signal` through a fresh receiver, tapping 1500 Hz at sample `tapAt`
// and tracking the carrier from `trackFrom` on.
ReceiveRun tapAndReceive(TarnData& tarn, const std::vector<float>& signal, int64_t tapAt,
                         const std::function<double(int64_t)>& carrierAt, int64_t trackFrom) {
    return runReceiver(
        tarn, signal,
        [&](int64_t first) {
            if (first == tapAt) {
                tarn.setFrequency(1500.0);
            }
        },
        carrierAt, trackFrom);
}

// A carrier `offset` Hz from 1500 Hz, three seconds of it already in the
// history when the operator taps 1500 Hz.
TEST(AFCReceiving, ATapNearASignalPullsItInAndDecodesIt) {
    for (double offset : {4.0, -6.0, 7.0}) {
        SCOPED_TRACE(offset);
        NullAudioPlatform platform;
        auto tarn = TarnData::create(platform);
        std::vector<float> signal =
            testsignals::renderMessage(kMessage + kMessage, 1500.0 + offset);
        testsignals::addNoise(signal, 0.05, 11);
        const ReceiveRun run = tapAndReceive(
            *tarn, signal, 3 * 8000, [&](int64_t) { return 1500.0 + offset; },
            static_cast<int64_t>(signal.size()) - 2000);
        EXPECT_NE(run.text.find(kMessage), std::string::npos) << run.text;
        EXPECT_LT(run.largestTrackingError, 0.3);
        EXPECT_GE(run.smallestOffset, -8.0f);
        EXPECT_LE(run.largestOffset, 8.0f);
        EXPECT_FALSE(tarn->useFFTForAFC.load()) << "handed over";
    }
}

TEST(AFCReceiving, FollowsACarrierDriftingForAMinute) {
    std::string text;
    while (text.size() < 190) {
        text += "the quick brown fox jumps over the lazy dog 0123456789 ";
    }
    const double drift = 0.1; // Hz per second, upwards
    std::vector<float> signal = testsignals::renderDriftingMessage(text, 1500.0, drift);
    ASSERT_GT(signal.size(), 60u * 8000u);
    testsignals::addNoise(signal, 0.05, 12);

    NullAudioPlatform platform;
    auto tarn = TarnData::create(platform);
    const ReceiveRun run = tapAndReceive(
        *tarn, signal, 2 * 8000, [&](int64_t sample) { return 1500.0 + drift * sample / 8000.0; },
        7 * 8000);
    // The phase stage follows a ramp with a steady lag (about 0.9 Hz at
    // 0.1 Hz/s, where a decision still turns the phase by only 0.18 rad per
    // symbol); the lag must not grow.
    EXPECT_LT(run.largestTrackingError, 1.25);
    EXPECT_GE(run.smallestOffset, -8.0f);
    EXPECT_LE(run.largestOffset, 8.0f);
    // The last part of the text, sent some 5 Hz above the tap, arrives intact.
    EXPECT_NE(run.text.find(text.substr(text.size() - 60)), std::string::npos) << run.text;
}

TEST(AFCReceiving, OffOrSquelchedTheOffsetStaysWhereItWas) {
    std::vector<float> signal = testsignals::renderMessage(kMessage, 1504.0);
    NullAudioPlatform platform;
    auto tarn = TarnData::create(platform);
    tarn->setAutomaticFrequencyControl(false);
    tarn->setFrequencyErrorOffset(3.0f);
    ReceiveRun run = runReceiver(*tarn, signal);
    EXPECT_EQ(run.smallestOffset, 3.0f);
    EXPECT_EQ(run.largestOffset, 3.0f);
    // With AFC off the mixer stays at the tuned frequency, 4 Hz off the carrier.
    EXPECT_EQ(tarn->frequency(), 1500.0);
    EXPECT_NEAR(effectiveFrequency(*tarn), 1500.0, 1e-9);

    tarn->setAutomaticFrequencyControl(true);
    tarn->setBackgroundNoiseLevel(50.0f); // above any signal
    run = runReceiver(*tarn, signal);
    EXPECT_EQ(run.smallestOffset, 3.0f);
    EXPECT_EQ(run.largestOffset, 3.0f);
    EXPECT_TRUE(run.text.empty());
}

} // namespace
