// The audio host's sample paths, driven without a device: input frames
// becoming whole clean 8000 Hz blocks, a transmission becoming output
// frames placed at the requested moment, with its end time and ownership,
// and the watch that tells a lost stream from a slow one.
#include "audio/InputBlocks.h"
#include "audio/Playout.h"
#include "audio/StreamWatch.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace {

using tarnaudio::InputBlocks;
using tarnaudio::kBlockSamples;
using tarnaudio::Playout;

std::unique_ptr<tarn::Transmission> transmission(std::vector<float> samples,
                                                 std::shared_ptr<std::atomic<bool>> sending) {
    sending->store(true);
    return std::make_unique<tarn::Transmission>(std::move(samples), sending);
}

// Zero crossings per second of `x` at `rate` Hz after `skip` samples.
double crossingRate(const std::vector<float>& x, size_t skip, double rate) {
    int crossings = 0;
    for (size_t i = skip + 1; i < x.size(); ++i) {
        crossings += (x[i - 1] < 0.0f) != (x[i] < 0.0f) ? 1 : 0;
    }
    return crossings / 2.0 / ((x.size() - skip - 1) / rate);
}

TEST(InputBlocks, StereoChunksOfAnySizeBecomeWholeCleanBlocksOfTheFirstChannel) {
    InputBlocks blocks(8000.0);
    std::vector<float> frames;
    for (int i = 0; i < 4500; ++i) {
        frames.push_back(static_cast<float>(i));
        frames.push_back(-1.0f); // second channel: never used
    }
    frames[2 * 10] = std::numeric_limits<float>::quiet_NaN();
    frames[2 * 11] = std::numeric_limits<float>::infinity();
    frames[2 * 12] = -std::numeric_limits<float>::infinity();
    const size_t pieces[] = {1, 999, 1500, 2000};
    size_t at = 0;
    for (size_t n : pieces) {
        blocks.write(frames.data() + 2 * at, n, 2);
        at += n;
    }
    std::array<float, kBlockSamples> block{};
    ASSERT_TRUE(blocks.takeBlock(block));
    EXPECT_EQ(block[0], 0.0f);
    EXPECT_EQ(block[10], 0.0f);
    EXPECT_EQ(block[11], 1.0f); // full scale
    EXPECT_EQ(block[12], -1.0f);
    EXPECT_EQ(block[1999], 1999.0f);
    ASSERT_TRUE(blocks.takeBlock(block));
    EXPECT_EQ(block[0], 2000.0f);
    EXPECT_FALSE(blocks.takeBlock(block)); // 500 left: no partial block
    EXPECT_EQ(blocks.cleanedSamples(), 3u);
    EXPECT_EQ(blocks.droppedSamples(), 0u);
}

TEST(InputBlocks, AConsumerTwoSecondsBehindLosesTheNewestSamplesCounted) {
    InputBlocks blocks(8000.0);
    const std::vector<float> second(8000, 0.5f);
    for (int i = 0; i < 3; ++i) {
        blocks.write(second.data(), second.size(), 1);
    }
    // The ring holds 16384 samples; the rest of the 24000 was dropped.
    EXPECT_EQ(blocks.droppedSamples(), 24000u - 16384u);
    std::array<float, kBlockSamples> block{};
    int whole = 0;
    while (blocks.takeBlock(block)) {
        ++whole;
    }
    EXPECT_EQ(whole, 8);
}

TEST(InputBlocks, OtherDeviceRatesAreConvertedTo8000Hz) {
    for (double rate : {44100.0, 48000.0}) {
        InputBlocks blocks(rate);
        ASSERT_TRUE(blocks.ok());
        std::vector<float> tone(static_cast<size_t>(rate)); // one second of 1000 Hz
        for (size_t n = 0; n < tone.size(); ++n) {
            tone[n] = static_cast<float>(std::sin(2.0 * M_PI * 1000.0 * n / rate));
        }
        blocks.write(tone.data(), tone.size(), 1);
        std::vector<float> out;
        std::array<float, kBlockSamples> block{};
        while (blocks.takeBlock(block)) {
            out.insert(out.end(), block.begin(), block.end());
        }
        EXPECT_GE(out.size(), 6000u) << rate;
        EXPECT_NEAR(crossingRate(out, 200, 8000.0), 1000.0, 5.0) << rate;
    }
}

