// Starting and ending a transmission against a scripted platform, and the
// render callback's copying, silence and late end.
#include "FakeAudioPlatform.h"
#include "TarnData.h"
#include "TarnLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

struct Transmitter : ::testing::Test {
    FakeAudioPlatform platform;
    std::unique_ptr<TarnData> engine = TarnData::create(platform);
    std::vector<float> block{0.1f, -0.2f, 0.3f, -0.4f, 0.5f};
    std::vector<const float*> rendered;

    // The engine keeps every rendered block for good; the test lets go of
    // those it made.
    void TearDown() override {
        for (const float* made : rendered) {
            delete[] made;
        }
    }
    template <typename Text> bool send(Text text) {
        const float* before = engine->renderedAudio.load();
        const bool accepted = engine->sendString(text);
        if (engine->renderedAudio.load() != before) {
            rendered.push_back(engine->renderedAudio.load());
        }
        return accepted;
    }

    // Plays `block` as if just rendered.
    void load() {
        engine->renderedAudio = block.data();
        engine->renderedAudioSize = static_cast<int32_t>(block.size());
        engine->renderedAudioIndex = 0;
        engine->setIsSending(true);
    }
    int32_t render(uint32_t frames, std::vector<float>& left, std::vector<float>& right) {
        left.assign(frames, 9.0f);
        right.assign(frames, 9.0f);
        return outputRenderCallback(engine.get(), frames, left.data(), right.data());
    }
    // Pulls blocks of 64 frames until the callback has ended the message.
    int renderUntilIdle() {
        std::vector<float> left, right;
        int callsMade = 0;
        while (engine->isSending.load() && callsMade < 100000) {
            render(64, left, right);
            ++callsMade;
        }
        return callsMade;
    }
};

TEST_F(Transmitter, CallbackCopiesTheBlockThenSilenceAndStopsOneCallLate) {
    load();
    platform.calls.clear();
    std::vector<float> left, right;
    EXPECT_EQ(render(3, left, right), 0);
    EXPECT_EQ(left, std::vector<float>({0.1f, -0.2f, 0.3f}));
    EXPECT_EQ(right, std::vector<float>(3, 0.0f));

    // More frames asked than remain: the rest is silence, still playing.
    EXPECT_EQ(render(6, left, right), 0);
    EXPECT_EQ(left, std::vector<float>({-0.4f, 0.5f, 0, 0, 0, 0}));
    EXPECT_EQ(right, std::vector<float>(6, 0.0f));
    EXPECT_EQ(engine->renderedAudioIndex.load(), 5);
    EXPECT_TRUE(platform.calls.empty());
    EXPECT_TRUE(engine->isSending.load());

    // The next call notices the end: stop, reset the route (never forced),
    // clear isSending, and still fill silence.
    EXPECT_EQ(render(4, left, right), 0);
    EXPECT_EQ(platform.calls, Calls({"outputStop", "sessionOverrideRouteToSpeaker none"}));
    EXPECT_FALSE(engine->isSending.load());
    EXPECT_EQ(left, std::vector<float>(4, 0.0f));
    EXPECT_EQ(right, std::vector<float>(4, 0.0f));
}

TEST_F(Transmitter, CallbackEndingOnAnExactBoundaryAndEmptyCalls) {
    load();
    std::vector<float> left, right;
    render(5, left, right);
    EXPECT_TRUE(engine->isSending.load());
    platform.calls.clear();
    // A call for no frames at the end still stops, and returns 0.
    EXPECT_EQ(render(0, left, right), 0);
    EXPECT_FALSE(engine->isSending.load());
    EXPECT_EQ(platform.count("outputStop"), 1);
}

TEST_F(Transmitter, SecondMessageIsRefusedWhilePlayingAndAcceptedAfterTheStop) {
    platform.calls.clear();
    EXPECT_TRUE(send(std::string_view("CQ")));
    EXPECT_TRUE(engine->isSending.load());
    EXPECT_EQ(platform.calls, Calls({"outputStart"}));
    EXPECT_FALSE(send(std::string_view("DE")));
    EXPECT_FALSE(send(std::u16string_view(u"DE")));
    EXPECT_EQ(platform.count("outputStart"), 1);

    EXPECT_GE(renderUntilIdle(), 1);
    EXPECT_EQ(platform.count("outputStop"), 1);
    EXPECT_TRUE(send(std::u16string_view(u"DE")));
    EXPECT_EQ(platform.count("outputStart"), 2);
}

TEST_F(Transmitter, StartFailureLogsAndReturnsToIdle) {
    platform.statuses["outputStart"] = -9996;
    platform.calls.clear();
    TarnLogCapture log;
    EXPECT_TRUE(send(std::string_view("CQ")));
    EXPECT_EQ(log.text(), "Failed to start output audio: -9996\n");
    EXPECT_FALSE(engine->isSending.load());
    EXPECT_EQ(platform.calls,
              Calls({"outputStart", "outputStop", "sessionOverrideRouteToSpeaker none"}));
    EXPECT_TRUE(send(std::string_view("CQ")));
}

TEST_F(Transmitter, NoPlatformOutputMeansEverySendFailsToStart) {
    NullAudioPlatform none;
    auto silent = TarnData::create(none);
    TarnLogCapture log;
    EXPECT_TRUE(silent->sendString(std::string_view("e")));
    rendered.push_back(silent->renderedAudio.load());
    EXPECT_FALSE(silent->isSending.load());
    EXPECT_EQ(log.text(), "Failed to start output audio: -9996\n");
}

TEST_F(Transmitter, SpeakerRouteIsForcedBeforeStartAndReleasedAtTheEnd) {
    engine->setForceOutputToSpeaker(true);
    platform.calls.clear();
    EXPECT_TRUE(send(std::string_view("e")));
    EXPECT_EQ(platform.calls, Calls({"sessionOverrideRouteToSpeaker speaker", "outputStart"}));
    renderUntilIdle();
    EXPECT_EQ(platform.calls.back(), "sessionOverrideRouteToSpeaker none");

    // A refused route still plays the message on the current one.
    platform.statuses["sessionOverrideRouteToSpeaker speaker"] = -1;
    TarnLogCapture log;
    EXPECT_TRUE(send(std::string_view("e")));
    EXPECT_EQ(log.text(), "Failed to force output to speaker\n");
    EXPECT_TRUE(engine->isSending.load());
    EXPECT_EQ(platform.calls.back(), "outputStart");
}

} // namespace
