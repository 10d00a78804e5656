#include "tools/ReceivedText.h"

#include <unistd.h>

namespace cli {

bool showsControlsVisibly(std::FILE* out) {
    return isatty(fileno(out)) == 1;
}

std::string visibleText(std::string_view text) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string shown;
    shown.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool control = byte < 0x20 || (byte >= 0x7F && byte <= 0x9F);
        if (control && c != '\t' && c != '\n') {
            shown += "\\x";
            shown += kHex[byte >> 4];
            shown += kHex[byte & 15];
        } else {
            shown += c;
        }
    }
    return shown;
}

bool writeReceivedText(std::FILE* out, std::string_view text, bool visible) {
    if (visible) {
        const std::string shown = visibleText(text);
        return std::fwrite(shown.data(), 1, shown.size(), out) == shown.size();
    }
    return std::fwrite(text.data(), 1, text.size(), out) == text.size();
}

} // namespace cli
