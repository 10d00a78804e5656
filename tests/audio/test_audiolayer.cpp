// The PortAudio layer's sample paths, driven without a device: assembling
// the engine's 2000-sample blocks from device chunks, converting other rates
// to and from 8000 Hz, cleaning NaN and infinity, and the stop the engine
// requests from inside the render callback.
#include "audio/InputQueue.h"
#include "audio/OutputUnit.h"
#include "audio/PortAudioPlatform.h"
#include "audio/RateConverter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

using tarnaudio::InputQueue;

// Collects every block handed over and, unless told not to, gives the
// buffer back at once. The queue starts with 8 buffers of 2000 samples.
struct QueueFixture : ::testing::Test {
    std::vector<std::vector<float>> blocks;
    bool giveBack = true;
    InputQueue queue{received, this};
    std::vector<AudioHandle> buffers;

    static void received(void* context, AudioHandle, AudioHandle buffer, const float* samples,
                         uint32_t byteSize) {
        auto* self = static_cast<QueueFixture*>(context);
        self->blocks.emplace_back(samples, samples + byteSize / 4);
        if (self->giveBack) {
            self->queue.enqueue(buffer);
        }
    }

    void SetUp() override {
        for (int i = 0; i < 8; ++i) {
            AudioHandle buffer = nullptr;
            ASSERT_EQ(queue.allocateBuffer(8000, &buffer), 0);
            buffers.push_back(buffer);
            ASSERT_EQ(queue.enqueue(buffer), 0);
        }
    }
};

// Zero crossings per second of `x` at `rate` Hz, skipping the first `skip`
// samples (the converter's filter settling).
double crossingRate(const std::vector<float>& x, size_t skip, double rate) {
    int crossings = 0;
    for (size_t i = skip + 1; i < x.size(); ++i) {
        crossings += (x[i - 1] < 0.0f) != (x[i] < 0.0f) ? 1 : 0;
    }
    return crossings / 2.0 / ((x.size() - skip - 1) / rate);
}

TEST_F(QueueFixture, StereoChunksOfAnySizeBecomeWholeCleanBlocksOfTheFirstChannel) {
    queue.prepareConversion(8000.0);
    // A ramp on the first channel with a NaN and both infinities in it; the
    // second channel is never used.
    std::vector<float> stereo(2 * 6500, -7.0f);
    for (size_t i = 0; i < 6500; ++i) {
        stereo[2 * i] = static_cast<float>(i);
    }
    stereo[2 * 0] = std::numeric_limits<float>::quiet_NaN();
    stereo[2 * 2100] = std::numeric_limits<float>::infinity();
    stereo[2 * 5999] = -std::numeric_limits<float>::infinity();
    size_t fed = 0;
    for (size_t chunk : {333u, 1500u, 1u, 2166u, 2000u, 500u}) {
        queue.deliverDeviceSamples(stereo.data() + 2 * fed, chunk, 2);
        fed += chunk;
    }
    ASSERT_EQ(fed, 6500u);
    ASSERT_EQ(blocks.size(), 3u); // the last 500 samples wait for more
    for (size_t i = 0; i < 6000; ++i) {
        const float expected = i == 0 || i == 2100 || i == 5999 ? 0.0f : static_cast<float>(i);
        ASSERT_EQ(blocks[i / 2000].size(), 2000u);
        ASSERT_EQ(blocks[i / 2000][i % 2000], expected) << "sample " << i;
    }
    EXPECT_EQ(queue.droppedSamples.load(), 0u);
}

TEST_F(QueueFixture, AudioIsDroppedWhileNoBufferIsFreeAndCounted) {
    queue.prepareConversion(8000.0);
    giveBack = false;
    std::vector<float> samples(2000 * 10, 1.0f);
    queue.deliverDeviceSamples(samples.data(), samples.size(), 1);
    EXPECT_EQ(blocks.size(), 8u);
    EXPECT_EQ(queue.droppedSamples.load(), 4000u);
    // A buffer given back takes the next audio, not the dropped audio.
    queue.enqueue(buffers[3]);
    std::vector<float> next(2000, 2.0f);
    queue.deliverDeviceSamples(next.data(), next.size(), 1);
    ASSERT_EQ(blocks.size(), 9u);
    EXPECT_EQ(blocks.back().front(), 2.0f);
}

