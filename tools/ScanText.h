// What `scan` and `listen --scan` share: the band scanner's options, and
// how its received bytes and readings are written.
#pragma once

#include "scanner/ScannerTypes.h"
#include "tools/CommandLine.h"

#include <optional>
#include <string>

namespace cli {

// The help lines of the scanner's options.
extern const char* const kScanOptionsHelp;

// Takes the current option if it is one of the scanner's (--from, --to,
// --max-channels, --close-after, --squelch-snr, --format): nothing when it
// is not, kExitOk when taken, else the usage error's status.
std::optional<int> takeScanOption(ArgumentReader& arguments, scanner::ScannerConfig& config,
                                  bool& jsonLines, const char* command);

// Bytes as JSON string content: printable ASCII as it is, the rest (and
// bytes of 0x80 and above, as the code point of the same value) escaped.
std::string jsonText(const std::string& bytes);

// Bytes as one readable line: controls become spaces, bytes of 0x80 and
// above the UTF-8 of the code point of the same value.
std::string readableText(const std::string& bytes);

// A reading in dB with one decimal, or `none` when there is none.
std::string decibelText(const std::optional<double>& value, const char* none);

// Writes a piece of text to stdout as one JSON line, with "rf" (Hz) when
// the RF frequency is known. False when stdout refused it.
bool printTextPiece(const scanner::TextPiece& piece, std::optional<double> rfHz);
// Writes a channel's report to stdout as one readable line. False when
// stdout refused it.
bool printChannelReport(const scanner::ChannelReport& report);

} // namespace cli
