#include "reporting/ChannelCalls.h"

namespace reporting {

void ChannelCalls::feed(int channel, std::string_view text, std::vector<std::string>& heard) {
    matchers[channel].feed(text, heard);
}

void ChannelCalls::closed(int channel, std::vector<std::string>& heard) {
    const auto found = matchers.find(channel);
    if (found == matchers.end()) {
        return;
    }
    found->second.finish(heard);
    matchers.erase(found);
}

} // namespace reporting
