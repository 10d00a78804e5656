// The calls heard on each channel of a band scanner. Every channel has a
// heard-call matcher of its own, so the text of two stations never runs
// together into one "DE" or "CQ" pattern; a channel's matcher is made with
// its first text and dropped when the channel closes. Used from one thread.
#pragma once

#include "logbook/HeardCalls.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace reporting {

class ChannelCalls {
public:
    // Text the channel with this id decoded; appends each call heard to
    // `heard`.
    void feed(int channel, std::string_view text, std::vector<std::string>& heard);
    // The channel closed: judges its last word and forgets it.
    void closed(int channel, std::vector<std::string>& heard);
    // Forgets every channel (the scanner started afresh).
    void reset() { matchers.clear(); }
    size_t channels() const { return matchers.size(); }

private:
    std::unordered_map<int, logbook::HeardCallMatcher> matchers;
};

} // namespace reporting
