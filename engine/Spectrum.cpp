// Spectrum collection and the waterfall history.
#include "TarnData.h"

void TarnData::initGrayScaleLUT() {}
void TarnData::initSpectrumDataCollection() {}
void TarnData::processSpectrumData() {}
void TarnData::finalizeArray(const float*, float*, int) {}
const float* TarnData::getCurrentSpectrum(int) const { return normalizedSpectrumData[0]; }
