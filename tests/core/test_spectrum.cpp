// Waterfall rows: collection, log power, display levels and normalisation.
#include "TarnData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace {

constexpr double kNewWeight = 0.09999999999999998; // 1 - 0.9 in double

class Spectrum : public ::testing::Test {
protected:
    void SetUp() override { tarn = TarnData::create(platform); }

    void setBlock(const std::vector<float>& samples) {
        for (int k = 0; k < tarn::kSpectrumSize; ++k) {
            tarn->rawAudioSamplesForFFT[k] = {samples[k], 0.0f};
        }
    }
    void setLevels(float low, float avg) {
        tarn->display_average_low = low;
        tarn->display_average_high = low + 13.0f;
        tarn->display_average_average = avg;
    }

    NullAudioPlatform platform;
    std::unique_ptr<TarnData> tarn;
};

std::vector<float> sineBlock(double frequency, double amplitude) {
    std::vector<float> block(tarn::kSpectrumSize);
    for (int n = 0; n < tarn::kSpectrumSize; ++n) {
        block[n] = static_cast<float>(amplitude * std::sin(tarn::kTwoPi * frequency * n / 8000.0));
    }
    return block;
}

TEST_F(Spectrum, RowsAreCountedFromTheNewestAndWrapOnce) {
    EXPECT_EQ(tarn->currentFFTRow.load(), 0);
    tarn->processSpectrumData();
    EXPECT_EQ(tarn->currentFFTRow.load(), 1);
    EXPECT_EQ(tarn->getCurrentSpectrum(0), tarn->normalizedSpectrumData[1]);
    EXPECT_EQ(tarn->getCurrentSpectrum(1), tarn->normalizedSpectrumData[0]);
    EXPECT_EQ(tarn->getCurrentSpectrum(511), tarn->normalizedSpectrumData[2]);

    tarn->currentFFTRow = 2;
    EXPECT_EQ(tarn->getCurrentSpectrum(5), tarn->normalizedSpectrumData[509]);
    EXPECT_EQ(tarn->getCurrentSpectrum(512 + 5), tarn->normalizedSpectrumData[509]);
    tarn->currentFFTRow = 511;
    tarn->processSpectrumData();
    EXPECT_EQ(tarn->currentFFTRow.load(), 0);
}

TEST_F(Spectrum, SilenceSettlesTheLevelsAndDrawsNothing) {
    setBlock(std::vector<float>(tarn::kSpectrumSize, 0.0f));
    const float silentLevel = static_cast<float>(std::log(1e-12));
    for (int block = 0; block < 600; ++block) {
        tarn->processSpectrumData();
    }
    for (int k = 0; k < tarn::kSpectrumSize; ++k) {
        ASSERT_EQ(tarn->logScaleSpectrumData[k], silentLevel) << k;
    }
    EXPECT_NEAR(silentLevel, -27.631, 1e-3);
    EXPECT_NEAR(tarn->display_average_low.load(), -8.0f, 1e-5);
    EXPECT_NEAR(tarn->display_average_high.load(), 5.0f, 1e-5);
    EXPECT_NEAR(tarn->display_average_average.load(), -1.0f, 1e-5);
    // 600 blocks wrapped the ring, so every row is a silent one.
    for (int rowsBack = 0; rowsBack < tarn::kWaterfallRows; ++rowsBack) {
        const float* row = tarn->getCurrentSpectrum(rowsBack);
        ASSERT_TRUE(std::all_of(row, row + tarn::kSpectrumSize, [](float v) { return v == 0.0f; }))
            << rowsBack;
    }
}

