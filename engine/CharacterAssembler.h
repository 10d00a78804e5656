// Assembles decided bits into varicode characters: bits gather from the
// first 1; a 0 after a 0 closes the character (its pattern is every bit
// before that first 0); zeros with no character open (idle, the gap between
// characters) are ignored. Sixteen bits without two zeros in a row are
// abandoned silently. An unknown pattern gives the character 0.
#pragma once

#include "varicode/varicode.h"

#include <cstdint>

namespace tarn {

class CharacterAssembler {
public:
    static constexpr int kNone = -1;

    // One bit (0 or 1); returns the character code (0 .. 255) it completes,
    // or kNone.
    int push(int bit) {
        if (bit == 0) {
            if (count_ == 0) {
                return kNone;
            }
            if (lastBit_ == 0) {
                // value_ holds the pattern and its first trailing zero.
                const uint32_t pattern = value_ >> 1;
                count_ = 0;
                value_ = 0;
                if (pattern > 4095 || pattern % 2 == 0) {
                    return 0;
                }
                const int16_t code = varicode::reverseEntry(static_cast<int>(pattern >> 1));
                return code < 0 ? 0 : code;
            }
        }
        append(bit);
        return kNone;
    }

private:
    void append(int bit) {
        value_ = (value_ << 1) | static_cast<uint32_t>(bit);
        lastBit_ = bit;
        if (++count_ >= 16) {
            count_ = 0;
            value_ = 0;
        }
    }

    varicode table_;     // its first construction builds the reverse lookup
    uint32_t value_ = 0; // the bits so far, first bit most significant
    int count_ = 0;      // bits so far, 0 .. 15
    int lastBit_ = 1;
};

} // namespace tarn
