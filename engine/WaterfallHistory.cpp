#include "engine/WaterfallHistory.h"

#include <algorithm>
#include <thread>

namespace tarn {

namespace {

constexpr int kBandFirstBin = 64;
constexpr int kBandLastBin = 319;

// Smoothing weight of a new reading: 1 - 0.9 as double arithmetic yields it.
constexpr double kNewWeight = 0.09999999999999998;
constexpr double kOldWeight = 0.9;

// Readings fed to the smoothing instead of the row's own for a flat band
// (max - min below 1.0), as in silence.
constexpr double kFlatLow = -8.0;
constexpr double kFlatMean = -1.0;

// The top of the display scale sits this far above the smoothed minimum.
constexpr float kDisplaySpan = 13.0f;

// Copies of a row tried before copyRow gives up; a row takes microseconds to
// write and comes every 128 ms.
constexpr int kCopyAttempts = 64;

} // namespace

void WaterfallHistory::addRow(std::span<const float, kBins> logPower) {
    int minBin = kBandFirstBin;
    int maxBin = kBandFirstBin;
    float sum = 0.0f;
    for (int k = kBandFirstBin; k <= kBandLastBin; ++k) {
        if (logPower[k] < logPower[minBin]) {
            minBin = k;
        }
        if (logPower[k] > logPower[maxBin]) {
            maxBin = k;
        }
        sum += logPower[k];
    }
    // 256 values over 257: the displayed scale has always been set this way.
    const double mean = sum / 257.0;

    const bool flat = logPower[maxBin] - logPower[minBin] < 1.0;
    const double lowReading = flat ? kFlatLow : logPower[minBin];
    const double meanReading = flat ? kFlatMean : mean;

    // The band maximum would be smoothed the same way, but the top of the
    // scale is pinned 13 units above the new minimum after every block.
    const float low = static_cast<float>(kNewWeight * lowReading + kOldWeight * displayLow);
    const float avg = static_cast<float>(kNewWeight * meanReading + kOldWeight * displayAverage);
    const float high = low + kDisplaySpan;
    displayLow = low;
    displayHigh = high;
    displayAverage = avg;
    const float mid = (high + avg) * 0.5f;

    const int32_t row = newest.load(std::memory_order_relaxed) == kRows - 1
                            ? 0
                            : newest.load(std::memory_order_relaxed) + 1;
    const uint32_t count = sequence.load(std::memory_order_relaxed);
    sequence.store(count + 1, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
    newest.store(row, std::memory_order_relaxed);
    std::array<std::atomic<float>, kBins>& out = rows[static_cast<size_t>(row)];
    for (int i = 0; i < kBins; ++i) {
        const float x = logPower[i];
        // The segment follows what this row held one turn of the ring ago,
        // not the new value; the picture's contrast depends on it.
        const float previous = out[static_cast<size_t>(i)].load(std::memory_order_relaxed);
        float y;
        if (previous <= avg) {
            y = static_cast<float>((x - low) * 0.15 / (avg - low));
        } else if (previous <= mid) {
            y = static_cast<float>((x - avg) * 0.6 / (mid - avg) + 0.15);
        } else {
            y = static_cast<float>((x - mid) * 1.9 / (high - mid) + 0.75);
        }
        // A NaN (from a degenerate scale) passes both tests and is kept.
        if (y < 0.0f) {
            y = 0.0f;
        } else if (y > 3.0f) {
            y = 3.0f;
        }
        out[static_cast<size_t>(i)].store(y, std::memory_order_relaxed);
    }
    sequence.store(count + 2, std::memory_order_release);
}

bool WaterfallHistory::copyRow(int rowsBack, std::span<float, kBins> out) const {
    if (rowsBack >= 0 && rowsBack < kRows && tryCopyRow(rowsBack, out)) {
        return true;
    }
    std::fill(out.begin(), out.end(), 0.0f);
    return false;
}

bool WaterfallHistory::tryCopyRow(int rowsBack, std::span<float, kBins> out) const {
    for (int attempt = 0; attempt < kCopyAttempts; ++attempt) {
        const uint32_t before = sequence.load(std::memory_order_acquire);
        if (before % 2 != 0) {
            std::this_thread::yield();
            continue;
        }
        int32_t row = newest.load(std::memory_order_relaxed) - rowsBack;
        if (row < 0) {
            row += kRows;
        }
        const std::array<std::atomic<float>, kBins>& source = rows[static_cast<size_t>(row)];
        for (int i = 0; i < kBins; ++i) {
            out[static_cast<size_t>(i)] =
                source[static_cast<size_t>(i)].load(std::memory_order_relaxed);
        }
        std::atomic_thread_fence(std::memory_order_acquire);
        if (sequence.load(std::memory_order_relaxed) == before) {
            return true;
        }
    }
    return false;
}

} // namespace tarn
