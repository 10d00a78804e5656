// A channel's squelch on its signal-to-noise ratio rather than its level.
//
// The baseband goes through the symbol filter (about ±25 Hz); once per
// symbol the mean power of the last four symbols' outputs, less the noise
// the filter passes, is turned into an SNR against the noise in 2500 Hz (the
// noise density comes from the detector's floor, so the reading does not
// depend on the recording's level). It opens above the threshold and closes
// 3 dB below it. Decisions lag the newest sample by about eight symbols, so
// the gate that lets them run opens only after the squelch has stayed open
// for nine symbols (noise before a station prints nothing) and shuts at once
// when it closes (the station's last symbols are then just being decided).
#pragma once

#include "scanner/EngineStages.h"

#include <array>

namespace scanner {

class SnrSquelch {
public:
    explicit SnrSquelch(double thresholdDb);

    // Noise power of one spectrum bin (|X|² of a 1024-point row) at the
    // channel's frequency.
    void setNoiseFloor(double binPower);

    // One baseband sample (500 Hz).
    void push(stages::Complex sample);

    // Decisions may run.
    bool gate() const { return openSymbols >= kOpenDelaySymbols; }
    // The squelch itself is open (the station is there now).
    bool open() const { return isOpen; }
    // The newest SNR estimate, dB in 2500 Hz (a carrier reads true; PSK31
    // idle reads about 2 dB low, the symbol filter passing its ±15.6 Hz tones at 0.79).
    double snrDb() const { return lastSnrDb; }

private:
    static constexpr int kOpenDelaySymbols = 9;
    static constexpr int kWindow = 64; // filter outputs averaged (four symbols)
    double threshold;                  // linear
    double noisePower = 0.0;           // expected at the filter's output
    double noiseIn2500Hz = 0.0;        // the same noise within 2500 Hz, input units
    std::array<stages::Complex, 128> ring{};
    int ringIndex = 0;
    std::array<double, kWindow> powers{};
    int powerIndex = 0;
    double powerSum = 0.0;
    int sinceSymbol = 0;
    bool isOpen = false;
    int openSymbols = 0;
    double lastSnrDb = -100.0;
};

} // namespace scanner
