// A channel's own mixer and decimator on the shared 4000 Hz stream: an
// oscillator at the channel's offset from the band centre, then a 32-tap
// Hann low-pass evaluated every 8th sample, giving the 500 Hz baseband. The
// Hann spans 8 ms like the main receiver's 64-tap first stage at 8000 Hz, so
// the response is the same: 0.5 at 0 Hz, 0.48 at 31.25 Hz, nulls from 250 Hz.
#pragma once

#include "scanner/EngineStages.h"

#include <array>
#include <cstddef>

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
    // (Inline: it runs for every channel at every sample of the stream.)
    bool push(stages::Complex in, stages::Complex& out) {
        const stages::Complex mixed{static_cast<float>(in.re * phasorRe - in.im * phasorIm),
                                    static_cast<float>(in.re * phasorIm + in.im * phasorRe)};
        const double re = phasorRe * stepRe - phasorIm * stepIm;
        phasorIm = phasorRe * stepIm + phasorIm * stepRe;
        phasorRe = re;
        if (++sinceRenormalise == 1024) {
            renormalise();
        }
        ring[static_cast<std::size_t>(ringIndex)] = mixed;
        ring[static_cast<std::size_t>(ringIndex + kTaps)] = mixed;
        ringIndex = ringIndex + 1 == kTaps ? 0 : ringIndex + 1;
        if (++phase < kDecimation) {
            return false;
        }
        phase = 0;
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

    // Gain of the decimator at `hz` from the channel's frequency.
    static double responseAt(double hz);

private:
    void renormalise();

    const float* taps; // the Hann low-pass, kTaps values
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
