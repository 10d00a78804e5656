#include "app/AudioBackend.h"

#include "audio/PortAudioPlatform.h"
#include "settings/SettingsStore.h"

AudioBackend::AudioBackend(SettingsStore& store, FormFactor formFactor) {
    tarnaudio::AudioOptions options;
    options.inputDevice = store.stringForKey("radioInputDevice").value_or(QString()).toStdString();
    options.outputDevice =
        store.stringForKey("radioOutputDevice").value_or(QString()).toStdString();
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
