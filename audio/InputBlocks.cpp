#include "audio/InputBlocks.h"

#include "engine/SampleCleaner.h"

#include <algorithm>

namespace tarnaudio {

InputBlocks::InputBlocks(double deviceRate) : mono(kChunk), ring(kRingSize) {
    if (deviceRate != kEngineRate) {
        converter = std::make_unique<RateConverter>(deviceRate, kEngineRate, kChunk);
    }
}

void InputBlocks::write(const float* frames, std::size_t count, std::size_t channels) {
    uint64_t bad = 0;
    while (count > 0) {
        const std::size_t n = std::min(count, kChunk);
        for (std::size_t i = 0; i < n; ++i) {
            mono[i] = frames[i * channels];
        }
        bad += tarn::cleanSamples(std::span<float>(mono.data(), n));
        if (converter) {
            std::size_t produced = 0;
            const float* converted = converter->process(mono.data(), n, produced);
            push(converted, produced);
        } else {
            push(mono.data(), n);
        }
        frames += n * channels;
        count -= n;
    }
    if (bad != 0) {
        cleaned.fetch_add(bad, std::memory_order_relaxed);
    }
}

void InputBlocks::push(const float* samples, std::size_t count) {
    const uint64_t end = tail.load(std::memory_order_relaxed);
    const uint64_t room = kRingSize - (end - head.load(std::memory_order_acquire));
    const std::size_t n = std::min<std::size_t>(count, room);
    for (std::size_t i = 0; i < n; ++i) {
        ring[(end + i) % kRingSize] = samples[i];
    }
    tail.store(end + n, std::memory_order_release);
    if (n < count) {
        dropped.fetch_add(count - n, std::memory_order_relaxed);
    }
}

bool InputBlocks::takeBlock(std::span<float, kBlockSamples> block) {
    const uint64_t start = head.load(std::memory_order_relaxed);
    if (tail.load(std::memory_order_acquire) - start < kBlockSamples) {
        return false;
    }
    for (std::size_t i = 0; i < kBlockSamples; ++i) {
        block[i] = ring[(start + i) % kRingSize];
    }
    head.store(start + kBlockSamples, std::memory_order_release);
    return true;
}

} // namespace tarnaudio
