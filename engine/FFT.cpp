// The engine's radix-2 FFT: a recursive decimation-in-time transform over
// interleaved complex floats, forward and unscaled, output in natural order.
// Used at 1024 points for the spectrum and at 512 points for the FFT AFC.
#include "engine/FFT.h"

#include <cmath>

namespace tarn {

void fftRecursive(const Complex* input, int n, int stride, Complex* output, Complex* scratch,
                  const Complex* twiddles);

// Entries 0 .. n/2 - 1 of `table` become e^(-j2πk/n). Sizes -1, 0 and 1 need
// no twiddles and leave the table alone.
void initFFTCoefficients(Complex* table, int n) {
    if (n >= -1 && n <= 1) {
        return;
    }
    for (int k = 0; k < n / 2; ++k) {
        const double angle = k * -6.283185307179586 / n;
        table[k].re = static_cast<float>(std::cos(angle));
        table[k].im = static_cast<float>(std::sin(angle));
    }
}

// X[k] = Σ x[n]·e^(-j2πkn/N). `twiddles` must have been made for this n and
// `scratch` must hold n values; the input is left as it is.
void computeFFT(const Complex* input, Complex* output, const Complex* twiddles, int n,
                Complex* scratch) {
    for (int k = 0; k < n; ++k) {
        output[k] = Complex{0.0f, 0.0f};
    }
    fftRecursive(input, n, 1, output, scratch, twiddles);
}

// Transforms input[0], input[stride], ... (n values) into output[0 .. n-1].
// The two half transforms land in scratch (even half at the top, odd half at
// the bottom), each child borrowing its parent's output as its own scratch, so
// the whole recursion needs no more than one caller-owned n-value array.
void fftRecursive(const Complex* input, int n, int stride, Complex* output, Complex* scratch,
                  const Complex* twiddles) {
    if (n == 1) {
        output[0] = input[0];
        return;
    }
    if (n < 1) {
        return; // nothing to transform (and no endless halving of 0)
    }
    const int half = n / 2;
    fftRecursive(input, half, 2 * stride, scratch + half, output, twiddles);
    fftRecursive(input + stride, half, 2 * stride, scratch, output, twiddles);

    // The table was made for the top-level size, so stepping it by `stride`
    // gives e^(-j2πk/n) at this depth.
    for (int k = 0; k < half; ++k) {
        const float wr = twiddles[k * stride].re;
        const float wi = twiddles[k * stride].im;
        const float odr = scratch[k].re;
        const float odi = scratch[k].im;
        scratch[k].re = wr * odr - wi * odi;
        scratch[k].im = wi * odr + wr * odi;
    }
    for (int k = 0; k < half; ++k) {
        const Complex even = scratch[half + k];
        const Complex odd = scratch[k];
        output[k] = Complex{even.re + odd.re, even.im + odd.im};
        output[half + k] = Complex{even.re - odd.re, even.im - odd.im};
    }
}

} // namespace tarn
