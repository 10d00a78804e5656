// The output side's sample path: the transmission the host is playing, and
// the output callback's work of turning it into device frames.
//
// Ownership: start() takes the Transmission; take() gives it back to be
// destroyed on the calling thread, never on the audio thread (destroying it
// frees its samples and marks the engine idle). The callback marks itself
// busy while it looks at the transmission, and take() waits for that mark
// to clear after unpublishing it, so the samples cannot go while being read.
//
// render() runs on the output callback and only copies floats: silence up
// to the frame whose DAC time reaches the requested start, then the
// message on the first channel (silence on the others), converted from
// 8000 Hz to the device's rate where needed. It notes the DAC time of the
// last message sample and counts the host's underflows during a message.
//
// Times are steady_clock nanoseconds since its epoch.
#pragma once

#include "audio/RateConverter.h"
#include "engine/Transmission.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tarnaudio {

class Playout {
public:
    Playout();
    ~Playout();
    Playout(const Playout&) = delete;
    Playout& operator=(const Playout&) = delete;

    // Sets the device's rate in Hz (8000 needs no conversion); only while no
    // render() call can run (the stream closed). False when the converter
    // could not be made.
    bool prepare(double deviceRate);

    // Control thread (one at a time): plays `transmission` with its first
    // sample leaving the device at `firstSampleNs` (0 or a past time: at
    // once); returns the one it replaces, if any.
    std::unique_ptr<tarn::Transmission> start(std::unique_ptr<tarn::Transmission> transmission,
                                              int64_t firstSampleNs);
    // Control thread: unpublishes the transmission and returns it.
    std::unique_ptr<tarn::Transmission> take();

    // Audio thread: fills `frames` interleaved frames of `channels` floats.
    // `dacNs` is when the first of them leaves the device; `underflow` the
    // host's flag that audio ran out before this call.
    void render(float* out, std::size_t frames, std::size_t channels, int64_t dacNs,
                bool underflow);

    // Any thread, lock-free.
    bool holding() const { return current.load(std::memory_order_acquire) != nullptr; }
    // DAC time of the last sample of the transmission started last, once the
    // callback has handed it to the device.
    std::optional<int64_t> playedOutNs() const;
    // Gaps the host reported while the transmission started last played.
    uint64_t gaps() const { return underflows.load(std::memory_order_relaxed); }

private:
    void pull(tarn::Transmission* transmission, float* out, std::size_t count, int64_t firstNs);

    static constexpr std::size_t kChunk = 256; // engine samples per conversion

    double rate = 8000.0; // device frames per second
    std::unique_ptr<RateConverter> converter;
    std::atomic<tarn::Transmission*> current{nullptr};
    std::atomic<bool> busy{false};
    std::atomic<int64_t> startNs{0};
    std::atomic<int64_t> lastSampleNs{-1};
    std::atomic<uint64_t> underflows{0};
    std::atomic<uint64_t> generation{0}; // transmissions started
    // Audio thread only.
    const tarn::Transmission* seen = nullptr; // the transmission the state below belongs to
    uint64_t seenGeneration = 0;
    bool begun = false; // its first sample has been rendered
    std::vector<float> chunk;
    std::vector<float> pending; // converted frames not yet played
    std::size_t pendingStart = 0;
    std::size_t pendingEnd = 0;
};

} // namespace tarnaudio
