// What the transmit sequencer needs of the audio host's output beyond
// tarn::TransmitSink: a start at a given moment of the sound card's, when
// the sound card will have sent the last sample, and whether it failed.
//
// For the audio host:
// - The sequencer calls startTransmission and stopTransmission from its own
//   thread or from the thread that sends, never two at once (it serialises
//   them under its lock).
// - The two queries below are called from those threads every few
//   milliseconds while a transmission plays: keep them lock-free (atomics
//   written by the output callback).
// - Times are std::chrono::steady_clock. PortAudio's callback gets
//   timeInfo->outputBufferDacTime (the stream's clock, Pa_GetStreamTime);
//   convert it once per callback with the offset between the two clocks.
#pragma once

#include "engine/Transmission.h"

#include <chrono>
#include <optional>

namespace tarn::rig {

class PlayoutSink : public tarn::TransmitSink {
public:
    using Clock = std::chrono::steady_clock;

    // Plays `transmission` like startTransmission, but with silence before
    // it so that its first sample leaves the sound card at `firstSampleAt`
    // (or as soon as it can, when that moment is nearer than the stream's
    // latency). The output callback finds the frame whose DAC time
    // (outputBufferDacTime + frame / rate) first reaches `firstSampleAt`,
    // so the lead delay holds to a sample whatever the latency.
    virtual int startTransmissionAt(std::unique_ptr<Transmission> transmission, bool routeToSpeaker,
                                    Clock::time_point firstSampleAt) = 0;

    // When the last sample of the transmission most recently started leaves
    // the sound card (the DAC time of that sample, output latency included),
    // as soon as the output callback has handed that sample to the stream;
    // nothing before that, and nothing after a new startTransmission until
    // that one's last sample has been handed over.
    virtual std::optional<Clock::time_point> playedOutAt() const = 0;

    // True once the output stream has failed (device gone, sound server
    // stopped) since the last startTransmission; the sequencer then cuts the
    // transmission and releases PTT.
    virtual bool failed() const = 0;
};

} // namespace tarn::rig
