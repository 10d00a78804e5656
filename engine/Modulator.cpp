#include "engine/Modulator.h"

#include "varicode/varicode.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarn {

namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr int32_t kSampleRate = 8000; // Hz

constexpr int32_t kSamplesPerSymbol = 256;
constexpr int32_t kHalfSymbol = 128;
constexpr int32_t kIdleSymbols = 8;                // idle reversals before and after the text
constexpr double kShapeStep = 0.01227184630308513; // π/256: the envelope's phase per sample
constexpr double kAmplitude = 0.5;
// Offset inside the envelope: the shaped stretches carry a small positive
// envelope-shaped offset. Part of the transmitted waveform as it has always
// been sent.
constexpr double kOffset = 0.1;

// Renders `symbols` ('0' = reversal, '1' = none) at `frequency` Hz. The
// carrier's phase is the sample number from the
// start of the message, so it runs on across symbols and every message
// starts at phase 0.
std::vector<float> renderSymbols(double frequency, const std::string& symbols) {
    // The sample count is a 32-bit signed value; refuse before allocating.
    if (symbols.size() >
        static_cast<size_t>(std::numeric_limits<int32_t>::max() / kSamplesPerSymbol)) {
        throw std::length_error("rendered message would exceed 2^31 - 1 samples");
    }
    const int32_t count = static_cast<int32_t>(symbols.size());
    const int32_t sampleCount = count * kSamplesPerSymbol;
    std::vector<float> block(static_cast<size_t>(sampleCount));

    double sign = 1.0;
    bool shapeFirstHalf = true;
    for (int32_t i = 0; i < count; ++i) {
        // The second half falls to zero before a reversal, and always at the
        // start and end of the message.
        const bool shapeSecondHalf =
            (i == 0 || i == count - 1) ? true : symbols[static_cast<size_t>(i) + 1] == '0';
        if (symbols[static_cast<size_t>(i)] == '0') {
            sign = -sign;
        }
        for (int32_t k = 0; k < kSamplesPerSymbol; ++k) {
            const int32_t n = i * kSamplesPerSymbol + k;
            double envelope = 1.0;
            if ((k < kHalfSymbol && shapeFirstHalf) || (k >= kHalfSymbol && shapeSecondHalf)) {
                const double s = std::sin(k * kShapeStep);
                envelope = s * s;
            }
            const double f = frequency;
            block[static_cast<size_t>(n)] = static_cast<float>(
                envelope *
                (sign * std::sin(n * (f * kTwoPi) / kSampleRate) * kAmplitude + kOffset));
        }
        shapeFirstHalf = shapeSecondHalf;
    }
    return block;
}

} // namespace

std::vector<float> Modulator::render(std::u16string_view text, double frequency,
                                     int preambleReversals) {
    const varicode codec;
    return renderSymbols(frequency,
                         codec.renderVaricodeString(kIdleSymbols + std::max(0, preambleReversals),
                                                    text, kIdleSymbols));
}

std::vector<float> Modulator::render(std::string_view text, double frequency,
                                     int preambleReversals) {
    const varicode codec;
    return renderSymbols(frequency,
                         codec.renderVaricodeString(kIdleSymbols + std::max(0, preambleReversals),
                                                    text, kIdleSymbols));
}

} // namespace tarn
