// Automatic frequency control: the FFT acquisition stage and the phase stage.
#include "TarnData.h"

void TarnData::afcReset() {}
void TarnData::setAutomaticFrequencyControl(bool on) { _automaticFrequencyControl = on; }
void TarnData::automaticFrequencyAdjust(float, float) {}
void TarnData::FFTBasedAFC() {}
