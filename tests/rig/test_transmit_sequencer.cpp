// The sequencer's own thread: a transmission runs to its end without the
// caller's help, a stop from the sending thread or the sequencer's
// destruction ends it at once, and every shared fact is read race-free (run
// under ThreadSanitizer). No timing is asserted here; the sequence's timing
// is proved with a fake clock.
#include "rig/TransmitSequencer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace tarn::rig;
using namespace std::chrono_literals;

class RecordingPtt : public PttSwitch {
public:
    std::string setPtt(bool on) override {
        std::lock_guard lock(mutex);
        changes.push_back(on);
        return "";
    }
    std::vector<bool> history() const {
        std::lock_guard lock(mutex);
        return changes;
    }

private:
    mutable std::mutex mutex;
    std::vector<bool> changes;
};

// Plays out "instantly": the last sample has left once the test says so.
class InstantOutput : public PlayoutSink {
public:
    int startTransmission(std::unique_ptr<tarn::Transmission>, bool) override {
        return ++starts, 0;
    }
    int startTransmissionAt(std::unique_ptr<tarn::Transmission> t, bool route,
                            Clock::time_point) override {
        return startTransmission(std::move(t), route);
    }
    void stopTransmission() override { ++stops; }
    std::optional<Clock::time_point> playedOutAt() const override {
        return finished ? std::optional(Clock::now()) : std::nullopt;
    }
    bool failed() const override { return false; }

    std::atomic<int> starts{0}, stops{0};
    std::atomic<bool> finished{false};
};

bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 5000 && !condition(); ++i) {
        std::this_thread::sleep_for(1ms);
    }
    return condition();
}

TEST(TransmitSequencer, RunsToTheEndOnItsOwnThreadAndStopsAtOnce) {
    RecordingPtt ptt;
    InstantOutput output;
    std::shared_ptr<std::atomic<bool>> sending[3];
    const auto start = [&](TransmitSequencer& sequencer, int n) {
        sending[n] = std::make_shared<std::atomic<bool>>(true);
        return sequencer.startTransmission(
            std::make_unique<tarn::Transmission>(std::vector<float>(800, 0.1f), sending[n]), false);
    };
    {
        TransmitSequencer sequencer(ptt, output, SequenceTiming{5ms, 5ms, 60s});
        ASSERT_EQ(start(sequencer, 0), 0);
        EXPECT_TRUE(sequencer.sending());
        ASSERT_TRUE(eventually([&] { return output.starts.load() == 1; }));
        EXPECT_TRUE(sequencer.sending());
        output.finished = true;
        ASSERT_TRUE(eventually([&] { return !sequencer.sending(); }));
        EXPECT_FALSE(*sending[0]);
        EXPECT_EQ(ptt.history(), (std::vector<bool>{true, false}));
        EXPECT_EQ(output.stops.load(), 0);

        output.finished = false;
        ASSERT_EQ(start(sequencer, 1), 0);
        ASSERT_TRUE(eventually([&] { return output.starts.load() == 2; }));
        sequencer.stopTransmission();
        EXPECT_FALSE(sequencer.sending());
        EXPECT_FALSE(*sending[1]);
        EXPECT_EQ(output.stops.load(), 1);
        ASSERT_EQ(start(sequencer, 2), 0); // ended by the destructor
    }
    EXPECT_FALSE(*sending[2]);
    EXPECT_EQ(output.stops.load(), 2);
    EXPECT_EQ(ptt.history(), (std::vector<bool>{true, false, true, false, true, false}));
}

} // namespace
