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

ChannelTuner::ChannelTuner(double hz) : taps(hann().taps) {
    setOffset(hz);
}

void ChannelTuner::renormalise() {
    const double magnitude = std::sqrt(phasorRe * phasorRe + phasorIm * phasorIm);
    phasorRe /= magnitude;
    phasorIm /= magnitude;
    sinceRenormalise = 0;
}

void ChannelTuner::setOffset(double hz) {
    offsetHz = hz;
    const double step = 2.0 * kPi * hz / kFrontEndRate;
    stepRe = std::cos(step);
    stepIm = -std::sin(step);
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
