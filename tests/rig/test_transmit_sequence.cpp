// The transmit sequence against a fake PTT line, a fake output and a clock
// the test moves: every time below is the fake clock's, so the outcomes do
// not depend on how fast the machine runs.
#include "rig/TransmitSequence.h"

#include "log/TarnLog.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using tarn::Transmission;
using namespace tarn::rig;
using namespace std::chrono_literals;
using TimePoint = TransmitSequence::TimePoint;

// The fake clock's time, which the fake PTT and output stamp their changes
// with and the test moves.
struct FakeClock {
    TimePoint now{};
};

// Records each change of the line with the fake time it happened at.
struct FakePtt : PttSwitch {
    explicit FakePtt(FakeClock& clock) : clock(clock) {}
    std::string setPtt(bool on) override {
        if (on && !refusal.empty()) {
            return refusal;
        }
        clock.now += keyingTime; // the rig takes this long to answer
        changes.push_back({on, clock.now});
        return "";
    }
    FakeClock& clock;
    std::string refusal;
    std::chrono::milliseconds keyingTime{0};
    std::vector<std::pair<bool, TimePoint>> changes;
};

struct FakeOutput : PlayoutSink {
    explicit FakeOutput(FakeClock& clock) : clock(clock) {}
    int startTransmission(std::unique_ptr<Transmission> t, bool) override {
        return startTransmissionAt(std::move(t), false, clock.now);
    }
    int startTransmissionAt(std::unique_ptr<Transmission> t, bool, TimePoint first) override {
        playing = std::move(t);
        startedAt = clock.now;
        firstSampleAt = first;
        done.reset();
        return startStatus;
    }
    void stopTransmission() override {
        stoppedAt = clock.now;
        playing.reset();
    }
    std::optional<Clock::time_point> playedOutAt() const override { return done; }
    bool failed() const override { return broken; }

    FakeClock& clock;
    std::unique_ptr<Transmission> playing;
    std::optional<TimePoint> startedAt, firstSampleAt, stoppedAt, done;
    int startStatus = 0;
    bool broken = false;
};

struct Harness {
    FakeClock clock;
    FakePtt ptt{clock};
    FakeOutput output{clock};
    std::shared_ptr<std::atomic<bool>> engineSending = std::make_shared<std::atomic<bool>>(true);
    TransmitSequence sequence{ptt, output, SequenceTiming{50ms, 80ms, 3s},
                              [this] { return clock.now; }};

    int start() {
        return sequence.start(
            std::make_unique<Transmission>(std::vector<float>{0.5f, -0.5f, 0.25f}, engineSending),
            false);
    }
    // Runs the sequence at each millisecond up to `t`, as its thread would.
    void runTo(std::chrono::milliseconds t) {
        while (clock.now < TimePoint{} + t) {
            clock.now += 1ms;
            sequence.advance();
        }
    }
    // The fake time of PTT change `n`, in milliseconds from zero.
    std::chrono::milliseconds change(std::size_t n) const { return at(ptt.changes.at(n).second); }
    static std::chrono::milliseconds at(TimePoint t) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(t - TimePoint{});
    }
};

// The audio goes to the output as soon as PTT is confirmed on, timed to
// leave the sound card when the lead delay ends; PTT stays on until the tail
// delay after the output reports the last sample gone.
TEST(TransmitSequence, KeysAroundTheAudioLeavingTheSoundCard) {
    for (const std::chrono::milliseconds keying : {0ms, 10ms}) {
        SCOPED_TRACE(keying.count());
        Harness h;
        h.ptt.keyingTime = keying; // the lead counts from PTT confirmed on
        ASSERT_EQ(h.start(), 0);
        EXPECT_TRUE(h.sequence.sending());
        ASSERT_TRUE(h.output.startedAt);
        EXPECT_EQ(h.at(*h.output.startedAt), keying);
        EXPECT_EQ(h.at(*h.output.firstSampleAt), keying + 50ms);
        EXPECT_EQ(h.output.playing->samples().size(), 3u);

        h.runTo(900ms); // still rendering: PTT stays on
        EXPECT_TRUE(h.sequence.sending());
        EXPECT_TRUE(*h.engineSending);
        h.output.done = TimePoint{} + 950ms; // the last sample leaves at 950 ms
        h.runTo(1029ms);
        EXPECT_EQ(h.ptt.changes.size(), 1u) << "PTT off before the tail delay";
        h.runTo(1030ms);
        ASSERT_EQ(h.ptt.changes.size(), 2u);
        EXPECT_FALSE(h.ptt.changes[1].first);
        EXPECT_EQ(h.change(1), 950ms + 80ms + keying);
        EXPECT_FALSE(h.sequence.sending());
        EXPECT_FALSE(*h.engineSending) << "the engine's transmission is released after PTT off";
        EXPECT_FALSE(h.output.stoppedAt) << "the output plays out undisturbed";
    }
}

