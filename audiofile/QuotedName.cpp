// File names (and other user text) quoted for one-line messages.
#include "audiofile/AudioFile.h"

#include <cstdio>

namespace audiofile {

namespace {

// Length of the valid UTF-8 sequence at text[at] that a terminal shows as a
// character: 2 to 4 bytes, or 0 for an invalid or overlong sequence, a
// surrogate, or one of the C1 controls U+0080 .. U+009F.
size_t printableSequence(std::string_view text, size_t at) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[at + i]); };
    const unsigned char lead = byte(0);
    size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF; // range of the first continuation byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        if (lead == 0xC2) {
            low = 0xA0; // U+0080 .. U+009F are controls
        }
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return 0;
    }
    if (at + length > text.size() || byte(1) < low || byte(1) > high) {
        return 0;
    }
    for (size_t i = 2; i < length; ++i) {
        if (byte(i) < 0x80 || byte(i) > 0xBF) {
            return 0;
        }
    }
    return length;
}

} // namespace

std::string quotedName(std::string_view text) {
    // Printable runs go in '...'; everything else in $'...' with C escapes,
    // as bash and GNU ls write them: 'no'$'\n''such'.
    enum class Quote { none, plain, escaped };
    Quote state = Quote::none;
    std::string out;
    const auto enter = [&](Quote wanted) {
        if (state == wanted) {
            return;
        }
        if (state != Quote::none) {
            out += '\'';
        }
        out += wanted == Quote::escaped ? "$'" : "'";
        state = wanted;
    };
    for (size_t at = 0; at < text.size();) {
        const auto c = static_cast<unsigned char>(text[at]);
        if (c >= 0x80) {
            if (const size_t length = printableSequence(text, at)) {
                enter(Quote::plain);
                out.append(text.substr(at, length));
                at += length;
                continue;
            }
        }
        ++at;
        if (c >= 0x20 && c < 0x7F && c != '\'') {
            enter(Quote::plain);
            out += static_cast<char>(c);
            continue;
        }
        enter(Quote::escaped);
        switch (c) {
        case '\'':
            out += "\\'";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\r':
            out += "\\r";
            break;
        default: {
            char escape[5];
            std::snprintf(escape, sizeof escape, "\\x%02x", c);
            out += escape;
        }
        }
    }
    if (state == Quote::none) {
        return "''";
    }
    out += '\'';
    return out;
}

} // namespace audiofile
