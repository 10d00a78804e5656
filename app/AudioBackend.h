// The console's sound devices: the radio's input and output from the
// settings "radioInputDevice" and "radioOutputDevice" (empty: the system's
// default devices). Without a sound device or server the console still
// runs; the audio host logs what failed.
#pragma once

#include "audio/AudioHost.h"

class SettingsStore;

tarnaudio::AudioHostOptions audioHostOptions(SettingsStore& store);
