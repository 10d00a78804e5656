// The waterfall history: 512 rows of 1024 display levels (0 .. 3), one row
// per spectrum block, each normalised against slowly moving display levels
// (natural log of power) taken over bins 64 .. 319 (500 .. 2492 Hz).
//
// Threads: addRow runs on the receive chain's thread only; copyRow may run on
// any thread at any time. Rows are published under a sequence count (odd
// while a row is being written), so a copy is either one whole row or a
// retry; the writer never waits.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <span>

namespace tarn {

class WaterfallHistory {
public:
    static constexpr int kRows = 512;
    static constexpr int kBins = 1024;

    // Normalises one block's ln power per bin into the next row of the ring.
    void addRow(std::span<const float, kBins> logPower);

    // Row rowsBack (0 = newest .. 511 = oldest) into out; false (and out
    // all zeros) when rowsBack is out of range or the row kept changing while
    // it was being copied.
    bool copyRow(int rowsBack, std::span<float, kBins> out) const;

    // Ring position of the newest row, 0 .. 511 (0 before the first row,
    // which goes to position 1).
    int newestRow() const { return newest.load(std::memory_order_relaxed); }

private:
    bool tryCopyRow(int rowsBack, std::span<float, kBins> out) const;

    // Display levels, ln power: smoothed band minimum, the top of the scale
    // (always minimum + 13) and the smoothed band mean. Writer only.
    float displayLow = -8.0f;
    float displayHigh = 2.0f;
    float displayAverage = -1.0f;

    std::atomic<uint32_t> sequence{0};
    std::atomic<int32_t> newest{0};
    std::array<std::array<std::atomic<float>, kBins>, kRows> rows{};
};

} // namespace tarn
