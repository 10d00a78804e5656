// Setting, nudging and locking the tuned frequency.
#include "TarnData.h"

void TarnData::setFrequency(double) {}
void TarnData::nudgeFrequency(double) {}
void TarnData::lockFrequency() {}
