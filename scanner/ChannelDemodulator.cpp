#include "scanner/ChannelDemodulator.h"

#include "scanner/EngineStages.h"

#include <cmath>
#include <string_view>

namespace scanner {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr int32_t kSymbolSamples = 16;
constexpr int32_t kEarlierPoint = 112; // decision points, samples back
constexpr int32_t kLaterPoint = 96;
constexpr int32_t kDecisionHoldOff = 9; // after a +1 timing slip
constexpr double kSlipThreshold = 0.2;
constexpr double kAngleKeep = 0.95; // phase AFC smoothing, as the main receiver's
constexpr double kAngleNew = 0.050000000000000044;
// Hz per radian of smoothed phase change per symbol: the main receiver's
// 0.03 lags a 0.2 Hz/s drift by well over a hertz and then loses it; 0.1
// lags by about 0.3 Hz and is still well damped with the 0.95 smoothing.
constexpr double kPhaseGain = 0.1;

int32_t next(int32_t index, int32_t size) {
    return index > size - 2 ? 0 : index + 1;
}

// The symbol filter over a ring, ending just before `index` (may be negative
// by up to the ring's size).
float symbolFilterAt(const float* ring, int32_t index, int32_t size) {
    const float* h = stages::symbolFilter();
    int32_t j = index;
    float acc = 0.0f;
    for (int k = 0; k < stages::kSymbolFilterTaps; ++k) {
        if (j < 1) {
            j += size;
        }
        --j;
        acc = acc + ring[j] * h[k];
    }
    return acc;
}

} // namespace

ChannelDemodulator::ChannelDemodulator() = default;

int ChannelDemodulator::push(float i, float q, bool open) {
    ringI[static_cast<size_t>(index)] = i;
    ringQ[static_cast<size_t>(index)] = q;
    const int32_t written = index;
    index = next(index, kRing);
    const int32_t p = index;
    // The clock's power comes through the symbol filter, not straight from
    // the decimator as in the main receiver: a neighbour 40 Hz away would
    // otherwise beat in it and pull the clock onto its own reversals.
    const float fi = symbolFilterAt(ringI.data(), p, kRing);
    const float fq = symbolFilterAt(ringQ.data(), p, kRing);
    power[static_cast<size_t>(written)] = fi * fi + fq * fq;
    delayDecoder += 1;
    atInstant = p % kSymbolSamples == symbolPhase;
    int received = -1;

    if (open && delayDecoder >= kDecisionHoldOff && atInstant) {
        const float ia = symbolFilterAt(ringI.data(), p - kEarlierPoint, kRing);
        const float qa = symbolFilterAt(ringQ.data(), p - kEarlierPoint, kRing);
        const float ib = symbolFilterAt(ringI.data(), p - kLaterPoint, kRing);
        const float qb = symbolFilterAt(ringQ.data(), p - kLaterPoint, kRing);
        const double a = std::atan2(static_cast<double>(qa), static_cast<double>(ia)) / kPi;
        const double b = std::atan2(static_cast<double>(qb), static_cast<double>(ib)) / kPi;
        const float change = static_cast<float>(std::fabs(b - a));
        if (change >= 0.5f && change < 1.5f) {
            received = bitZero();
        } else {
            bitOne();
        }
    }

    if (atInstant) {
        int32_t j = p - kSymbolSamples;
        if (j < 0) {
            j += kRing;
        }
        float sum = 0.0f;
        float diff = 0.0f;
        for (int32_t k = 0; k < kSymbolSamples; ++k) {
            const float v = static_cast<float>(
                std::log(static_cast<double>(power[static_cast<size_t>(j)]) + 1e-12));
            sum += v;
            diff += k <= 7 ? v : -v;
            j = next(j, kRing);
        }
        float t = timing - diff / std::fabs(sum);
        if (t < -kSlipThreshold) {
            symbolPhase += 1;
            t = static_cast<float>(t + kSlipThreshold);
            delayDecoder = 0;
            lastAngle = 0.0f;
        }
        if (t > kSlipThreshold) {
            symbolPhase -= 1;
            t = static_cast<float>(t - kSlipThreshold);
            delayDecoder = 0;
            lastAngle = 0.0f;
        }
        symbolPhase = (symbolPhase + kSymbolSamples) % kSymbolSamples;
        timing = (t > -kSlipThreshold && t < kSlipThreshold) ? t : 0.0f;
    }

    if (open && p % kSymbolSamples == symbolPhase) {
        adjustFrequency(fi, fq);
    }
    return received;
}

void ChannelDemodulator::adjustFrequency(float i, float q) {
    float angle;
    if (std::fabs(static_cast<double>(i)) < 1e-6 && std::fabs(static_cast<double>(q)) < 1e-6) {
        angle = 0.0f;
    } else if (std::fabs(i) < std::fabs(q)) {
        angle = static_cast<float>(-std::atan(static_cast<double>(i / q)));
    } else {
        angle = static_cast<float>(std::atan(static_cast<double>(q / i)));
    }
    if (lastAngle != 0.0f && angle * lastAngle > 0.0f) {
        const float stored =
            static_cast<float>(kAngleKeep * storedAngle + kAngleNew * (angle - lastAngle));
        frequencyCorrection += kPhaseGain * stored;
        storedAngle = stored < -1.0f ? -1.0f : (stored > 1.0f ? 1.0f : stored);
    }
    lastAngle = angle;
}

void ChannelDemodulator::bitOne() {
    bits[bitCount] = '1';
    bitCount = bitCount + 1 >= 16 ? 0 : bitCount + 1;
}

int ChannelDemodulator::bitZero() {
    if (bitCount == 0) {
        return -1;
    }
    if (bits[bitCount - 1] == '0') {
        const std::string decoded =
            codec.parseVaricodeChar(std::string_view(bits, static_cast<size_t>(bitCount)));
        bitCount = 0;
        return static_cast<unsigned char>(decoded[0]);
    }
    bits[bitCount] = '0';
    bitCount = bitCount + 1 >= 16 ? 0 : bitCount + 1;
    return -1;
}

} // namespace scanner
