#include "tests/support/IdleSignals.h"

#include "tests/support/TestSignals.h"
#include "varicode/varicode.h"

#include <algorithm>
#include <cmath>

namespace testsignals {

namespace {

constexpr int kSamplesPerSymbol = 256;
constexpr double kTwoPi = 6.283185307179586;

// One idle symbol (both halves shaped) whose first sample is number `first`
// counted from the start of the message (negative before it).
void appendIdleSymbol(std::vector<float>& out, long first, double sign, double frequency) {
    for (int k = 0; k < kSamplesPerSymbol; ++k) {
        const double rise = std::sin(k * (M_PI / kSamplesPerSymbol));
        const double n = static_cast<double>(first + k);
        out.push_back(static_cast<float>(
            rise * rise * (sign * std::sin(n * (frequency * kTwoPi) / 8000.0) * 0.5 + 0.1)));
    }
}

} // namespace

std::vector<float> messageWithIdle(const std::string& text, double frequency, int idleBefore,
                                   int idleAfter) {
    const std::vector<float> message = renderMessage(text, frequency);
    std::vector<float> out;
    out.reserve(message.size() + static_cast<size_t>(idleBefore + idleAfter) * kSamplesPerSymbol);

    // The message's first symbol is a reversal to sign -1, so the symbol
    // before it carries +1, the one before that -1, and so on.
    for (int j = -idleBefore; j < 0; ++j) {
        const double sign = (j % 2 == 0) ? -1.0 : 1.0;
        appendIdleSymbol(out, static_cast<long>(j) * kSamplesPerSymbol, sign, frequency);
    }
    out.insert(out.end(), message.begin(), message.end());

    // The message ends with the sign left by its last reversal.
    const std::string symbols = varicode().renderVaricodeString(8, std::string_view(text), 8);
    const long zeros = std::count(symbols.begin(), symbols.end(), '0');
    double sign = zeros % 2 == 0 ? 1.0 : -1.0;
    long next = static_cast<long>(symbols.size()) * kSamplesPerSymbol;
    for (int m = 0; m < idleAfter; ++m) {
        sign = -sign;
        appendIdleSymbol(out, next, sign, frequency);
        next += kSamplesPerSymbol;
    }
    return out;
}

} // namespace testsignals
