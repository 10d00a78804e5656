// The front end that every channel shares: the real 8000 Hz input mixed down
// by the band centre and low-passed into a complex 4000 Hz stream, which
// carries the whole searched band (the centre ±1450 Hz) without aliasing.
// It also keeps the last kHistorySamples of that stream, from which a new
// channel demodulates the seconds before it was found.
#pragma once

#include "scanner/EngineStages.h"
#include "scanner/ScannerTypes.h"

#include <array>
#include <cstdint>
#include <vector>

namespace scanner {

class FrontEnd {
public:
    static constexpr int kHistorySamples = 4 * 4000; // 4 s at 4000 Hz

    // centreHz is rounded to a multiple of 125 Hz (the mixer repeats every
    // 64 input samples).
    explicit FrontEnd(double centreHz);

    double centre() const { return centreHz; }

    // One input sample. Every second call yields an output sample: returns
    // true and sets `out`.
    bool push(float sample, stages::Complex& out);

    // The history, oldest first, up to kHistorySamples (fewer at the start).
    std::vector<stages::Complex> history() const;

    // Gain of the stream at `offsetHz` from the centre, relative to 0 Hz.
    static double responseAt(double offsetHz);

private:
    static constexpr int kTaps = 47; // half-band: every other tap but the centre is 0
    double centreHz;
    std::array<float, 64> mixRe{};
    std::array<float, 64> mixIm{};
    int mixIndex = 0;
    // Mixed samples twice over, so a filter run never wraps.
    std::array<stages::Complex, 2 * kTaps> ring{};
    int ringIndex = 0;
    bool oddSample = false;
    std::vector<stages::Complex> historyRing;
    int historyIndex = 0;
    int64_t produced = 0;
};

} // namespace scanner
