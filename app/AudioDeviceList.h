// The settings screen's device scan, through the audio layer's own listing so
// that the names offered are exactly those it opens devices by.
#pragma once

#include "settings/AudioDeviceNames.h"

// Asks the audio system for its devices. Nothing is listed (and a log line
// says why) when the audio system cannot be started.
AudioDeviceNames listAudioDevices();
