// The input side's sample path, between the capture callback and the
// consumer: device frames in (any rate, one or more interleaved channels),
// whole 2000-sample blocks of 8000 Hz mono out.
//
// write() runs on the capture callback and only moves samples: it takes the
// first channel, turns NaN into 0 and clamps infinities (a broken driver's
// values would poison the receiver's filters for good), converts the rate
// and appends to a lock-free ring of 2 s. When the ring is full the samples
// are dropped and counted. takeBlock() runs on the host's own thread and
// hands out the next whole block.
#pragma once

#include "audio/RateConverter.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace tarnaudio {

// The receiver's block: 2000 samples, 250 ms at 8000 Hz.
inline constexpr std::size_t kBlockSamples = 2000;
inline constexpr double kEngineRate = 8000.0; // Hz

class InputBlocks {
public:
    // `deviceRate` in Hz; 8000 needs no conversion. ok() is false when the
    // converter could not be made.
    explicit InputBlocks(double deviceRate);
    InputBlocks(const InputBlocks&) = delete;
    InputBlocks& operator=(const InputBlocks&) = delete;
    bool ok() const { return !converter || converter->ok(); }

    // Capture thread: `frames` frames of `channels` interleaved floats.
    void write(const float* frames, std::size_t count, std::size_t channels);
    // Consumer thread: copies the next whole block into `block`; false when
    // fewer than 2000 samples are waiting.
    bool takeBlock(std::span<float, kBlockSamples> block);

    // Samples dropped because the consumer fell 2 s behind; any thread.
    uint64_t droppedSamples() const { return dropped.load(std::memory_order_relaxed); }
    // Values that were NaN or infinite; any thread.
    uint64_t cleanedSamples() const { return cleaned.load(std::memory_order_relaxed); }

private:
    void push(const float* samples, std::size_t count);

    static constexpr std::size_t kRingSize = 16384; // a power of two above 2 s
    static constexpr std::size_t kChunk = 1024;     // device frames converted at a time

    std::unique_ptr<RateConverter> converter;
    std::vector<float> mono;
    std::vector<float> ring;
    std::atomic<uint64_t> head{0}; // next sample to read (consumer)
    std::atomic<uint64_t> tail{0}; // next sample to write (capture)
    std::atomic<uint64_t> dropped{0};
    std::atomic<uint64_t> cleaned{0};
};

} // namespace tarnaudio
