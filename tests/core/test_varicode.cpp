#include "varicode/varicode.h"

#include "log/TarnLog.h"

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>

namespace {

bool isValidPattern(const std::string& p) {
    return !p.empty() && p.front() == '1' && p.back() == '1' && p.find("00") == std::string::npos &&
           p.find_first_not_of("01") == std::string::npos;
}

const std::string kZero(1, '\0'); // what an unknown or malformed run decodes to

TEST(VaricodeTable, PatternsAreDistinctValidAndCountedByLength) {
    std::set<std::string> seen;
    std::array<int, 13> byLength{};
    for (unsigned code = 0; code < 256; ++code) {
        const std::string p = varicode::pattern(code);
        EXPECT_TRUE(isValidPattern(p)) << code;
        seen.insert(p);
        ASSERT_LE(p.size(), 12u);
        ++byLength[p.size()];
    }
    EXPECT_EQ(seen.size(), 256u);
    EXPECT_EQ(byLength, (std::array<int, 13>{0, 1, 1, 2, 3, 5, 8, 13, 21, 34, 55, 89, 24}));

    const std::pair<unsigned, const char*> rows[] = {
        {0, "1010101011"},    {1, "1011011011"},   {2, "1011101101"},   {3, "1101110111"},
        {10, "11101"},        {13, "11111"},       {32, "1"},           {48, "10110111"},
        {65, "1111101"},      {69, "1110111"},     {97, "1011"},        {101, "11"},
        {127, "1110110101"},  {128, "1110111101"}, {129, "1110111111"}, {130, "1111010101"},
        {255, "101101011011"}};
    for (auto [code, p] : rows) {
        EXPECT_STREQ(varicode::pattern(code), p) << code;
    }
}

// Each byte goes on the air as 8 idle zeros, "00", its pattern, "00", 8 idle
// zeros; the pattern plus its first separator zero decodes back to the byte.
TEST(Varicode, EveryCodeEncodesAndDecodesBackToItself) {
    varicode codec;
    for (unsigned code = 0; code < 256; ++code) {
        const std::string pattern = varicode::pattern(code);
        EXPECT_EQ(codec.renderVaricodeString(8, std::string(1, static_cast<char>(code)), 8),
                  std::string(10, '0') + pattern + std::string(10, '0'));
        EXPECT_EQ(codec.parseVaricodeChar(pattern + "0"), std::string(1, static_cast<char>(code)));
    }
}

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
