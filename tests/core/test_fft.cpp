// The engine's radix-2 FFT against closed-form transforms and a plain DFT.
#include "TarnData.h"

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

Signal tone(int n, int cycles) {
    Signal x(n);
    for (int j = 0; j < n; ++j) {
        const double angle = tarn::kTwoPi * cycles * j / n;
        x[j] = {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))};
    }
    return x;
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
        Signal impulse(n, {0.0f, 0.0f});
        impulse[0] = {1.0f, 0.0f};
        const Signal flat = transform(impulse);
        const Signal dc = transform(Signal(n, {1.0f, 0.0f}));
        const Signal up = transform(tone(n, 3));
        const Signal down = transform(tone(n, -3));
        EXPECT_EQ(dc[0].re, static_cast<float>(n));
        EXPECT_NEAR(up[3].re, n, 1e-3 * n);
        EXPECT_NEAR(down[n - 3].re, n, 1e-3 * n);
        for (int k = 0; k < n; ++k) {
            ASSERT_EQ(flat[k].re, 1.0f) << n << " bin " << k;
            ASSERT_EQ(flat[k].im, 0.0f) << n << " bin " << k;
            if (k != 0) {
                ASSERT_LT(std::hypot(dc[k].re, dc[k].im), 1e-3) << n << " bin " << k;
            }
            if (k != 3) {
                ASSERT_LT(std::hypot(up[k].re, up[k].im), 1e-3 * n) << n << " bin " << k;
            }
            if (k != n - 3) {
                ASSERT_LT(std::hypot(down[k].re, down[k].im), 1e-3 * n) << n << " bin " << k;
            }
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

TEST(FFT, RealInputGivesAConjugateSymmetricSpectrum) {
    const int n = 1024;
    std::mt19937 generator(7);
    std::normal_distribution<float> value(0.0f, 1.0f);
    Signal x(n);
    for (TarnComplex& sample : x) {
        sample = {value(generator), 0.0f};
    }
    const Signal out = transform(x);
    EXPECT_NEAR(out[0].im, 0.0f, 1e-4);
    for (int k = 1; k < n; ++k) {
        ASSERT_NEAR(out[n - k].re, out[k].re, 1e-4) << k;
        ASSERT_NEAR(out[n - k].im, -out[k].im, 1e-4) << k;
    }
}

} // namespace
