// Reads a station's intermodulation distortion from its idle reversals.
//
// PSK31 idle is two tones at ±15.625 Hz around the carrier; a transmitter
// that is not linear adds third-order products at ±46.875 Hz. Every 64
// baseband samples (128 ms) the meter takes the newest 256 (0.512 s) through
// a Blackman-Harris window and measures those four frequencies, plus 0 and
// ±31.25 Hz where clean idle has nothing (the noise reference). Windows in
// which the tones stand well above the reference and balance each other are
// idle; over a run of at least four of them the reading is
// IMD = (products − their noise) / tones, in dB, corrected for the
// decimator's slope between 15.6 and 46.9 Hz. When the products do not stand
// above the noise, the reading is the noise bound (the meter cannot tell more).
#pragma once

#include "scanner/EngineStages.h"

#include <array>
#include <optional>

namespace scanner {

class ImdMeter {
public:
    ImdMeter();

    // One baseband sample (500 Hz, the decimator's output).
    void push(stages::Complex sample);

    // The reading of the latest idle run (updated while it lasts).
    std::optional<double> imdDb() const { return reading; }

private:
    static constexpr int kLength = 256;
    static constexpr int kHop = 64;
    static constexpr int kFrequencies = 7;
    void measure();

    std::array<stages::Complex, 2 * kLength> ring{};
    int ringIndex = 0;
    int sinceMeasure = 0;
    int filled = 0;
    double tones = 0.0; // sums over the current idle run
    double products = 0.0;
    double reference = 0.0;
    int idleWindows = 0;
    std::optional<double> reading;
};

} // namespace scanner
