// The 500 Hz baseband history and the symbol filter: I, Q and power
// (I² + Q²) of the last 1024 baseband samples (2.048 s) in rings, and the
// second 64-tap FIR stage (unit gain at DC, stop band from 31.25 Hz),
// evaluated only at the instants the demodulator and the AFC choose.
#pragma once

#include "engine/FFT.h"
#include "engine/Filters.h"

#include <cstdint>

namespace tarn {

class SymbolFilter {
public:
    static constexpr int32_t kRing = 1024;

    // Stores one baseband sample; returns the next write position p, 0 .. 1023.
    int32_t push(float i, float q) {
        ringI_[index_] = i;
        ringQ_[index_] = q;
        power_[index_] = i * i + q * q;
        index_ = index_ > kRing - 2 ? 0 : index_ + 1;
        return index_;
    }

    // The filter's output ending just before ring position `end` (which may
    // be negative by up to 1023, counting back from the newest).
    Complex filtered(int32_t end) const {
        Complex out;
        doFIRFilterPair(ringI_, ringQ_, end, kRing, secondStageCoefficients, kFilterTaps, out.re,
                        out.im);
        return out;
    }

    // Power of the sample at ring position `at`, 0 .. 1023.
    float power(int32_t at) const { return power_[at]; }

    // The newest `count` samples (count ≤ 1024), oldest first.
    void copyNewest(Complex* out, int32_t count) const {
        int32_t s = index_ - count;
        if (s < 0) {
            s += kRing;
        }
        for (int32_t n = 0; n < count; ++n) {
            out[n] = Complex{ringI_[s], ringQ_[s]};
            s = s > kRing - 2 ? 0 : s + 1;
        }
    }

private:
    float ringI_[kRing] = {};
    float ringQ_[kRing] = {};
    float power_[kRing] = {};
    int32_t index_ = 0; // next write position
};

} // namespace tarn
