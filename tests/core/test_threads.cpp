// The engine under its real threading: an audio thread feeding blocks while
// the main thread tunes, nudges, locks, switches AFC, reads status and rows,
// renders a message and drains text. Run under ThreadSanitizer (preset
// "tsan") this must be clean; in any build the engine must come out of it
// still decoding. The main thread takes a fixed number of steps, so nothing
// depends on how fast either thread runs.
#include "engine/TarnData.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(Threads, TuningAndReadingWhileTheAudioThreadReceives) {
    TarnData tarn(tarn::kTabletSquelch);
    std::vector<float> onAir =
        testsignals::messageWithIdle("CQ CQ de DL1ABC pse k\n", 1500.0, 32, 32);
    testsignals::addNoise(onAir, 0.1, 11);
    onAir.resize(onAir.size() / 2000 * 2000);

    std::atomic<bool> stop{false};
    std::thread audio([&] {
        size_t first = 0;
        while (!stop.load()) {
            tarn.processInputAudioSamples(std::span<const float>(onAir.data() + first, 2000));
            first = (first + 2000) % onAir.size();
        }
    });

    // The main thread's side, one action per step in turn. Each nudge replays
    // 8 s of audio on this thread; three suffice.
    int nudges = 0;
    std::array<float, tarn::kSpectrumSize> row{};
    const std::function<void(int)> actions[] = {
        [&](int step) { tarn.setFrequency(1490.0 + step % 20); },
        [&](int) {
            if (nudges < 3) {
                tarn.nudgeFrequency(tarn.frequency() + 0.1);
                ++nudges;
            }
        },
        [&](int) { tarn.lockFrequency(); },
        [&](int) { tarn.setAutomaticFrequencyControl(!tarn.automaticFrequencyControl()); },
        [&](int step) { tarn.setBackgroundNoiseLevel(step % 16 == 4 ? -20.0f : -25.0f); },
        [&](int) { (void)tarn.renderString(std::u16string_view(u"tu 73")); },
        [&](int step) { tarn.copySpectrumRow(step % 512, row); },
    };
    constexpr int kSteps = 700;
    bool inRange = true;
    for (int step = 0; step < kSteps; ++step) {
        actions[step % std::size(actions)](step);
        while (tarn.drainTextBuffer()) {
        }
        // Retunes land in 1490 .. 1510; a nudge, a lock or the AFC's hand-over
        // moves that by at most a few hertz.
        const tarn::EngineStatus status = tarn.status();
        inRange = inRange && std::fabs(status.frequency - 1500.0) <= 30.0 &&
                  std::fabs(status.frequencyErrorOffset) <= 8.0f;
        for (float level : row) {
            inRange = inRange && level >= 0.0f && level <= 3.0f;
        }
        std::this_thread::yield();
    }
    stop.store(true);
    audio.join();
    EXPECT_TRUE(inRange);
    EXPECT_EQ(nudges, 3);

    // Nothing was left broken: tuned cleanly, the engine copies again.
    tarn.setAutomaticFrequencyControl(false);
    tarn.setFrequency(1500.0);
    tarn.setBackgroundNoiseLevel(-20.0f);
    const std::span<const float> all(onAir);
    testsignals::runReceiver(tarn, all.first(32 * 256));
    const std::string after = testsignals::runReceiver(tarn, all.subspan(32 * 256)).text;
    EXPECT_NE(after.find("CQ CQ de DL1ABC pse k"), std::string::npos) << after;
}

} // namespace