TEST_F(QueueFixture, OtherDeviceRatesAreConvertedTo8000Hz) {
    for (double rate : {48000.0, 44100.0, 11025.0}) {
        SCOPED_TRACE(rate);
        blocks.clear();
        queue.prepareConversion(rate);
        // Two seconds of a 1000 Hz tone, amplitude 0.5, in 10 ms chunks.
        const size_t total = static_cast<size_t>(2 * rate);
        const size_t chunk = static_cast<size_t>(rate / 100);
        std::vector<float> tone(total);
        for (size_t i = 0; i < total; ++i) {
            tone[i] = static_cast<float>(0.5 * std::sin(2.0 * M_PI * 1000.0 * i / rate));
        }
        for (size_t at = 0; at < total; at += chunk) {
            queue.deliverDeviceSamples(tone.data() + at, std::min(chunk, total - at), 1);
        }
        // 16000 samples out, less what the converter still holds.
        ASSERT_GE(blocks.size(), 7u);
        std::vector<float> out;
        for (const auto& block : blocks) {
            ASSERT_EQ(block.size(), 2000u);
            out.insert(out.end(), block.begin(), block.end());
        }
        EXPECT_NEAR(crossingRate(out, 200, 8000.0), 1000.0, 2.0);
        float peak = 0.0f;
        for (size_t i = 200; i < out.size(); ++i) {
            peak = std::max(peak, std::fabs(out[i]));
        }
        EXPECT_NEAR(peak, 0.5f, 0.02f);
    }
}

TEST(RateConverterTest, UpsamplesAToneForTheOutput) {
    RateConverter converter(8000.0, 48000.0, 256);
    ASSERT_TRUE(converter.ok());
    std::vector<float> in(256), out;
    for (int round = 0; round < 40; ++round) {
        for (int i = 0; i < 256; ++i) {
            in[i] =
                static_cast<float>(0.5 * std::sin(2 * M_PI * 1500.0 * (round * 256 + i) / 8000));
        }
        size_t produced = 0;
        const float* converted = converter.process(in.data(), in.size(), produced);
        ASSERT_LE(produced, converter.maxOutputFrames());
        out.insert(out.end(), converted, converted + produced);
    }
    // All but the few samples the converter's filter still holds.
    EXPECT_NEAR(static_cast<double>(out.size()), 40 * 256 * 6.0, 400.0);
    EXPECT_NEAR(crossingRate(out, 1000, 48000.0), 1500.0, 3.0);
}

// The engine stops its output from inside the render callback; PortAudio
// cannot do that, so the platform only notes it there and the stream winds
// down by itself. From any other thread the stop is real.
struct StopFromRender {
    AudioPlatform* platform = nullptr;
    AudioHandle unit = nullptr;
    int32_t status = -1;
    static int32_t render(void* context, uint32_t frames, float* left, float* right) {
        StopFromRender* self = static_cast<StopFromRender*>(context);
        self->status = self->platform->outputStop(self->unit);
        std::fill(left, left + frames, 0.0f);
        std::fill(right, right + frames, 0.0f);
        return 0;
    }
};

TEST(OutputUnitTest, StopInsideTheRenderCallbackIsOnlyNoted) {
    tarnaudio::PortAudioPlatform platform({});
    StopFromRender stopper;
    stopper.platform = &platform;
    ASSERT_EQ(platform.outputInstanceNew(&stopper.unit), 0);
    ASSERT_EQ(platform.outputSetRenderCallback(stopper.unit, StopFromRender::render, &stopper), 0);
    auto* unit = static_cast<tarnaudio::OutputUnit*>(stopper.unit);
    EXPECT_FALSE(unit->renderingOnThisThread());
    std::vector<float> left(64), right(64);
    unit->pullFromEngine(64, left.data(), right.data());
    EXPECT_EQ(stopper.status, 0);
    EXPECT_TRUE(unit->stopWasRequested());
    EXPECT_FALSE(unit->renderingOnThisThread());
    // Outside the callback there is no stream to stop yet.
    EXPECT_NE(platform.outputStop(stopper.unit), 0);
}

} // namespace
