// The FFT against the plain recursive radix-2 transform it replaces: the same
// bits for every output at every size (the receiver's numbers depend on it).
#include "engine/FFT.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

using tarn::Complex;

// The textbook decimation-in-time recursion: even half + w·odd half.
void reference(const Complex* in, int n, int stride, Complex* out, Complex* scratch,
               const Complex* tw) {
    if (n == 1) {
        out[0] = in[0];
        return;
    }
    const int half = n / 2;
    reference(in, half, 2 * stride, scratch + half, out, tw);
    reference(in + stride, half, 2 * stride, scratch, out, tw);
    for (int k = 0; k < half; ++k) {
        const Complex w = tw[k * stride];
        const Complex o = scratch[k];
        scratch[k] = Complex{w.re * o.re - w.im * o.im, w.im * o.re + w.re * o.im};
    }
    for (int k = 0; k < half; ++k) {
        const Complex e = scratch[half + k];
        const Complex o = scratch[k];
        out[k] = Complex{e.re + o.re, e.im + o.im};
        out[half + k] = Complex{e.re - o.re, e.im - o.im};
    }
}

std::vector<Complex> transform(const std::vector<Complex>& input) {
    const int n = static_cast<int>(input.size());
    std::vector<Complex> twiddles(input.size()), scratch(input.size()), output(input.size());
    tarn::initFFTCoefficients(twiddles.data(), n);
    tarn::computeFFT(input.data(), output.data(), twiddles.data(), n, scratch.data());
    return output;
}

TEST(FFT, EveryOutputHasTheBitsOfTheRecursiveTransform) {
    std::mt19937 generator(7);
    std::normal_distribution<float> value(0.0f, 1.0f);
    for (int n = 1; n <= 1024; n *= 2) {
        SCOPED_TRACE(n);
        for (int trial = 0; trial < 4; ++trial) {
            std::vector<Complex> input(static_cast<size_t>(n));
            for (Complex& x : input) {
                // Real blocks (as the waterfall's) and complex ones (the AFC's),
                // with exact zeros among them for the signs of zero.
                x = Complex{trial == 3 ? 0.0f : value(generator),
                            trial % 2 ? value(generator) : 0.0f};
            }
            std::vector<Complex> twiddles(input.size()), scratch(input.size()),
                expected(input.size());
            tarn::initFFTCoefficients(twiddles.data(), n);
            reference(input.data(), n, 1, expected.data(), scratch.data(), twiddles.data());
            const std::vector<Complex> actual = transform(input);
            EXPECT_EQ(std::memcmp(actual.data(), expected.data(), input.size() * sizeof(Complex)),
                      0);
        }
    }
}

} // namespace
