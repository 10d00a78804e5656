// Runs a scanner over a recording and keeps what it handed out.
#pragma once

#include "scanner/Scanner.h"

#include <map>
#include <vector>

struct ScanRun {
    std::vector<scanner::TextPiece> pieces;
    std::vector<scanner::ChannelReport> reports;

    // The report nearest `frequency`, within `within` Hz, or none.
    const scanner::ChannelReport* nearest(double frequency, double within) const {
        const scanner::ChannelReport* best = nullptr;
        for (const auto& r : reports) {
            const double d = std::abs(r.frequency - frequency);
            if (d <= within && (!best || d < std::abs(best->frequency - frequency))) {
                best = &r;
            }
        }
        return best;
    }
};

inline ScanRun scan(const std::vector<float>& audio, const scanner::ScannerConfig& config = {}) {
    ScanRun run;
    scanner::Scanner s(config);
    s.setTextSink([&](const scanner::TextPiece& p) { run.pieces.push_back(p); });
    s.setReportSink([&](const scanner::ChannelReport& r) { run.reports.push_back(r); });
    for (size_t n = 0; n < audio.size(); n += 2000) {
        s.process(audio.data() + n, std::min<size_t>(2000, audio.size() - n));
    }
    s.finish();
    return run;
}
