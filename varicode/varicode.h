// PSK31 varicode: one bit pattern per 8-bit character code and the reverse
// lookup from a received pattern to its code.
//
// Patterns are texts of '0' and '1', 1 to 12 characters long, each starting and
// ending with '1' and never holding "00". Codes 0..127 are the published PSK31
// alphabet; codes 128..255 take, in order, the first 128 unused valid patterns
// ordered by length and then by binary value. The tables are class-wide; the
// first construction builds the reverse table.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

class varicode {
public:
    varicode();

    // Decodes one received character. bits holds '0'/'1' characters, usually
    // the character's pattern plus one trailing '0'. Leading zeros are skipped,
    // at most 15 characters are used and trailing zeros are dropped. Returns a
    // one-byte string: the code, or the byte 0 for an unknown or malformed run
    // (malformed input also logs "Not a valid bit string: %s\n").
    std::string parseVaricodeChar(std::string_view bits) const;

    // Encodes text (16-bit code units; only the low 8 bits of each count) to
    // the transmitted symbol string: `leading` '0's, then "00" + pattern + "00"
    // per character, then `trailing` '0's. Negative counts are taken as 0.
    std::string renderVaricodeString(int32_t leading, std::u16string_view text,
                                     int32_t trailing) const;
    // The same for 8-bit text: one code per byte.
    std::string renderVaricodeString(int32_t leading, std::string_view text,
                                     int32_t trailing) const;

    // The pattern of code & 255.
    static const char* pattern(unsigned code) { return patternTable[code & 255]; }

    // The code stored for a pattern value (v >> 1), or -1; index 0..2047.
    static int16_t reverseEntry(int index) { return reverseTable[index & 2047]; }

private:
    static const char* const patternTable[256];
    static int16_t reverseTable[2048];
    static bool reverseTableBuilt;

    static void buildReverseTable();
};
