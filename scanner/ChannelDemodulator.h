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

#include "varicode/varicode.h"

#include <array>
#include <cstdint>

namespace scanner {

class ChannelDemodulator {
public:
    ChannelDemodulator();

    // One baseband sample. `open`: the squelch lets decisions and the AFC
    // run. Returns a received character code (0 .. 255), or -1.
    int push(float i, float q, bool open);

    // Hz the phase AFC has added to the channel's frequency since start.
    double correction() const { return frequencyCorrection; }
    // Forgets the bits of a character not yet complete.
    void dropOpenCharacter() { bitCount = 0; }
    // True right after the sample that was a symbol instant.
    bool symbolInstant() const { return atInstant; }

private:
    static constexpr int kRing = 1024;
    void adjustFrequency(float i, float q);
    int bitZero();
    void bitOne();

    varicode codec;
    std::array<float, kRing> ringI{};
    std::array<float, kRing> ringQ{};
    std::array<float, kRing> power{};
    int32_t index = 0;
    int32_t delayDecoder = 0;
    int32_t symbolPhase = 8;
    float timing = 0.0f;
    char bits[16] = {};
    int bitCount = 0;
    float lastAngle = 0.0f;
    float storedAngle = 0.0f;
    double frequencyCorrection = 0.0;
    bool atInstant = false;
};

} // namespace scanner
