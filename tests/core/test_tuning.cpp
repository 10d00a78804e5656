// Tuning: what setFrequency, nudgeFrequency and lockFrequency keep and what
// they reset, the range they keep to, and the mixer step they set.
#include "engine/TarnData.h"

#include <gtest/gtest.h>

#include <memory>
#include <tuple>

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

    // The AFC's state: offset (Hz), last and stored angle, phase-step count,
    // FFT stage armed, quiet FFT evaluations.
    using AFCState = std::tuple<float, float, float, int, bool, int>;
    AFCState afc() const {
        return {tarn->frequencyErrorOffset.load(), tarn->afcLastAngle.load(),
                tarn->afcStoredAngle.load(),       tarn->afcUpdates.load(),
                tarn->useFFTForAFC.load(),         tarn->FFTAFCStable.load()};
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
        EXPECT_EQ(afc(), AFCState(0.0f, 0.0f, 0.0f, 0, true, 0));
        EXPECT_EQ(tarn->carrierStart.load(), 0.0f);
        EXPECT_TRUE(tarn->replayHistory.exchange(false)); // asked of the audio thread
    }
}

TEST_F(Tuning, NudgeDropsTheCorrectionButKeepsTheClockAndPhaseHistory) {
    disturb(true);
    // The console switches AFC off before nudging; the flag alone keeps the
    // replay from running the AFC, so what survives the nudge shows.
    tarn->_automaticFrequencyControl = false;
    tarn->nudgeFrequency(1500.1);
    EXPECT_EQ(tarn->frequency(), 1500.1);
    EXPECT_EQ(tarn->iqTheta.load(), step(1500.1));
    EXPECT_EQ(afc(), AFCState(0.0f, 0.3f, 0.25f, 40, false, 12));
    // The replayed silence moves the clock only by the rounding of its sums.
    EXPECT_NEAR(tarn->carrierStart.load(), 0.15f, 1e-4f);
    // Replayed already (64000 samples, 4000 baseband samples), not requested.
    EXPECT_FALSE(tarn->replayHistory.load());
    EXPECT_EQ(tarn->iqSecondStageIndex, 4000 % 1024);

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
    EXPECT_EQ(tarn->iqTheta.load(), step(2504.0));
    EXPECT_EQ(afc(), AFCState(0.0f, 0.3f, 0.25f, 40, false, 12));
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