// Every way a transmission can end early cuts the audio (once it has
// started) and releases PTT at once, with the reason logged where the
// operator did not cause it.
TEST(TransmitSequence, ReleasesPttOnEveryEarlyEnd) {
    struct Case {
        const char* name;
        std::chrono::milliseconds when;
        void (*act)(Harness&);
        bool audioCut;
        const char* logged;
    } cases[] = {
        {"stop during the lead", 20ms, [](Harness& h) { h.sequence.stop(); }, true, ""},
        {"stop while playing", 500ms, [](Harness& h) { h.sequence.stop(); }, true, ""},
        {"output fails", 500ms, [](Harness& h) { h.output.broken = true; }, true,
         "Output failed during a transmission: PTT released\n"},
        {"watchdog", 3000ms, [](Harness&) {}, true, "Transmit watchdog: PTT released after 3 s\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TarnLogCapture log;
        Harness h;
        ASSERT_EQ(h.start(), 0);
        h.runTo(c.when - 1ms);
        h.clock.now += 1ms;
        c.act(h);
        h.sequence.advance();
        ASSERT_EQ(h.ptt.changes.size(), 2u);
        EXPECT_EQ(h.change(1), c.when);
        EXPECT_EQ(h.output.stoppedAt.has_value(), c.audioCut);
        EXPECT_FALSE(h.output.playing);
        EXPECT_FALSE(h.sequence.sending());
        EXPECT_FALSE(*h.engineSending);
        EXPECT_EQ(log.text(), c.logged);
        EXPECT_EQ(h.sequence.cutByWatchdog(), c.when == 3000ms);
        // The next transmission runs normally.
        h.output.broken = false;
        EXPECT_EQ(h.start(), 0);
        EXPECT_TRUE(h.sequence.sending());
        EXPECT_FALSE(h.sequence.cutByWatchdog());
    }
}

// A transmission that cannot be keyed, or arrives while one is in progress,
// is refused at once and destroyed; one the output cannot start is released.
TEST(TransmitSequence, RefusesWhatCannotBeKeyedOrPlayed) {
    Harness refused;
    refused.ptt.refusal = "IO error";
    EXPECT_EQ(refused.start(), kPttRefused);
    EXPECT_EQ(refused.sequence.lastError(), "PTT could not be keyed: IO error");
    EXPECT_FALSE(*refused.engineSending);
    EXPECT_FALSE(refused.sequence.sending());
    EXPECT_TRUE(refused.ptt.changes.empty());

    Harness busy;
    ASSERT_EQ(busy.start(), 0);
    auto second = std::make_shared<std::atomic<bool>>(true);
    EXPECT_EQ(busy.sequence.start(std::make_unique<Transmission>(std::vector<float>{1.0f}, second),
                                  false),
              kBusy);
    EXPECT_FALSE(*second);
    EXPECT_TRUE(busy.sequence.sending());

    TarnLogCapture log;
    Harness unplayable;
    unplayable.output.startStatus = -9996;
    EXPECT_EQ(unplayable.start(), -9996);
    ASSERT_EQ(unplayable.ptt.changes.size(), 2u);
    EXPECT_FALSE(unplayable.ptt.changes[1].first);
    EXPECT_FALSE(unplayable.sequence.sending());
    EXPECT_EQ(log.text(), "Output could not be started (-9996): PTT released\n");
}

// New timing applies from the next transmission; the one on air keeps its own.
TEST(TransmitSequence, NewTimingWaitsForTheNextTransmission) {
    Harness h;
    ASSERT_EQ(h.start(), 0);
    h.sequence.setTiming(SequenceTiming{200ms, 10ms, 1s});
    EXPECT_EQ(h.at(*h.output.firstSampleAt), 50ms);
    h.output.done = TimePoint{} + 100ms;
    h.runTo(180ms);
    EXPECT_EQ(h.change(1), 180ms);

    ASSERT_EQ(h.start(), 0);
    EXPECT_EQ(h.at(*h.output.firstSampleAt), 380ms);
    h.runTo(1179ms);
    EXPECT_TRUE(h.sequence.sending());
    h.runTo(1180ms);
    EXPECT_FALSE(h.sequence.sending()) << "the new watchdog (1 s)";
}

} // namespace
