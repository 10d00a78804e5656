#include "engine/SymbolClock.h"

#include <cmath>

namespace tarn {

namespace {

constexpr double kSlipThreshold = 0.2; // compared in double

} // namespace

SymbolClock::Step SymbolClock::update(const SymbolFilter& filter, int32_t p) {
    // The 16 newest powers, oldest first, as natural logs; diff weighs the
    // older half against the newer half.
    int32_t j = p - kSamplesPerSymbol;
    if (j < 0) {
        j = p + SymbolFilter::kRing - kSamplesPerSymbol;
    }
    float sum = 0.0f;
    float diff = 0.0f;
    for (int32_t k = 0; k < kSamplesPerSymbol; ++k) {
        const float v = static_cast<float>(std::log(static_cast<double>(filter.power(j)) + 1e-12));
        sum += v;
        if (k <= 7) {
            diff += v;
        } else {
            diff -= v;
        }
        j = j > SymbolFilter::kRing - 2 ? 0 : j + 1;
    }

    bool slipped = false;
    float timing = error_.load(std::memory_order_relaxed) - diff / std::fabs(sum);
    if (timing < -kSlipThreshold) {
        phase_ += 1;
        timing = static_cast<float>(timing + kSlipThreshold);
        sinceSlip_ = 0;
        slipped = true;
    }
    if (timing > kSlipThreshold) {
        phase_ -= 1;
        timing = static_cast<float>(timing - kSlipThreshold);
        sinceSlip_ = 0;
        slipped = true;
    }
    if (phase_ < 0) {
        phase_ = kSamplesPerSymbol - 1;
    }
    if (phase_ >= kSamplesPerSymbol) {
        phase_ = 0;
    }
    // Also resets a NaN (from a window whose log powers sum to 0).
    if (!(timing > -kSlipThreshold && timing < kSlipThreshold)) {
        timing = 0.0f;
    }
    error_.store(timing, std::memory_order_relaxed);
    published_.store(phase_, std::memory_order_relaxed);
    return Step{sum, slipped};
}

} // namespace tarn
