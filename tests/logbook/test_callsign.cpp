// Call signs as operators write them, and the stations heard in received
// text as it trickles in.
#include "logbook/CallSign.h"
#include "logbook/HeardCalls.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace logbook;

TEST(CallSign, RealCallsAndLookalikes) {
    // Home calls alone: digit-letter-letter prefixes (eSwatini), two-digit
    // special-event calls.
    for (const char* word :
         {"K1ABC", "3DA0RU", "4U1ITU", "9A1AA", "2E0ABC", "E51ABC", "T77C", "A61AB", "GB13COL"}) {
        const std::optional<CallSign> call = parseCallSign(word);
        ASSERT_TRUE(call) << word;
        EXPECT_EQ(call->base, word) << word;
        EXPECT_EQ(call->prefix + call->suffix, "") << word;
    }
    // word (any letter case), home call, portable prefix, suffix
    const std::tuple<const char*, const char*, const char*, const char*> portable[] = {
        {"w1aw", "W1AW", "", ""},          {"VP2E/W1AW", "W1AW", "VP2E", ""},
        {"DL/K1ABC", "K1ABC", "DL", ""},   {"KH6/K1ABC", "K1ABC", "KH6", ""},
        {"K1ABC/QRP", "K1ABC", "", "QRP"}, {"K1ABC/P", "K1ABC", "", "P"},
        {"G4ABC/MM", "G4ABC", "", "MM"},   {"W1AW/4", "W1AW", "", "4"},
        {"K1ABC/KH6", "K1ABC", "", "KH6"}, {"DL/K1ABC/P", "K1ABC", "DL", "P"},
    };
    for (const auto& [word, base, prefix, suffix] : portable) {
        const std::optional<CallSign> call = parseCallSign(word);
        ASSERT_TRUE(call) << word;
        EXPECT_EQ(call->base, base) << word;
        EXPECT_EQ(call->prefix, prefix) << word;
        EXPECT_EQ(call->suffix, suffix) << word;
    }
    // Reports, words, bands, times; a suffix too long, too many digits.
    for (const char* word : {"599", "5NN", "73", "CQ", "PSK31", "40M", "1200Z", "K1ABC/", "/P",
                             "K1ABCDE", "K12345A", "K1ABC/P/QRP"}) {
        EXPECT_FALSE(parseCallSign(word)) << word;
    }
}

TEST(HeardCalls, PatternsInReceivedText) {
    const std::tuple<const char*, std::vector<std::string>> cases[] = {
        {"CQ CQ CQ de K1ABC K1ABC pse K\n", {"K1ABC"}},
        {"cq cq dx 3da0ru 3da0ru k\n", {"3DA0RU"}},
        {"W1AW DE VP2E/W1AW 599 5NN TU 73\n", {"VP2E/W1AW"}},
        {"K1ABC de DL2XYZ/QRP ur rst 599\n", {"DL2XYZ/QRP"}},
        {"CQ POTA CQ POTA DE K1ABC/P K\n", {"K1ABC/P"}},
        {"the 40M band is open, 73 all\n", {}},
        {"DE 599 K1ABC\n", {}},         // after DE the next word must be the call
        {"CQ a b c d e f K1ABC\n", {}}, // out of reach of the CQ
        {"cq k1abc\x01\x80k2abc de\tn0call.", {"K1ABC", "N0CALL"}},
        {"DE AAAAAAAAAAAAAAAAAAAAAAAAK1ABC ", {}}, // a run too long to be a word
    };
    for (const auto& [text, expected] : cases) {
        // Whole, and one character at a time: the same calls either way.
        for (const size_t piece : {size_t{1000}, size_t{1}}) {
            HeardCallMatcher matcher;
            std::vector<std::string> heard;
            const std::string_view all(text);
            for (size_t at = 0; at < all.size(); at += piece) {
                matcher.feed(all.substr(at, piece), heard);
            }
            matcher.finish(heard);
            EXPECT_EQ(heard, expected) << text << " in pieces of " << piece;
        }
    }
}

TEST(HeardCalls, WordStillOpenCountsOnlyOnceTheTextEnds) {
    HeardCallMatcher matcher;
    std::vector<std::string> heard;
    matcher.feed("CQ CQ DE K1A", heard);
    matcher.feed("BC", heard);
    EXPECT_TRUE(heard.empty());
    matcher.finish(heard);
    EXPECT_EQ(heard, std::vector<std::string>{"K1ABC"});
    // Retuned: the DE heard before no longer applies.
    matcher.feed("DE ", heard);
    matcher.reset();
    matcher.feed("W1AW ", heard);
    EXPECT_EQ(heard.size(), 1u);
}
