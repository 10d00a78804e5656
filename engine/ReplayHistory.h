// The last 64000 input samples (8 s at 8000 Hz), so that a retune can run
// the receiver over what was already on the air.
#pragma once

#include <cstdint>

namespace tarn {

class ReplayHistory {
public:
    static constexpr int32_t kSamples = 64000;

    void push(float x) {
        samples_[index_] = x;
        index_ = index_ > kSamples - 2 ? 0 : index_ + 1;
    }

    // Calls visit(x) for every stored sample, oldest first.
    template <typename Visit> void replay(Visit&& visit) const {
        for (int32_t n = index_; n < kSamples; ++n) {
            visit(samples_[n]);
        }
        for (int32_t n = 0; n < index_; ++n) {
            visit(samples_[n]);
        }
    }

private:
    float samples_[kSamples] = {};
    int32_t index_ = 0; // next write position, the oldest sample
};

} // namespace tarn
