// Keeps samples that are not finite numbers out of the receiver.
//
// One NaN reaching the mixer stays in the filters, the signal level and the
// spectrum for good, and an infinity turns into NaN at the first product
// with zero. Every source that hands samples to the engine (audio files,
// the live input, a played recording) runs each buffer through
// cleanSamples() first:
//   NaN (any sign or payload)  -> 0.0f  (silence, as a dropout sounds)
//   +infinity                  -> +1.0f (float audio's full scale)
//   -infinity                  -> -1.0f
//   every finite value, subnormals and values beyond full scale included,
//   is left exactly as it is, so that clean audio is never changed.
// The count it returns lets the source say once what was cleaned.
//
// Header-only, standard library only; no allocation, safe on a real-time
// audio thread.
#pragma once

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tarn {

// Full scale of float audio: what an infinite sample is clamped to.
constexpr float kCleanedFullScale = 1.0f;

// The exponent field of an IEEE-754 single: all ones in NaN and infinity.
constexpr uint32_t kExponentBits = 0x7f800000u;

// Replaces the non-finite samples of `samples` in place (see above);
// returns how many were replaced.
inline std::size_t cleanSamples(std::span<float> samples) noexcept {
    // Almost every buffer is clean: one branch-free pass over the exponent
    // bits (which the compiler runs in vector lanes) finds that out, and only
    // a buffer with an all-ones exponent (NaN or infinity) is walked below.
    uint32_t allOnes = 0;
    for (const float sample : samples) {
        const uint32_t exponent = std::bit_cast<uint32_t>(sample) & kExponentBits;
        allOnes |= static_cast<uint32_t>(exponent == kExponentBits);
    }
    if (allOnes == 0) {
        return 0;
    }
    std::size_t cleaned = 0;
    for (float& sample : samples) {
        if (std::isnan(sample)) {
            sample = 0.0f;
            ++cleaned;
        } else if (std::isinf(sample)) {
            sample = sample > 0.0f ? kCleanedFullScale : -kCleanedFullScale;
            ++cleaned;
        }
    }
    return cleaned;
}

} // namespace tarn
