// The engine's radix-2 FFT, decimation in time. The first two stages read
// the input in bit-reversed order, four groups at a time in vector lanes;
// every later stage runs its butterflies over split real and imaginary
// arrays, several at once. Each output is the same float operations in the
// same order as the textbook recursion (even half + w·odd half, w =
// e^(-j2πk/m) from the one top-level table), so the result is the same to
// the bit, only faster: lanes only ever hold independent butterflies.
#include "engine/FFT.h"

#include "engine/Lanes.h"

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

// The same butterfly on four lanes at once, each lane its own butterfly with
// the same twiddle.
struct LanePair {
    Lanes sumRe, sumIm, differenceRe, differenceIm;
};
inline LanePair butterfly(Lanes aRe, Lanes aIm, Lanes bRe, Lanes bIm, Complex w) {
    const Lanes tr = w.re * bRe - w.im * bIm;
    const Lanes ti = w.im * bRe + w.re * bIm;
    return LanePair{aRe + tr, aIm + ti, aRe - tr, aIm - ti};
}

// Real and imaginary parts of input[at .. at + 3].
inline void loadSplit(const Complex* input, int at, Lanes& re, Lanes& im) {
    const Lanes a = loadLanes(&input[at].re);
    const Lanes b = loadLanes(&input[at + 2].re);
    re = __builtin_shufflevector(a, b, 0, 2, 4, 6);
    im = __builtin_shufflevector(a, b, 1, 3, 5, 7);
}

// a, b, c, d at out + 4·group[i] for lane i: the four lanes' results, each
// lane's four in a row.
inline void storeTransposed(float* out, const int (&group)[4], Lanes a, Lanes b, Lanes c, Lanes d) {
    const Lanes ab01 = __builtin_shufflevector(a, b, 0, 4, 1, 5);
    const Lanes ab23 = __builtin_shufflevector(a, b, 2, 6, 3, 7);
    const Lanes cd01 = __builtin_shufflevector(c, d, 0, 4, 1, 5);
    const Lanes cd23 = __builtin_shufflevector(c, d, 2, 6, 3, 7);
    storeLanes(out + 4 * group[0], __builtin_shufflevector(ab01, cd01, 0, 1, 4, 5));
    storeLanes(out + 4 * group[1], __builtin_shufflevector(ab01, cd01, 2, 3, 6, 7));
    storeLanes(out + 4 * group[2], __builtin_shufflevector(ab23, cd23, 0, 1, 4, 5));
    storeLanes(out + 4 * group[3], __builtin_shufflevector(ab23, cd23, 2, 3, 6, 7));
}

// firstStages for n ≥ 16, four groups of four at a time. Group t (outputs
// 4t .. 4t + 3) reads input r, r + n/2, r + n/4 and r + 3n/4, where r is t
// bit-reversed over log2(n) - 2 bits; taking r = 4s .. 4s + 3 in the four
// lanes makes every read four neighbours, and the groups those lanes belong
// to are t, t + n/8, t + n/16 and t + 3n/16. Each lane does exactly the
// operations the scalar loop does for its group.
void firstStagesInLanes(const Complex* input, const uint16_t* groupOrder, float* re, float* im,
                        int n, const Complex* twiddles) {
    const Complex w2 = twiddles[0];
    const Complex w40 = twiddles[0];
    const Complex w41 = twiddles[n / 4];
    for (int r = 0; r < n / 4; r += 4) {
        Lanes xRe[4];
        Lanes xIm[4];
        loadSplit(input, r, xRe[0], xIm[0]);
        loadSplit(input, r + n / 2, xRe[1], xIm[1]);
        loadSplit(input, r + n / 4, xRe[2], xIm[2]);
        loadSplit(input, r + 3 * n / 4, xRe[3], xIm[3]);
        const LanePair low = butterfly(xRe[0], xIm[0], xRe[1], xIm[1], w2);
        const LanePair high = butterfly(xRe[2], xIm[2], xRe[3], xIm[3], w2);
        const LanePair even = butterfly(low.sumRe, low.sumIm, high.sumRe, high.sumIm, w40);
        const LanePair odd = butterfly(low.differenceRe, low.differenceIm, high.differenceRe,
                                       high.differenceIm, w41);
        const int t = groupOrder[r];
        const int group[4] = {t, t + n / 8, t + n / 16, t + 3 * n / 16};
        storeTransposed(re, group, even.sumRe, odd.sumRe, even.differenceRe, odd.differenceRe);
        storeTransposed(im, group, even.sumIm, odd.sumIm, even.differenceIm, odd.differenceIm);
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
    if (n >= 16) {
        firstStagesInLanes(input, bitReversal(bits - 2), re, im, n, twiddles);
        m = 8;
    } else if (n >= 4) {
        firstStages(input, order, re, im, n, twiddles);
        m = 8;
    } else {
        for (int i = 0; i < n; ++i) {
            const Complex x = input[order[i]];
            re[i] = x.re;
            im[i] = x.im;
        }
    }
    // Each later stage's twiddles (stage m uses entries 0, n/m, 2n/m, ... of
    // the table) split into real and imaginary arrays, stage m's m/2 of them
    // at offset m/2: the last stage's straight from the table, every other
    // stage's the even entries of the stage above it. Four at a time from
    // n = 8 on, when the first stage here has four.
    float wr[1 << kMaxBits];
    float wi[1 << kMaxBits];
    if (n < 8) {
        // Only n = 2 gets here with a stage left: its one twiddle.
        for (int k = 0; k < n / 2 && m <= n; ++k) {
            wr[n / 2 + k] = twiddles[k].re;
            wi[n / 2 + k] = twiddles[k].im;
        }
    } else {
        for (int k = 0; k < n / 2; k += 4) {
            Lanes r;
            Lanes i;
            loadSplit(twiddles, k, r, i);
            storeLanes(wr + n / 2 + k, r);
            storeLanes(wi + n / 2 + k, i);
        }
        for (int half = n / 4; half >= m / 2; half /= 2) {
            for (int k = 0; k < half; k += 4) {
                const float* r = wr + 2 * half + 2 * k;
                const float* i = wi + 2 * half + 2 * k;
                storeLanes(wr + half + k,
                           __builtin_shufflevector(loadLanes(r), loadLanes(r + 4), 0, 2, 4, 6));
                storeLanes(wi + half + k,
                           __builtin_shufflevector(loadLanes(i), loadLanes(i + 4), 0, 2, 4, 6));
            }
        }
    }
    for (; m <= n; m *= 2) {
        stage(re, im, n, m, wr + m / 2, wi + m / 2);
    }
    for (int i = 0; i < n; ++i) {
        output[i] = Complex{re[i], im[i]};
    }
}

} // namespace tarn
