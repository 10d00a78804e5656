// Varicode at its edges: received runs that are trimmed, malformed or in no
// entry, and the framing of what is sent. (Every byte's pattern both ways is
// pinned by the golden encode and decode of all 256 bytes.)
#include "varicode/varicode.h"

#include "log/TarnLog.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string kZero(1, '\0'); // what an unknown or malformed run decodes to

TEST(Varicode, ReceivedRunsAreTrimmedAndLookedUp) {
    varicode codec;
    const std::pair<std::string, std::string> cases[] = {
        {"110", "e"},
        {"1", " "},
        {"10", " "},                   // trailing zeros dropped
        {"0001011", "a"},              // leading zeros skipped
        {std::string(16, '1'), kZero}, // cut to fifteen, which is no pattern
        {"1001", kZero},               // well formed but in no entry
        {"", kZero},
        {"000", kZero},
    };
    for (const auto& [bits, expected] : cases) {
        EXPECT_EQ(codec.parseVaricodeChar(bits), expected) << bits;
    }

    TarnLogCapture log;
    EXPECT_EQ(codec.parseVaricodeChar("10x1"), kZero);
    EXPECT_EQ(log.text(), "Not a valid bit string: x1\n");
}

TEST(Varicode, FramingIdleZerosAndCodeUnits) {
    varicode codec;
    EXPECT_EQ(codec.renderVaricodeString(8, std::string_view(""), 8), std::string(16, '0'));
    EXPECT_EQ(codec.renderVaricodeString(0, std::string_view("ea"), 0), "00110000101100");
    // Negative counts are taken as 0.
    EXPECT_EQ(codec.renderVaricodeString(-5, std::string_view("e"), -1), "001100");
    // Only the low eight bits of a 16-bit code unit count.
    EXPECT_EQ(codec.renderVaricodeString(8, std::u16string(1, u'\x141'), 8),
              codec.renderVaricodeString(8, std::string_view("A"), 8));
    EXPECT_EQ(codec.renderVaricodeString(0, std::u16string(1, char16_t(200)), 0),
              std::string("00") + varicode::pattern(200) + "00");
}

} // namespace
