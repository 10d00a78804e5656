// The machine's audio system for the engine: the radio's sound devices
// through PortAudio, or no hardware at all when the console is built without
// it. Device names come from the settings "radioInputDevice" and
// "radioOutputDevice" (empty: the system's default devices).
#pragma once

#include "TarnViewController.h"

#include <memory>

class AudioPlatform;
class SettingsStore;

class AudioBackend {
public:
    AudioBackend(SettingsStore& store, FormFactor formFactor);
    ~AudioBackend();
    AudioPlatform& platform() { return *audio; }

private:
    std::unique_ptr<AudioPlatform> audio;
};
