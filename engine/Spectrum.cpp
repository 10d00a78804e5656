// Spectrum collection: every 1024 live input samples (128 ms) become one
// unwindowed 1024-point transform, ln(power + 1e-12) per bin, and the next
// row of the waterfall history.
#include "engine/Engine.h"

#include <cmath>

namespace tarn {

void Engine::processSpectrumData() {
    computeFFT(rawAudioSamplesForFFT, rawFFTOutput, spectrum_coeff_vector, kSpectrumSize,
               spectrumFFTScratch);
    for (int k = 0; k < kSpectrumSize; ++k) {
        const Complex bin = rawFFTOutput[k];
        const float power = bin.re * bin.re + bin.im * bin.im;
        logScaleSpectrumData[k] = static_cast<float>(std::log(power + 1e-12));
    }
    waterfall.addRow(logScaleSpectrumData);
}

} // namespace tarn
