// The steps of one keyed transmission, as a state machine without a thread:
//
//   PTT on -> lead delay -> the audio -> the last sample leaves the sound
//   card -> tail delay -> PTT off
//
// The audio is handed to the output as soon as PTT is on, to start leaving
// the sound card when the lead delay ends. The transmission
// is cut and PTT released at once by stop(), when the output fails or
// cannot start, and by the watchdog (counted from PTT on). The engine's
// Transmission is held for the whole sequence and destroyed after PTT off,
// so the engine's isSending covers all of it; the output plays a copy.
//
// Not thread-safe: TransmitSequencer drives it from its thread under a lock;
// tests drive it directly with a clock of their own.
#pragma once

#include "engine/Transmission.h"
#include "rig/PlayoutSink.h"
#include "rig/PttSwitch.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tarn::rig {

struct SequenceTiming {
    std::chrono::milliseconds lead{50};
    std::chrono::milliseconds tail{50};
    std::chrono::milliseconds watchdog{std::chrono::minutes(3)};
};

// startTransmission's statuses besides 0 and the output's own.
inline constexpr int kPttRefused = -7001; // PTT could not be keyed
inline constexpr int kBusy = -7002;       // a transmission is still in progress

class TransmitSequence {
public:
    using Clock = std::chrono::steady_clock;
    using TimePoint = Clock::time_point;
    // How often the output is checked while it plays.
    static constexpr std::chrono::milliseconds kCheckPeriod{2};

    TransmitSequence(PttSwitch& ptt, PlayoutSink& output, SequenceTiming timing,
                     std::function<TimePoint()> clock);
    ~TransmitSequence();
    TransmitSequence(const TransmitSequence&) = delete;
    TransmitSequence& operator=(const TransmitSequence&) = delete;

    // Keys PTT and takes `transmission`. Returns 0; kPttRefused when PTT
    // could not be keyed, or kBusy while another transmission is in
    // progress (the transmission is then destroyed at once and lastError()
    // says why); or the output's status when it cannot start (PTT released
    // at once, logged).
    int start(std::unique_ptr<Transmission> transmission, bool routeToSpeaker);
    // Cuts the audio at once and releases PTT; nothing when idle.
    void stop();
    // Runs the steps that are due; returns when it should run next
    // (TimePoint::max() when idle).
    TimePoint advance();

    // From PTT on to PTT off. Any thread.
    bool sending() const { return sendingNow.load(std::memory_order_acquire); }
    // Why the last start was refused, for the operator ("PTT could not be
    // keyed: IO error").
    const std::string& lastError() const { return error; }
    // The last transmission was cut by the watchdog (until the next start).
    bool cutByWatchdog() const { return watchdogCut; }
    // Delays and watchdog for the next transmission (not the one on air).
    void setTiming(SequenceTiming value) { nextTiming = value; }

private:
    enum class Phase { Idle, Playing, Tail };
    void finish(bool cutAudio);

    PttSwitch& ptt;
    PlayoutSink& output;
    SequenceTiming timing;     // of the transmission in progress
    SequenceTiming nextTiming; // for the next one
    std::function<TimePoint()> clock;
    Phase phase = Phase::Idle;
    std::unique_ptr<Transmission> held;
    TimePoint pttOnAt{};
    TimePoint pttOffAt{};
    std::string error;
    bool watchdogCut = false;
    std::atomic<bool> sendingNow{false};
};

} // namespace tarn::rig
