#include "app/AudioDeviceList.h"

#include "audio/AudioDevices.h"
#include "log/TarnLog.h"

AudioDeviceNames listAudioDevices() {
    AudioDeviceNames names;
    // PortAudio's start-up is reference counted, so this is safe while the
    // audio layer holds its streams open.
    const tarnaudio::PortAudioSession session;
    if (session.status() != 0) {
        tarnLog("Failed to list audio devices: %d\n", session.status());
        return names;
    }
    for (const tarnaudio::DeviceInfo& device : tarnaudio::listDevices()) {
        const QString name = QString::fromStdString(device.name);
        if (device.inputChannels > 0 && !names.inputs.contains(name))
            names.inputs.append(name);
        if (device.outputChannels > 0 && !names.outputs.contains(name))
            names.outputs.append(name);
    }
    return names;
}
