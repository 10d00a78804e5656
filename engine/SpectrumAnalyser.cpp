#include "engine/SpectrumAnalyser.h"

#include <bit>
#include <cmath>
#include <cstdint>

namespace tarn {

namespace {

const Complex* twiddles() {
    struct Table {
        Table() { initFFTCoefficients(values, SpectrumAnalyser::kSize); }
        Complex values[SpectrumAnalyser::kSize] = {};
    };
    static const Table table;
    return table.values;
}

} // namespace

void SpectrumAnalyser::analyse(WaterfallHistory& history) {
    computeFFT(block_, spectrum_, twiddles(), kSize, scratch_);
    float power[kSize];
    for (int32_t k = 0; k < kSize; ++k) {
        const Complex bin = spectrum_[k];
        power[k] = bin.re * bin.re + bin.im * bin.im;
    }
    // The input is real, so bin kSize - k is the conjugate of bin k and its
    // power is almost always the same float to the bit (in practice every
    // time). The logarithm is a pure function of that float, so where the
    // bits match, the mirror bin's value is reused instead of computed again:
    // the same number, half the logarithms.
    constexpr int32_t kHalf = kSize / 2;
    for (int32_t k = 0; k <= kHalf; ++k) {
        logPower_[k] = static_cast<float>(std::log(power[k] + 1e-12));
    }
    for (int32_t k = kHalf + 1; k < kSize; ++k) {
        const int32_t mirror = kSize - k;
        logPower_[k] = std::bit_cast<uint32_t>(power[k]) == std::bit_cast<uint32_t>(power[mirror])
                           ? logPower_[mirror]
                           : static_cast<float>(std::log(power[k] + 1e-12));
    }
    history.addRow(logPower_);
}

} // namespace tarn
