#include "rig/TransmitSequence.h"

#include "log/TarnLog.h"

#include <algorithm>
#include <vector>

namespace tarn::rig {

TransmitSequence::TransmitSequence(PttSwitch& ptt, PlayoutSink& output, SequenceTiming timing,
                                   std::function<TimePoint()> clock)
    : ptt(ptt), output(output), timing(timing), nextTiming(timing), clock(std::move(clock)) {}

TransmitSequence::~TransmitSequence() {
    stop();
}

int TransmitSequence::start(std::unique_ptr<Transmission> transmission, bool routeToSpeaker) {
    if (phase != Phase::Idle) {
        error = "a transmission is still in progress";
        return kBusy;
    }
    timing = nextTiming;
    watchdogCut = false;
    const std::string refusal = ptt.setPtt(true);
    if (!refusal.empty()) {
        error = "PTT could not be keyed: " + refusal;
        return kPttRefused;
    }
    error.clear();
    pttOnAt = clock();
    const std::span<const float> samples = transmission->samples();
    auto copy =
        std::make_unique<Transmission>(std::vector<float>(samples.begin(), samples.end()), nullptr);
    held = std::move(transmission);
    phase = Phase::Playing;
    sendingNow.store(true, std::memory_order_release);
    const int status =
        output.startTransmissionAt(std::move(copy), routeToSpeaker, pttOnAt + timing.lead);
    if (status != 0) {
        tarnLog("Output could not be started (%d): PTT released\n", status);
        finish(false);
    }
    return status;
}

void TransmitSequence::stop() {
    if (phase != Phase::Idle) {
        finish(phase == Phase::Playing);
    }
}

TransmitSequence::TimePoint TransmitSequence::advance() {
    if (phase == Phase::Idle) {
        return TimePoint::max();
    }
    const TimePoint now = clock();
    const TimePoint watchdogAt = pttOnAt + timing.watchdog;
    if (now >= watchdogAt) {
        tarnLog("Transmit watchdog: PTT released after %lld s\n",
                static_cast<long long>(
                    std::chrono::duration_cast<std::chrono::seconds>(timing.watchdog).count()));
        watchdogCut = true;
        finish(phase == Phase::Playing);
        return TimePoint::max();
    }
    if (phase == Phase::Playing) {
        if (output.failed()) {
            tarnLog("Output failed during a transmission: PTT released\n");
            finish(true);
            return TimePoint::max();
        }
        const std::optional<TimePoint> lastSample = output.playedOutAt();
        if (!lastSample) {
            return std::min(now + kCheckPeriod, watchdogAt);
        }
        pttOffAt = *lastSample + timing.tail;
        phase = Phase::Tail;
    }
    // Tail: the last sample is on its way; the output stays untouched so
    // that it plays out.
    if (now < pttOffAt) {
        return std::min(pttOffAt, watchdogAt);
    }
    finish(false);
    return TimePoint::max();
}

void TransmitSequence::finish(bool cutAudio) {
    if (cutAudio) {
        output.stopTransmission();
    }
    ptt.setPtt(false); // a failure is logged by the switch
    phase = Phase::Idle;
    held.reset(); // the engine's isSending clears here
    sendingNow.store(false, std::memory_order_release);
}

} // namespace tarn::rig
