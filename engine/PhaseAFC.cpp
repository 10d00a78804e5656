#include "engine/PhaseAFC.h"

#include <cmath>

namespace tarn {

namespace {

// Smoothing: weight of the old angle, and 1 - 0.95 as double arithmetic
// yields it.
constexpr double kAngleKeep = 0.95;
constexpr double kAngleNew = 0.050000000000000044;
// Hz of offset per radian of smoothed phase change per symbol.
constexpr double kPhaseGain = 0.03;

} // namespace

void PhaseAFC::step(float inPhase, float quadrature, std::atomic<float>& offset) {
    // 0 for a near-silent symbol.
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
    const float lastAngle = lastAngle_.load(std::memory_order_relaxed);
    if (lastAngle != 0.0f && angle * lastAngle > 0.0f) {
        const float storedAngle =
            static_cast<float>(kAngleKeep * storedAngle_.load(std::memory_order_relaxed) +
                               kAngleNew * (angle - lastAngle));
        offset.store(clampOffset(static_cast<float>(offset.load(std::memory_order_relaxed) +
                                                    kPhaseGain * storedAngle)),
                     std::memory_order_relaxed);
        // The offset step above used the angle before this clamp.
        float clamped = storedAngle;
        if (clamped < -1.0f) {
            clamped = -1.0f;
        }
        if (clamped > 1.0f) {
            clamped = 1.0f;
        }
        storedAngle_.store(clamped, std::memory_order_relaxed);
    }
    lastAngle_.store(angle, std::memory_order_relaxed);
}

} // namespace tarn
