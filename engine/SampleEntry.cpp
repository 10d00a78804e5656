// Sample entry, mixer and history replay.
#include "TarnData.h"

void TarnData::processInputAudioSamples(const float*, int32_t) {}
void TarnData::processInputAudioSample(float) {}
void TarnData::replayAudioInput() {}
