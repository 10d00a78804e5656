// The spectrum analyser: live input collected in blocks of 1024 samples
// (128 ms, no overlap, no window); each block's 1024-point transform becomes
// ln(re² + im² + 1e-12) per bin (bin k at k × 7.8125 Hz) and the next row of
// the waterfall history.
#pragma once

#include "engine/FFT.h"
#include "engine/WaterfallHistory.h"

#include <cstdint>

namespace tarn {

class SpectrumAnalyser {
public:
    static constexpr int32_t kSize = 1024;

    // One live sample; the 1024th of a block adds a row to `history`.
    void push(float x, WaterfallHistory& history) {
        block_[count_] = Complex{x, 0.0f};
        const int32_t collected = count_;
        count_ = collected + 1;
        if (collected >= kSize - 1) {
            count_ = 0;
            analyse(history);
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