TEST_F(Spectrum, BandStatisticsFeedTheLevels) {
    std::vector<float> in(tarn::kSpectrumSize, 50.0f); // outside the band: ignored
    std::vector<float> out(tarn::kSpectrumSize, 0.0f);

    // 256 band values summing to 257 with a spread above 1: the mean fed to
    // the average is 257 / 257 = 1.0.
    std::fill(in.begin() + 64, in.begin() + 192, 0.5f);
    std::fill(in.begin() + 192, in.begin() + 320, 1.5078125f);
    tarn->finalizeArray(in.data(), out.data(), 0);
    EXPECT_EQ(tarn->display_average_low.load(), static_cast<float>(kNewWeight * 0.5 + 0.9 * -8.0));
    EXPECT_EQ(tarn->display_average_average.load(),
              static_cast<float>(kNewWeight * 1.0 + 0.9 * -1.0));
    EXPECT_EQ(tarn->display_average_high.load(), tarn->display_average_low.load() + 13.0f);
    EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](float v) { return v == 0.0f; }))
        << "count 0 writes nothing";

    // A spread of exactly 1.0 still counts as a real band ...
    setLevels(-8.0f, -1.0f);
    std::fill(in.begin() + 64, in.begin() + 320, 0.25f);
    in[200] = 1.25f;
    tarn->finalizeArray(in.data(), out.data(), 0);
    EXPECT_EQ(tarn->display_average_low.load(), static_cast<float>(kNewWeight * 0.25 + 0.9 * -8.0));

    // ... one just below it is flat and feeds the fixed levels.
    setLevels(-3.0f, 2.0f);
    in[200] = 1.2f;
    tarn->finalizeArray(in.data(), out.data(), 0);
    EXPECT_EQ(tarn->display_average_low.load(),
              static_cast<float>(-0.7999999999999998 + 0.9 * -3.0));
    EXPECT_EQ(tarn->display_average_average.load(),
              static_cast<float>(-0.09999999999999998 + 0.9 * 2.0));
    EXPECT_EQ(tarn->display_average_high.load(), tarn->display_average_low.load() + 13.0f);
}

// Runs finalizeArray on a flat band (so the new levels are known) with every
// bin set to x over a destination that held `previous`; returns bin 0.
float normalise(TarnData& tarn, float x, float previous) {
    std::vector<float> in(tarn::kSpectrumSize, x);
    std::vector<float> out(tarn::kSpectrumSize, previous);
    tarn.finalizeArray(in.data(), out.data(), tarn::kSpectrumSize);
    return out[0];
}

TEST_F(Spectrum, TheOldValueChoosesTheSegment) {
    // Levels chosen so that the flat-band smoothing lands on about low -8,
    // avg 0.5, high 5, mid 2.75: old values 0, 2 and 3 then select the
    // lower, middle and upper segments.
    const auto settle = [&] { setLevels(-8.0f, static_cast<float>((0.5 + 0.1) / 0.9)); };
    settle();
    tarn->finalizeArray(std::vector<float>(1024, 0.0f).data(), std::vector<float>(1024).data(), 0);
    const float low = tarn->display_average_low, avg = tarn->display_average_average;
    const float high = tarn->display_average_high, mid = (high + avg) * 0.5f;
    ASSERT_LT(0.0f, avg);
    ASSERT_LT(2.0f, mid);

    struct Case {
        float x, previous, expected;
    };
    const Case cases[] = {
        {low, 0.0f, 0.0f},  {avg, 0.0f, 0.15f},  // lower segment: low..avg -> 0..0.15
        {avg, 2.0f, 0.15f}, {mid, 2.0f, 0.75f},  // middle: avg..mid -> 0.15..0.75
        {mid, 3.0f, 0.75f}, {high, 3.0f, 2.65f}, // upper: mid..high -> 0.75..2.65
        {1e3f, 0.0f, 3.0f}, {-1e3f, 3.0f, 0.0f}, // clamped to 0 .. 3
    };
    for (const Case& c : cases) {
        settle();
        EXPECT_NEAR(normalise(*tarn, c.x, c.previous), c.expected, 1e-5)
            << "x " << c.x << " old " << c.previous;
    }
    // The same new value lands differently depending on what the row held.
    settle();
    const float viaLower = normalise(*tarn, avg + 1.0f, 0.0f);
    settle();
    const float viaUpper = normalise(*tarn, avg + 1.0f, 3.0f);
    EXPECT_NEAR(viaLower, (1.0 * 0.15 / (avg - low)) + 0.15, 1e-6);
    EXPECT_LT(viaUpper, viaLower);
    // The quotient is taken in double over float differences.
    settle();
    EXPECT_EQ(normalise(*tarn, 0.3f, 0.0f), static_cast<float>((0.3f - low) * 0.15 / (avg - low)));
}

