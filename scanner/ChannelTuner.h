// A channel's own mixer and decimator on the shared 4000 Hz stream: an
// oscillator at the channel's offset from the band centre, then a 32-tap
// Hann low-pass evaluated every 8th sample, giving the 500 Hz baseband. The
// Hann spans 8 ms like the main receiver's 64-tap first stage at 8000 Hz, so
// the response is the same: 0.5 at 0 Hz, 0.48 at 31.25 Hz, nulls from 250 Hz.
#pragma once

#include "scanner/EngineStages.h"

#include <array>

namespace scanner {

class ChannelTuner {
public:
    static constexpr int kTaps = 32;
    static constexpr int kDecimation = 8;

    explicit ChannelTuner(double offsetHz);

    // The oscillator's frequency relative to the band centre, Hz. The phase
    // runs on across changes.
    void setOffset(double offsetHz);
    double offset() const { return offsetHz; }

    // One 4000 Hz sample; every 8th call returns true with a baseband sample.
    bool push(stages::Complex in, stages::Complex& out);

    // Gain of the decimator at `hz` from the channel's frequency.
    static double responseAt(double hz);

private:
    double offsetHz;
    double stepRe = 1.0; // e^(-j2π·offset/4000)
    double stepIm = 0.0;
    double phasorRe = 1.0;
    double phasorIm = 0.0;
    int sinceRenormalise = 0;
    std::array<stages::Complex, 2 * kTaps> ring{};
    int ringIndex = 0;
    int phase = 0;
};

} // namespace scanner
