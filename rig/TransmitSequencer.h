// The transmit sequencer as the engine sees it: a TransmitSink that keys the
// radio around each transmission and hands the audio to the host's output.
//
//   engine --Transmission--> TransmitSequencer --copy--> PlayoutSink (audio)
//                                   |
//                                PttSwitch (RigConnection)
//
// A thread of its own runs the delays, watches the output and the watchdog
// and releases PTT. startTransmission keys PTT before it returns, so a
// transmission that cannot be keyed is refused there (kPttRefused, the
// reason in lastError()); it blocks for at most the rig's timeout.
// stopTransmission cuts the audio and releases PTT before it returns.
#pragma once

#include "rig/TransmitSequence.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace tarn::rig {

class TransmitSequencer : public tarn::TransmitSink {
public:
    TransmitSequencer(PttSwitch& ptt, PlayoutSink& output, SequenceTiming timing);
    // Cuts any transmission, releases PTT and ends the thread.
    ~TransmitSequencer() override;
    TransmitSequencer(const TransmitSequencer&) = delete;
    TransmitSequencer& operator=(const TransmitSequencer&) = delete;

    int startTransmission(std::unique_ptr<Transmission> transmission, bool routeToSpeaker) override;
    void stopTransmission() override;

    // From PTT on to PTT off: the TX indicator. Any thread, lock-free.
    bool sending() const;
    // Why the last start was refused ("PTT could not be keyed: ...").
    std::string lastError() const;
    // The last transmission was cut by the watchdog (until the next start).
    bool cutByWatchdog() const;
    // New delays and watchdog, from the next transmission on.
    void setTiming(SequenceTiming timing);

private:
    void run();

    mutable std::mutex mutex;
    std::condition_variable wake;
    TransmitSequence sequence;
    bool quitting = false;
    std::thread thread;
};

} // namespace tarn::rig
