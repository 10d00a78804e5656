#include "tools/Progress.h"

#include <cstdio>
#include <unistd.h>

namespace cli {

namespace {
constexpr int64_t kMinimumTotal = 20 * 8000; // samples: 20 s of audio at 8000 Hz
constexpr auto kInterval = std::chrono::milliseconds(200);
} // namespace

ProgressLine::ProgressLine(std::string text, int64_t amount)
    : label(std::move(text)), total(amount),
      active(amount >= kMinimumTotal && isatty(STDERR_FILENO) && !isatty(STDOUT_FILENO)) {}

ProgressLine::~ProgressLine() {
    finish();
}

void ProgressLine::update(int64_t done) {
    if (!active) {
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    const int percent = static_cast<int>(done >= total ? 100 : done * 100 / total);
    if (percent == lastPercent || (shown && now - lastShown < kInterval)) {
        return;
    }
    lastPercent = percent;
    lastShown = now;
    shown = true;
    // \r returns to the start of the line, ESC[K clears what was left of it.
    std::fprintf(stderr, "\r%s: %3d%%\033[K", label.c_str(), percent);
    std::fflush(stderr);
}

void ProgressLine::finish() {
    if (shown) {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
        shown = false;
    }
    active = false;
}

} // namespace cli
