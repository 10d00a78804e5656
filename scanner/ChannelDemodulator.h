// A channel's demodulator on its 500 Hz baseband: the main receiver's symbol
// clock, differential bit decisions, varicode assembly and phase AFC, fed by
// the channel's own tuner and gated by its SNR squelch instead of a level.
//
// As in the main receiver: decisions compare the symbol filter's outputs one
// symbol (16 samples) apart, seven and six symbols back; the clock balances
// the log power of the two halves of the newest symbol; the phase AFC follows
// the carrier from the folded phase change between symbol instants.
// Differences: the clock's power is taken after the symbol filter, the phase
// AFC's gain is 0.1 Hz (not 0.03) per radian and symbol, the AFC correction is not clamped to ±8 Hz
// (a drifting station is followed across the band), and the level average that the main receiver
// squelches on is not kept.
#pragma once

#include "scanner/EngineStages.h"
#include "varicode/varicode.h"

#include <array>
#include <cstdint>

namespace scanner {

class ChannelDemodulator {
public:
    ChannelDemodulator();

    // One baseband sample in two steps. filter() takes it and runs the
    // symbol filter; decide() then makes the bit decisions, clock and AFC
    // for it. `open`: the squelch lets decisions and the AFC run. Returns a
    // received character code (0 .. 255), or -1.
    void filter(float i, float q);
    int decide(bool open);
    // The symbol filter's output for the latest sample, summed from the
    // oldest of the 64 samples (as the SNR squelch takes it).
    stages::Complex forwardOutput() const { return forward; }

    // Hz the phase AFC has added to the channel's frequency since start.
    double correction() const { return frequencyCorrection; }
    // Forgets the bits of a character not yet complete.
    void dropOpenCharacter() { bitCount = 0; }
    // The phase changes between symbols have lately been close to 0 or π:
    // a PSK31 signal at this carrier and clock, not noise or the side lobes
    // of a neighbour (kept whether or not decisions run).
    bool coherent() const;
    // True right after the sample that was a symbol instant.
    bool symbolInstant() const { return atInstant; }

private:
    static constexpr int kRing = 1024;
    static constexpr double kHalfPi = 1.5707963267948966;
    void adjustFrequency(float i, float q);
    int bitZero();
    void bitOne();

    varicode codec;
    // Baseband samples, each stored twice (at n and n + kRing) so that the
    // symbol filter always reads one contiguous run.
    // I and Q side by side, so that both filter sums read one stream.
    std::array<float, 4 * kRing> ring{};
    // The symbol filter's output after each sample, and its power.
    std::array<float, kRing> filteredI{};
    std::array<float, kRing> filteredQ{};
    std::array<float, kRing> power{};
    int32_t index = 0;
    float fi = 0.0f; // the latest symbol filter output, newest sample first
    float fq = 0.0f;
    stages::Complex forward{0.0f, 0.0f};
    int32_t delayDecoder = 0;
    int32_t symbolPhase = 8;
    float timing = 0.0f;
    char bits[16] = {};
    int bitCount = 0;
    float change = 0.0f;               // the latest phase change, half turns (0 .. 2)
    double phaseError = kHalfPi / 2.0; // its mean distance from 0 or π, radians
    float lastAngle = 0.0f;
    float storedAngle = 0.0f;
    double frequencyCorrection = 0.0;
    bool atInstant = false;
};

} // namespace scanner
