#include "tools/ScanText.h"

#include <cstdio>

namespace cli {

std::string jsonText(const std::string& bytes) {
    std::string out;
    for (unsigned char c : bytes) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c >= 0x20 && c < 0x7f) {
            out += static_cast<char>(c);
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            out += escape;
        }
    }
    return out;
}

std::string readableText(const std::string& bytes) {
    std::string out;
    for (unsigned char c : bytes) {
        if (c < 0x20 || c == 0x7f) {
            out += ' ';
        } else if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xc0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3f));
        }
    }
    return out;
}

std::string decibelText(const std::optional<double>& value, const char* none) {
    if (!value) {
        return none;
    }
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.1f", *value);
    return buffer;
}

} // namespace cli
