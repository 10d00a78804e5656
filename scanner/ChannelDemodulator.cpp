#include "scanner/ChannelDemodulator.h"

#include "scanner/EngineStages.h"

#include <algorithm>
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
constexpr double kPhaseErrorWeight = 0.125; // per symbol
// Mean distance of the phase changes from 0 or π below which the channel
// holds a PSK31 signal at its own carrier and clock: a few tenths of a
// radian down to -10 dB; π/4 for noise or a neighbour's leakage.
constexpr double kCoherentError = 0.5;
constexpr double kAngleKeep = 0.95; // phase AFC smoothing, as the main receiver's
constexpr double kAngleNew = 0.050000000000000044;
// Hz per radian of smoothed phase change per symbol: the main receiver's
// 0.03 lags a 0.2 Hz/s drift by well over a hertz and then loses it; 0.1
// lags by about 0.3 Hz and is still well damped with the 0.95 smoothing.
constexpr double kPhaseGain = 0.1;

int32_t next(int32_t index, int32_t size) {
    return index > size - 2 ? 0 : index + 1;
}

// The symbol filter over the 64 samples before `end` of a doubled ring of
// I, Q pairs (kRing <= end < 2 kRing): summed newest first as in the main
// receiver (i, q), and oldest first as the SNR squelch takes it (forward).
// The four sums are independent; running them in one loop lets them overlap.
void symbolFilterAt(const float* ring, int32_t end, float& i, float& q, stages::Complex& forward) {
    const float* h = stages::symbolFilter();
    const float* newest = ring + 2 * (end - 1);
    const float* oldest = ring + 2 * (end - stages::kSymbolFilterTaps);
    // Lanes: I and Q newest first, I and Q oldest first; each lane adds in
    // tap order, so the vector unit gives the same sums as four scalar loops.
    using Lanes = float __attribute__((vector_size(16)));
    Lanes acc = {0.0f, 0.0f, 0.0f, 0.0f};
    for (int k = 0; k < stages::kSymbolFilterTaps; ++k) {
        const Lanes x = {newest[-2 * k], newest[-2 * k + 1], oldest[2 * k], oldest[2 * k + 1]};
        acc = acc + x * h[k];
    }
    i = acc[0];
    q = acc[1];
    const float forwardRe = acc[2];
    const float forwardIm = acc[3];
    forward = stages::Complex{forwardRe, forwardIm};
}

} // namespace

ChannelDemodulator::ChannelDemodulator() = default;

void ChannelDemodulator::filter(float i, float q) {
    ring[static_cast<size_t>(2 * index)] = i;
    ring[static_cast<size_t>(2 * index + 1)] = q;
    ring[static_cast<size_t>(2 * (index + kRing))] = i;
    ring[static_cast<size_t>(2 * (index + kRing) + 1)] = q;
    const int32_t written = index;
    index = next(index, kRing);
    // The clock's power comes through the symbol filter, not straight from
    // the decimator as in the main receiver: a neighbour 40 Hz away would
    // otherwise beat in it and pull the clock onto its own reversals.
    symbolFilterAt(ring.data(), written + 1 + kRing, fi, fq, forward);
    filteredI[static_cast<size_t>(written)] = fi;
    filteredQ[static_cast<size_t>(written)] = fq;
    power[static_cast<size_t>(written)] = fi * fi + fq * fq;
}

int ChannelDemodulator::decide(bool open) {
    const int32_t p = index;
    delayDecoder += 1;
    atInstant = p % kSymbolSamples == symbolPhase;
    int received = -1;

    if (atInstant) {
        // The filter's outputs kEarlierPoint and kLaterPoint samples back
        // (kept from when they were computed).
        const size_t a0 = static_cast<size_t>((p - 1 - kEarlierPoint + kRing) % kRing);
        const size_t b0 = static_cast<size_t>((p - 1 - kLaterPoint + kRing) % kRing);
        const float ia = filteredI[a0];
        const float qa = filteredQ[a0];
        const float ib = filteredI[b0];
        const float qb = filteredQ[b0];
        const double a = std::atan2(static_cast<double>(qa), static_cast<double>(ia)) / kPi;
        const double b = std::atan2(static_cast<double>(qb), static_cast<double>(ib)) / kPi;
        change = static_cast<float>(std::fabs(b - a));
        // How far the change is from a clean 0 or half a turn, radians.
        const double offGrid =
            std::min({static_cast<double>(change), std::fabs(static_cast<double>(change) - 1.0),
                      2.0 - static_cast<double>(change)}) *
            kPi;
        phaseError += kPhaseErrorWeight * (offGrid - phaseError);
    }
    if (open && delayDecoder >= kDecisionHoldOff && atInstant) {
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

bool ChannelDemodulator::coherent() const {
    return phaseError < kCoherentError;
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
