// The input queue on PortAudio: a capture stream whose callback turns the
// device's audio into 8000 Hz mono blocks and hands each full buffer to the
// engine's input callback, on PortAudio's audio thread. The engine gives each
// buffer back (enqueue) when it is done with it; while no buffer is free,
// incoming audio is dropped and counted.
#pragma once

#include "audio/AudioPlatform.h"
#include "audio/RateConverter.h"

#include <portaudio.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace tarnaudio {

class InputQueue {
public:
    InputQueue(AudioPlatform::InputCallback callback, void* context);
    ~InputQueue();
    InputQueue(const InputQueue&) = delete;
    InputQueue& operator=(const InputQueue&) = delete;

    // A buffer of byteSize bytes (byteSize / 4 samples), made before the
    // stream starts.
    int32_t allocateBuffer(uint32_t byteSize, AudioHandle* buffer);
    // Hands a buffer to the queue: before the start, or from the input
    // callback. Lock-free.
    int32_t enqueue(AudioHandle buffer);

    // Opens the capture stream on `device` at `deviceRate` Hz, or for 0 at
    // 8000 Hz where the device can and else at its own rate; other rates are
    // converted to 8000 Hz. Stream operations run under the platform's lock,
    // never on the audio thread.
    PaError open(int device, double deviceRate);
    PaError start();
    void close();
    bool isOpen() const { return stream != nullptr; }
    bool active() const { return stream && Pa_IsStreamActive(stream) == 1; }

    bool startRequested = false; // the engine started the queue
    std::atomic<uint64_t> callbacks{0};
    std::atomic<uint64_t> droppedSamples{0}; // no free buffer: the engine fell behind
    std::atomic<uint64_t> hostOverflows{0};  // the host lost audio before the callback

    // Feeds device samples (already mono, any rate the queue was opened
    // with) through conversion into the engine's blocks. Audio thread only;
    // public so that tests can drive it without a device.
    void deliverDeviceSamples(const float* samples, size_t count, size_t stride);
    // Sets up the conversion from `deviceRate` without a stream (tests).
    void prepareConversion(double deviceRate);

private:
    struct Buffer {
        std::vector<float> samples;
    };
    static constexpr uint32_t kFifoSize = 16;
    static constexpr size_t kChunk = 1024; // device frames converted at a time

    static int streamCallback(const void* input, void* output, unsigned long frames,
                              const PaStreamCallbackTimeInfo* time, PaStreamCallbackFlags flags,
                              void* user);
    Buffer* pop();
    void deliver(const float* samples, size_t count);

    AudioPlatform::InputCallback callback;
    void* context;
    std::vector<std::unique_ptr<Buffer>> buffers;
    std::array<Buffer*, kFifoSize> fifo{};
    std::atomic<uint32_t> head{0};
    std::atomic<uint32_t> tail{0};
    Buffer* filling = nullptr;
    size_t filled = 0;

    PaStream* stream = nullptr;
    int channels = 1;
    std::unique_ptr<RateConverter> converter;
    std::vector<float> mono;
};

} // namespace tarnaudio
