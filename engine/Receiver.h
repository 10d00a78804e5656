// One complete PSK31 demodulator at one carrier: mixer, first-stage
// decimator, symbol filter, symbol clock, phase decider, character
// assembler, signal level and squelch, and the two AFC stages, with its own
// received-text ring. About 21 KiB of state and no allocation after
// construction, so a host can run dozens over the same input.
//
// Threads: processSample runs on one thread at a time (the host serialises
// it); the tuning, AFC and squelch calls, the getters and drainText may come
// from any one other thread at the same time. Tuning writes take effect
// within 16 input samples.
#pragma once

#include "engine/CharacterAssembler.h"
#include "engine/Decimator.h"
#include "engine/FFTAFC.h"
#include "engine/Mixer.h"
#include "engine/PhaseAFC.h"
#include "engine/SignalLevel.h"
#include "engine/SymbolClock.h"
#include "engine/SymbolFilter.h"
#include "engine/TextRing.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace tarn {

class Receiver {
public:
    static constexpr int kSampleRate = 8000;   // Hz, input
    static constexpr double kLowest = 500.0;   // Hz, tuning range
    static constexpr double kHighest = 2500.0; // Hz

    // Tuned to `frequency` (clamped) with AFC on and the coarse stage armed.
    // While *holdAFC is true (a transmission is playing) the AFC holds still.
    Receiver(double frequency, float squelch, const std::atomic<bool>* holdAFC = nullptr);

    // One 8000 Hz input sample.
    void processSample(float x) {
        float i;
        float q;
        mixer_.mix(x, step_.load(std::memory_order_relaxed), i, q);
        float basebandI;
        float basebandQ;
        if (decimator_.push(i, q, basebandI, basebandQ)) {
            basebandStep(basebandI, basebandQ);
        }
    }

    // Full retune (a tap): clamps to 500 .. 2500 Hz, drops the AFC's
    // correction and angles, re-arms the coarse stage, clears the clock error.
    void tune(double frequency);
    // Fine retune: clamps, drops the correction, goes on with the fine stage.
    void nudge(double frequency);
    // Folds the correction into the tuned frequency (unclamped).
    void lockFrequency();
    // Off drops the correction and the fine stage's angles; on changes
    // nothing else.
    void setAutomaticFrequencyControl(bool on);
    void setSquelch(float level) { level_.setSquelch(level); }

    double frequency() const { return frequency_.load(std::memory_order_relaxed); }
    float frequencyErrorOffset() const { return offset_.load(std::memory_order_relaxed); }
    bool automaticFrequencyControl() const { return afcOn_.load(std::memory_order_relaxed); }
    bool acquiring() const { return acquiring_.load(std::memory_order_relaxed); }
    float signalLevel() const { return level_.level(); }
    float squelch() const { return level_.squelch(); }
    int symbolPhase() const { return clock_.phase(); }
    float timingError() const { return clock_.error(); }

    // Received bytes (one contiguous run; call again until nothing comes).
    std::optional<std::string> drainText() { return text_.drain(); }

private:
    void basebandStep(float i, float q);
    void resetAFC();
    void setStep(double frequency);
    bool holding() const { return hold_ != nullptr && hold_->load(std::memory_order_relaxed); }

    Mixer mixer_;
    Decimator decimator_;
    SymbolFilter filter_;
    SymbolClock clock_;
    CharacterAssembler assembler_;
    SignalLevel level_;
    PhaseAFC phaseAFC_;
    FFTAFC fftAFC_;
    TextRing text_;

    std::atomic<double> frequency_{0.0}; // Hz, tuned
    std::atomic<float> offset_{0.0f};    // Hz, AFC correction, -8 .. 8
    std::atomic<float> step_{0.0f};      // mixer step, radians per sample
    std::atomic<bool> afcOn_{true};
    std::atomic<bool> acquiring_{true}; // the coarse stage is in charge
    const std::atomic<bool>* hold_;
};

} // namespace tarn
