// The engine's radix-2 FFT, decimation in time. The input is taken in
// bit-reversed order, then every stage runs its butterflies over split real
// and imaginary arrays, so the compiler can do several at once. Each output
// is the same float operations in the same order as the textbook recursion
// (even half + w·odd half, w = e^(-j2πk/m) from the one top-level table), so
// the result is the same to the bit, only faster.
#include "engine/FFT.h"

#include <cmath>
#include <cstdint>

namespace tarn {

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

namespace {

constexpr int kMaxBits = 10; // up to 1024 points

// Bit-reversed indices for every size up to 1024, made once.
struct BitReversal {
    BitReversal() {
        for (int bits = 0; bits <= kMaxBits; ++bits) {
            for (int i = 0; i < (1 << bits); ++i) {
                int r = 0;
                for (int b = 0; b < bits; ++b) {
                    r = (r << 1) | ((i >> b) & 1);
                }
                table[bits][i] = static_cast<uint16_t>(r);
            }
        }
    }
    uint16_t table[kMaxBits + 1][1 << kMaxBits] = {};
};

const uint16_t* bitReversal(int bits) {
    static const BitReversal reversal;
    return reversal.table[bits];
}

// One stage: blocks of m values, butterflies k and k + m/2 with twiddle
// w[k]; re and im hold n values each.
void stage(float* re, float* im, int n, int m, const float* wr, const float* wi) {
    const int half = m / 2;
    for (int block = 0; block < n; block += m) {
        float* er = re + block;
        float* ei = im + block;
        float* odr = er + half;
        float* odi = ei + half;
        for (int k = 0; k < half; ++k) {
            const float tr = wr[k] * odr[k] - wi[k] * odi[k];
            const float ti = wi[k] * odr[k] + wr[k] * odi[k];
            const float xr = er[k];
            const float xi = ei[k];
            er[k] = xr + tr;
            ei[k] = xi + ti;
            odr[k] = xr - tr;
            odi[k] = xi - ti;
        }
    }
}

// The same stage for small blocks (m = 2 or 4): one twiddle at a time over
// every block, so that the loop runs long enough to do several at once.
void smallStage(float* re, float* im, int n, int m, const float* wr, const float* wi) {
    const int half = m / 2;
    const int blocks = n / m;
    for (int k = 0; k < half; ++k) {
        const float w0 = wr[k];
        const float w1 = wi[k];
        float* er = re + k;
        float* ei = im + k;
        float* odr = er + half;
        float* odi = ei + half;
        for (int j = 0; j < blocks; ++j) {
            const int at = j * m;
            const float tr = w0 * odr[at] - w1 * odi[at];
            const float ti = w1 * odr[at] + w0 * odi[at];
            const float xr = er[at];
            const float xi = ei[at];
            er[at] = xr + tr;
            ei[at] = xi + ti;
            odr[at] = xr - tr;
            odi[at] = xi - ti;
        }
    }
}

} // namespace

void computeFFT(const Complex* input, Complex* output, const Complex* twiddles, int n,
                Complex* scratch) {
    if (n < 1) {
        return;
    }
    int bits = 0;
    while ((1 << bits) < n) {
        ++bits;
    }
    // Split arrays in the caller's scratch: n real parts, then n imaginary.
    float* re = &scratch[0].re;
    float* im = re + n;
    const uint16_t* order = bitReversal(bits);
    for (int i = 0; i < n; ++i) {
        const Complex x = input[order[i]];
        re[i] = x.re;
        im[i] = x.im;
    }
    // Each stage's twiddles, gathered from the table made for n.
    float wr[512];
    float wi[512];
    for (int m = 2; m <= n; m *= 2) {
        const int stride = n / m;
        for (int k = 0; k < m / 2; ++k) {
            wr[k] = twiddles[k * stride].re;
            wi[k] = twiddles[k * stride].im;
        }
        if (m <= 4) {
            smallStage(re, im, n, m, wr, wi);
        } else {
            stage(re, im, n, m, wr, wi);
        }
    }
    for (int i = 0; i < n; ++i) {
        output[i] = Complex{re[i], im[i]};
    }
}

} // namespace tarn
