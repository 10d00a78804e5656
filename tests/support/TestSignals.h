// Test signals: PSK31 messages rendered by the engine, with idle around them
// as a station sends it, white noise, and a runner that feeds a recording to
// an engine block by block as the audio host does.
#pragma once

#include "engine/TarnData.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace testsignals {

// The engine's rendering of `text` at `frequency` Hz (8000 Hz samples).
std::vector<float> renderMessage(const std::string& text, double frequency);

// `idleBefore` idle symbols (a reversal every symbol), renderMessage(text,
// frequency), then `idleAfter` idle symbols; 256 samples per symbol,
// amplitude 0.5. The carrier runs on without a break, so the idle and the
// message join seamlessly.
std::vector<float> messageWithIdle(const std::string& text, double frequency, int idleBefore,
                                   int idleAfter);

// Adds Gaussian white noise of the given RMS, reproducibly from `seed`.
void addNoise(std::vector<float>& samples, double rms, uint32_t seed);

// What a receive run saw.
struct ReceiveRun {
    std::string text;                  // everything drained from the text ring
    double largestTrackingError = 0.0; // |effective - carrier|, Hz, where checked
};

// Feeds `samples` to the engine in input blocks (the last may be shorter),
// draining the text after each. From sample `trackFrom` on (none when
// negative) it records how far the effective receive frequency (frequency
// plus the AFC correction while AFC is on) strays from `carrier` Hz.
ReceiveRun runReceiver(TarnData& engine, std::span<const float> samples, double carrier = 0.0,
                       int64_t trackFrom = -1);

} // namespace testsignals
