// Names of the audio devices the machine offers for the radio connection, as
// the audio layer knows them, for the settings screen's device choosers.
// Whoever opens the settings screen asks the audio layer and hands them over.
#pragma once

#include <QStringList>

struct AudioDeviceNames {
    QStringList inputs;  // devices with at least one input channel
    QStringList outputs; // devices with at least one output channel
};
