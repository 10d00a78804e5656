#include "scanner/SnrSquelch.h"

#include "scanner/ChannelTuner.h"
#include "scanner/ScannerTypes.h"

#include <cmath>

namespace scanner {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kFftSize = 1024.0;
// A real carrier of power P reaches the symbol filter's output as P / 8
// (half of it in the positive frequencies, the decimator's gain of 0.5).
constexpr double kCarrierGain = 0.125;

// ∫|H(f)|² df over ±250 Hz of the decimator and symbol filter together, Hz:
// the noise they pass from a density of 1 per Hz.
double chainNoiseBandwidth() {
    static const double bandwidth = [] {
        const float* h = stages::symbolFilter();
        double sum = 0.0;
        constexpr int kSteps = 2000;
        for (int s = 0; s < kSteps; ++s) {
            const double f = -250.0 + 500.0 * (s + 0.5) / kSteps;
            double re = 0.0;
            double im = 0.0;
            for (int n = 0; n < stages::kSymbolFilterTaps; ++n) {
                re += h[n] * std::cos(2.0 * kPi * f * n / kBasebandRate);
                im -= h[n] * std::sin(2.0 * kPi * f * n / kBasebandRate);
            }
            const double first = ChannelTuner::responseAt(f);
            sum += (re * re + im * im) * first * first;
        }
        return sum * 500.0 / kSteps;
    }();
    return bandwidth;
}

} // namespace

SnrSquelch::SnrSquelch(double thresholdDb) : threshold(std::pow(10.0, thresholdDb / 10.0)) {}

void SnrSquelch::setNoiseFloor(double binPower) {
    // White noise of variance σ² gives |X|² = 1024σ² per bin; its density in
    // the complex stream is σ²/8000 per Hz, and σ²·2500/4000 lies in 2500 Hz.
    const double variance = binPower / kFftSize;
    noisePower = variance / kSampleRate * chainNoiseBandwidth();
    noiseIn2500Hz = variance * 2500.0 / 4000.0;
}

void SnrSquelch::push(stages::Complex sample) {
    ring[static_cast<size_t>(ringIndex)] = sample;
    ring[static_cast<size_t>(ringIndex + 64)] = sample;
    ringIndex = (ringIndex + 1) & 63;
    const float* h = stages::symbolFilter();
    const stages::Complex* window = ring.data() + ringIndex;
    float re = 0.0f;
    float im = 0.0f;
    for (int n = 0; n < stages::kSymbolFilterTaps; ++n) {
        re += window[n].re * h[n];
        im += window[n].im * h[n];
    }
    const double p = static_cast<double>(re) * re + static_cast<double>(im) * im;
    powerSum += p - powers[static_cast<size_t>(powerIndex)];
    powers[static_cast<size_t>(powerIndex)] = p;
    powerIndex = (powerIndex + 1) % kWindow;
    if (powerIndex == 0) {
        // Start the running sum afresh so rounding cannot build up.
        powerSum = 0.0;
        for (double value : powers) {
            powerSum += value;
        }
    }

    if (++sinceSymbol < 16) {
        return;
    }
    sinceSymbol = 0;
    if (noiseIn2500Hz <= 0.0) {
        return;
    }
    const double excess = powerSum / kWindow - noisePower;
    const double snr = excess / kCarrierGain / noiseIn2500Hz;
    lastSnrDb = 10.0 * std::log10(snr > 1e-10 ? snr : 1e-10);
    if (!isOpen && snr > threshold) {
        isOpen = true;
    } else if (isOpen && snr < 0.5 * threshold) {
        isOpen = false;
    }
    openSymbols = isOpen ? openSymbols + 1 : 0;
}

} // namespace scanner
