#include "logbook/CallSign.h"
#include "logbook/Qso.h"

#include <array>
#include <cctype>
#include <vector>

namespace logbook {

namespace {

bool isLetter(char c) {
    return c >= 'A' && c <= 'Z';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// A home call in upper case.
bool isBaseCall(std::string_view text) {
    if (text.size() < 3 || text.size() > 10) {
        return false;
    }
    size_t at = 0;
    // Prefix: one or two letters, or a digit and one or two letters.
    if (isDigit(text[at])) {
        ++at;
    }
    const size_t lettersStart = at;
    while (at < text.size() && isLetter(text[at]) && at - lettersStart < 2) {
        ++at;
    }
    if (at == lettersStart) {
        return false;
    }
    const size_t digitsStart = at;
    while (at < text.size() && isDigit(text[at])) {
        ++at;
    }
    if (at == digitsStart || at - digitsStart > 4) {
        return false;
    }
    const size_t suffixStart = at;
    while (at < text.size() && isLetter(text[at])) {
        ++at;
    }
    return at == text.size() && at > suffixStart && at - suffixStart <= 4;
}

// A prefix worn in front or behind: 1 to 4 letters and digits with a letter.
bool isPortablePrefix(std::string_view text) {
    if (text.empty() || text.size() > 4) {
        return false;
    }
    bool letter = false;
    for (const char c : text) {
        if (!isLetter(c) && !isDigit(c)) {
            return false;
        }
        letter = letter || isLetter(c);
    }
    return letter;
}

bool isPortableSuffix(std::string_view text) {
    static constexpr std::array<std::string_view, 9> kSuffixes = {"P",    "M", "MM", "AM", "QRP",
                                                                  "QRPP", "A", "B",  "LH"};
    for (const std::string_view known : kSuffixes) {
        if (text == known) {
            return true;
        }
    }
    return (text.size() == 1 && isDigit(text[0])) || isPortablePrefix(text);
}

bool isKnownSuffix(std::string_view text) {
    return text == "P" || text == "M" || text == "MM" || text == "AM" || text == "QRP" ||
           text == "QRPP" || text == "LH" || (text.size() == 1 && isDigit(text[0]));
}

} // namespace

std::optional<CallSign> parseCallSign(std::string_view word) {
    if (word.empty() || word.size() > 20) {
        return std::nullopt;
    }
    const std::string upper = upperCase(word);
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t slash = upper.find('/');; slash = upper.find('/', start)) {
        parts.push_back(
            upper.substr(start, slash == std::string::npos ? std::string::npos : slash - start));
        if (slash == std::string::npos) {
            break;
        }
        start = slash + 1;
    }
    CallSign call;
    call.full = upper;
    if (parts.size() == 1 && isBaseCall(parts[0])) {
        call.base = parts[0];
        return call;
    }
    if (parts.size() == 2) {
        const std::string& first = parts[0];
        const std::string& second = parts[1];
        const bool firstBase = isBaseCall(first);
        const bool secondBase = isBaseCall(second);
        // K1ABC/QRP, K1ABC/3: a known suffix settles it.
        if (firstBase && isKnownSuffix(second)) {
            call.base = first;
            call.suffix = second;
            return call;
        }
        // Both parts could be calls (VP2E/W1AW): the longer is the home
        // call; of equal length the second, as the prefix goes in front.
        if (firstBase && secondBase) {
            if (first.size() > second.size()) {
                call.base = first;
                call.suffix = second;
            } else {
                call.prefix = first;
                call.base = second;
            }
            return call;
        }
        if (secondBase && isPortablePrefix(first)) {
            call.prefix = first;
            call.base = second;
            return call;
        }
        if (firstBase && isPortableSuffix(second)) {
            call.base = first;
            call.suffix = second;
            return call;
        }
        return std::nullopt;
    }
    if (parts.size() == 3 && isPortablePrefix(parts[0]) && isBaseCall(parts[1]) &&
        isPortableSuffix(parts[2])) {
        call.prefix = parts[0];
        call.base = parts[1];
        call.suffix = parts[2];
        return call;
    }
    return std::nullopt;
}

} // namespace logbook
