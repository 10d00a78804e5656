// The spectrum analyser: live input collected in blocks of 1024 samples
// (128 ms, no overlap, no window); each block's 1024-point transform becomes
// ln(re² + im² + 1e-12) per bin (bin k at k × 7.8125 Hz) and the next row of
// the waterfall history.
#pragma once

#include "engine/FFT.h"
#include "engine/WaterfallHistory.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tarn {

class SpectrumAnalyser {
public:
    static constexpr int32_t kSize = 1024;

    // Live input, any length; each 1024th sample adds a row to `history`.
    void push(std::span<const float> samples, WaterfallHistory& history) {
        while (!samples.empty()) {
            const size_t count = std::min(static_cast<size_t>(kSize - count_), samples.size());
            Complex* to = block_ + count_;
            for (size_t n = 0; n < count; ++n) {
                to[n] = Complex{samples[n], 0.0f};
            }
            count_ += static_cast<int32_t>(count);
            samples = samples.subspan(count);
            if (count_ == kSize) {
                count_ = 0;
                analyse(history);
            }
        }
    }

private:
    void analyse(WaterfallHistory& history);

    Complex block_[kSize] = {};
    Complex spectrum_[kSize] = {};
    Complex scratch_[kSize] = {};
    float logPower_[kSize] = {};
    int32_t count_ = 0; // samples of the block so far
};

} // namespace tarn
