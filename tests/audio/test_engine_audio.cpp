// The engine on an audio platform, against a scripted one: the set-up's step
// order, fixed failure messages and what still happens after a step fails;
// input reaching the engine; transmissions started, played, refused and
// ended by the render callback.
#include "audio/EngineAudio.h"
#include "engine/TarnData.h"
#include "log/TarnLog.h"
#include "tests/audio/FakeAudioPlatform.h"

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
        {"record enable", 1, status("outputEnableIO 1 1 0", -3000),
         "Failed to enable input on bus 1\n", 2, 18, 3},
        {"render callback", 1, status("outputSetRenderCallback", -3000),
         "Failed to set audio output callback.  -3000\n", 2, 18, 5},
        {"initialize", 1, status("outputInitialize", -3000), "Failed to initialize output audio\n",
         2, 18, 7},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FakeAudioPlatform platform(c.idiom);
        if (c.arrange) {
            c.arrange(platform);
        }
        TarnData engine(tarn::kTabletSquelch);
        TarnLogCapture log;
        tarnaudio::EngineAudio audio(platform, engine);
        EXPECT_EQ(log.text(), c.log);
        Calls expected(kSessionCalls.begin(), kSessionCalls.begin() + c.session);
        expected.insert(expected.end(), kQueueCalls.begin(), kQueueCalls.begin() + c.queue);
        expected.insert(expected.end(), kOutputCalls.begin(), kOutputCalls.begin() + c.output);
        EXPECT_EQ(platform.calls, expected);
        EXPECT_EQ(platform.context, &audio);
    }
}

TEST(AudioConfig, FilledBufferReachesTheEngineAndIsEnqueuedAgain) {
    FakeAudioPlatform platform;
    TarnData engine(tarn::kTabletSquelch);
    tarnaudio::EngineAudio audio(platform, engine);
    ASSERT_NE(platform.inputCallback, nullptr);
    std::vector<float> samples(2000, 0.25f);
    const auto deliver = [&](int buffer, uint32_t bytes) {
        platform.inputCallback(platform.context, nullptr, platform.buffer(buffer), samples.data(),
                               bytes);
    };
    // One waterfall row per 1024 samples shows how many arrived.
    platform.calls.clear();
    deliver(3, 8000);
    EXPECT_EQ(platform.calls, Calls({"queueEnqueueBuffer 3"}));
    EXPECT_EQ(engine.status().waterfallRow, 1);
    deliver(3, 1000); // a partly filled buffer: byte size / 4 samples
    EXPECT_EQ(engine.status().waterfallRow, 2);

    platform.statuses["queueEnqueueBuffer"] = -6;
    TarnLogCapture log;
    deliver(1, 8000);
    EXPECT_EQ(log.text(), "Failed to enqueue buffers for input audio queue -6\n");
}

TEST(AudioConfig, InterruptionEndReactivatesTheSessionBeginDoesNothing) {
    FakeAudioPlatform platform;
    TarnData engine(tarn::kTabletSquelch);
    tarnaudio::EngineAudio audio(platform, engine);
    ASSERT_NE(platform.listener, nullptr);
    platform.calls.clear();
    platform.listener(&audio, kAudioSessionBeginInterruption);
    EXPECT_TRUE(platform.calls.empty());
    platform.statuses["sessionSetActive"] = -12;
    TarnLogCapture log;
    platform.listener(&audio, kAudioSessionEndInterruption);
    EXPECT_EQ(platform.calls, Calls({"sessionSetActive true"}));
    EXPECT_EQ(log.text(), "");
}

struct Transmitter : ::testing::Test {
    FakeAudioPlatform platform;
    TarnData engine{tarn::kTabletSquelch};
    tarnaudio::EngineAudio audio{platform, engine};
    std::vector<float> left, right;

    // One callback for `frames` frames into channels that start out as 9s.
    int32_t render(uint32_t frames) {
        left.assign(frames, 9.0f);
        right.assign(frames, 9.0f);
        return platform.renderCallback(platform.context, frames, left.data(), right.data());
    }
    void renderUntilIdle() {
        for (int calls = 0; engine.isSending() && calls < 100000; ++calls) {
            render(64);
        }
    }
};

