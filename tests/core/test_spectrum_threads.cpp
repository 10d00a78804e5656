// The console's lock-free reads of waterfall rows, display levels and the AFC
// correction while the audio thread writes them (run under ThreadSanitizer).
#include "tests/support/DriftSignals.h"
#include "engine/TarnData.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

namespace {

TEST(SpectrumThreads, RowsAndLevelsReadWhileTheAudioThreadWrites) {
    NullAudioPlatform platform;
    auto tarn = TarnData::create(platform);
    std::vector<float> signal = testsignals::renderDriftingMessage("tarn tarn tarn", 1000.0, 0.0);
    testsignals::addNoise(signal, 0.1, 3);

    std::atomic<bool> done = false;
    std::thread audio([&] {
        for (int round = 0; round < 6; ++round) {
            for (size_t first = 0; first + 2000 <= signal.size(); first += 2000) {
                tarn->processInputAudioSamples(signal.data() + first, 2000);
                // Rows and AFC steps straight from their entries as well, so
                // the test does not depend on the block cadence.
                std::lock_guard<std::mutex> lock(tarn->audioProcessingLock);
                for (int k = 0; k < tarn::kSpectrumSize; ++k) {
                    tarn->rawAudioSamplesForFFT[k] = {signal[first + k % 2000], 0.0f};
                }
                tarn->processSpectrumData();
                tarn->FFTBasedAFC();
                tarn->automaticFrequencyAdjust(0.5f, 0.1f * static_cast<float>(round));
            }
        }
        done = true;
    });

    // The console's side: draw rows, show levels, tap and switch AFC.
    int passes = 0;
    bool inRange = true;
    while (!done.load()) {
        for (int rowsBack = 0; rowsBack < tarn::kWaterfallRows; rowsBack += 7) {
            const float* row = tarn->getCurrentSpectrum(rowsBack);
            for (int bin = 0; bin < tarn::kSpectrumSize; bin += 3) {
                const float value = TarnData::spectrumLevel(row, bin);
                inRange = inRange && value >= 0.0f && value <= 3.0f;
            }
        }
        // The three levels are separate words: only each one alone is whole.
        inRange = inRange && std::isfinite(tarn->display_average_high.load());
        inRange = inRange && std::fabs(tarn->frequencyErrorOffset.load()) <= 8.0f;
        inRange = inRange && std::isfinite(tarn->display_average_average.load());
        if (++passes % 64 == 0) {
            tarn->setAutomaticFrequencyControl(passes % 128 != 0);
            tarn->setFrequency(1000.0);
        }
    }
    audio.join();
    EXPECT_TRUE(inRange);
    EXPECT_GT(passes, 0);
}

} // namespace
