// Waterfall rows: collection, log power, display levels and normalisation.
#include "engine/TarnData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace {

constexpr double kNewWeight = 0.09999999999999998; // 1 - 0.9 in double

class Spectrum : public ::testing::Test {
protected:
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
    std::unique_ptr<TarnData> tarn = TarnData::create(platform);
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
    EXPECT_NEAR(silentLevel, -27.631, 1e-3);
    EXPECT_TRUE(std::all_of(std::begin(tarn->logScaleSpectrumData),
                            std::end(tarn->logScaleSpectrumData),
                            [&](float v) { return v == silentLevel; }));
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
    // Outside the band values are ignored; a count of 0 writes no row.
    std::vector<float> in(tarn::kSpectrumSize, 50.0f);

    // 256 band values summing to 257 with a spread above 1: the mean fed to
    // the average is 257 / 257 = 1.0.
    std::fill(in.begin() + 64, in.begin() + 192, 0.5f);
    std::fill(in.begin() + 192, in.begin() + 320, 1.5078125f);
    tarn->finalizeArray(in.data(), nullptr, 0);
    EXPECT_EQ(tarn->display_average_low.load(), static_cast<float>(kNewWeight * 0.5 + 0.9 * -8.0));
    EXPECT_EQ(tarn->display_average_average.load(),
              static_cast<float>(kNewWeight * 1.0 + 0.9 * -1.0));
    EXPECT_EQ(tarn->display_average_high.load(), tarn->display_average_low.load() + 13.0f);

    // A spread of exactly 1.0 still counts as a real band ...
    setLevels(-8.0f, -1.0f);
    std::fill(in.begin() + 64, in.begin() + 320, 0.25f);
    in[200] = 1.25f;
    tarn->finalizeArray(in.data(), nullptr, 0);
    EXPECT_EQ(tarn->display_average_low.load(), static_cast<float>(kNewWeight * 0.25 + 0.9 * -8.0));

    // ... one just below it is flat and feeds the fixed levels.
    setLevels(-3.0f, 2.0f);
    in[200] = 1.2f;
    tarn->finalizeArray(in.data(), nullptr, 0);
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
    tarn->finalizeArray(std::vector<float>(1024, 0.0f).data(), nullptr, 0);
    const float low = tarn->display_average_low, avg = tarn->display_average_average;
    const float high = tarn->display_average_high, mid = (high + avg) * 0.5f;
    ASSERT_LT(0.0f, avg);
    ASSERT_LT(2.0f, mid);

    struct Case {
        float x, previous, expected;
    };
    // The same new value (1 above avg) lands by what the row held: in the
    // lower segment after a low old value, at the clamp after a high one.
    const float a = avg + 1.0f, aLow = 0.15f + 0.15f / (avg - low);
    const Case cases[] = {
        {low, 0.0f, 0.0f},  {avg, 0.0f, 0.15f},  // lower segment: low..avg -> 0..0.15
        {avg, 2.0f, 0.15f}, {mid, 2.0f, 0.75f},  // middle: avg..mid -> 0.15..0.75
        {mid, 3.0f, 0.75f}, {high, 3.0f, 2.65f}, // upper: mid..high -> 0.75..2.65
        {1e3f, 0.0f, 3.0f}, {-1e3f, 3.0f, 0.0f}, // clamped to 0 .. 3
        {a, 0.0f, aLow},    {a, 3.0f, 0.0f},
    };
    for (const Case& c : cases) {
        settle();
        EXPECT_NEAR(normalise(*tarn, c.x, c.previous), c.expected, 1e-5)
            << "x " << c.x << " old " << c.previous;
    }
}

TEST_F(Spectrum, A1500HzTonePeaksInBin192) {
    setBlock(sineBlock(1500.0, 0.5));
    tarn->processSpectrumData();
    const float* power = tarn->rawMagnitudeOutput;
    const auto peak = std::max_element(power, power + tarn::kSpectrumSize / 2) - power;
    EXPECT_EQ(peak, 192);                                           // 1500 Hz / 7.8125 Hz per bin
    EXPECT_NEAR(tarn->rawMagnitudeOutput[192], 256.0 * 256.0, 1.0); // (0.5 * 1024 / 2)²

    // The row shows it as its brightest band bin.
    const float* row = tarn->getCurrentSpectrum(0);
    EXPECT_EQ(row[192], *std::max_element(row + 64, row + 320));
    EXPECT_GT(row[192], 0.75f);
}

} // namespace
