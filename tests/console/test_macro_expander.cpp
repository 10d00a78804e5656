// The two escape passes of macro texts and typed text.
#include "console/MacroExpander.h"

#include <gtest/gtest.h>

namespace {

const MacroExpander expander({u"AB1CD", u"Paris", u"Bob"});
const MacroExpander nothingStored({std::nullopt, std::nullopt, u""});

TEST(MacroExpander, EachEscapeInBothPasses) {
    struct Case {
        std::u16string_view text;
        std::u16string_view button; // the button pass's text
        bool sendNow;
        std::u16string_view sending; // the send pass over the same text
    };
    const Case cases[] = {
        {uR"(de \C)", uR"(de \C)", false, u"de AB1CD"},
        {uR"(\L)", uR"(\L)", false, u"Paris"},
        {uR"(hi \S)", u"hi Bob", false, u"hi Bob"},
        {uR"(a\nb)", uR"(a\nb)", false, u"a\nb"},
        {uR"(a\\b)", uR"(a\b)", false, uR"(a\b)"},
        {uR"(abc\Xdef)", u"abc", true, uR"(abc\Xdef)"},
        {uR"(\q\c)", uR"(\q\c)", false, uR"(\q\c)"},      // unknown, case-sensitive
        {u"end\\", u"end\\", false, u"end\\"},            // trailing backslash
        {u"caf\u00e9 \u0141", u"caf A", false, u"caf A"}, // low 8 bits, ASCII only
        {u"", u"", false, u""},
    };
    for (const Case& c : cases) {
        const MacroExpander::ButtonResult pressed = expander.expandForButton(c.text);
        EXPECT_EQ(pressed.text, c.button);
        EXPECT_EQ(pressed.sendNow, c.sendNow);
        EXPECT_EQ(expander.expandForSending(c.text), c.sending);
    }
}

TEST(MacroExpander, ADoubledBackslashFromAButtonStartsAnEscapeWhenSent) {
    const std::u16string field = expander.expandForButton(uR"(\\n\\C)").text;
    EXPECT_EQ(field, uR"(\n\C)");
    EXPECT_EQ(expander.expandForSending(field), u"\nAB1CD");
}

TEST(MacroExpander, StoredValuesGoInWholeAndUnsetOnesAsNothing) {
    const MacroExpander accented({u"F6\u00e9", std::nullopt, u"\u00e9"});
    EXPECT_EQ(accented.expandForSending(uR"(\C \L \S)"), u"F6\u00e9  \u00e9");
    EXPECT_EQ(nothingStored.expandForSending(uR"(<\C\L\S>)"), u"<>");
}

} // namespace
