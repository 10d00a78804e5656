// PSK31 test signals whose carrier moves while they play, and a small runner
// that feeds recordings to an engine block by block while watching the AFC.
#pragma once

#include "engine/TarnData.h"

#include <functional>
#include <string>
#include <vector>

namespace testsignals {

// `text` as PSK31 (8 idle reversals before and after, sin² shaping at each
// reversal, amplitude 0.5) on a carrier that starts at `startFrequency` Hz and
// moves by `driftHzPerSecond`; the phase is continuous, so the instantaneous
// frequency at second t is startFrequency + drift·t.
std::vector<float> renderDriftingMessage(const std::string& text, double startFrequency,
                                         double driftHzPerSecond);

// What a receive run saw, block by block.
struct ReceiveRun {
    std::string text;            // everything drained from the text ring
    float smallestOffset = 0.0f; // extremes of frequencyErrorOffset, Hz
    float largestOffset = 0.0f;
    double largestTrackingError = 0.0; // |effective - carrier|, Hz, where checked
};

// Feeds `samples` to the engine in blocks of 2000 (the last may be shorter),
// draining the text after each. `beforeBlock` (if set) runs before each block
// with the number of the block's first sample (to tap, switch AFC, ...).
// `carrierAt` (if set) gives the true carrier at a sample number; from
// `trackFrom` samples on, the run records how far the effective receive
// frequency (frequency + offset while AFC is on) strays from it.
ReceiveRun runReceiver(TarnData& engine, const std::vector<float>& samples,
                       const std::function<void(int64_t)>& beforeBlock = {},
                       const std::function<double(int64_t)>& carrierAt = {}, int64_t trackFrom = 0);

// The effective receive frequency: tuned frequency plus the AFC correction
// while AFC is on.
double effectiveFrequency(const TarnData& engine);

} // namespace testsignals
