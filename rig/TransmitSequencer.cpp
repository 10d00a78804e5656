#include "rig/TransmitSequencer.h"

namespace tarn::rig {

TransmitSequencer::TransmitSequencer(PttSwitch& ptt, PlayoutSink& output, SequenceTiming timing)
    : sequence(ptt, output, timing, [] { return TransmitSequence::Clock::now(); }),
      thread([this] { run(); }) {}

TransmitSequencer::~TransmitSequencer() {
    {
        std::lock_guard lock(mutex);
        sequence.stop();
        quitting = true;
    }
    wake.notify_all();
    thread.join();
}

int TransmitSequencer::startTransmission(std::unique_ptr<Transmission> transmission,
                                         bool routeToSpeaker) {
    int status = 0;
    {
        std::lock_guard lock(mutex);
        status = sequence.start(std::move(transmission), routeToSpeaker);
    }
    wake.notify_all();
    return status;
}

void TransmitSequencer::stopTransmission() {
    std::lock_guard lock(mutex);
    sequence.stop();
}

bool TransmitSequencer::sending() const {
    return sequence.sending();
}

std::string TransmitSequencer::lastError() const {
    std::lock_guard lock(mutex);
    return sequence.lastError();
}

bool TransmitSequencer::cutByWatchdog() const {
    std::lock_guard lock(mutex);
    return sequence.cutByWatchdog();
}

void TransmitSequencer::setTiming(SequenceTiming timing) {
    std::lock_guard lock(mutex);
    sequence.setTiming(timing);
}

void TransmitSequencer::run() {
    std::unique_lock lock(mutex);
    while (!quitting) {
        const TransmitSequence::TimePoint next = sequence.advance();
        if (next == TransmitSequence::TimePoint::max()) {
            wake.wait(lock);
        } else {
            wake.wait_until(lock, next);
        }
    }
}

} // namespace tarn::rig
