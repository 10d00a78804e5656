// The inside of TarnData: one Receiver at the tuned carrier, the replay
// history that a retune runs it over again, the spectrum analyser and the
// waterfall history, and the flag a playing transmission holds.
//
// Threads: processInputAudioSamples holds `processing` for a whole block;
// nudge takes it for its replay on the caller's thread. Everything the main
// thread touches besides is an atomic or a copy-out (see Receiver,
// WaterfallHistory).
#pragma once

#include "engine/Receiver.h"
#include "engine/ReplayHistory.h"
#include "engine/SpectrumAnalyser.h"
#include "engine/TarnData.h"
#include "engine/WaterfallHistory.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace tarn {

class Engine {
public:
    explicit Engine(float squelchDefault)
        : receiver_(kDefaultFrequency, squelchDefault, sending_.get()) {
        replayPending.store(true, std::memory_order_relaxed); // the tuning above asks for it
    }

    void processInputAudioSamples(std::span<const float> samples) {
        std::lock_guard<std::mutex> lock(processing);
        if (replayPending.exchange(false, std::memory_order_relaxed)) {
            replay();
        }
        for (const float x : samples) {
            receiver_.processSample(x);
        }
        // The history and the spectrum take the block whole: neither feeds
        // the receiver within a block. Live samples only (never a replay)
        // make the waterfall.
        history.push(samples);
        spectrum.push(samples, waterfall_);
    }

    // A full retune replays before the next block, on the audio thread.
    void setFrequency(double hertz) {
        receiver_.tune(hertz);
        replayPending.store(true, std::memory_order_relaxed);
    }
    // A fine retune replays at once, on the caller's thread.
    void nudgeFrequency(double hertz) {
        receiver_.nudge(hertz);
        std::lock_guard<std::mutex> lock(processing);
        replay();
    }

    Receiver& receiver() { return receiver_; }
    const Receiver& receiver() const { return receiver_; }
    const WaterfallHistory& waterfall() const { return waterfall_; }
    // Shared with every Transmission, which clears it when it is gone.
    const std::shared_ptr<std::atomic<bool>>& sendingFlag() const { return sending_; }

private:
    // The 8 s history through the receiver again; the history, the spectrum
    // and the receiver's clock, level and open character carry on.
    void replay() {
        history.replay([this](float x) { receiver_.processSample(x); });
    }

    std::shared_ptr<std::atomic<bool>> sending_ = std::make_shared<std::atomic<bool>>(false);
    Receiver receiver_;
    WaterfallHistory waterfall_;
    ReplayHistory history;
    SpectrumAnalyser spectrum;
    std::atomic<bool> replayPending{false};
    std::mutex processing;
};

} // namespace tarn
