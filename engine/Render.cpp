// PSK31 waveform rendering of a whole message.
#include "TarnData.h"

void TarnData::renderString(std::u16string_view) {}
void TarnData::renderString(std::string_view) {}
