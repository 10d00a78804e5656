// The PSK31 modulator: a whole message rendered before any of it is played.
// The text is varicode-encoded with 8 idle reversals before and after (every
// character framed by "00" both sides), and each symbol becomes 256 samples
// at 8000 Hz of a carrier of amplitude 0.5, its phase inverted for a '0' and
// kept for a '1'. Around every reversal a sin² envelope takes the signal
// through zero. The carrier's phase is the sample number from the start of
// the message. Samples lie within -0.4 .. 0.6 (a small envelope-shaped
// offset of 0.1 rides inside the envelope, as the station has always sent).
#pragma once

#include <string_view>
#include <vector>

namespace tarn {

class Modulator {
public:
    // `text` at `frequency` Hz: one code per byte, or the low 8 bits of
    // each 16-bit code unit, with `preambleReversals` (0 or more) idle
    // reversals more before the usual 8. Throws std::length_error beyond
    // 2^31 - 1 samples.
    static std::vector<float> render(std::string_view text, double frequency,
                                     int preambleReversals = 0);
    static std::vector<float> render(std::u16string_view text, double frequency,
                                     int preambleReversals = 0);
};

} // namespace tarn
