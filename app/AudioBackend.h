// The machine's audio system for the engine: the radio's sound devices
// through PortAudio. Device names come from the settings "radioInputDevice"
// and "radioOutputDevice" (empty: the system's default devices). Without a
// sound device or server the console still runs; the engine logs what failed.
#pragma once

#include "console/TarnViewController.h"

#include <memory>

class AudioPlatform;
class SettingsStore;
namespace tarnaudio {
class PortAudioPlatform;
}

class AudioBackend {
public:
    AudioBackend(SettingsStore& store, FormFactor formFactor);
    ~AudioBackend();
    AudioPlatform& platform();
    // Stops both streams and their threads. Call it before the console (and
    // with it the engine) is destroyed: until then the audio threads call
    // into the engine.
    void shutdown();

private:
    std::unique_ptr<tarnaudio::PortAudioPlatform> audio;
};
