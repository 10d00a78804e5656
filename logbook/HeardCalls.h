// Finds the stations heard in received text, as it arrives piece by piece.
//
// A station is heard when its call sign follows "DE" (which also covers
// "W1AW DE K1ABC": the sender is the call after DE) or is the first call
// sign within six words after "CQ" ("CQ CQ DX K1ABC"). Words are runs of
// letters, digits and '/'; anything else separates them, and a word is
// judged once the character after it has arrived. One matcher per received
// signal (the main receiver, each channel of a band scanner).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace logbook {

class HeardCallMatcher {
public:
    // Feeds received text; appends each call sign heard (upper case, with
    // any portable prefix or suffix) to `heard`, in order.
    void feed(std::string_view text, std::vector<std::string>& heard);
    // The text has ended (recording over, signal lost): judges the word
    // still open.
    void finish(std::vector<std::string>& heard);
    // Forgets all context (the receiver was retuned to another signal).
    void reset();

private:
    void endWord(std::vector<std::string>& heard);

    std::string word;
    bool wordTooLong = false;
    bool afterDe = false;
    int cqWordsLeft = 0;
};

} // namespace logbook
