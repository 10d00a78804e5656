// The last 64000 input samples (8 s at 8000 Hz), so that a retune can run
// the receiver over what was already on the air.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tarn {

class ReplayHistory {
public:
    static constexpr int32_t kSamples = 64000;

    // Appends a block of input, any length.
    void push(std::span<const float> block) {
        while (!block.empty()) {
            const size_t count = std::min(static_cast<size_t>(kSamples - index_), block.size());
            std::copy_n(block.data(), count, samples_ + index_);
            index_ = index_ + static_cast<int32_t>(count) == kSamples
                         ? 0
                         : index_ + static_cast<int32_t>(count);
            block = block.subspan(count);
        }
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
