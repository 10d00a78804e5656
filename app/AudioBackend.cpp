#include "app/AudioBackend.h"

#include "audio/PortAudioPlatform.h"
#include "settings/SettingsStore.h"

AudioBackend::AudioBackend(SettingsStore& store, FormFactor formFactor) {
    tarnaudio::AudioOptions options;
    options.inputDevice = store.radioInputDevice().toStdString();
    options.outputDevice = store.radioOutputDevice().toStdString();
    options.phone = formFactor == FormFactor::phone;
    audio = std::make_unique<tarnaudio::PortAudioPlatform>(options);
}

AudioBackend::~AudioBackend() = default;

AudioPlatform& AudioBackend::platform() {
    return *audio;
}

void AudioBackend::shutdown() {
    audio->shutdown();
}
