// A transmit sink that keeps what the engine hands it, for the console's
// tests: the message stays "playing" until the test plays or drops it.
#pragma once

#include "engine/Transmission.h"

#include <memory>

struct CapturedOutput final : tarn::TransmitSink {
    std::unique_ptr<tarn::Transmission> playing;
    int starts = 0;
    int speakerStarts = 0; // starts that asked for the loudspeaker

    int startTransmission(std::unique_ptr<tarn::Transmission> transmission,
                          bool routeToSpeaker) override {
        playing = std::move(transmission);
        ++starts;
        speakerStarts += routeToSpeaker ? 1 : 0;
        return 0;
    }
    void stopTransmission() override { playing.reset(); }
};
