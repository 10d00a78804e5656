// The engine under its real threading: an audio thread feeding blocks while
// the main thread tunes, nudges, locks, switches AFC, reads levels and rows,
// renders a message and drains text. Run under ThreadSanitizer (preset
// "tsan") this must be clean; in any build the engine must come out of it
// still decoding.
#include "tests/support/DriftSignals.h"
#include "tests/support/IdleSignals.h"
#include "engine/TarnData.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <iterator>
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

    // The main thread's side, one action per step in turn. Each nudge replays
    // 8 s of audio on this thread; a few suffice.
    int nudges = 0;
    const std::function<void(int)> actions[] = {
        [&](int step) { tarn->setFrequency(1490.0 + step % 20); },
        [&](int) {
            if (nudges < 3) {
                tarn->nudgeFrequency(tarn->frequency() + 0.1);
                ++nudges;
            }
        },
        [&](int) { tarn->lockFrequency(); },
        [&](int) { tarn->setAutomaticFrequencyControl(!tarn->automaticFrequencyControl()); },
        [&](int step) { tarn->setBackgroundNoiseLevel(step % 16 == 4 ? -20.0f : -25.0f); },
        [&](int) { tarn->renderString(std::u16string_view(u"tu 73")); },
        [&](int step) {
            volatile float level =
                TarnData::spectrumLevel(tarn->getCurrentSpectrum(step % 512), 192) +
                tarn->signalAtFrequency.load() + tarn->frequencyErrorOffset.load();
            (void)level;
        },
    };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
    std::string text;
    for (int step = 0; std::chrono::steady_clock::now() < deadline; ++step) {
        actions[step % std::size(actions)](step);
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
