// Audio session, input queue and output unit set-up against a scripted
// platform: step order, the fixed failure messages, and what still happens
// after a step fails.
#include "FakeAudioPlatform.h"
#include "TarnData.h"
#include "TarnLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

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

Calls concat(std::initializer_list<Calls> parts) {
    Calls all;
    for (const Calls& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

TEST(AudioConfig, TabletSetsUpEverythingInOrderWithoutSpeakerDefault) {
    FakeAudioPlatform platform(1);
    TarnLogCapture log;
    auto engine = TarnData::create(platform);
    ASSERT_TRUE(engine);
    EXPECT_EQ(platform.calls, concat({{"sessionInitialize", "sessionSetCategoryPlayAndRecord"},
                                      kQueueCalls,
                                      kOutputCalls}));
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(platform.context, engine.get());

    const AudioStreamFormat& in = platform.inputFormat;
    EXPECT_EQ(in.sampleRate, 8000.0);
    EXPECT_EQ(in.formatID, 0x6c70636du);
    EXPECT_EQ(in.formatFlags, 41u);
    EXPECT_EQ(in.bytesPerFrame, 4u);
    EXPECT_EQ(in.channelsPerFrame, 1u);
    EXPECT_EQ(in.bitsPerChannel, 32u);
    EXPECT_EQ(platform.outputFormat.channelsPerFrame, 2u);
    EXPECT_EQ(platform.outputFormat.sampleRate, 8000.0);
    EXPECT_EQ(platform.outputFormat.formatFlags, 41u);
}

TEST(AudioConfig, PhoneOrUnknownDeviceMakesSpeakerTheDefault) {
    for (std::optional<int> idiom : {std::optional<int>(0), std::optional<int>()}) {
        FakeAudioPlatform platform(idiom);
        TarnLogCapture log;
        auto engine = TarnData::create(platform);
        EXPECT_EQ(platform.calls[2], "sessionSetDefaultToSpeaker 1");
        EXPECT_EQ(log.text(), "");
    }
    FakeAudioPlatform refusing(0);
    refusing.statuses["sessionSetDefaultToSpeaker"] = -50;
    TarnLogCapture log;
    auto engine = TarnData::create(refusing);
    EXPECT_EQ(log.text(), "Failed to set output destination\n");
    EXPECT_EQ(refusing.count("queueStart"), 1);
    EXPECT_EQ(refusing.count("outputInitialize"), 1);
}

TEST(AudioConfig, CategoryFailureSkipsPortsButQueueAndUnitAreStillMade) {
    FakeAudioPlatform platform(0);
    // Only the low 16 bits count and are printed, sign-extended.
    platform.statuses["sessionSetCategoryPlayAndRecord"] = 0x7fff0000 | 0xd8f4;
    TarnLogCapture log;
    auto engine = TarnData::create(platform);
    EXPECT_EQ(log.text(), "Failed to set Audio Session to play and record.  -9996\n");
    EXPECT_EQ(platform.count("sessionSetDefaultToSpeaker"), 0);
    EXPECT_EQ(platform.calls, concat({{"sessionInitialize", "sessionSetCategoryPlayAndRecord"},
                                      kQueueCalls,
                                      kOutputCalls}));
}

TEST(AudioConfig, StatusWithZeroLow16BitsIsSuccess) {
    FakeAudioPlatform platform(1);
    platform.statuses["sessionSetCategoryPlayAndRecord"] = 0x10000;
    platform.statuses["queueNewInput"] = 0x20000;
    TarnLogCapture log;
    auto engine = TarnData::create(platform);
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(platform.count("queueStart"), 1);
}

TEST(AudioConfig, InputQueueFailuresStopTheQueueSetUp) {
    {
        FakeAudioPlatform platform;
        platform.statuses["queueNewInput"] = -4;
        TarnLogCapture log;
        auto engine = TarnData::create(platform);
        EXPECT_EQ(log.text(), "Failed to create audio queue: -4\n");
        EXPECT_EQ(platform.count("queue"), 1);
        EXPECT_EQ(platform.count("outputInitialize"), 1);
    }
    {
        // Buffer 5 of 8: four stay enqueued and the queue never starts.
        FakeAudioPlatform platform;
        platform.failAllocationOf = 5;
        TarnLogCapture log;
        auto engine = TarnData::create(platform);
        EXPECT_EQ(log.text(), "Failed to allocate buffers for input audio queue -108\n");
        EXPECT_EQ(platform.count("queueEnqueueBuffer"), 4);
        EXPECT_EQ(platform.count("queueAllocateBuffer"), 5);
        EXPECT_EQ(platform.count("queueStart"), 0);
        EXPECT_EQ(platform.count("outputInitialize"), 1);
    }
    {
        FakeAudioPlatform platform;
        platform.statuses["queueEnqueueBuffer"] = -66632 /* low 16 bits: -1096 */;
        TarnLogCapture log;
        auto engine = TarnData::create(platform);
        EXPECT_EQ(log.text(), "Failed to enqueue buffers for input audio queue -1096\n");
        EXPECT_EQ(platform.count("queueAllocateBuffer"), 1);
        EXPECT_EQ(platform.count("queueStart"), 0);
    }
}

TEST(AudioConfig, QueueStartAndSessionStatusesAreNotTested) {
    FakeAudioPlatform platform;
    platform.statuses["queueStart"] = -1;
    platform.statuses["sessionInitialize"] = -1;
    TarnLogCapture log;
    auto engine = TarnData::create(platform);
    EXPECT_EQ(log.text(), "");
}

TEST(AudioConfig, EachOutputStepFailureLogsItsMessageAndStops) {
    struct Case {
        const char* operation;
        const char* message;
        size_t callsMade; // output calls up to and including the failing one
    };
    const Case cases[] = {
        {"outputEnableIO", "Failed to enable input on bus 1\n", 3},
        {"outputSetRenderCallback", "Failed to set audio output callback.  -3000\n", 5},
        {"outputSetStreamFormat", "Failed to set audio output stream format.  -3000\n", 6},
        {"outputInitialize", "Failed to initialize output audio\n", 7},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.operation);
        FakeAudioPlatform platform;
        platform.statuses[c.operation] = -3000;
        TarnLogCapture log;
        auto engine = TarnData::create(platform);
        EXPECT_EQ(log.text(), c.message);
        const Calls made(platform.calls.end() - static_cast<long>(c.callsMade),
                         platform.calls.end());
        EXPECT_EQ(made, Calls(kOutputCalls.begin(), kOutputCalls.begin() + c.callsMade));
    }
}

TEST(AudioConfig, PlayEnableFailureUsesItsOwnMessage) {
    FakeAudioPlatform platform;
    platform.statuses["outputEnableIO 2 0 1"] = -10;
    TarnLogCapture log;
    auto engine = TarnData::create(platform);
    EXPECT_EQ(log.text(), "Failed to disable output on bus 0\n");
    EXPECT_EQ(platform.calls.back(), "outputEnableIO 2 0 1");
}

TEST(AudioConfig, MissingOutputComponentOrInstance) {
    {
        FakeAudioPlatform platform;
        platform.componentFound = false;
        TarnLogCapture log;
        auto engine = TarnData::create(platform);
        EXPECT_EQ(log.text(), "Failure to locate default audio output.\n");
        EXPECT_EQ(platform.calls.back(), "outputFindComponent");
        EXPECT_EQ(engine->audioOutput, nullptr);
    }
    {
        // Only an empty instance counts; its status is merely printed.
        FakeAudioPlatform platform;
        platform.instanceMade = false;
        platform.statuses["outputInstanceNew"] = -2;
        TarnLogCapture log;
        auto engine = TarnData::create(platform);
        EXPECT_EQ(log.text(), "Error creating default audio output. -2\n");
        EXPECT_EQ(platform.calls.back(), "outputInstanceNew");
    }
    {
        FakeAudioPlatform platform;
        platform.statuses["outputInstanceNew"] = -2;
        TarnLogCapture log;
        auto engine = TarnData::create(platform);
        EXPECT_EQ(log.text(), "");
        EXPECT_EQ(platform.calls.back(), "outputInitialize");
    }
}

TEST(AudioConfig, FilledBufferReachesTheEngineAndIsEnqueuedAgain) {
    FakeAudioPlatform platform;
    auto engine = TarnData::create(platform);
    ASSERT_NE(platform.inputCallback, nullptr);
    std::vector<float> samples(2000, 0.25f);
    platform.calls.clear();
    platform.inputCallback(platform.context, engine->inputAudioQueueRef, platform.buffer(3),
                           samples.data(), 8000);
    EXPECT_EQ(platform.calls, Calls({"queueEnqueueBuffer 3"}));
    EXPECT_EQ(engine->audioSamplesTrainingBufferIndex, 2000);
    // A partly filled buffer: byte size / 4 samples.
    platform.inputCallback(platform.context, engine->inputAudioQueueRef, platform.buffer(3),
                           samples.data(), 1002);
    EXPECT_EQ(engine->audioSamplesTrainingBufferIndex, 2250);

    platform.statuses["queueEnqueueBuffer"] = -6;
    TarnLogCapture log;
    platform.inputCallback(platform.context, engine->inputAudioQueueRef, platform.buffer(1),
                           samples.data(), 8000);
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