TEST(Playout, SilenceUntilTheStartTimeThenTheMessageOnTheFirstChannelThenItsEndTime) {
    Playout playout;
    ASSERT_TRUE(playout.prepare(8000.0));
    auto sending = std::make_shared<std::atomic<bool>>(false);
    const std::vector<float> message(300, 0.5f);
    // The callback's first frame leaves the device at t = 1 s; the message
    // is to start 10 ms (80 frames) later.
    const int64_t dac = 1'000'000'000;
    EXPECT_EQ(playout.start(transmission(message, sending), dac + 10'000'000), nullptr);
    std::vector<float> out(2 * 512, 9.0f);
    playout.render(out.data(), 512, 2, dac, false);
    for (size_t i = 0; i < 512; ++i) {
        const float expected = i >= 80 && i < 380 ? 0.5f : 0.0f;
        ASSERT_EQ(out[2 * i], expected) << i;
        ASSERT_EQ(out[2 * i + 1], 0.0f) << i;
    }
    // The last sample is frame 379: it has left by 380 frames after dac.
    ASSERT_TRUE(playout.playedOutNs());
    EXPECT_EQ(*playout.playedOutNs(), dac + 380 * 125'000);
    EXPECT_TRUE(sending->load()); // still held: the host frees it at its end time
    playout.take().reset();
    EXPECT_FALSE(sending->load());
    EXPECT_FALSE(playout.holding());
}

TEST(Playout, AStartInThePastPlaysAtOnceAndGapsCountOnlyWhileTheMessagePlays) {
    Playout playout;
    ASSERT_TRUE(playout.prepare(8000.0));
    auto sending = std::make_shared<std::atomic<bool>>(false);
    std::vector<float> out(1024);
    playout.render(out.data(), 256, 1, 5'000'000'000, true); // idle: not a gap
    playout.start(transmission(std::vector<float>(1000, 0.25f), sending), 0);
    playout.render(out.data(), 256, 1, 5'000'000'000, true); // before the first sample
    EXPECT_EQ(out[0], 0.25f);
    playout.render(out.data(), 256, 1, 5'032'000'000, true); // mid-message
    EXPECT_EQ(playout.gaps(), 1u);
    EXPECT_FALSE(playout.playedOutNs());
    // A new start replaces (and hands back) the old message.
    auto second = std::make_shared<std::atomic<bool>>(false);
    std::unique_ptr<tarn::Transmission> old =
        playout.start(transmission(std::vector<float>(10, 1.0f), second), 0);
    ASSERT_NE(old, nullptr);
    old.reset();
    EXPECT_FALSE(sending->load());
    EXPECT_EQ(playout.gaps(), 0u);
    playout.render(out.data(), 256, 1, 6'000'000'000, false);
    EXPECT_EQ(out[9], 1.0f);
    EXPECT_EQ(out[10], 0.0f);
}

TEST(Playout, At48kHzTheMessageIsConvertedAndEndsOnTime) {
    Playout playout;
    ASSERT_TRUE(playout.prepare(48000.0));
    auto sending = std::make_shared<std::atomic<bool>>(false);
    std::vector<float> tone(8000);
    for (size_t n = 0; n < tone.size(); ++n) {
        tone[n] = static_cast<float>(0.5 * std::sin(2.0 * M_PI * 1500.0 * n / 8000.0));
    }
    playout.start(transmission(tone, sending), 0);
    std::vector<float> out;
    std::vector<float> piece(2 * 480);
    int64_t dac = 0;
    for (int call = 0; call < 110 && !playout.playedOutNs(); ++call) {
        playout.render(piece.data(), 480, 2, dac, false);
        for (size_t i = 0; i < 480; ++i) {
            out.push_back(piece[2 * i]);
        }
        dac += 10'000'000; // 480 frames at 48 kHz
    }
    ASSERT_TRUE(playout.playedOutNs());
    // One second of message: its end about a second after the first frame.
    EXPECT_NEAR(static_cast<double>(*playout.playedOutNs()) / 1e9, 1.0, 0.04);
    EXPECT_NEAR(crossingRate(out, 2000, 48000.0), 1500.0, 10.0);
}

TEST(StreamWatch, SilenceIsCountedInWatchesAndOneCallbackEndsIt) {
    using Health = tarnaudio::StreamWatch::Health;
    constexpr int limit = tarnaudio::StreamWatch::kSilentWatches;
    tarnaudio::StreamWatch watch;
    auto silentWatches = [&watch](int count) {
        for (int i = 0; i < count; ++i) {
            if (watch.watch(true) != Health::Running) {
                return i;
            }
        }
        return count;
    };
    // However late a watch comes, a stream that called back meanwhile runs.
    watch.calledBack();
    EXPECT_EQ(watch.watch(true), Health::Running);
    EXPECT_EQ(silentWatches(limit - 1), limit - 1);
    watch.calledBack();
    EXPECT_EQ(watch.watch(true), Health::Running);
    EXPECT_EQ(silentWatches(limit - 1), limit - 1);
    EXPECT_EQ(watch.watch(true), Health::Silent);
    // A stream PortAudio has stopped is ended at once, even while calling back.
    tarnaudio::StreamWatch ended;
    ended.calledBack();
    EXPECT_EQ(ended.watch(false), Health::Ended);
}

} // namespace
