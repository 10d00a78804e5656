// Symbol timing, bit decisions and character assembly.
#include "TarnData.h"

void TarnData::processInputIQBuffer() {}
void TarnData::decodeSymbol0(int32_t) {}
void TarnData::decodeSymbol1() {}
void TarnData::decodeSymbol(int32_t) {}
