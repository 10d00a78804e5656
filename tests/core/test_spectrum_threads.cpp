// The console's reads of waterfall rows and status while the audio thread
// writes them (run under ThreadSanitizer). Every row copied out is one whole
// row: blocks cycle through tones at three bins, so a ring position holds a
// different tone each time round, and a torn copy would show two of them.
#include "engine/TarnData.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

namespace {

// One spectrum block (1024 samples) of a pure tone at bin `bin`.
std::vector<float> toneBlock(int bin) {
    std::vector<float> block(tarn::kSpectrumSize);
    for (int n = 0; n < tarn::kSpectrumSize; ++n) {
        block[static_cast<size_t>(n)] =
            static_cast<float>(0.5 * std::sin(2.0 * M_PI * bin * n / tarn::kSpectrumSize));
    }
    return block;
}

TEST(SpectrumThreads, EveryRowCopiedWhileTheAudioThreadWritesIsWhole) {
    TarnData tarn(tarn::kTabletSquelch);
    constexpr int kToneBins[] = {100, 200, 300};
    const std::vector<float> tones[] = {toneBlock(100), toneBlock(200), toneBlock(300)};
    // Fill the whole history once, so every row holds a tone.
    int block = 0;
    for (; block < tarn::kWaterfallRows; ++block) {
        tarn.processInputAudioSamples(tones[block % 3]);
    }

    constexpr int kPasses = 300;
    std::atomic<int> passesDone{0};
    std::atomic<int> blocksFed{0};
    std::thread audio([&] {
        // At least a few blocks, then on until the reader is done.
        for (int fed = 0; fed < 8 || passesDone.load() < kPasses; ++fed, ++block) {
            tarn.processInputAudioSamples(tones[block % 3]);
            blocksFed.fetch_add(1);
        }
    });

    std::array<float, tarn::kSpectrumSize> row;
    int whole = 0;
    int copied = 0;
    for (int pass = 0; pass < kPasses; ++pass) {
        const int rowsBack = (pass * 37) % tarn::kWaterfallRows;
        if (tarn.copySpectrumRow(rowsBack, row)) {
            ++copied;
            // A whole row is bright at exactly one of the three bins.
            int bright = 0;
            for (int bin : kToneBins) {
                bright += row[static_cast<size_t>(bin)] > 1.0f ? 1 : 0;
            }
            whole += bright == 1 ? 1 : 0;
        }
        const tarn::EngineStatus status = tarn.status();
        ASSERT_GE(status.waterfallRow, 0);
        ASSERT_LT(status.waterfallRow, tarn::kWaterfallRows);
        passesDone.fetch_add(1);
    }
    audio.join();
    EXPECT_GE(blocksFed.load(), 8);
    EXPECT_EQ(whole, copied);
    EXPECT_GT(copied, kPasses / 2);
}

} // namespace
