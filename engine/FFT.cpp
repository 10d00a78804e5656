// The engine's radix-2 FFT.
#include "TarnData.h"

void TarnData::initFFTCoefficients(TarnComplex*, int) {}
void TarnData::computeFFT(const TarnComplex*, TarnComplex*, const TarnComplex*, int, TarnComplex*) {}
void TarnData::fftRecursive(const TarnComplex*, int, int, TarnComplex*, TarnComplex*,
                            const TarnComplex*) {}
