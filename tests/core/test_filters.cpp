// The two FIR stages: their frequency responses computed from the tables,
// and the circular indexing of doFIRFilter against a plain loop.
#include "engine/TarnData.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

namespace {

// |H(f)| of a 64-tap table at the given sample rate.
double response(const float* h, double frequency, double sampleRate) {
    std::complex<double> sum = 0.0;
    for (int n = 0; n < tarn::kFilterTaps; ++n) {
        sum +=
            static_cast<double>(h[n]) * std::polar(1.0, -tarn::kTwoPi * frequency * n / sampleRate);
    }
    return std::abs(sum);
}

double firstStage(double frequency) {
    return response(TarnData::firstStageCoefficients, frequency, 8000.0);
}
double secondStage(double frequency) {
    return response(TarnData::secondStageCoefficients, frequency, 500.0);
}

TEST(Filters, FirstStageHalvesDCAndRejectsEverythingAboveTheBasebandNyquist) {
    EXPECT_NEAR(firstStage(0.0), 0.5, 1e-5);
    EXPECT_NEAR(firstStage(31.25), 0.48, 0.005);
    EXPECT_NEAR(firstStage(125.0), 0.25, 0.001);
    // Nulls every 125 Hz from 250 Hz on; between them the Hann side lobes
    // stay more than 30 dB below the passband.
    for (double f = 250.0; f <= 4000.0; f += 1.0) {
        ASSERT_LT(firstStage(f), std::fmod(f, 125.0) == 0.0 ? 2e-5 : 0.5 * 0.03) << f;
    }
}

TEST(Filters, SecondStageIsTheSymbolFilter) {
    EXPECT_NEAR(secondStage(0.0), 1.0, 1e-5);
    // A gentle bump around 10 Hz (1.14 there, 1.15 at its top near 8.5 Hz).
    double peak = 0.0, peakAt = 0.0;
    for (double f = 0.0; f <= 31.25; f += 0.05) {
        if (secondStage(f) > peak) {
            peak = secondStage(f);
            peakAt = f;
        }
    }
    EXPECT_NEAR(peak, 1.15, 0.005);
    EXPECT_GT(peakAt, 8.0);
    EXPECT_LT(peakAt, 11.0);
    EXPECT_NEAR(secondStage(10.0), 1.14, 0.005);
    EXPECT_NEAR(secondStage(15.625), 0.79, 0.005);
    EXPECT_NEAR(secondStage(25.0), 0.09, 0.005);
    // From the symbol rate on the stop band stays about 64 dB down (0.0005 at
    // 31.25 Hz, a highest lobe of 0.00061 near 32.8 Hz).
    EXPECT_NEAR(secondStage(31.25), 0.0005, 0.00001);
    for (double f = 31.25; f <= 250.0; f += 0.05) {
        ASSERT_LT(secondStage(f), 0.00065) << f;
    }
}

// The filter as a plain loop: coefficient 0 meets the newest sample (just
// before the index), the rest go back from there, wrapping at every tap.
float plainFIR(const float* buffer, int32_t index, int32_t size, const float* h, int32_t taps) {
    float acc = 0.0f;
    int32_t j = index;
    for (int32_t k = 0; k < taps; ++k) {
        if (j < 1) {
            j += size;
        }
        j -= 1;
        acc = acc + buffer[j] * h[k];
    }
    return acc;
}

// Every index from -1023 (the most negative that wraps) to 1024, and the
// empty filter.
TEST(Filters, FilterMatchesAPlainLoopToTheBit) {
    std::mt19937 generator(5);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    std::vector<float> ring(tarn::kRingSize);
    for (float& x : ring) {
        x = value(generator);
    }
    for (const float* h : {TarnData::firstStageCoefficients, TarnData::secondStageCoefficients}) {
        for (int32_t index = -1023; index <= 1024; ++index) {
            for (int32_t taps : {0, 1, 17, 64}) {
                ASSERT_EQ(TarnData::doFIRFilter(ring.data(), index, 1024, h, taps),
                          plainFIR(ring.data(), index, 1024, h, taps))
                    << index << " " << taps;
            }
        }
    }
}

} // namespace
