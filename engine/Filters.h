// The two 64-tap FIR stages of the receive chain and the routine that
// evaluates them over circular buffers.
#pragma once

#include <cstdint>

namespace tarn {

constexpr int kFilterTaps = 64;

// First stage: Hann low-pass at 8000 Hz, gain 0.5, evaluated every 16th
// input sample (decimation to 500 Hz). Second stage: low-pass at 500 Hz,
// unit gain at DC, about 0.79 at 15.625 Hz, below 0.0005 from 31.25 Hz on.
// Tap 0 of the first stage is +0.0f.
extern const float (&firstStageCoefficients)[kFilterTaps];
extern const float secondStageCoefficients[kFilterTaps];

// One output over a circular buffer of `size` floats, ending just before
// `index` (which may be negative by up to size - 1): coefficient 0 meets the
// newest sample. Products summed in tap order from +0.0f.
float doFIRFilter(const float* buffer, int32_t index, int32_t size, const float* coefficients,
                  int32_t taps);

// The same filter over two buffers at the same position (I and Q), the two
// sums run side by side; each is the one doFIRFilter gives.
void doFIRFilterPair(const float* bufferI, const float* bufferQ, int32_t index, int32_t size,
                     const float* coefficients, int32_t taps, float& outI, float& outQ);

} // namespace tarn
