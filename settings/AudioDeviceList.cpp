// The one place the settings screen talks to PortAudio: a device scan.
#include "AudioDeviceList.h"

#include "TarnLog.h"

#include <portaudio.h>

AudioDeviceNames listAudioDevices() {
    AudioDeviceNames names;
    // Initialisation is reference counted, so this is safe while the audio
    // layer holds its own streams open; the scan then reflects the devices
    // PortAudio found when it was first started.
    const PaError status = Pa_Initialize();
    if (status != paNoError) {
        tarnLog("Failed to list audio devices: %s\n", Pa_GetErrorText(status));
        return names;
    }
    const PaDeviceIndex count = Pa_GetDeviceCount();
    for (PaDeviceIndex index = 0; index < count; ++index) {
        const PaDeviceInfo* info = Pa_GetDeviceInfo(index);
        if (info == nullptr || info->name == nullptr)
            continue;
        const QString name = QString::fromUtf8(info->name);
        if (info->maxInputChannels > 0 && !names.inputs.contains(name))
            names.inputs.append(name);
        if (info->maxOutputChannels > 0 && !names.outputs.contains(name))
            names.outputs.append(name);
    }
    Pa_Terminate();
    return names;
}
