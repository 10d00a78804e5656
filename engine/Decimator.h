// The first FIR stage with decimation by 16: mixer output (I, Q at 8000 Hz)
// is kept in two 1024-sample rings, and after every 16th sample the 64-tap
// low-pass (gain 0.5, nulls from 250 Hz) is evaluated once on each, giving
// one 500 Hz baseband sample. No filtering happens in between, except that
// the sum starts one sample before it is due (see push).
#pragma once

#include "engine/Filters.h"

#include <cmath>
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
        if (since == kFactor - 2) {
            // Tap 0 is exactly zero, so the next output is known one sample
            // early: its sum is +0 (the start) + 0·x, which is +0 for every
            // finite x, then taps 1 .. 63 over the samples up to this one.
            // Starting that chain of 63 dependent adds now lets it run while
            // the next sample is mixed.
            doFIRFilterPair(ringI_, ringQ_, index_, kRing, firstStageCoefficients + 1,
                            kFilterTaps - 1, earlyI_, earlyQ_);
        }
        if (since < kFactor - 1) {
            return false;
        }
        count_ = 0;
        if (std::isfinite(i) && std::isfinite(q)) {
            outI = earlyI_;
            outQ = earlyQ_;
        } else {
            // 0·x is NaN for an infinite or NaN x: then the whole sum, as it
            // comes.
            doFIRFilterPair(ringI_, ringQ_, index_, kRing, firstStageCoefficients, kFilterTaps,
                            outI, outQ);
        }
        return true;
    }

private:
    float ringI_[kRing] = {};
    float ringQ_[kRing] = {};
    int32_t index_ = 0;   // next write position
    int32_t count_ = 0;   // samples since the last output, 0 .. 15
    float earlyI_ = 0.0f; // the next output's sum from tap 1 on
    float earlyQ_ = 0.0f;
};

} // namespace tarn
