// The engine's radix-2 FFT against closed-form transforms and a plain DFT.
#include "engine/TarnData.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <vector>

namespace {

using Signal = std::vector<TarnComplex>;

// Runs computeFFT of x.size() points with fresh twiddles and a scratch array
// full of NaN, so that any use of stale scratch content shows in the result.
Signal transform(const Signal& x) {
    const int n = static_cast<int>(x.size());
    const float nan = std::numeric_limits<float>::quiet_NaN();
    Signal twiddles(n), scratch(n, {nan, nan}), out(n, {nan, nan});
    TarnData::initFFTCoefficients(twiddles.data(), n);
    TarnData::computeFFT(x.data(), out.data(), twiddles.data(), n, scratch.data());
    return out;
}

TEST(FFT, TwiddleTableHoldsTheFirstHalfOfTheUnitCircle) {
    TarnComplex table[1024] = {};
    TarnData::initFFTCoefficients(table, 1024);
    EXPECT_EQ(table[0].re, 1.0f);
    EXPECT_EQ(table[0].im, 0.0f);
    // The float nearest cos(π/2), not an exact zero.
    EXPECT_EQ(table[256].re, static_cast<float>(std::cos(tarn::kTwoPi / 4)));
    EXPECT_NE(table[256].re, 0.0f);
    EXPECT_EQ(table[256].im, -1.0f);
    EXPECT_EQ(table[512].re, 0.0f); // the upper half is never filled
    TarnComplex untouched = {7.0f, 7.0f};
    for (int n : {-1, 0, 1}) {
        TarnData::initFFTCoefficients(&untouched, n);
        EXPECT_EQ(untouched.re, 7.0f) << n;
    }
}

TEST(FFT, ClosedFormTransforms) {
    const Signal single = transform({{0.25f, -3.5f}});
    EXPECT_EQ(single[0].re, 0.25f);
    EXPECT_EQ(single[0].im, -3.5f);

    for (int n : {512, 1024}) {
        SCOPED_TRACE(n);
        Signal impulse(n, {0.0f, 0.0f}), up(n), down(n);
        impulse[0] = {1.0f, 0.0f};
        for (int j = 0; j < n; ++j) {
            const double angle = tarn::kTwoPi * 3 * j / n; // three cycles
            up[j] = {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))};
            down[j] = {up[j].re, -up[j].im};
        }
        const Signal flat = transform(impulse);
        const Signal dc = transform(Signal(n, {1.0f, 0.0f}));
        const Signal upOut = transform(up), downOut = transform(down);
        EXPECT_EQ(dc[0].re, static_cast<float>(n));
        EXPECT_NEAR(upOut[3].re, n, 1e-3 * n);
        EXPECT_NEAR(downOut[n - 3].re, n, 1e-3 * n);
        for (int k = 0; k < n; ++k) {
            ASSERT_EQ(flat[k].re, 1.0f) << k;
            ASSERT_EQ(flat[k].im, 0.0f) << k;
            ASSERT_TRUE(k == 0 || std::hypot(dc[k].re, dc[k].im) < 1e-3) << k;
            ASSERT_TRUE(k == 3 || std::hypot(upOut[k].re, upOut[k].im) < 1e-3 * n) << k;
            ASSERT_TRUE(k == n - 3 || std::hypot(downOut[k].re, downOut[k].im) < 1e-3 * n) << k;
        }
    }
}

TEST(FFT, AgreesWithAPlainDFTAndLeavesItsInputAlone) {
    std::mt19937 generator(31);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    for (int n = 2; n <= 1024; n *= 2) {
        Signal x(n);
        for (TarnComplex& sample : x) {
            sample = {value(generator), value(generator)};
        }
        const Signal copy = x;
        const Signal out = transform(x);
        // Single-precision rounding grows with the number of stages; the
        // values themselves are about sqrt(n) in size.
        const double tolerance = 1.6e-6 * std::sqrt(n) * std::log2(n);
        for (int k = 0; k < n; ++k) {
            std::complex<double> sum = 0.0;
            for (int j = 0; j < n; ++j) {
                const double angle = -tarn::kTwoPi * ((static_cast<int64_t>(k) * j) % n) / n;
                sum += std::complex<double>(x[j].re, x[j].im) * std::polar(1.0, angle);
            }
            ASSERT_NEAR(out[k].re, sum.real(), tolerance) << n << " bin " << k;
            ASSERT_NEAR(out[k].im, sum.imag(), tolerance) << n << " bin " << k;
            ASSERT_EQ(x[k].re, copy[k].re);
            ASSERT_EQ(x[k].im, copy[k].im);
        }
    }
}

} // namespace