TEST_F(Spectrum, ATonePeaksInItsBinAndEveryValueStaysInRange) {
    setBlock(sineBlock(1500.0, 0.5));
    tarn->processSpectrumData();
    const float* power = tarn->rawMagnitudeOutput;
    const auto peak = std::max_element(power, power + tarn::kSpectrumSize / 2) - power;
    EXPECT_EQ(peak, 192);                                           // 1500 Hz / 7.8125 Hz per bin
    EXPECT_NEAR(tarn->rawMagnitudeOutput[192], 256.0 * 256.0, 1.0); // (0.5 * 1024 / 2)²
    EXPECT_NEAR(tarn->rawMagnitudeOutput[1024 - 192], tarn->rawMagnitudeOutput[192], 1.0);

    // Noise of wandering loudness with tones on top, for more than a turn of
    // the ring: every value stays within 0 .. 3 and the scale spans 13.
    std::mt19937 generator(5);
    std::normal_distribution<float> noise(0.0f, 1.0f);
    std::vector<float> block(tarn::kSpectrumSize);
    for (int row = 0; row < 700; ++row) {
        const float loudness = std::pow(10.0f, static_cast<float>(row % 97) / 20.0f - 3.0f);
        const std::vector<float> carrier = sineBlock(500.0 + 3.0 * row, row % 3 ? 0.2 : 0.0);
        for (int n = 0; n < tarn::kSpectrumSize; ++n) {
            block[n] = loudness * noise(generator) + carrier[n];
        }
        setBlock(block);
        tarn->processSpectrumData();
        ASSERT_EQ(tarn->display_average_high.load(), tarn->display_average_low.load() + 13.0f);
        const float* values = tarn->getCurrentSpectrum(0);
        for (int k = 0; k < tarn::kSpectrumSize; ++k) {
            ASSERT_TRUE(values[k] >= 0.0f && values[k] <= 3.0f) << row << " bin " << k;
        }
    }
    // With a tone present the newest row shows it as its brightest band bin.
    setBlock(sineBlock(1500.0, 0.5));
    tarn->processSpectrumData();
    const float* row = tarn->getCurrentSpectrum(0);
    EXPECT_EQ(row[192], *std::max_element(row + 64, row + 320));
    EXPECT_GT(row[192], 0.75f);
}

// Rows come from the live input entry only: one per 1024 samples, none from
// the replay of the history that a retune requests.
TEST_F(Spectrum, LiveInputMakesOneRowPer1024Samples) {
    const std::vector<float> tone = sineBlock(1000.0, 0.3);
    std::vector<float> input;
    for (int repeat = 0; repeat < 12; ++repeat) {
        input.insert(input.end(), tone.begin(), tone.end());
    }
    tarn->processInputAudioSamples(input.data(), 1023);
    EXPECT_EQ(tarn->currentFFTRow.load(), 0);
    tarn->processInputAudioSamples(input.data() + 1023, 1);
    EXPECT_EQ(tarn->currentFFTRow.load(), 1);

    tarn->setFrequency(1000.0); // the next block starts with a replay of 8 s
    int32_t fed = 1024;
    while (fed + 2000 <= static_cast<int32_t>(input.size())) {
        tarn->processInputAudioSamples(input.data() + fed, 2000);
        fed += 2000;
    }
    EXPECT_EQ(tarn->currentFFTRow.load(), fed / 1024);
    // Blocks were aligned with the tone's period, so the row shows 1000 Hz.
    const float* row = tarn->getCurrentSpectrum(0);
    EXPECT_EQ(std::max_element(row + 64, row + 320) - row, 128);
}

} // namespace
