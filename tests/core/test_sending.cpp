// Starting and ending a transmission against a scripted platform, and the
// render callback's copying, silence and late end. Rendered blocks are kept
// by the engine for good (see lsan-engine.supp).
#include "tests/support/FakeAudioPlatform.h"
#include "engine/TarnData.h"
#include "log/TarnLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

struct Transmitter : ::testing::Test {
    FakeAudioPlatform platform;
    std::unique_ptr<TarnData> engine = TarnData::create(platform);
    std::vector<float> block{0.1f, -0.2f, 0.3f, -0.4f, 0.5f};
    std::vector<float> left, right;

    // Plays `block` as if just rendered.
    void load() {
        engine->renderedAudio = block.data();
        engine->renderedAudioSize = static_cast<int32_t>(block.size());
        engine->renderedAudioIndex = 0;
        engine->setIsSending(true);
        platform.calls.clear();
    }
    // One callback for `frames` frames into channels that start out as 9s.
    int32_t render(uint32_t frames) {
        left.assign(frames, 9.0f);
        right.assign(frames, 9.0f);
        return outputRenderCallback(engine.get(), frames, left.data(), right.data());
    }
    void renderUntilIdle() {
        for (int calls = 0; engine->isSending.load() && calls < 100000; ++calls) {
            render(64);
        }
    }
};

TEST_F(Transmitter, CallbackCopiesTheBlockThenSilenceAndStopsOneCallLate) {
    load();
    EXPECT_EQ(render(3), 0);
    EXPECT_EQ(left, std::vector<float>({0.1f, -0.2f, 0.3f}));
    EXPECT_EQ(right, std::vector<float>(3, 0.0f));

    // More frames asked than remain: the rest is silence, still playing.
    EXPECT_EQ(render(6), 0);
    EXPECT_EQ(left, std::vector<float>({-0.4f, 0.5f, 0, 0, 0, 0}));
    EXPECT_EQ(right, std::vector<float>(6, 0.0f));
    EXPECT_EQ(engine->renderedAudioIndex.load(), 5);
    EXPECT_TRUE(platform.calls.empty());
    EXPECT_TRUE(engine->isSending.load());

    // The call that begins with index = size stops, resets the route (never
    // forced), clears isSending, and still fills silence.
    EXPECT_EQ(render(4), 0);
    EXPECT_EQ(platform.calls, Calls({"outputStop", "sessionOverrideRouteToSpeaker none"}));
    EXPECT_FALSE(engine->isSending.load());
    EXPECT_EQ(left, std::vector<float>(4, 0.0f));
    EXPECT_EQ(right, std::vector<float>(4, 0.0f));

    // Ending exactly on the boundary: a call for no frames still stops.
    load();
    render(5);
    EXPECT_TRUE(engine->isSending.load());
    EXPECT_EQ(render(0), 0);
    EXPECT_FALSE(engine->isSending.load());
    EXPECT_EQ(platform.count("outputStop"), 1);
}

TEST_F(Transmitter, SecondMessageIsRefusedWhilePlayingAndAcceptedAfterTheStop) {
    platform.calls.clear();
    EXPECT_TRUE(engine->sendString(std::string_view("CQ")));
    EXPECT_TRUE(engine->isSending.load());
    EXPECT_EQ(platform.calls, Calls({"outputStart"}));
    EXPECT_FALSE(engine->sendString(std::string_view("DE")));
    EXPECT_FALSE(engine->sendString(std::u16string_view(u"DE")));
    EXPECT_EQ(platform.count("outputStart"), 1);

    renderUntilIdle();
    EXPECT_EQ(platform.count("outputStop"), 1);
    EXPECT_TRUE(engine->sendString(std::u16string_view(u"DE")));
    EXPECT_EQ(platform.count("outputStart"), 2);
}

TEST_F(Transmitter, StartFailureLogsAndReturnsToIdle) {
    platform.statuses["outputStart"] = -9996;
    platform.calls.clear();
    TarnLogCapture log;
    EXPECT_TRUE(engine->sendString(std::string_view("CQ")));
    EXPECT_EQ(log.text(), "Failed to start output audio: -9996\n");
    EXPECT_FALSE(engine->isSending.load());
    EXPECT_EQ(platform.calls,
              Calls({"outputStart", "outputStop", "sessionOverrideRouteToSpeaker none"}));
    EXPECT_TRUE(engine->sendString(std::string_view("CQ")));
}

TEST_F(Transmitter, SpeakerRouteIsForcedBeforeStartAndReleasedAtTheEnd) {
    engine->setForceOutputToSpeaker(true);
    platform.calls.clear();
    EXPECT_TRUE(engine->sendString(std::string_view("e")));
    EXPECT_EQ(platform.calls, Calls({"sessionOverrideRouteToSpeaker speaker", "outputStart"}));
    renderUntilIdle();
    EXPECT_EQ(platform.calls.back(), "sessionOverrideRouteToSpeaker none");

    // A refused route still plays the message on the current one.
    platform.statuses["sessionOverrideRouteToSpeaker speaker"] = -1;
    TarnLogCapture log;
    EXPECT_TRUE(engine->sendString(std::string_view("e")));
    EXPECT_EQ(log.text(), "Failed to force output to speaker\n");
    EXPECT_TRUE(engine->isSending.load());
    EXPECT_EQ(platform.calls.back(), "outputStart");
}

} // namespace
