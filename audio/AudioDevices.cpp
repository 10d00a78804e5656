#include "audio/AudioDevices.h"

#include <portaudio.h>

#include <alsa/asoundlib.h>
#include <jack/jack.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

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

// Held around a PortAudio call that opens ALSA devices (Pa_Initialize's
// probe, Pa_IsFormatSupported, Pa_OpenStream). ALSA loads a plugin module
// for each device it opens (a52 with libavcodec, speex, upmix, pulse, ...);
// those libraries allocate tables in their static constructors and keep
// them in their own globals, and once ALSA unloads the module again the
// tables look unreferenced to LeakSanitizer. They are the libraries'
// allocations, made on this thread during the call, never ours: under
// AddressSanitizer they are left out of the leak report, in other builds
// this is nothing. Everything allocated outside such a call is checked.
class SoundLibraryCall {
#if defined(__SANITIZE_ADDRESS__)
    const __lsan::ScopedDisabler notOurs;
#endif
};

} // namespace

int isFormatSupported(const PaStreamParameters* input, const PaStreamParameters* output,
                      double rate) {
    const SoundLibraryCall probe;
    return Pa_IsFormatSupported(input, output, rate);
}

int openStream(PaStream** stream, const PaStreamParameters* input, const PaStreamParameters* output,
               double rate, PaStreamFlags flags, PaStreamCallback* callback, void* user) {
    const SoundLibraryCall open;
    return Pa_OpenStream(stream, input, output, rate, paFramesPerBufferUnspecified, flags, callback,
                         user);
}

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
