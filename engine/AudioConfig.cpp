// Audio session, input queue and output unit configuration.
#include "TarnData.h"

void TarnData::configureAudioSession() {}
void TarnData::reconfigureAudioPorts() {}
void TarnData::configureInputAudioQueue() {}
void TarnData::configureOutputAudio() {}
void inputQueueCallback(void*, AudioHandle, AudioHandle, const float*, uint32_t) {}
void audioSessionInterruptionListener(void*, uint32_t) {}
