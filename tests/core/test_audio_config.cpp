// Audio session, input queue and output unit set-up against a scripted
// platform: step order, the fixed failure messages, and what still happens
// after a step fails.
#include "tests/support/FakeAudioPlatform.h"
#include "engine/TarnData.h"
#include "log/TarnLog.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

// Every call a phone makes when all goes well, in order, by stage.
const Calls kSessionCalls = {"sessionInitialize", "sessionSetCategoryPlayAndRecord",
                             "sessionSetDefaultToSpeaker 1"};
const Calls kQueueCalls = {"queueNewInput",        "queueAllocateBuffer 8000",
                           "queueEnqueueBuffer 1", "queueAllocateBuffer 8000",
                           "queueEnqueueBuffer 2", "queueAllocateBuffer 8000",
                           "queueEnqueueBuffer 3", "queueAllocateBuffer 8000",
                           "queueEnqueueBuffer 4", "queueAllocateBuffer 8000",
                           "queueEnqueueBuffer 5", "queueAllocateBuffer 8000",
                           "queueEnqueueBuffer 6", "queueAllocateBuffer 8000",
                           "queueEnqueueBuffer 7", "queueAllocateBuffer 8000",
                           "queueEnqueueBuffer 8", "queueStart"};
const Calls kOutputCalls = {"outputFindComponent",     "outputInstanceNew",
                            "outputEnableIO 1 1 0",    "outputEnableIO 2 0 1",
                            "outputSetRenderCallback", "outputSetStreamFormat",
                            "outputInitialize"};

// Each stage's calls up to where it stopped: a failing step ends its own
// stage only, the later stages are still set up.
TEST(AudioConfig, EachStepsFailureLogsItsMessageAndTheLaterStagesGoOn) {
    struct Case {
        const char* name;
        std::optional<int> idiom; // 1: tablet, no speaker default
        std::function<void(FakeAudioPlatform&)> arrange;
        const char* log;
        size_t session, queue, output; // calls made of each stage
    };
    const auto status = [](const char* call, int32_t value) {
        return [=](FakeAudioPlatform& p) { p.statuses[call] = value; };
    };
    const Case cases[] = {
        {"tablet", 1, {}, "", 2, 18, 7},
        {"phone", 0, {}, "", 3, 18, 7},
        {"unknown device", std::nullopt, {}, "", 3, 18, 7},
        // Only the low 16 bits of a status count and are printed, sign-extended.
        {"category", 0, status("sessionSetCategoryPlayAndRecord", 0x7fff0000 | 0xd8f4),
         "Failed to set Audio Session to play and record.  -9996\n", 2, 18, 7},
        {"zero low bits", 1,
         [](FakeAudioPlatform& p) {
             p.statuses["sessionSetCategoryPlayAndRecord"] = 0x10000;
             p.statuses["queueNewInput"] = 0x20000;
         },
         "", 2, 18, 7},
        {"speaker default", 0, status("sessionSetDefaultToSpeaker", -50),
         "Failed to set output destination\n", 3, 18, 7},
        {"untested statuses", 1,
         [](FakeAudioPlatform& p) {
             p.statuses["queueStart"] = -1;
             p.statuses["sessionInitialize"] = -1;
         },
         "", 2, 18, 7},
        {"new queue", 1, status("queueNewInput", -4), "Failed to create audio queue: -4\n", 2, 1,
         7},
        // Buffer 5 of 8: four stay enqueued and the queue never starts.
        {"allocation", 1, [](FakeAudioPlatform& p) { p.failAllocationOf = 5; },
         "Failed to allocate buffers for input audio queue -108\n", 2, 10, 7},
        {"enqueue", 1, status("queueEnqueueBuffer", -66632),
         "Failed to enqueue buffers for input audio queue -1096\n", 2, 3, 7},
        {"component", 1, [](FakeAudioPlatform& p) { p.componentFound = false; },
         "Failure to locate default audio output.\n", 2, 18, 1},
        // Only an empty instance counts; its status is merely printed.
        {"no instance", 1,
         [](FakeAudioPlatform& p) {
             p.instanceMade = false;
             p.statuses["outputInstanceNew"] = -2;
         },
         "Error creating default audio output. -2\n", 2, 18, 2},
        {"instance status", 1, status("outputInstanceNew", -2), "", 2, 18, 7},
        {"record enable", 1, status("outputEnableIO 1 1 0", -3000),
         "Failed to enable input on bus 1\n", 2, 18, 3},
        {"play enable", 1, status("outputEnableIO 2 0 1", -10),
         "Failed to disable output on bus 0\n", 2, 18, 4},
        {"render callback", 1, status("outputSetRenderCallback", -3000),
         "Failed to set audio output callback.  -3000\n", 2, 18, 5},
        {"stream format", 1, status("outputSetStreamFormat", -3000),
         "Failed to set audio output stream format.  -3000\n", 2, 18, 6},
        {"initialize", 1, status("outputInitialize", -3000), "Failed to initialize output audio\n",
         2, 18, 7},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FakeAudioPlatform platform(c.idiom);
        if (c.arrange) {
            c.arrange(platform);
        }
        TarnLogCapture log;
        auto engine = TarnData::create(platform);
        EXPECT_EQ(log.text(), c.log);
        Calls expected(kSessionCalls.begin(), kSessionCalls.begin() + c.session);
        expected.insert(expected.end(), kQueueCalls.begin(), kQueueCalls.begin() + c.queue);
        expected.insert(expected.end(), kOutputCalls.begin(), kOutputCalls.begin() + c.output);
        EXPECT_EQ(platform.calls, expected);
        EXPECT_EQ(platform.context, engine.get());
    }
}

