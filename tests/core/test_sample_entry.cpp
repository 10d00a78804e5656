// Sample entry: the mixer against a plain loop, block bookkeeping (baseband
// samples and spectrum blocks), the history ring and its replay.
#include "engine/TarnData.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

namespace {

std::vector<float> noise(size_t count, uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    std::vector<float> samples(count);
    for (float& x : samples) {
        x = value(generator);
    }
    return samples;
}

// Feeds `samples` in blocks of 2000, as the audio thread does.
void feed(TarnData& tarn, const std::vector<float>& samples) {
    for (size_t first = 0; first < samples.size(); first += 2000) {
        const size_t count = std::min<size_t>(2000, samples.size() - first);
        tarn.processInputAudioSamples(samples.data() + first, static_cast<int32_t>(count));
    }
}

class SampleEntry : public ::testing::Test {
protected:
    void SetUp() override {
        tarn->setAutomaticFrequencyControl(false);
        tarn->replayHistory = false;
    }

    NullAudioPlatform platform;
    std::unique_ptr<TarnData> tarn = TarnData::create(platform);
};

TEST_F(SampleEntry, MixerMatchesAPlainOscillatorLoop) {
    const std::vector<float> input = noise(5000, 1);
    const float step = tarn->iqTheta.load();
    float phase = tarn->iqMatchPoint;
    for (size_t n = 0; n < input.size(); ++n) {
        const int32_t slot = tarn->iqAudioInputIndex;
        tarn->processInputAudioSample(input[n]);
        const double x = input[n];
        ASSERT_EQ(tarn->inputAudioI[slot], static_cast<float>(x * std::sin(double{phase}))) << n;
        ASSERT_EQ(tarn->inputAudioQ[slot], static_cast<float>(x * std::cos(double{phase}))) << n;
        phase = step + phase;
        if (phase >= 6.283185307179586) {
            phase = static_cast<float>(phase - 6.283185307179586);
        }
        ASSERT_EQ(tarn->iqMatchPoint, phase) << n;
        ASSERT_EQ(tarn->iqAudioInputIndex, static_cast<int32_t>((n + 1) % 1024));
    }
}

TEST_F(SampleEntry, BlockMakesOneBasebandSamplePer16AndASpectrumRowPer1024) {
    const std::vector<float> input = noise(2000, 2);
    tarn->processInputAudioSamples(input.data(), 1023);
    EXPECT_EQ(tarn->currentFFTRow.load(), 0);
    EXPECT_EQ(tarn->iqSecondStageIndex, 63); // 1023 = 63 × 16 + 15
    tarn->processInputAudioSamples(input.data() + 1023, 1);
    EXPECT_EQ(tarn->currentFFTRow.load(), 1); // the first block fills row 1
    EXPECT_EQ(tarn->indexForFFTSamples, 0);
    EXPECT_EQ(tarn->iqSecondStageIndex, 64);
    // The spectrum block holds the live samples as they came.
    EXPECT_EQ(tarn->rawAudioSamplesForFFT[1023].re, input[1023]);
    EXPECT_EQ(tarn->rawAudioSamplesForFFT[1023].im, 0.0f);

    tarn->processInputAudioSamples(input.data(), 2000);
    EXPECT_EQ(tarn->iqSecondStageIndex, 64 + 125);
    EXPECT_EQ(tarn->indexForFFTSamples, 2000 - 1024);
    EXPECT_EQ(tarn->currentFFTRow.load(), 2);

    tarn->processInputAudioSamples(input.data(), 0); // nothing happens
    tarn->processInputAudioSamples(input.data(), -5);
    EXPECT_EQ(tarn->iqSecondStageIndex, 64 + 125);
    EXPECT_EQ(tarn->audioSamplesTrainingBufferIndex, 3024);
}

TEST_F(SampleEntry, ReplayRunsTheHistoryOldestFirstAndLeavesItAlone) {
    // Two engines hear the same 64100 samples; one replays its history (the
    // last 64000, the ring wrapped once), the other is handed them, oldest
    // first, by hand.
    const std::vector<float> input = noise(64100, 4);
    NullAudioPlatform otherPlatform;
    auto reference = TarnData::create(otherPlatform);
    reference->setAutomaticFrequencyControl(false);
    reference->replayHistory = false;
    feed(*tarn, input);
    feed(*reference, input);
    const int32_t row = tarn->currentFFTRow.load();

    tarn->replayAudioInput();
    for (size_t n = 100; n < input.size(); ++n) {
        reference->processInputAudioSample(input[n]);
    }

    EXPECT_EQ(tarn->iqMatchPoint, reference->iqMatchPoint);
    EXPECT_EQ(tarn->iqSecondStageIndex, reference->iqSecondStageIndex);
    EXPECT_EQ(0, std::memcmp(tarn->inputAudioI, reference->inputAudioI, sizeof tarn->inputAudioI));
    EXPECT_EQ(0, std::memcmp(tarn->secondStageInputAudioQ, reference->secondStageInputAudioQ,
                             sizeof tarn->secondStageInputAudioQ));
    EXPECT_EQ(0, std::memcmp(tarn->amplitudeBuffer, reference->amplitudeBuffer,
                             sizeof tarn->amplitudeBuffer));
    EXPECT_EQ(tarn->signalAtFrequency.load(), reference->signalAtFrequency.load());
    // The history still holds the last 64000 samples, wrapped at 100, and it,
    // its index and the waterfall are untouched.
    const float* history = tarn->audioSamplesTrainingBuffer;
    EXPECT_EQ(tarn->audioSamplesTrainingBufferIndex, 100);
    EXPECT_TRUE(std::equal(input.begin() + 64000, input.end(), history));
    EXPECT_TRUE(std::equal(input.begin() + 100, input.begin() + 64000, history + 100));
    EXPECT_EQ(tarn->currentFFTRow.load(), row);
}

TEST_F(SampleEntry, RetuneIsReplayedAtTheStartOfTheNextBlock) {
    const std::vector<float> input = noise(2000, 5);
    tarn->processInputAudioSamples(input.data(), 2000);
    tarn->setFrequency(1200.0);
    tarn->training = true;
    EXPECT_EQ(tarn->iqSecondStageIndex, 125);
    // Even an empty block serves the request: 64000 samples, 4000 baseband.
    tarn->processInputAudioSamples(input.data(), 0);
    EXPECT_FALSE(tarn->replayHistory.load());
    EXPECT_FALSE(tarn->training);
    EXPECT_EQ(tarn->iqSecondStageIndex, (125 + 4000) % 1024);
    tarn->processInputAudioSamples(input.data(), 2000);
    EXPECT_EQ(tarn->iqSecondStageIndex, (125 + 4000 + 125) % 1024);
}

} // namespace
