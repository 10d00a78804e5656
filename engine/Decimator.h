// The first FIR stage with decimation by 16: mixer output (I, Q at 8000 Hz)
// is kept in two 1024-sample rings, and after every 16th sample the 64-tap
// low-pass (gain 0.5, nulls from 250 Hz) is evaluated once on each, giving
// one 500 Hz baseband sample. No filtering happens in between.
#pragma once

#include "engine/Filters.h"

#include <cstdint>

namespace tarn {

class Decimator {
public:
    static constexpr int32_t kRing = 1024;
    static constexpr int32_t kFactor = 16;

    // Stores one mixer output. Every 16th call returns true with the
    // filtered baseband sample in outI, outQ.
    bool push(float i, float q, float& outI, float& outQ) {
        ringI_[index_] = i;
        ringQ_[index_] = q;
        index_ = index_ > kRing - 2 ? 0 : index_ + 1;
        const int32_t since = count_;
        count_ = since + 1;
        if (since < kFactor - 1) {
            return false;
        }
        count_ = 0;
        doFIRFilterPair(ringI_, ringQ_, index_, kRing, firstStageCoefficients, kFilterTaps, outI,
                        outQ);
        return true;
    }

private:
    float ringI_[kRing] = {};
    float ringQ_[kRing] = {};
    int32_t index_ = 0; // next write position
    int32_t count_ = 0; // samples since the last output, 0 .. 15
};

} // namespace tarn
