#include "AudioBackend.h"

#include "AudioPlatform.h"
#include "SettingsStore.h"

AudioBackend::AudioBackend(SettingsStore&, FormFactor formFactor)
    : audio(std::make_unique<NullAudioPlatform>(static_cast<int>(formFactor))) {}

AudioBackend::~AudioBackend() = default;