TEST(AudioConfig, StreamsAre8000HzFloatMonoInStereoOut) {
    FakeAudioPlatform platform;
    auto engine = TarnData::create(platform);
    for (const AudioStreamFormat* format : {&platform.inputFormat, &platform.outputFormat}) {
        EXPECT_EQ(format->sampleRate, 8000.0);
        EXPECT_EQ(format->formatFlags, 41u); // float, packed, non-interleaved
        EXPECT_EQ(format->bytesPerFrame, 4u);
    }
    EXPECT_EQ(platform.inputFormat.channelsPerFrame, 1u);
    EXPECT_EQ(platform.outputFormat.channelsPerFrame, 2u);
}

TEST(AudioConfig, FilledBufferReachesTheEngineAndIsEnqueuedAgain) {
    FakeAudioPlatform platform;
    auto engine = TarnData::create(platform);
    ASSERT_NE(platform.inputCallback, nullptr);
    std::vector<float> samples(2000, 0.25f);
    const auto deliver = [&](int buffer, uint32_t bytes) {
        platform.inputCallback(platform.context, engine->inputAudioQueueRef,
                               platform.buffer(buffer), samples.data(), bytes);
    };
    platform.calls.clear();
    deliver(3, 8000);
    EXPECT_EQ(platform.calls, Calls({"queueEnqueueBuffer 3"}));
    EXPECT_EQ(engine->audioSamplesTrainingBufferIndex, 2000);
    deliver(3, 1002); // a partly filled buffer: byte size / 4 samples
    EXPECT_EQ(engine->audioSamplesTrainingBufferIndex, 2250);

    platform.statuses["queueEnqueueBuffer"] = -6;
    TarnLogCapture log;
    deliver(1, 8000);
    EXPECT_EQ(log.text(), "Failed to enqueue buffers for input audio queue -6\n");
}

TEST(AudioConfig, InterruptionEndReactivatesTheSessionBeginDoesNothing) {
    FakeAudioPlatform platform;
    auto engine = TarnData::create(platform);
    ASSERT_NE(platform.listener, nullptr);
    platform.calls.clear();
    platform.listener(engine.get(), kAudioSessionBeginInterruption);
    EXPECT_TRUE(platform.calls.empty());
    platform.statuses["sessionSetActive"] = -12;
    TarnLogCapture log;
    platform.listener(engine.get(), kAudioSessionEndInterruption);
    EXPECT_EQ(platform.calls, Calls({"sessionSetActive true"}));
    EXPECT_EQ(log.text(), "");
}

} // namespace
