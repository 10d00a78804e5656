// What the transmit sequencer needs of the audio host's output beyond
// tarn::TransmitSink: when the sound card will have sent the last sample,
// how far ahead of the sound card the stream runs, and whether it failed.
//
// For the audio host:
// - The sequencer calls startTransmission and stopTransmission from its own
//   thread or from the thread that sends, never two at once (it serialises
//   them under its lock).
// - The three queries below are called from those threads every few
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

    // When the last sample of the transmission most recently started leaves
    // the sound card (the DAC time of that sample, output latency included),
    // as soon as the output callback has handed that sample to the stream;
    // nothing before that, and nothing after a new startTransmission until
    // that one's last sample has been handed over.
    virtual std::optional<Clock::time_point> playedOutAt() const = 0;

    // The open output stream's latency: from a sample handed to the stream
    // in startTransmission to its leaving the sound card. The sequencer
    // starts the audio this much before the end of the lead delay.
    virtual Clock::duration outputLatency() const = 0;

    // True once the output stream has failed (device gone, sound server
    // stopped) since the last startTransmission; the sequencer then cuts the
    // transmission and releases PTT.
    virtual bool failed() const = 0;
};

} // namespace tarn::rig
