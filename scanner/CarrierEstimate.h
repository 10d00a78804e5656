// Where a new channel's carrier lies, from its baseband: squaring a BPSK
// signal removes the modulation and leaves a line at twice the carrier's
// offset. The newest 512 baseband samples (1.024 s) go through the symbol
// filter (so a neighbour 40 Hz away barely counts), are squared, windowed
// and transformed; the strongest line within ±15.6 Hz, interpolated between
// bins, gives the offset to ±0.1 Hz or so. This is how a channel pulls onto
// the carrier from the detector's estimate, which is only good to a bin
// (7.8 Hz) or so; the phase AFC takes over from there.
#pragma once

#include "scanner/EngineStages.h"

#include <optional>
#include <vector>

namespace scanner {

// The carrier's offset from the channel's frequency, Hz (within ±7.8), or
// nothing when no line stands out (no BPSK signal there). `narrow` puts the
// symbol filter first: precise once within a few hertz, and blind to a
// neighbour; without it a carrier up to 7.8 Hz off is still seen whole.
std::optional<double> estimateCarrierOffset(const std::vector<stages::Complex>& baseband,
                                            bool narrow);

} // namespace scanner
