#include "audio/AudioDevices.h"

#include <portaudio.h>

#include <alsa/asoundlib.h>
#include <jack/jack.h>

#include <algorithm>
#include <cctype>

namespace tarnaudio {

namespace {

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// ALSA reports every card and plugin it cannot open while PortAudio probes
// them; none of that is the operator's business.
extern "C" void ignoreAlsaError(const char*, int, const char*, int, const char*, ...) {}
// Likewise the JACK client library, which reports an absent JACK server.
extern "C" void ignoreJackMessage(const char*) {}

} // namespace

int initializePortAudioQuietly() {
    snd_lib_error_set_handler(ignoreAlsaError);
    jack_set_error_function(ignoreJackMessage);
    jack_set_info_function(ignoreJackMessage);
    const SoundLibraryCall probe;
    return Pa_Initialize();
}

std::vector<DeviceInfo> listDevices() {
    std::vector<DeviceInfo> devices;
    const int count = Pa_GetDeviceCount();
    const PaDeviceIndex defaultIn = Pa_GetDefaultInputDevice();
    const PaDeviceIndex defaultOut = Pa_GetDefaultOutputDevice();
    for (int i = 0; i < count; ++i) {
        const PaDeviceInfo* info = Pa_GetDeviceInfo(i);
        if (!info) {
            continue;
        }
        const PaHostApiInfo* api = Pa_GetHostApiInfo(info->hostApi);
        devices.push_back(DeviceInfo{i, info->name ? info->name : "", api ? api->name : "",
                                     info->maxInputChannels, info->maxOutputChannels,
                                     info->defaultSampleRate, i == defaultIn, i == defaultOut});
    }
    return devices;
}

std::optional<int> findDevice(const std::string& name, bool input) {
    if (name.empty() || name == kSystemDefault) {
        const PaDeviceIndex index =
            input ? Pa_GetDefaultInputDevice() : Pa_GetDefaultOutputDevice();
        if (index == paNoDevice) {
            return std::nullopt;
        }
        return index;
    }
    std::optional<int> partial;
    int partialMatches = 0;
    const std::string wanted = lower(name);
    for (const DeviceInfo& device : listDevices()) {
        if ((input ? device.inputChannels : device.outputChannels) < 1) {
            continue;
        }
        if (device.name == name) {
            return device.index;
        }
        if (lower(device.name).find(wanted) != std::string::npos) {
            partial = device.index;
            ++partialMatches;
        }
    }
    return partialMatches == 1 ? partial : std::nullopt;
}

PortAudioSession::PortAudioSession() : error(initializePortAudioQuietly()) {}

PortAudioSession::~PortAudioSession() {
    if (error == paNoError) {
        terminatePortAudio();
    }
}

void terminatePortAudio() {
    Pa_Terminate();
}

} // namespace tarnaudio
