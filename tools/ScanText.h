// How the band scanner's received bytes and readings are written, shared by
// `scan` and `listen --scan`.
#pragma once

#include <optional>
#include <string>

namespace cli {

// Bytes as JSON string content: printable ASCII as it is, the rest (and
// bytes of 0x80 and above, as the code point of the same value) escaped.
std::string jsonText(const std::string& bytes);

// Bytes as one readable line: controls become spaces, bytes of 0x80 and
// above the UTF-8 of the code point of the same value.
std::string readableText(const std::string& bytes);

// A reading in dB with one decimal, or `none` when there is none.
std::string decibelText(const std::optional<double>& value, const char* none);

} // namespace cli
