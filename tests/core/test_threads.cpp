// The engine under its real threading: an audio thread feeding blocks while
// the main thread tunes, nudges, locks, switches AFC, reads levels and rows,
// renders a message and drains text. Run under ThreadSanitizer (preset
// "tsan") this must be clean; in any build the engine must come out of it
// still decoding.
#include "DriftSignals.h"
#include "IdleSignals.h"
#include "TarnData.h"
#include "TestSignals.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(Threads, TuningAndReadingWhileTheAudioThreadReceives) {
    NullAudioPlatform platform;
    auto tarn = TarnData::create(platform);
    std::vector<float> onAir =
        testsignals::messageWithIdle("CQ CQ de DL1ABC pse k\n", 1500.0, 32, 32);
    testsignals::addNoise(onAir, 0.1, 11);
    onAir.resize(onAir.size() / 2000 * 2000);

    std::atomic<bool> stop{false};
    std::atomic<int> blocks{0};
    std::thread audio([&] {
        size_t first = 0;
        while (!stop.load()) {
            tarn->processInputAudioSamples(onAir.data() + first, 2000);
            first = (first + 2000) % onAir.size();
            blocks.fetch_add(1);
        }
    });

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
    std::string text;
    int nudges = 0;
    for (int step = 0; std::chrono::steady_clock::now() < deadline; ++step) {
        switch (step % 8) {
        case 0:
            tarn->setFrequency(1490.0 + step % 20);
            break;
        case 1:
            // Each nudge replays 8 s of audio on this thread; a few suffice.
            if (nudges < 3) {
                tarn->nudgeFrequency(tarn->frequency() + 0.1);
                ++nudges;
            }
            break;
        case 2:
            tarn->lockFrequency();
            break;
        case 3:
            tarn->setAutomaticFrequencyControl(!tarn->automaticFrequencyControl());
            break;
        case 4:
            tarn->setBackgroundNoiseLevel(step % 16 == 4 ? -20.0f : -25.0f);
            break;
        case 5:
            tarn->renderString(std::u16string_view(u"tu 73"));
            break;
        default: {
            const float* row = tarn->getCurrentSpectrum(step % 512);
            volatile float level = TarnData::spectrumLevel(row, 192) +
                                   tarn->signalAtFrequency.load() +
                                   tarn->frequencyErrorOffset.load();
            (void)level;
            break;
        }
        }
        while (auto part = tarn->drainTextBuffer()) {
            text += *part;
        }
        // Retunes land in 1490 .. 1510; a nudge, a lock or the AFC's hand-over
        // moves that by at most a few hertz.
        ASSERT_NEAR(tarn->frequency(), 1500.0, 30.0);
        ASSERT_LE(std::fabs(tarn->frequencyErrorOffset.load()), 8.0f);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    stop.store(true);
    audio.join();
    EXPECT_GT(blocks.load(), 0);
    EXPECT_EQ(nudges, 3);

    // Nothing was left broken: tuned cleanly, the engine copies again.
    tarn->setAutomaticFrequencyControl(false);
    tarn->setFrequency(1500.0);
    tarn->setBackgroundNoiseLevel(-20.0f);
    testsignals::runReceiver(*tarn, std::vector<float>(onAir.begin(), onAir.begin() + 32 * 256));
    const std::string after =
        testsignals::runReceiver(*tarn, std::vector<float>(onAir.begin() + 32 * 256, onAir.end()))
            .text;
    EXPECT_NE(after.find("CQ CQ de DL1ABC pse k"), std::string::npos) << after;
}

} // namespace
