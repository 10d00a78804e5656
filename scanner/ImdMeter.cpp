#include "scanner/ImdMeter.h"

#include "scanner/ChannelTuner.h"
#include "scanner/ScannerTypes.h"

#include <cmath>

namespace scanner {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr int kLength = 256;
// -46.875, -31.25, -15.625, 0, 15.625, 31.25, 46.875 Hz: multiples of
// 15.625 Hz, i.e. of 8 bins of a 256-point transform at 500 Hz.
constexpr int kMultiples[7] = {-3, -2, -1, 0, 1, 2, 3};
constexpr double kIdleContrast = 100.0; // tones against the reference
constexpr double kToneBalance = 4.0;    // the two tones within 6 dB
constexpr int kWindowsForReading = 4;

// The Blackman-Harris window times e^(-j2πfn/500) for each frequency.
struct Kernels {
    float re[7][kLength];
    float im[7][kLength];
    Kernels() {
        for (int f = 0; f < 7; ++f) {
            for (int n = 0; n < kLength; ++n) {
                const double x = 2.0 * kPi * n / (kLength - 1);
                const double w = 0.35875 - 0.48829 * std::cos(x) + 0.14128 * std::cos(2 * x) -
                                 0.01168 * std::cos(3 * x);
                const double phase = 2.0 * kPi * 15.625 * kMultiples[f] * n / kBasebandRate;
                re[f][n] = static_cast<float>(w * std::cos(phase));
                im[f][n] = static_cast<float>(-w * std::sin(phase));
            }
        }
    }
};

const Kernels& kernels() {
    static const Kernels table;
    return table;
}

} // namespace

ImdMeter::ImdMeter() = default;

void ImdMeter::push(stages::Complex sample) {
    ring[static_cast<size_t>(ringIndex)] = sample;
    ring[static_cast<size_t>(ringIndex + kLength)] = sample;
    ringIndex = ringIndex + 1 == kLength ? 0 : ringIndex + 1;
    if (filled < kLength) {
        ++filled;
    }
    if (++sinceMeasure < kHop || filled < kLength) {
        return;
    }
    sinceMeasure = 0;
    measure();
}

void ImdMeter::measure() {
    const Kernels& k = kernels();
    const stages::Complex* x = ring.data() + ringIndex;
    double level[7];
    for (int f = 0; f < 7; ++f) {
        float re = 0.0f;
        float im = 0.0f;
        for (int n = 0; n < kLength; ++n) {
            re += x[n].re * k.re[f][n] - x[n].im * k.im[f][n];
            im += x[n].re * k.im[f][n] + x[n].im * k.re[f][n];
        }
        level[f] = static_cast<double>(re) * re + static_cast<double>(im) * im;
    }
    const double lower = level[2];
    const double upper = level[4];
    const double ref = level[1] + level[3] + level[5];
    const bool idle = lower + upper > kIdleContrast * ref && lower < kToneBalance * upper &&
                      upper < kToneBalance * lower;
    if (!idle) {
        idleWindows = 0;
        tones = products = reference = 0.0;
        return;
    }
    tones += lower + upper;
    products += level[0] + level[6];
    reference += ref;
    ++idleWindows;
    if (idleWindows < kWindowsForReading) {
        return;
    }
    // The decimator passes 46.875 Hz a little weaker than 15.625 Hz.
    static const double slope =
        std::pow(ChannelTuner::responseAt(15.625) / ChannelTuner::responseAt(46.875), 2.0);
    const double noise = reference * 2.0 / 3.0; // expected in the two product bins
    const double excess = products - noise;
    const double measured = (excess > noise ? excess : noise) * slope;
    reading = 10.0 * std::log10(measured / tones);
}

} // namespace scanner
