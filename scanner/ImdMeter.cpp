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

// Four lanes, one per frequency: each lane adds in sample order, so the
// vector unit gives the same sums as a scalar loop per frequency.
using Lanes = float __attribute__((vector_size(16)));

// The Blackman-Harris window times e^(-j2πfn/500) for each frequency, four
// frequencies side by side for each sample (the eighth lane unused).
struct Kernels {
    Lanes re[2][kLength];
    Lanes im[2][kLength];
    Kernels() {
        for (int half = 0; half < 2; ++half) {
            for (int n = 0; n < kLength; ++n) {
                re[half][n] = Lanes{};
                im[half][n] = Lanes{};
            }
        }
        for (int f = 0; f < 7; ++f) {
            for (int n = 0; n < kLength; ++n) {
                const double x = 2.0 * kPi * n / (kLength - 1);
                const double w = 0.35875 - 0.48829 * std::cos(x) + 0.14128 * std::cos(2 * x) -
                                 0.01168 * std::cos(3 * x);
                const double phase = 2.0 * kPi * 15.625 * kMultiples[f] * n / kBasebandRate;
                re[f / 4][n][f % 4] = static_cast<float>(w * std::cos(phase));
                im[f / 4][n][f % 4] = static_cast<float>(-w * std::sin(phase));
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
    for (int half = 0; half < 2; ++half) {
        const Lanes* kr = k.re[half];
        const Lanes* ki = k.im[half];
        Lanes re = {};
        Lanes im = {};
        for (int n = 0; n < kLength; ++n) {
            re += x[n].re * kr[n] - x[n].im * ki[n];
            im += x[n].re * ki[n] + x[n].im * kr[n];
        }
        for (int lane = 0; lane < 4 && 4 * half + lane < 7; ++lane) {
            level[4 * half + lane] =
                static_cast<double>(re[lane]) * re[lane] + static_cast<double>(im[lane]) * im[lane];
        }
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
