// A progress line on stderr for long work, shown only when a person is
// watching: stderr is a terminal and stdout is not (when both are the same
// terminal, the decoded text itself shows the progress and a status line
// would be written over it).
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace cli {

class ProgressLine {
public:
    // total: the amount of work in the units update() counts (e.g. samples);
    // work below about 20 seconds of audio shows nothing.
    ProgressLine(std::string label, int64_t total);
    ~ProgressLine();

    void update(int64_t done);
    // Clears the line; called before any other message goes to stderr.
    void finish();

private:
    std::string label;
    int64_t total;
    bool active;
    bool shown = false;
    int lastPercent = -1;
    std::chrono::steady_clock::time_point lastShown;
};

} // namespace cli
