// Local oscillator and mixer: each 8000 Hz input sample x becomes the pair
// I = x·sin φ, Q = x·cos φ (products in double, stored as float) at the
// oscillator phase φ, which then advances by the step. φ is a float in
// radians, reduced once by 2π when it reaches 2π, so the oscillator runs on
// without a break when the step changes.
#pragma once

#include <cmath>

namespace tarn {

class Mixer {
public:
    static constexpr double kTwoPi = 6.283185307179586;

    // Mixes x at the current phase, then advances it by `step` radians
    // (frequency × 2π / 8000, normally 0.39 .. 1.97).
    void mix(float x, float step, float& inPhase, float& quadrature) {
        const float phase = phase_;
        inPhase = static_cast<float>(static_cast<double>(x) * std::sin(static_cast<double>(phase)));
        quadrature =
            static_cast<float>(static_cast<double>(x) * std::cos(static_cast<double>(phase)));
        float next = step + phase;
        if (next >= kTwoPi) {
            next = static_cast<float>(next - kTwoPi);
        }
        phase_ = next;
    }

    float phase() const { return phase_; } // radians, 0 .. 2π

private:
    float phase_ = 0.0f;
};

} // namespace tarn
