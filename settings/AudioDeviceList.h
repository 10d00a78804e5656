// Names of the audio devices the machine offers for the radio connection, as
// the audio layer knows them, for the settings screen's device choosers.
#pragma once

#include <QStringList>

struct AudioDeviceNames {
    QStringList inputs;  // devices with at least one input channel
    QStringList outputs; // devices with at least one output channel
};

// Asks the audio system for its devices. Nothing is listed (and a log line
// says why) when the audio system cannot be started.
AudioDeviceNames listAudioDevices();
