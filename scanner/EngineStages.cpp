#include "scanner/EngineStages.h"

#include "engine/FFT.h"
#include "engine/Filters.h"

static_assert(sizeof(scanner::stages::Complex) == sizeof(tarn::Complex));

namespace scanner::stages {

const float* symbolFilter() {
    return tarn::secondStageCoefficients;
}

void makeTwiddles(Complex* table, int n) {
    tarn::initFFTCoefficients(reinterpret_cast<tarn::Complex*>(table), n);
}

void fft(const Complex* input, Complex* output, const Complex* twiddles, int n, Complex* scratch) {
    tarn::computeFFT(reinterpret_cast<const tarn::Complex*>(input),
                     reinterpret_cast<tarn::Complex*>(output),
                     reinterpret_cast<const tarn::Complex*>(twiddles), n,
                     reinterpret_cast<tarn::Complex*>(scratch));
}

} // namespace scanner::stages
