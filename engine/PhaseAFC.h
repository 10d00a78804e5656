// The fine stage of the automatic frequency control: follows the carrier by
// the change of its phase from one symbol instant to the next. The phase is
// folded modulo π/2 into ±π/4 so that the modulation's reversals do not show;
// its smoothed change per symbol (radians, kept within ±1) moves the offset by
// 0.03 Hz per radian, within ±8 Hz. Reaches about ±3.9 Hz (an eighth of a
// turn per symbol); further off it pulls to the wrong side.
//
// Threads: step runs on the receive chain's thread; reset and forgetAngle
// may come from any thread (the angles are atomics).
#pragma once

#include <atomic>

namespace tarn {

class PhaseAFC {
public:
    // One step from the symbol filter's output at the instant; adjusts
    // `offset` (Hz) when this angle and the last have the same sign.
    void step(float inPhase, float quadrature, std::atomic<float>& offset);

    // The next step only notes its angle (the instant moved).
    void forgetAngle() { lastAngle_.store(0.0f, std::memory_order_relaxed); }
    void reset() {
        lastAngle_.store(0.0f, std::memory_order_relaxed);
        storedAngle_.store(0.0f, std::memory_order_relaxed);
    }

private:
    std::atomic<float> lastAngle_{0.0f};   // radians, 0 = none yet
    std::atomic<float> storedAngle_{0.0f}; // radians per symbol, -1 .. 1
};

// The AFC's correction limit either side of the tuned frequency, Hz.
inline float clampOffset(float offset) {
    constexpr float kMaxOffset = 8.0f;
    if (offset < -kMaxOffset) {
        offset = -kMaxOffset;
    }
    if (offset > kMaxOffset) {
        offset = kMaxOffset;
    }
    return offset;
}

} // namespace tarn
