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

// Twiddles, scratch and output for one size; scratch starts as NaN so that
// any use of stale scratch content would show in the result.
struct Transform {
    explicit Transform(int n)
        : n(n), twiddles(std::max(n, 1)), scratch(n, nanValue()), output(n, nanValue()) {
        TarnData::initFFTCoefficients(twiddles.data(), n);
    }
    static TarnComplex nanValue() {
        const float nan = std::numeric_limits<float>::quiet_NaN();
        return {nan, nan};
    }
    const Signal& operator()(const Signal& input) {
        TarnData::computeFFT(input.data(), output.data(), twiddles.data(), n, scratch.data());
        return output;
    }
    int n;
    Signal twiddles, scratch, output;
};

std::vector<std::complex<double>> plainDFT(const Signal& x) {
    const size_t n = x.size();
    std::vector<std::complex<double>> result(n);
    for (size_t k = 0; k < n; ++k) {
        std::complex<double> sum = 0.0;
        for (size_t j = 0; j < n; ++j) {
            const double angle = -tarn::kTwoPi * static_cast<double>((k * j) % n) / n;
            sum += std::complex<double>(x[j].re, x[j].im) * std::polar(1.0, angle);
        }
        result[k] = sum;
    }
    return result;
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
    EXPECT_FLOAT_EQ(table[511].re, static_cast<float>(std::cos(-tarn::kTwoPi * 511 / 1024)));
    EXPECT_EQ(table[512].re, 0.0f); // the upper half is never filled
    EXPECT_EQ(table[1023].im, 0.0f);

    TarnComplex untouched[2] = {{7.0f, 7.0f}, {7.0f, 7.0f}};
    for (int n : {-1, 0, 1}) {
        TarnData::initFFTCoefficients(untouched, n);
        EXPECT_EQ(untouched[0].re, 7.0f) << n;
    }
}

TEST(FFT, SinglePointIsACopy) {
    Transform fft(1);
    const Signal& out = fft(Signal{{0.25f, -3.5f}});
    EXPECT_EQ(out[0].re, 0.25f);
    EXPECT_EQ(out[0].im, -3.5f);
}

TEST(FFT, ImpulseAndConstantAtBothEngineSizes) {
    for (int n : {512, 1024}) {
        Transform fft(n);
        Signal impulse(n, TarnComplex{0.0f, 0.0f});
        impulse[0] = {1.0f, 0.0f};
        const Signal flat = fft(impulse);
        for (int k = 0; k < n; ++k) {
            ASSERT_EQ(flat[k].re, 1.0f) << n << " bin " << k;
            ASSERT_EQ(flat[k].im, 0.0f) << n << " bin " << k;
        }
        const Signal& dc = fft(Signal(n, TarnComplex{1.0f, 0.0f}));
        EXPECT_EQ(dc[0].re, static_cast<float>(n));
        for (int k = 1; k < n; ++k) {
            ASSERT_NEAR(std::hypot(dc[k].re, dc[k].im), 0.0, 1e-3) << n << " bin " << k;
        }
    }
}

TEST(FFT, ComplexTonesLandOnTheirSignedBins) {
    for (int n : {16, 512, 1024}) {
        Transform fft(n);
        const Signal up = fft(tone(n, 3));
        const Signal down = fft(tone(n, -3));
        EXPECT_NEAR(up[3].re, n, 1e-3 * n);
        EXPECT_NEAR(down[n - 3].re, n, 1e-3 * n);
        for (int k = 0; k < n; ++k) {
            if (k != 3) {
                ASSERT_NEAR(std::hypot(up[k].re, up[k].im), 0.0, 1e-3 * n) << n << " bin " << k;
            }
            if (k != n - 3) {
                ASSERT_NEAR(std::hypot(down[k].re, down[k].im), 0.0, 1e-3 * n) << n << " " << k;
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
        Transform fft(n);
        const Signal& out = fft(x);
        const auto reference = plainDFT(x);
        // Single-precision rounding grows with the number of stages; the
        // values themselves are about sqrt(n) in size.
        const double tolerance = 1.6e-6 * std::sqrt(n) * std::log2(n);
        for (int k = 0; k < n; ++k) {
            ASSERT_NEAR(out[k].re, reference[k].real(), tolerance) << n << " bin " << k;
            ASSERT_NEAR(out[k].im, reference[k].imag(), tolerance) << n << " bin " << k;
        }
        for (int j = 0; j < n; ++j) {
            ASSERT_EQ(x[j].re, copy[j].re);
            ASSERT_EQ(x[j].im, copy[j].im);
        }
        // A second run over the now-used scratch and output gives the same.
        const Signal first = out;
        const Signal& again = fft(x);
        for (int k = 0; k < n; ++k) {
            ASSERT_EQ(again[k].re, first[k].re);
            ASSERT_EQ(again[k].im, first[k].im);
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
    Transform fft(n);
    const Signal& out = fft(x);
    EXPECT_NEAR(out[0].im, 0.0f, 1e-4);
    EXPECT_NEAR(out[n / 2].im, 0.0f, 1e-4);
    for (int k = 1; k < n; ++k) {
        ASSERT_NEAR(out[n - k].re, out[k].re, 1e-4) << k;
        ASSERT_NEAR(out[n - k].im, -out[k].im, 1e-4) << k;
    }
}

} // namespace
