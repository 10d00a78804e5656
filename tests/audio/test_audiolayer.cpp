// The PortAudio layer's sample paths, driven without a device: assembling
// the engine's 2000-sample blocks from device chunks, converting other rates
// to 8000 Hz, cleaning NaN and infinity, and the stop the engine requests
// from inside the render callback.
#include "InputQueue.h"
#include "OutputUnit.h"
#include "PortAudioPlatform.h"
#include "RateConverter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

using tarnaudio::InputQueue;

// Collects every block handed over and gives the buffer back at once.
struct Receiver {
    std::vector<std::vector<float>> blocks;
    InputQueue* queue = nullptr;
    bool giveBack = true;

    static void callback(void* context, AudioHandle, AudioHandle buffer, const float* samples,
                         uint32_t byteSize) {
        Receiver* self = static_cast<Receiver*>(context);
        self->blocks.emplace_back(samples, samples + byteSize / 4);
        if (self->giveBack) {
            self->queue->enqueue(buffer);
        }
    }
};

struct QueueFixture : ::testing::Test {
    Receiver receiver;
    InputQueue queue{Receiver::callback, &receiver};
    std::vector<AudioHandle> buffers;

    void SetUp() override {
        receiver.queue = &queue;
        for (int i = 0; i < 8; ++i) {
            AudioHandle buffer = nullptr;
            ASSERT_EQ(queue.allocateBuffer(8000, &buffer), 0);
            buffers.push_back(buffer);
            ASSERT_EQ(queue.enqueue(buffer), 0);
        }
    }
};

TEST_F(QueueFixture, DeviceChunksOfAnySizeBecomeWholeBlocksInOrder) {
    queue.prepareConversion(8000.0);
    std::vector<float> ramp(6500);
    for (size_t i = 0; i < ramp.size(); ++i) {
        ramp[i] = static_cast<float>(i);
    }
    size_t fed = 0;
    for (size_t chunk : {333u, 1500u, 1u, 2166u, 2000u, 500u}) {
        queue.deliverDeviceSamples(ramp.data() + fed, chunk, 1);
        fed += chunk;
    }
    ASSERT_EQ(fed, ramp.size());
    ASSERT_EQ(receiver.blocks.size(), 3u);
    for (size_t b = 0; b < 3; ++b) {
        ASSERT_EQ(receiver.blocks[b].size(), 2000u);
        EXPECT_EQ(receiver.blocks[b].front(), 2000.0f * b);
        EXPECT_EQ(receiver.blocks[b].back(), 2000.0f * b + 1999.0f);
    }
    EXPECT_EQ(queue.droppedSamples.load(), 0u);
}

TEST_F(QueueFixture, FirstChannelOnlyAndNonFiniteSamplesBecomeSilence) {
    queue.prepareConversion(8000.0);
    std::vector<float> stereo(4000, 0.5f);
    for (size_t i = 1; i < stereo.size(); i += 2) {
        stereo[i] = -7.0f; // second channel, never used
    }
    stereo[0] = std::numeric_limits<float>::quiet_NaN();
    stereo[2] = std::numeric_limits<float>::infinity();
    stereo[4] = -std::numeric_limits<float>::infinity();
    queue.deliverDeviceSamples(stereo.data(), 2000, 2);
    ASSERT_EQ(receiver.blocks.size(), 1u);
    const std::vector<float>& block = receiver.blocks[0];
    EXPECT_EQ(block[0], 0.0f);
    EXPECT_EQ(block[1], 0.0f);
    EXPECT_EQ(block[2], 0.0f);
    for (size_t i = 3; i < block.size(); ++i) {
        ASSERT_EQ(block[i], 0.5f) << i;
    }
}

TEST_F(QueueFixture, AudioIsDroppedWhileNoBufferIsFreeAndCounted) {
    queue.prepareConversion(8000.0);
    receiver.giveBack = false;
    std::vector<float> samples(2000 * 10, 1.0f);
    queue.deliverDeviceSamples(samples.data(), samples.size(), 1);
    EXPECT_EQ(receiver.blocks.size(), 8u);
    EXPECT_EQ(queue.droppedSamples.load(), 4000u);
    // A buffer given back takes the next audio, not the dropped audio.
    queue.enqueue(buffers[3]);
    std::vector<float> next(2000, 2.0f);
    queue.deliverDeviceSamples(next.data(), next.size(), 1);
    ASSERT_EQ(receiver.blocks.size(), 9u);
    EXPECT_EQ(receiver.blocks.back().front(), 2.0f);
}

// Zero crossings per second of a signal at 8000 Hz, skipping `skip` samples.
double crossingRate(const std::vector<float>& x, size_t skip) {
    int crossings = 0;
    for (size_t i = skip + 1; i < x.size(); ++i) {
        crossings += (x[i - 1] < 0.0f) != (x[i] < 0.0f) ? 1 : 0;
    }
    return crossings / 2.0 / ((x.size() - skip - 1) / 8000.0);
}

TEST_F(QueueFixture, OtherDeviceRatesAreConvertedTo8000Hz) {
    for (double rate : {48000.0, 44100.0, 11025.0}) {
        SCOPED_TRACE(rate);
        receiver.blocks.clear();
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
        ASSERT_GE(receiver.blocks.size(), 7u);
        std::vector<float> out;
        for (const auto& block : receiver.blocks) {
            ASSERT_EQ(block.size(), 2000u);
            out.insert(out.end(), block.begin(), block.end());
        }
        EXPECT_NEAR(crossingRate(out, 200), 1000.0, 2.0);
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
            in[i] = static_cast<float>(0.5 *
                                       std::sin(2.0 * M_PI * 1500.0 * (round * 256 + i) / 8000.0));
        }
        size_t produced = 0;
        const float* converted = converter.process(in.data(), in.size(), produced);
        ASSERT_LE(produced, converter.maxOutputFrames());
        out.insert(out.end(), converted, converted + produced);
    }
    // All but the few samples the converter's filter still holds.
    EXPECT_NEAR(static_cast<double>(out.size()), 40 * 256 * 6.0, 400.0);
    int crossings = 0;
    for (size_t i = 1001; i < out.size(); ++i) {
        crossings += (out[i - 1] < 0.0f) != (out[i] < 0.0f) ? 1 : 0;
    }
    EXPECT_NEAR(crossings / 2.0 / ((out.size() - 1001) / 48000.0), 1500.0, 3.0);
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
        for (uint32_t i = 0; i < frames; ++i) {
            left[i] = right[i] = 0.0f;
        }
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
