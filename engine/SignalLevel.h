// Signal level and squelch, both natural logs of power (I² + Q² + 1e-12).
// The level is a slow average (0.99 per symbol) of the mean log power of
// each symbol's 16 baseband samples; decisions and AFC run only while it is
// strictly above the squelch. Both are atomics: the level is read and the
// squelch written from the display's thread.
#pragma once

#include <atomic>

namespace tarn {

class SignalLevel {
public:
    explicit SignalLevel(float squelch) : squelch_(squelch) {}

    // One symbol: `logSum` is the sum of its 16 log powers.
    void update(float logSum) {
        // 1 - 0.99 as double arithmetic yields it, on the mean of 16.
        constexpr double kKeep = 0.99;
        constexpr double kNew = 0.010000000000000009;
        constexpr double kMeanOf16 = 0.0625;
        level_.store(static_cast<float>(kKeep * level_.load(std::memory_order_relaxed) +
                                        kNew * kMeanOf16 * logSum),
                     std::memory_order_relaxed);
    }

    bool open() const { return level() > squelch(); }
    float level() const { return level_.load(std::memory_order_relaxed); }
    float squelch() const { return squelch_.load(std::memory_order_relaxed); }
    void setSquelch(float level) { squelch_.store(level, std::memory_order_relaxed); }

private:
    std::atomic<float> level_{0.0f};
    std::atomic<float> squelch_;
};

} // namespace tarn
