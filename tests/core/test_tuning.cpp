// Tuning: what setFrequency, nudgeFrequency and lockFrequency keep and what
// they reset, the range they keep to, and the mixer step they set.
#include "TarnData.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

class Tuning : public ::testing::Test {
protected:
    void SetUp() override { tarn->replayHistory = false; }

    // State that a retune may or may not reset, as the AFC would leave it.
    void disturb(bool useFFT) {
        tarn->frequencyErrorOffset = 3.2f;
        tarn->afcLastAngle = 0.3f;
        tarn->afcStoredAngle = 0.25f;
        tarn->afcUpdates = 40;
        tarn->useFFTForAFC = useFFT;
        tarn->FFTAFCStable = 12;
        tarn->carrierStart = 0.15f;
    }

    float step(double frequency) const {
        return static_cast<float>(frequency * tarn::kTwoPi / 8000.0);
    }

    NullAudioPlatform platform;
    std::unique_ptr<TarnData> tarn = TarnData::create(platform);
};

TEST_F(Tuning, SetFrequencyClampsAndStartsAcquisitionAfresh) {
    EXPECT_EQ(tarn->frequency(), 1500.0);
    EXPECT_NEAR(tarn->iqTheta.load(), 1.1780972f, 1e-7f);
    for (auto [asked, stored] : {std::pair{3000.0, 2500.0},
                                 {100.0, 500.0},
                                 {500.0, 500.0},
                                 {2500.0, 2500.0},
                                 {1234.5, 1234.5}}) {
        disturb(false);
        tarn->setFrequency(asked);
        EXPECT_EQ(tarn->frequency(), stored);
        EXPECT_EQ(tarn->iqTheta.load(), step(stored));
        EXPECT_EQ(tarn->frequencyErrorOffset.load(), 0.0f);
        EXPECT_EQ(tarn->afcLastAngle.load(), 0.0f);
        EXPECT_EQ(tarn->afcStoredAngle.load(), 0.0f);
        EXPECT_EQ(tarn->afcUpdates.load(), 0);
        EXPECT_TRUE(tarn->useFFTForAFC.load());
        EXPECT_EQ(tarn->FFTAFCStable.load(), 0);
        EXPECT_EQ(tarn->carrierStart.load(), 0.0f);
        EXPECT_TRUE(tarn->replayHistory.exchange(false)); // asked of the audio thread
    }
}

TEST_F(Tuning, NudgeDropsTheCorrectionButKeepsTheClockAndPhaseHistory) {
    const float phase = tarn->iqMatchPoint;
    disturb(true);
    // The console switches AFC off before nudging; the flag alone keeps the
    // replay from running the AFC, so what survives the nudge shows.
    tarn->_automaticFrequencyControl = false;
    tarn->nudgeFrequency(1500.1);
    EXPECT_EQ(tarn->frequency(), 1500.1);
    EXPECT_EQ(tarn->iqTheta.load(), step(1500.1));
    EXPECT_EQ(tarn->frequencyErrorOffset.load(), 0.0f);
    EXPECT_FALSE(tarn->useFFTForAFC.load());
    EXPECT_EQ(tarn->afcStoredAngle.load(), 0.25f);
    EXPECT_EQ(tarn->afcUpdates.load(), 40);
    EXPECT_EQ(tarn->FFTAFCStable.load(), 12);
    // The replayed silence moves the clock only by the rounding of its sums.
    EXPECT_NEAR(tarn->carrierStart.load(), 0.15f, 1e-4f);
    // Replayed already, not requested: 64000 samples through the mixer (4000
    // baseband samples).
    EXPECT_FALSE(tarn->replayHistory.load());
    EXPECT_EQ(tarn->iqSecondStageIndex, 4000 % 1024);
    EXPECT_NE(tarn->iqMatchPoint, phase);

    tarn->nudgeFrequency(2600.0);
    EXPECT_EQ(tarn->frequency(), 2500.0);
    tarn->nudgeFrequency(499.9);
    EXPECT_EQ(tarn->frequency(), 500.0);
}

TEST_F(Tuning, LockFoldsTheCorrectionInWithoutClamping) {
    tarn->setFrequency(2499.0);
    tarn->replayHistory = false;
    disturb(true);
    tarn->frequencyErrorOffset = 5.0f;
    tarn->lockFrequency();
    EXPECT_EQ(tarn->frequency(), 2504.0);
    EXPECT_EQ(tarn->frequencyErrorOffset.load(), 0.0f);
    EXPECT_EQ(tarn->iqTheta.load(), step(2504.0));
    EXPECT_FALSE(tarn->useFFTForAFC.load());
    EXPECT_EQ(tarn->afcStoredAngle.load(), 0.25f);
    EXPECT_EQ(tarn->FFTAFCStable.load(), 12);
    EXPECT_EQ(tarn->carrierStart.load(), 0.15f);
    EXPECT_FALSE(tarn->replayHistory.load());

    // The float offset is widened, not rounded through decimal.
    tarn->frequencyErrorOffset = -0.1f;
    tarn->lockFrequency();
    EXPECT_EQ(tarn->frequency(), 2504.0 + static_cast<double>(-0.1f));
}

TEST_F(Tuning, FrequencyNeverIncludesTheCorrectionButTheMixerDoes) {
    tarn->frequencyErrorOffset = 2.5f;
    EXPECT_EQ(tarn->frequency(), 1500.0);
    // The demodulator's next baseband step moves the mixer to 1502.5 Hz while
    // AFC is on, and back to 1500 Hz once it is off.
    tarn->processInputIQBuffer();
    EXPECT_EQ(tarn->iqTheta.load(), step(1502.5));
    tarn->setAutomaticFrequencyControl(false);
    tarn->processInputIQBuffer();
    EXPECT_EQ(tarn->iqTheta.load(), step(1500.0));
}

} // namespace
