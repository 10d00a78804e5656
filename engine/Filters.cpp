// The two FIR stages of the receive chain and the routine that evaluates
// both over the engine's circular buffers.
//
// First stage: a 64-tap Hann low-pass at 8000 Hz with a gain of 0.5,
// evaluated only after every 16th input sample (decimation to 500 Hz).
// Response: 0.5 at 0 Hz, 0.48 at 31.25 Hz, 0.25 at 125 Hz, nulls from 250 Hz
// (the Nyquist frequency of the 500 Hz output) on.
// Second stage: a 64-tap even-symmetric low-pass at 500 Hz with unit gain at
// DC, evaluated only at symbol instants. Response: a peak of about 1.14 near
// 10 Hz, 0.79 at 15.625 Hz, 0.09 at 25 Hz, below 0.0005 from the symbol rate
// (31.25 Hz) on.
#include "engine/Filters.h"

#include <bit>

namespace tarn {

namespace {

// Six-decimal constants of sin²(πn/64)/64. Entries 16 and 48 (0.007812 and
// 0.007813) round the same value differently; both are kept as they are, the
// receiver's numbers depend on them.
constexpr float kFirstStage[kFilterTaps] = {
    0,        0.000038, 0.00015,  0.000336, 0.000595, 0.000922, 0.001317, 0.001773,
    0.002288, 0.002856, 0.003472, 0.00413,  0.004823, 0.005545, 0.006288, 0.007047,
    0.007812, 0.008578, 0.009337, 0.01008,  0.010802, 0.011495, 0.012153, 0.012769,
    0.013337, 0.013852, 0.014308, 0.014703, 0.01503,  0.015289, 0.015475, 0.015587,
    0.015625, 0.015587, 0.015475, 0.015289, 0.01503,  0.014703, 0.014308, 0.013852,
    0.013337, 0.012769, 0.012153, 0.011495, 0.010802, 0.01008,  0.009337, 0.008578,
    0.007813, 0.007047, 0.006288, 0.005545, 0.004823, 0.00413,  0.003472, 0.002856,
    0.002288, 0.001773, 0.001317, 0.000922, 0.000595, 0.000336, 0.00015,  0.000038,
};
// The decimator relies on it: its sums start one sample early.
static_assert(std::bit_cast<uint32_t>(kFirstStage[0]) == 0); // +0.0f

} // namespace

const float (&firstStageCoefficients)[kFilterTaps] = kFirstStage;

// h[n] = h[63 - n], unit sum.
const float secondStageCoefficients[kFilterTaps] = {
    -0.00044789, -0.00063167, -0.00100256, -0.00156531, -0.00232266, -0.00327063, -0.00439342,
    -0.0056585,  -0.00701253, -0.00837907, -0.00965823, -0.01072878, -0.01145278, -0.01168246,
    -0.01126911, -0.01007335, -0.00797606, -0.00488924, -0.00076591, 0.00439171,  0.0105266,
    0.01752432,  0.02521404,  0.03337329,  0.04173643,  0.05000649,  0.05786981,  0.06501264,
    0.07113857,  0.07598566,  0.07934199,  0.0810586,   0.0810586,   0.07934199,  0.07598566,
    0.07113857,  0.06501264,  0.05786981,  0.05000649,  0.04173643,  0.03337329,  0.02521404,
    0.01752432,  0.0105266,   0.00439171,  -0.00076591, -0.00488924, -0.00797606, -0.01007335,
    -0.01126911, -0.01168246, -0.01145278, -0.01072878, -0.00965823, -0.00837907, -0.00701253,
    -0.0056585,  -0.00439342, -0.00327063, -0.00232266, -0.00156531, -0.00100256, -0.00063167,
    -0.00044789,
};

// Coefficient 0 meets the newest sample (position index - 1), coefficient
// taps - 1 the oldest; an index that is negative by up to size - 1 wraps.
// taps must not exceed size. The taps are walked as two unbroken runs (down to position 0, then
// down from size - 1) instead of testing for the wrap at every tap; the products are summed in the
// same order, so the result is the same to the bit.
float doFIRFilter(const float* buffer, int32_t index, int32_t size, const float* coefficients,
                  int32_t taps) {
    float acc = 0.0f;
    if (taps < 1) {
        return acc;
    }
    const int32_t newest = index < 1 ? index + size - 1 : index - 1;
    const int32_t beforeWrap = taps < newest + 1 ? taps : newest + 1;
    const float* sample = buffer + newest;
    int32_t k = 0;
    for (; k < beforeWrap; ++k) {
        acc = acc + sample[-k] * coefficients[k];
    }
    sample = buffer + size - 1 + beforeWrap;
    for (; k < taps; ++k) {
        acc = acc + sample[-k] * coefficients[k];
    }
    return acc;
}

void doFIRFilterPair(const float* bufferI, const float* bufferQ, int32_t index, int32_t size,
                     const float* coefficients, int32_t taps, float& outI, float& outQ) {
    float accI = 0.0f;
    float accQ = 0.0f;
    if (taps >= 1) {
        const int32_t newest = index < 1 ? index + size - 1 : index - 1;
        const int32_t beforeWrap = taps < newest + 1 ? taps : newest + 1;
        const float* sampleI = bufferI + newest;
        const float* sampleQ = bufferQ + newest;
        int32_t k = 0;
        for (; k < beforeWrap; ++k) {
            accI = accI + sampleI[-k] * coefficients[k];
            accQ = accQ + sampleQ[-k] * coefficients[k];
        }
        sampleI = bufferI + size - 1 + beforeWrap;
        sampleQ = bufferQ + size - 1 + beforeWrap;
        for (; k < taps; ++k) {
            accI = accI + sampleI[-k] * coefficients[k];
            accQ = accQ + sampleQ[-k] * coefficients[k];
        }
    }
    outI = accI;
    outQ = accQ;
}

} // namespace tarn
