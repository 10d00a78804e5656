// Automatic frequency control. Both stages adjust frequencyErrorOffset (Hz,
// within -8 .. +8), which the demodulator adds to the tuned frequency:
// - FFTBasedAFC, after every full retune: the energy balance of a 512-point
//   transform of the last 1.024 s of baseband pulls the carrier to the
//   centre, and hands over after its 20th quiet evaluation;
// - automaticFrequencyAdjust, from then on: follows the carrier by its phase
//   change from one symbol instant to the next.
// Both run on the audio input thread inside the receive chain and hold still
// while a message is being sent.
#include "engine/Engine.h"

#include "engine/FFT.h"

#include <cmath>

namespace tarn {

namespace {

constexpr float kMaxOffset = 8.0f; // Hz, either side of the tuned frequency

float clampOffset(float offset) {
    if (offset < -kMaxOffset) {
        offset = -kMaxOffset;
    }
    if (offset > kMaxOffset) {
        offset = kMaxOffset;
    }
    return offset;
}

// Phase AFC smoothing: weight of the old angle, and 1 - 0.95 as double
// arithmetic yields it.
constexpr double kAngleKeep = 0.95;
constexpr double kAngleNew = 0.050000000000000044;
// Hz of offset per radian of smoothed phase change per symbol.
constexpr double kPhaseGain = 0.03;

// FFT AFC: bins 1 .. 23 either side of the centre (about ±22.5 Hz at
// 0.9765625 Hz per bin), Hz of offset per unit of balance, the balance below
// which an evaluation counts as quiet, and the quiet evaluations it takes to
// hand over to the phase stage.
constexpr int kBalanceBins = 23;
constexpr double kBalanceGain = 0.3;
constexpr double kQuietBalance = 0.01;
constexpr int32_t kQuietBeforeHandOver = 19;

} // namespace

void Engine::afcReset() {
    afcLastAngle.store(0.0f, std::memory_order_relaxed);
    afcStoredAngle.store(0.0f, std::memory_order_relaxed);
    frequencyErrorOffset.store(0.0f, std::memory_order_relaxed);
}

// Switching off clears the correction, so the mixer falls back to the tuned
// frequency at the next baseband step. Switching on does not re-arm the FFT
// stage.
void Engine::setAutomaticFrequencyControl(bool on) {
    _automaticFrequencyControl.store(on, std::memory_order_relaxed);
    if (!on) {
        afcReset();
    }
}

// One phase-AFC step at a symbol instant, from the symbol filter's outputs.
void Engine::automaticFrequencyAdjust(float inPhase, float quadrature) {
    if (isSending->load(std::memory_order_relaxed)) {
        return;
    }
    // The carrier phase folded modulo π/2 into [-π/4, π/4], so that the
    // modulation's phase reversals do not show; 0 for a near-silent symbol.
    float angle;
    if (std::fabs(static_cast<double>(inPhase)) < 0.001 &&
        std::fabs(static_cast<double>(quadrature)) < 0.001) {
        angle = 0.0f;
    } else if (std::fabs(inPhase) < std::fabs(quadrature)) {
        angle = static_cast<float>(-std::atan(static_cast<double>(inPhase / quadrature)));
    } else {
        angle = static_cast<float>(std::atan(static_cast<double>(quadrature / inPhase)));
    }

    // Angles of the same sign (0 = no previous angle) differ by less than
    // π/4, so the step is free of the fold's wrap-around.
    const float lastAngle = afcLastAngle.load(std::memory_order_relaxed);
    if (lastAngle != 0.0f && angle * lastAngle > 0.0f) {
        const float storedAngle =
            static_cast<float>(kAngleKeep * afcStoredAngle.load(std::memory_order_relaxed) +
                               kAngleNew * (angle - lastAngle));
        const float offset = static_cast<float>(
            frequencyErrorOffset.load(std::memory_order_relaxed) + kPhaseGain * storedAngle);
        frequencyErrorOffset.store(clampOffset(offset), std::memory_order_relaxed);
        // The offset step above used the angle before this clamp.
        float clampedAngle = storedAngle;
        if (clampedAngle < -1.0f) {
            clampedAngle = -1.0f;
        }
        if (clampedAngle > 1.0f) {
            clampedAngle = 1.0f;
        }
        afcStoredAngle.store(clampedAngle, std::memory_order_relaxed);
    }
    afcLastAngle.store(angle, std::memory_order_relaxed);
}

// One FFT-AFC step over the newest 512 baseband samples (1.024 s, no
// window). A carrier above the effective receive frequency puts more energy
// in the bins above the centre and raises the offset.
void Engine::FFTBasedAFC() {
    if (isSending->load(std::memory_order_relaxed)) {
        return;
    }
    Complex samples[kAFCFFTSize];
    Complex spectrum[kAFCFFTSize];
    int32_t s = iqSecondStageIndex - kAFCFFTSize;
    if (s < 0) {
        s += kRingSize;
    }
    for (Complex& sample : samples) {
        sample = Complex{secondStageInputAudioI[s], secondStageInputAudioQ[s]};
        s = s > kRingSize - 2 ? 0 : s + 1;
    }
    computeFFT(samples, spectrum, afcCoeffVector, kAFCFFTSize, afcFFTScratch);

    // Balance of the bins above (k) against those below (512 - k), each
    // weighted by its distance; 0.01 keeps silence at a balance of 0.
    float num = 0.0f;
    float den = 0.01f;
    for (int k = 1; k <= kBalanceBins; ++k) {
        const Complex above = spectrum[k];
        const Complex below = spectrum[kAFCFFTSize - k];
        const float p = std::sqrt(above.re * above.re + above.im * above.im);
        const float m = std::sqrt(below.re * below.re + below.im * below.im);
        num += k * p;
        den += k * p;
        num -= k * m;
        den += k * m;
    }
    const float balance = num / den;

    // Quiet evaluations are counted since the last full retune, not in a
    // row: a louder one in between does not start the count again.
    if (std::fabs(static_cast<double>(balance)) < kQuietBalance) {
        const int32_t quiet = FFTAFCStable.fetch_add(1, std::memory_order_relaxed);
        if (quiet >= kQuietBeforeHandOver) {
            useFFTForAFC.store(false, std::memory_order_relaxed);
            return;
        }
    }
    const float offset = static_cast<float>(frequencyErrorOffset.load(std::memory_order_relaxed) +
                                            kBalanceGain * balance);
    frequencyErrorOffset.store(clampOffset(offset), std::memory_order_relaxed);
}

} // namespace tarn
