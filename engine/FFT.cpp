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
template <int Half>
void butterflies(float* __restrict er, float* __restrict ei, float* __restrict odr,
                 float* __restrict odi, const float* __restrict wr, const float* __restrict wi,
                 int half) {
    const int count = Half > 0 ? Half : half;
    for (int k = 0; k < count; ++k) {
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

// The block size known when compiling (Half > 0) lets the butterflies of a
// short block run without loop overhead; 0 is any size.
template <int Half>
void blocks(float* re, float* im, int n, int m, const float* wr, const float* wi) {
    const int half = m / 2;
    for (int block = 0; block < n; block += m) {
        butterflies<Half>(re + block, im + block, re + block + half, im + block + half, wr, wi,
                          half);
    }
}

void stage(float* re, float* im, int n, int m, const float* wr, const float* wi) {
    switch (m) {
    case 8:
        blocks<4>(re, im, n, m, wr, wi);
        break;
    case 16:
        blocks<8>(re, im, n, m, wr, wi);
        break;
    default:
        blocks<0>(re, im, n, m, wr, wi);
    }
}

// Butterfly: t = w·b, then a + t and a - t, in the recursion's order.
struct Pair {
    Complex sum;
    Complex difference;
};
inline Pair butterfly(Complex a, Complex b, Complex w) {
    const float tr = w.re * b.re - w.im * b.im;
    const float ti = w.im * b.re + w.re * b.im;
    return Pair{Complex{a.re + tr, a.im + ti}, Complex{a.re - tr, a.im - ti}};
}

// The first two stages (blocks of 2, then of 4) straight from the
// bit-reversed input, four values at a time in registers.
void firstStages(const Complex* input, const uint16_t* order, float* re, float* im, int n,
                 const Complex* twiddles) {
    const Complex w2 = twiddles[0];      // e^0 for blocks of 2
    const Complex w40 = twiddles[0];     // e^0 for blocks of 4
    const Complex w41 = twiddles[n / 4]; // e^(-jπ/2)
    for (int j = 0; j < n; j += 4) {
        const Pair low = butterfly(input[order[j]], input[order[j + 1]], w2);
        const Pair high = butterfly(input[order[j + 2]], input[order[j + 3]], w2);
        const Pair even = butterfly(low.sum, high.sum, w40);
        const Pair odd = butterfly(low.difference, high.difference, w41);
        re[j] = even.sum.re;
        im[j] = even.sum.im;
        re[j + 1] = odd.sum.re;
        im[j + 1] = odd.sum.im;
        re[j + 2] = even.difference.re;
        im[j + 2] = even.difference.im;
        re[j + 3] = odd.difference.re;
        im[j + 3] = odd.difference.im;
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
    int m = 2;
    if (n >= 4) {
        firstStages(input, order, re, im, n, twiddles);
        m = 8;
    } else {
        for (int i = 0; i < n; ++i) {
            const Complex x = input[order[i]];
            re[i] = x.re;
            im[i] = x.im;
        }
    }
    // Each later stage's twiddles, gathered from the table made for n.
    float wr[512];
    float wi[512];
    for (; m <= n; m *= 2) {
        const int stride = n / m;
        for (int k = 0; k < m / 2; ++k) {
            wr[k] = twiddles[k * stride].re;
            wi[k] = twiddles[k * stride].im;
        }
        stage(re, im, n, m, wr, wi);
    }
    for (int i = 0; i < n; ++i) {
        output[i] = Complex{re[i], im[i]};
    }
}

} // namespace tarn
