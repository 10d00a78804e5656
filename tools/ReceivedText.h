// Received text on its way to standard output. Anyone on the air can send
// any byte, terminal escape sequences included, so on a terminal the
// control bytes are shown rather than obeyed; in a file or a pipe every
// byte stays exactly as received.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace cli {

// True when `out` is a terminal, where received text is shown visibly.
bool showsControlsVisibly(std::FILE* out);

// `text` as a terminal should show it: tab and newline stay; every other
// control byte (0x00 .. 0x1F, 0x7F and the C1 range 0x80 .. 0x9F) becomes
// a four-character escape such as \x1b; all else stays as it is.
std::string visibleText(std::string_view text);

// Writes received text to `out`, visibly when `visible` (see above), bytes
// unchanged otherwise. False when the write failed.
bool writeReceivedText(std::FILE* out, std::string_view text, bool visible);

} // namespace cli
