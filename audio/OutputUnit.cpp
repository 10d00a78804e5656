#include "audio/OutputUnit.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

namespace tarnaudio {

namespace {

constexpr double kEngineRate = 8000.0; // Hz
// Beyond the host's own latency, silence kept playing after the last sample
// so that nothing of the message is cut when the stream stops.
constexpr double kDrainMargin = 0.1; // seconds
// Host buffering ahead of the device. Delay does not matter on the transmit
// side, a gap does: a late render call would break the carrier's phase and
// cost a character, so the buffer rides out a busy machine.
constexpr double kPlaybackLatency = 0.25; // seconds

thread_local const OutputUnit* renderingUnit = nullptr;

} // namespace

OutputUnit::~OutputUnit() {
    close();
}

void OutputUnit::setRenderCallback(AudioPlatform::RenderCallback renderCallback,
                                   void* renderContext) {
    callback = renderCallback;
    context = renderContext;
}

bool OutputUnit::renderingOnThisThread() const {
    return renderingUnit == this;
}

bool OutputUnit::playing() const {
    return stream && started && !finished.load(std::memory_order_acquire);
}

PaError OutputUnit::open(int deviceIndex, double deviceRate) {
    close();
    const PaDeviceInfo* info = Pa_GetDeviceInfo(deviceIndex);
    if (!info || info->maxOutputChannels < 1) {
        return paInvalidDevice;
    }
    PaStreamParameters parameters{};
    parameters.device = deviceIndex;
    // Two channels as the engine renders them; a mono device gets the first.
    parameters.channelCount = std::min(2, info->maxOutputChannels);
    parameters.sampleFormat = paFloat32 | paNonInterleaved;
    parameters.suggestedLatency = std::max(kPlaybackLatency, info->defaultHighOutputLatency);
    // 8000 Hz where the device can, otherwise its own rate (or the rate
    // asked for), converted from the engine's.
    double rate = deviceRate > 0.0 ? deviceRate : kEngineRate;
    if (Pa_IsFormatSupported(nullptr, &parameters, rate) != paFormatIsSupported) {
        if (deviceRate > 0.0) {
            return paInvalidSampleRate;
        }
        rate = info->defaultSampleRate;
        const PaError status = Pa_IsFormatSupported(nullptr, &parameters, rate);
        if (status != paFormatIsSupported) {
            return status;
        }
    }
    channels = parameters.channelCount;
    converter.reset();
    const size_t deviceChunk = static_cast<size_t>(std::ceil(kChunk * rate / kEngineRate)) + 64;
    if (rate != kEngineRate) {
        converter = std::make_unique<RateConverter>(kEngineRate, rate, kChunk);
        if (!converter->ok()) {
            converter.reset();
            return paInsufficientMemory;
        }
        pending.assign(converter->maxOutputFrames() + deviceChunk, 0.0f);
    }
    left.assign(kChunk, 0.0f);
    right.assign(kChunk, 0.0f);
    PaError status = Pa_OpenStream(&stream, nullptr, &parameters, rate, kChunk * rate / kEngineRate,
                                   paClipOff, streamCallback, this);
    if (status != paNoError) {
        stream = nullptr;
        return status;
    }
    Pa_SetStreamFinishedCallback(stream, streamFinished);
    const PaStreamInfo* streamInfo = Pa_GetStreamInfo(stream);
    const double latency = streamInfo ? streamInfo->outputLatency : parameters.suggestedLatency;
    drainFrames = static_cast<long>(std::ceil((latency + kDrainMargin) * rate));
    openDevice = deviceIndex;
    started = false;
    finished.store(true, std::memory_order_release);
    return paNoError;
}

void OutputUnit::close() {
    if (stream) {
        Pa_AbortStream(stream);
        Pa_CloseStream(stream);
        stream = nullptr;
    }
    openDevice = -1;
    started = false;
    finished.store(true, std::memory_order_release);
}

PaError OutputUnit::start() {
    if (!stream) {
        return paBadStreamPtr;
    }
    // A previous message may still be playing out its last samples.
    if (Pa_IsStreamStopped(stream) == 0) {
        Pa_StopStream(stream);
    }
    stopRequested.store(false, std::memory_order_relaxed);
    drainLeft = drainFrames;
    pendingStart = pendingEnd = 0;
    if (converter) {
        converter->reset();
    }
    finished.store(false, std::memory_order_release);
    const PaError status = Pa_StartStream(stream);
    started = status == paNoError;
    if (!started) {
        finished.store(true, std::memory_order_release);
    }
    return status;
}

PaError OutputUnit::stop() {
    if (!stream) {
        return paBadStreamPtr;
    }
    const PaError status = Pa_IsStreamStopped(stream) == 0 ? Pa_StopStream(stream) : paNoError;
    started = false;
    finished.store(true, std::memory_order_release);
    return status;
}

void OutputUnit::waitUntilStopped() {
    while (playing()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    stop();
}

void OutputUnit::pullFromEngine(uint32_t frames, float* leftOut, float* rightOut) {
    const OutputUnit* previous = renderingUnit;
    renderingUnit = this;
    callback(context, frames, leftOut, rightOut);
    renderingUnit = previous;
}

void OutputUnit::fill(float* out, float* second, unsigned long frames) {
    if (!converter) {
        // Straight through at 8000 Hz, in pieces the scratch channel can hold
        // when the device has only one channel.
        while (frames > 0) {
            const uint32_t n = static_cast<uint32_t>(std::min<unsigned long>(frames, kChunk));
            pullFromEngine(n, out, second ? second : right.data());
            out += n;
            second = second ? second + n : nullptr;
            frames -= n;
        }
        return;
    }
    while (frames > 0) {
        if (pendingStart == pendingEnd) {
            pendingStart = pendingEnd = 0;
            pullFromEngine(kChunk, left.data(), right.data());
            size_t produced = 0;
            const float* converted = converter->process(left.data(), kChunk, produced);
            std::memcpy(pending.data(), converted, produced * sizeof(float));
            pendingEnd = produced;
            if (produced == 0) {
                continue;
            }
        }
        const size_t n = std::min<size_t>(frames, pendingEnd - pendingStart);
        std::memcpy(out, pending.data() + pendingStart, n * sizeof(float));
        if (second) {
            std::memset(second, 0, n * sizeof(float));
            second += n;
        }
        pendingStart += n;
        out += n;
        frames -= n;
    }
}

int OutputUnit::streamCallback(const void*, void* output, unsigned long frames,
                               const PaStreamCallbackTimeInfo*, PaStreamCallbackFlags flags,
                               void* user) {
    OutputUnit* unit = static_cast<OutputUnit*>(user);
    unit->callbacks.fetch_add(1, std::memory_order_relaxed);
    if (flags & paOutputUnderflow) {
        unit->hostUnderflows.fetch_add(1, std::memory_order_relaxed);
    }
    float** channelBuffers = static_cast<float**>(output);
    float* second = unit->channels > 1 ? channelBuffers[1] : nullptr;
    if (unit->stopRequested.load(std::memory_order_relaxed)) {
        // The message is over: silence until the host has played it all.
        for (int c = 0; c < unit->channels; ++c) {
            std::memset(channelBuffers[c], 0, frames * sizeof(float));
        }
        unit->drainLeft -= static_cast<long>(frames);
        return unit->drainLeft > 0 ? paContinue : paComplete;
    }
    unit->fill(channelBuffers[0], second, frames);
    return paContinue;
}

void OutputUnit::streamFinished(void* user) {
    static_cast<OutputUnit*>(user)->finished.store(true, std::memory_order_release);
}

} // namespace tarnaudio
