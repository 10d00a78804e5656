#include "logbook/HeardCalls.h"
#include "logbook/CallSign.h"

#include <cctype>

namespace logbook {

namespace {

// Longer runs are noise, not words.
constexpr size_t kLongestWord = 20;
// Words after CQ among which the caller's call sign is looked for.
constexpr int kCqReach = 6;

} // namespace

void HeardCallMatcher::feed(std::string_view text, std::vector<std::string>& heard) {
    for (const char c : text) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (u < 128 && (std::isalnum(u) || c == '/')) {
            if (word.size() < kLongestWord) {
                word += static_cast<char>(std::toupper(u));
            } else {
                wordTooLong = true;
            }
        } else if (!word.empty() || wordTooLong) {
            endWord(heard);
        }
    }
}

void HeardCallMatcher::finish(std::vector<std::string>& heard) {
    if (!word.empty() || wordTooLong) {
        endWord(heard);
    }
    afterDe = false;
    cqWordsLeft = 0;
}

void HeardCallMatcher::reset() {
    word.clear();
    wordTooLong = false;
    afterDe = false;
    cqWordsLeft = 0;
}

void HeardCallMatcher::endWord(std::vector<std::string>& heard) {
    const std::string current = wordTooLong ? std::string() : word;
    word.clear();
    wordTooLong = false;
    if (current == "DE") {
        afterDe = true;
        return;
    }
    if (current == "CQ") {
        cqWordsLeft = kCqReach;
        afterDe = false;
        return;
    }
    const bool call = isCallSign(current);
    if (afterDe) {
        afterDe = false;
        if (call) {
            heard.push_back(current);
            cqWordsLeft = 0;
            return;
        }
    }
    if (cqWordsLeft > 0) {
        --cqWordsLeft;
        if (call) {
            heard.push_back(current);
            cqWordsLeft = 0;
        }
    }
}

} // namespace logbook
