#include "engine/SpectrumAnalyser.h"

#include <cmath>

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
    for (int32_t k = 0; k < kSize; ++k) {
        const Complex bin = spectrum_[k];
        const float power = bin.re * bin.re + bin.im * bin.im;
        logPower_[k] = static_cast<float>(std::log(power + 1e-12));
    }
    history.addRow(logPower_);
}

} // namespace tarn
