// The output unit on PortAudio: a playback stream of two non-interleaved
// float channels whose callback pulls the transmit signal from the engine's
// render callback at 8000 Hz (converted to the device's rate where needed).
//
// The engine stops the unit from inside its render callback when a message
// has been played. PortAudio cannot stop a stream from its own callback, so
// such a stop is only noted: the stream then plays silence for as long as
// the host still holds audio, so the end of the message reaches the device,
// and completes by itself.
#pragma once

#include "audio/AudioPlatform.h"
#include "audio/RateConverter.h"

#include <portaudio.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace tarnaudio {

class OutputUnit {
public:
    OutputUnit() = default;
    ~OutputUnit();
    OutputUnit(const OutputUnit&) = delete;
    OutputUnit& operator=(const OutputUnit&) = delete;

    void setRenderCallback(AudioPlatform::RenderCallback callback, void* context);
    AudioPlatform::RenderCallback renderCallback() const { return callback; }
    void* renderContext() const { return context; }

    // Stream operations: under the platform's lock, never on the audio thread.
    // Opens the playback stream on `device` at `deviceRate` Hz, or for 0 at
    // 8000 Hz where the device can and else at its own rate.
    PaError open(int device, double deviceRate);
    void close();
    int device() const { return openDevice; }
    bool isOpen() const { return stream != nullptr; }
    PaError start();
    // Stops at once (waiting for queued audio to play) from a non-audio thread.
    PaError stop();
    // Blocks until a stream that was started has played out and stopped.
    void waitUntilStopped();

    // True while a started stream has not yet completed its drain.
    bool playing() const;
    // The engine asked to stop from inside the render callback; the stream
    // winds down by itself. Any thread, lock-free.
    void noteStopFromRender() { stopRequested.store(true, std::memory_order_relaxed); }
    bool stopWasRequested() const { return stopRequested.load(std::memory_order_relaxed); }
    // True on the thread currently running this unit's render callback.
    bool renderingOnThisThread() const;

    // Pulls `frames` frames from the engine into two 8000 Hz buffers, marking
    // this thread as the render thread for the call (also used to run a
    // message out when its device has gone).
    void pullFromEngine(uint32_t frames, float* left, float* right);

    std::atomic<uint64_t> callbacks{0};
    std::atomic<uint64_t> hostUnderflows{0}; // the device ran dry: a gap on the air

private:
    static int streamCallback(const void* input, void* output, unsigned long frames,
                              const PaStreamCallbackTimeInfo* time, PaStreamCallbackFlags flags,
                              void* user);
    static void streamFinished(void* user);
    void fill(float* out, float* second, unsigned long frames);

    static constexpr size_t kChunk = 256; // engine frames pulled at a time

    AudioPlatform::RenderCallback callback = nullptr;
    void* context = nullptr;
    PaStream* stream = nullptr;
    int openDevice = -1;
    int channels = 2;
    bool started = false;
    std::atomic<bool> stopRequested{false};
    std::atomic<bool> finished{true};
    long drainFrames = 0; // device frames of silence to play after a stop
    long drainLeft = 0;   // audio thread: what is left of it
    std::unique_ptr<RateConverter> converter;
    std::vector<float> left, right, silence;
    std::vector<float> pending; // converted samples not yet played
    size_t pendingStart = 0;
    size_t pendingEnd = 0;
};

} // namespace tarnaudio
