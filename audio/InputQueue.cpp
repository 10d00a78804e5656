#include "audio/InputQueue.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tarnaudio {

namespace {

constexpr double kEngineRate = 8000.0; // Hz
constexpr double kBlockSeconds = 0.25; // one engine buffer
// Host buffering behind the callback, which runs the receive chain: two
// engine buffers, so that a slow block (a replay of the 8 s history after a
// retune) loses nothing. Sound servers deliver in pieces of about half this,
// so more would make the text arrive in bursts.
constexpr double kCaptureLatency = 0.5; // seconds

} // namespace

InputQueue::InputQueue(AudioPlatform::InputCallback inputCallback, void* inputContext)
    : callback(inputCallback), context(inputContext), mono(kChunk) {}

InputQueue::~InputQueue() {
    close();
}

int32_t InputQueue::allocateBuffer(uint32_t byteSize, AudioHandle* buffer) {
    if (byteSize < sizeof(float) || buffers.size() >= kFifoSize) {
        return paInsufficientMemory;
    }
    auto made = std::make_unique<Buffer>();
    made->samples.resize(byteSize / sizeof(float));
    *buffer = made.get();
    buffers.push_back(std::move(made));
    return paNoError;
}

int32_t InputQueue::enqueue(AudioHandle handle) {
    Buffer* buffer = static_cast<Buffer*>(handle);
    const uint32_t end = tail.load(std::memory_order_relaxed);
    if (!buffer || end - head.load(std::memory_order_acquire) >= kFifoSize) {
        return paBadBufferPtr;
    }
    fifo[end % kFifoSize] = buffer;
    tail.store(end + 1, std::memory_order_release);
    return paNoError;
}

InputQueue::Buffer* InputQueue::pop() {
    const uint32_t start = head.load(std::memory_order_relaxed);
    if (start == tail.load(std::memory_order_acquire)) {
        return nullptr;
    }
    Buffer* buffer = fifo[start % kFifoSize];
    head.store(start + 1, std::memory_order_release);
    return buffer;
}

void InputQueue::prepareConversion(double deviceRate) {
    converter.reset();
    if (deviceRate != kEngineRate) {
        converter = std::make_unique<RateConverter>(deviceRate, kEngineRate, kChunk);
    }
}

PaError InputQueue::open(int device, double deviceRate) {
    close();
    const PaDeviceInfo* info = Pa_GetDeviceInfo(device);
    if (!info || info->maxInputChannels < 1) {
        return paInvalidDevice;
    }
    PaStreamParameters parameters{};
    parameters.device = device;
    parameters.sampleFormat = paFloat32;
    parameters.suggestedLatency = std::max(kCaptureLatency, info->defaultHighInputLatency);
    // Mono where the device offers it, otherwise the first of two channels;
    // 8000 Hz where it can, otherwise its own rate (or the rate asked for).
    const double rates[] = {deviceRate > 0.0 ? deviceRate : kEngineRate,
                            deviceRate > 0.0 ? deviceRate : info->defaultSampleRate};
    double rate = 0.0;
    PaError status = paInvalidSampleRate;
    for (int wanted : {1, 2}) {
        parameters.channelCount = std::min(wanted, info->maxInputChannels);
        for (double candidate : rates) {
            status = Pa_IsFormatSupported(&parameters, nullptr, candidate);
            if (status == paFormatIsSupported) {
                rate = candidate;
                break;
            }
        }
        if (rate > 0.0) {
            break;
        }
    }
    if (rate <= 0.0) {
        return status;
    }
    channels = parameters.channelCount;
    prepareConversion(rate);
    if (converter && !converter->ok()) {
        converter.reset();
        return paInsufficientMemory;
    }
    const auto framesPerBuffer = static_cast<unsigned long>(std::lround(rate * kBlockSeconds));
    status = Pa_OpenStream(&stream, &parameters, nullptr, rate, framesPerBuffer, paClipOff,
                           streamCallback, this);
    if (status != paNoError) {
        stream = nullptr;
    }
    return status;
}

PaError InputQueue::start() {
    if (!stream) {
        return paBadStreamPtr;
    }
    return Pa_StartStream(stream);
}

void InputQueue::close() {
    if (stream) {
        Pa_AbortStream(stream);
        Pa_CloseStream(stream);
        stream = nullptr;
    }
}

int InputQueue::streamCallback(const void* input, void*, unsigned long frames,
                               const PaStreamCallbackTimeInfo*, PaStreamCallbackFlags flags,
                               void* user) {
    InputQueue* queue = static_cast<InputQueue*>(user);
    queue->callbacks.fetch_add(1, std::memory_order_relaxed);
    if (flags & paInputOverflow) {
        queue->hostOverflows.fetch_add(1, std::memory_order_relaxed);
    }
    if (input) {
        queue->deliverDeviceSamples(static_cast<const float*>(input), frames,
                                    static_cast<size_t>(queue->channels));
    }
    return paContinue;
}

void InputQueue::deliverDeviceSamples(const float* samples, size_t count, size_t stride) {
    while (count > 0) {
        const size_t n = std::min(count, kChunk);
        for (size_t i = 0; i < n; ++i) {
            // A broken driver's NaN or infinity would poison the filters and
            // the spectrum for good; silence instead.
            const float x = samples[i * stride];
            mono[i] = std::isfinite(x) ? x : 0.0f;
        }
        if (converter) {
            size_t produced = 0;
            const float* converted = converter->process(mono.data(), n, produced);
            deliver(converted, produced);
        } else {
            deliver(mono.data(), n);
        }
        samples += n * stride;
        count -= n;
    }
}

void InputQueue::deliver(const float* samples, size_t count) {
    while (count > 0) {
        if (!filling) {
            filling = pop();
            filled = 0;
            if (!filling) {
                droppedSamples.fetch_add(count, std::memory_order_relaxed);
                return;
            }
        }
        const size_t capacity = filling->samples.size();
        const size_t n = std::min(count, capacity - filled);
        std::memcpy(filling->samples.data() + filled, samples, n * sizeof(float));
        filled += n;
        samples += n;
        count -= n;
        if (filled == capacity) {
            Buffer* full = filling;
            filling = nullptr;
            callback(context, this, full, full->samples.data(),
                     static_cast<uint32_t>(capacity * sizeof(float)));
        }
    }
}

} // namespace tarnaudio
