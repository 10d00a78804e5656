// The received-text ring between the audio thread and the display.
#include "TarnData.h"

void TarnData::insertReceivedChar(char) {}
std::optional<std::string> TarnData::drainTextBuffer() { return std::nullopt; }
