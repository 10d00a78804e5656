// The differential phase decision of PSK31: the symbol filter's outputs one
// symbol apart are compared; a phase change of about π (a reversal) is a 0
// bit, none a 1 bit. Change d in units of π, 0 .. 2: d < 0.5 is no change,
// 0.5 ≤ d < 1.5 a reversal, d ≥ 1.5 a small change seen across the ±π seam.
#pragma once

#include "engine/FFT.h"

#include <cmath>

namespace tarn {

class PhaseDecider {
public:
    // The bit (0 or 1) between the earlier and the later filter output.
    static int bit(Complex earlier, Complex later) {
        constexpr double kPi = 3.141592653589793;
        const double a =
            std::atan2(static_cast<double>(earlier.im), static_cast<double>(earlier.re)) / kPi;
        const double b =
            std::atan2(static_cast<double>(later.im), static_cast<double>(later.re)) / kPi;
        const float change = static_cast<float>(std::fabs(b - a));
        return change >= 0.5 && change < 1.5 ? 0 : 1;
    }
};

} // namespace tarn
