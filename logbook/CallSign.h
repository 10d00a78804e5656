// Amateur call signs as the ITU forms them, recognised in received text.
//
// A home call is a prefix (one or two letters, or a digit and one or two
// letters), a digit group (1 to 4 digits) and a suffix of 1 to 4 letters:
// K1ABC, DL2XYZ, 3DA0RU, 4U1ITU, GB13COL. An operator away from home adds a
// portable prefix in front (VP2E/W1AW, DL/K1ABC) and/or a suffix behind
// (K1ABC/P, /M, /MM, /AM, /QRP, a call-area digit, or another country's
// prefix). Reports and words that contain digits (599, 5NN, 73, 40M, PSK31)
// are not call signs.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace logbook {

struct CallSign {
    std::string full;   // as written, upper case: "VP2E/W1AW/P"
    std::string base;   // the home call: "W1AW"
    std::string prefix; // portable prefix or "": "VP2E"
    std::string suffix; // portable suffix or "": "P"
};

// The call sign a word is (any letter case), or nothing.
std::optional<CallSign> parseCallSign(std::string_view word);
inline bool isCallSign(std::string_view word) {
    return parseCallSign(word).has_value();
}

} // namespace logbook
