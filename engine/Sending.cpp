// Starting and ending a transmission; the output render callback.
#include "TarnData.h"

bool TarnData::sendString(std::u16string_view) { return false; }
bool TarnData::sendString(std::string_view) { return false; }
void TarnData::sendCharThread(std::u16string_view) {}
void TarnData::stopAudioOutput() {}
int32_t outputRenderCallback(void*, uint32_t, float*, float*) { return 0; }
