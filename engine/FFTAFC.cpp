#include "engine/FFTAFC.h"

#include "engine/PhaseAFC.h"

#include <cmath>

namespace tarn {

namespace {

constexpr int kBalanceBins = 23;
constexpr double kBalanceGain = 0.3;
constexpr double kQuietBalance = 0.01;
constexpr int32_t kQuietBeforeHandOver = 19; // the 20th quiet evaluation hands over

// The 512-point twiddles, shared by every receiver.
const Complex* twiddles() {
    struct Table {
        Table() { initFFTCoefficients(values, FFTAFC::kSize); }
        Complex values[FFTAFC::kSize] = {};
    };
    static const Table table;
    return table.values;
}

} // namespace

FFTAFC::Result FFTAFC::step(const SymbolFilter& baseband, std::atomic<float>& offset) {
    Complex samples[kSize];
    Complex spectrum[kSize];
    Complex scratch[kSize];
    baseband.copyNewest(samples, kSize);
    computeFFT(samples, spectrum, twiddles(), kSize, scratch);

    // A carrier above the receive frequency puts more energy above the
    // centre; 0.01 keeps silence at a balance of 0.
    float num = 0.0f;
    float den = 0.01f;
    for (int k = 1; k <= kBalanceBins; ++k) {
        const Complex above = spectrum[k];
        const Complex below = spectrum[kSize - k];
        const float p = std::sqrt(above.re * above.re + above.im * above.im);
        const float m = std::sqrt(below.re * below.re + below.im * below.im);
        num += k * p;
        den += k * p;
        num -= k * m;
        den += k * m;
    }
    const float balance = num / den;

    // Quiet evaluations are counted since the last retune, not in a row.
    if (std::fabs(static_cast<double>(balance)) < kQuietBalance) {
        if (quiet_.fetch_add(1, std::memory_order_relaxed) >= kQuietBeforeHandOver) {
            return Result::handedOver;
        }
    }
    offset.store(clampOffset(static_cast<float>(offset.load(std::memory_order_relaxed) +
                                                kBalanceGain * balance)),
                 std::memory_order_relaxed);
    return Result::adjusted;
}

} // namespace tarn