TEST_F(Transmitter, CallbackPlaysTheMessageThenSilenceAndStopsOneCallLate) {
    const std::vector<float> message = engine.renderString(std::string_view("e"));
    ASSERT_EQ(message.size(), 5632u);
    ASSERT_TRUE(engine.sendString(std::string_view("e")));
    platform.calls.clear();
    EXPECT_EQ(render(5000), 0);
    EXPECT_EQ(left, std::vector<float>(message.begin(), message.begin() + 5000));
    EXPECT_EQ(right, std::vector<float>(5000, 0.0f));

    // More frames asked than remain: the rest is silence, still playing.
    EXPECT_EQ(render(700), 0);
    EXPECT_EQ(std::vector<float>(left.begin(), left.begin() + 632),
              std::vector<float>(message.begin() + 5000, message.end()));
    EXPECT_EQ(std::vector<float>(left.begin() + 632, left.end()), std::vector<float>(68, 0.0f));
    EXPECT_TRUE(platform.calls.empty());
    EXPECT_TRUE(engine.isSending());

    // The call after the last sample stops, resets the route (never forced),
    // ends the transmission, and still fills silence.
    EXPECT_EQ(render(4), 0);
    EXPECT_EQ(platform.calls, Calls({"outputStop", "sessionOverrideRouteToSpeaker none"}));
    EXPECT_FALSE(engine.isSending());
    EXPECT_EQ(left, std::vector<float>(4, 0.0f));

    // Ending exactly on the boundary: a call for no frames still stops.
    ASSERT_TRUE(engine.sendString(std::string_view("e")));
    render(5632);
    EXPECT_TRUE(engine.isSending());
    EXPECT_EQ(render(0), 0);
    EXPECT_FALSE(engine.isSending());
}

TEST_F(Transmitter, SecondMessageIsRefusedWhilePlayingAndAcceptedAfterTheStop) {
    platform.calls.clear();
    EXPECT_TRUE(engine.sendString(std::string_view("CQ")));
    EXPECT_TRUE(engine.isSending());
    EXPECT_EQ(platform.calls, Calls({"outputStart"}));
    EXPECT_FALSE(engine.sendString(std::string_view("DE")));
    EXPECT_FALSE(engine.sendString(std::u16string_view(u"DE")));
    EXPECT_EQ(platform.count("outputStart"), 1);

    renderUntilIdle();
    EXPECT_EQ(platform.count("outputStop"), 1);
    EXPECT_TRUE(engine.sendString(std::u16string_view(u"DE")));
    EXPECT_EQ(platform.count("outputStart"), 2);

    // Stopped from the main thread: idle at once.
    engine.stopAudioOutput();
    EXPECT_FALSE(engine.isSending());
    EXPECT_EQ(platform.count("outputStop"), 2);
}

TEST_F(Transmitter, StartFailureLogsAndReturnsToIdle) {
    platform.statuses["outputStart"] = 0x10000 - 9996;
    platform.calls.clear();
    TarnLogCapture log;
    EXPECT_TRUE(engine.sendString(std::string_view("CQ")));
    EXPECT_EQ(log.text(), "Failed to start output audio: -9996\n");
    EXPECT_FALSE(engine.isSending());
    EXPECT_EQ(platform.calls,
              Calls({"outputStart", "outputStop", "sessionOverrideRouteToSpeaker none"}));
    EXPECT_TRUE(engine.sendString(std::string_view("CQ")));
}

TEST_F(Transmitter, SpeakerRouteIsForcedBeforeStartAndReleasedAtTheEnd) {
    engine.setForceOutputToSpeaker(true);
    platform.calls.clear();
    EXPECT_TRUE(engine.sendString(std::string_view("e")));
    EXPECT_EQ(platform.calls, Calls({"sessionOverrideRouteToSpeaker speaker", "outputStart"}));
    renderUntilIdle();
    EXPECT_EQ(platform.calls.back(), "sessionOverrideRouteToSpeaker none");

    // A refused route still plays the message on the current one.
    platform.statuses["sessionOverrideRouteToSpeaker speaker"] = -1;
    TarnLogCapture log;
    EXPECT_TRUE(engine.sendString(std::string_view("e")));
    EXPECT_EQ(log.text(), "Failed to force output to speaker\n");
    EXPECT_TRUE(engine.isSending());
    EXPECT_EQ(platform.calls.back(), "outputStart");
}

} // namespace
