#include "scanner/EngineStages.h"

#include "engine/TarnData.h"

static_assert(sizeof(scanner::stages::Complex) == sizeof(TarnComplex));

namespace scanner::stages {

const float* symbolFilter() {
    return TarnData::secondStageCoefficients;
}

void makeTwiddles(Complex* table, int n) {
    TarnData::initFFTCoefficients(reinterpret_cast<TarnComplex*>(table), n);
}

void fft(const Complex* input, Complex* output, const Complex* twiddles, int n, Complex* scratch) {
    TarnData::computeFFT(
        reinterpret_cast<const TarnComplex*>(input), reinterpret_cast<TarnComplex*>(output),
        reinterpret_cast<const TarnComplex*>(twiddles), n, reinterpret_cast<TarnComplex*>(scratch));
}

} // namespace scanner::stages
