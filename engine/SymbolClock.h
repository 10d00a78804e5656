// The symbol clock: which of the 16 baseband samples of a symbol (31.25
// baud) is the decision instant, kept by balancing the log power of the
// older and newer halves of the 16 samples ending there. PSK31's power dip at
// each phase reversal is what moves it: more power in the older half means
// the dip lies late, and past a threshold the instant moves one sample later.
//
// Threads: update runs on the receive chain's thread; resetError and the
// getters may be called from any thread.
#pragma once

#include "engine/SymbolFilter.h"

#include <atomic>
#include <cstdint>

namespace tarn {

class SymbolClock {
public:
    static constexpr int32_t kSamplesPerSymbol = 16;

    // True when the baseband sample just written (next write position p) is
    // the decision instant.
    bool atInstant(int32_t p) const { return p % kSamplesPerSymbol == phase_; }

    // Counts one baseband sample towards the hold-off after a slip.
    void countSample() { ++sinceSlip_; }
    // Decisions wait 9 samples after an instant moved later, so that no
    // symbol is decided twice.
    bool decisionsAllowed() const { return sinceSlip_ >= 9; }

    struct Step {
        float logSum; // Σ ln(power + 1e-12) over the 16 samples
        bool slipped; // the instant moved by one sample
    };
    // At an instant: weighs the 16 powers ending at p and moves the instant
    // when the accumulated error passes ±0.2.
    Step update(const SymbolFilter& filter, int32_t p);

    // Clears the accumulated timing error (a full retune). Any thread.
    void resetError() { error_.store(0.0f, std::memory_order_relaxed); }

    int32_t phase() const { return published_.load(std::memory_order_relaxed); } // 0 .. 15
    float error() const { return error_.load(std::memory_order_relaxed); }       // -0.2 .. 0.2

private:
    int32_t phase_ = 8;
    int32_t sinceSlip_ = 0;
    std::atomic<float> error_{0.0f};
    std::atomic<int32_t> published_{8};
};

} // namespace tarn
