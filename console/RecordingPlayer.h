// Feeds an audio file into the receiver as if it came from the radio.
//
// RecordingPlayer stands between the engine and the machine's audio
// platform: everything passes through to the real platform, except that the
// engine's input callback is captured. While a recording plays, a player
// thread delivers the file in 2000-sample blocks (250 ms) every 250 ms
// through that same callback, and live input blocks are handed straight
// back to their queue unused. The player thread only moves samples.
#pragma once

#include "audio/AudioPlatform.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace audiofile {
class AudioFileReader;
}

class RecordingPlayer final : public AudioPlatform {
public:
    // `idiom` is the form factor reported to the engine (1 tablet, 0 phone).
    RecordingPlayer(AudioPlatform& platform, int idiom);
    ~RecordingPlayer() override;

    // Starts playing `path` (any rate and channel count libsndfile reads; the
    // first channel). Stops a recording already playing. Returns an empty
    // string, or the reason the file cannot be played.
    std::string play(const std::string& path);
    void stop();
    bool isPlaying() const { return playing.load(std::memory_order_acquire); }
    // Blocks delivered from the current or last recording.
    int64_t blocksDelivered() const { return delivered.load(std::memory_order_relaxed); }
    // Fraction of the current recording delivered, 0.0 .. 1.0.
    double progress() const { return fraction.load(std::memory_order_relaxed); }

    std::optional<int> userInterfaceIdiom() override { return idiom; }
    int32_t sessionInitialize(InterruptionListener listener, void* context) override;
    int32_t sessionSetCategoryPlayAndRecord() override;
    int32_t sessionSetDefaultToSpeaker(uint32_t enable) override;
    int32_t sessionOverrideRouteToSpeaker(bool speaker) override;
    int32_t sessionSetActive(bool active) override;
    int32_t queueNewInput(const AudioStreamFormat& format, InputCallback callback, void* context,
                          AudioHandle* queue) override;
    int32_t queueAllocateBuffer(AudioHandle queue, uint32_t byteSize, AudioHandle* buffer) override;
    int32_t queueEnqueueBuffer(AudioHandle queue, AudioHandle buffer) override;
    int32_t queueStart(AudioHandle queue) override;
    bool outputFindComponent() override;
    int32_t outputInstanceNew(AudioHandle* unit) override;
    int32_t outputEnableIO(AudioHandle unit, uint32_t scope, uint32_t element,
                           uint32_t enable) override;
    int32_t outputSetRenderCallback(AudioHandle unit, RenderCallback callback,
                                    void* context) override;
    int32_t outputSetStreamFormat(AudioHandle unit, const AudioStreamFormat& format) override;
    int32_t outputInitialize(AudioHandle unit) override;
    int32_t outputStart(AudioHandle unit) override;
    int32_t outputStop(AudioHandle unit) override;

private:
    static void liveInput(void* self, AudioHandle queue, AudioHandle buffer, const float* samples,
                          uint32_t byteSize);
    void run(std::unique_ptr<audiofile::AudioFileReader> reader);

    AudioPlatform& platform;
    int idiom;
    // The engine's input callback and queue, set once at engine construction.
    InputCallback engineCallback = nullptr;
    void* engineContext = nullptr;
    AudioHandle engineQueue = nullptr;
    // Handle of the player's one buffer; the engine gives it back through
    // queueEnqueueBuffer like any other.
    char playerBuffer = 0;

    std::mutex controlLock; // start/stop from the main thread
    std::thread thread;
    std::atomic<bool> playing{false};
    std::atomic<bool> stopRequested{false};
    std::atomic<int64_t> delivered{0};
    std::atomic<double> fraction{0.0};
};
