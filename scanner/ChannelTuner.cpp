#include "scanner/ChannelTuner.h"

#include "scanner/ScannerTypes.h"

#include <cmath>

namespace scanner {

namespace {

constexpr double kPi = 3.141592653589793;

// (1 - cos(2πn/32)) / 64: a Hann window with a sum of 0.5.
struct Hann {
    float taps[ChannelTuner::kTaps];
    Hann() {
        for (int n = 0; n < ChannelTuner::kTaps; ++n) {
            taps[n] =
                static_cast<float>((1.0 - std::cos(2.0 * kPi * n / ChannelTuner::kTaps)) / 64.0);
        }
    }
};

const Hann& hann() {
    static const Hann filter;
    return filter;
}

} // namespace

ChannelTuner::ChannelTuner(double hz) {
    setOffset(hz);
}

void ChannelTuner::setOffset(double hz) {
    offsetHz = hz;
    const double step = 2.0 * kPi * hz / kFrontEndRate;
    stepRe = std::cos(step);
    stepIm = -std::sin(step);
}

bool ChannelTuner::push(stages::Complex in, stages::Complex& out) {
    const stages::Complex mixed{static_cast<float>(in.re * phasorRe - in.im * phasorIm),
                                static_cast<float>(in.re * phasorIm + in.im * phasorRe)};
    const double re = phasorRe * stepRe - phasorIm * stepIm;
    phasorIm = phasorRe * stepIm + phasorIm * stepRe;
    phasorRe = re;
    if (++sinceRenormalise == 1024) {
        const double magnitude = std::sqrt(phasorRe * phasorRe + phasorIm * phasorIm);
        phasorRe /= magnitude;
        phasorIm /= magnitude;
        sinceRenormalise = 0;
    }
    ring[static_cast<size_t>(ringIndex)] = mixed;
    ring[static_cast<size_t>(ringIndex + kTaps)] = mixed;
    ringIndex = ringIndex + 1 == kTaps ? 0 : ringIndex + 1;
    if (++phase < kDecimation) {
        return false;
    }
    phase = 0;
    const float* taps = hann().taps;
    const stages::Complex* window = ring.data() + ringIndex;
    float sumRe = 0.0f;
    float sumIm = 0.0f;
    for (int n = 0; n < kTaps; ++n) {
        sumRe += window[n].re * taps[n];
        sumIm += window[n].im * taps[n];
    }
    out = stages::Complex{sumRe, sumIm};
    return true;
}

double ChannelTuner::responseAt(double hz) {
    const float* taps = hann().taps;
    double re = 0.0;
    double im = 0.0;
    for (int n = 0; n < kTaps; ++n) {
        re += taps[n] * std::cos(2.0 * kPi * hz * n / kFrontEndRate);
        im -= taps[n] * std::sin(2.0 * kPi * hz * n / kFrontEndRate);
    }
    return std::sqrt(re * re + im * im);
}

} // namespace scanner
