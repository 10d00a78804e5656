#include "tests/support/TestSignals.h"

#include "varicode/varicode.h"

#include <algorithm>
#include <cmath>
#include <random>

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

std::vector<float> renderMessage(const std::string& text, double frequency) {
    TarnData engine(tarn::kTabletSquelch);
    engine.setFrequency(frequency);
    return engine.renderString(std::string_view(text));
}

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

void addNoise(std::vector<float>& samples, double rms, uint32_t seed) {
    std::mt19937 generator(seed);
    std::normal_distribution<double> noise(0.0, rms);
    for (float& sample : samples) {
        sample = static_cast<float>(sample + noise(generator));
    }
}

ReceiveRun runReceiver(TarnData& engine, std::span<const float> samples, double carrier,
                       int64_t trackFrom) {
    ReceiveRun run;
    const auto total = static_cast<int64_t>(samples.size());
    for (int64_t first = 0; first < total; first += tarn::kInputBlockSamples) {
        const int64_t count = std::min<int64_t>(tarn::kInputBlockSamples, total - first);
        engine.processInputAudioSamples(
            samples.subspan(static_cast<size_t>(first), static_cast<size_t>(count)));
        while (auto text = engine.drainTextBuffer()) {
            run.text += *text;
        }
        if (trackFrom >= 0 && first + count >= trackFrom) {
            const tarn::EngineStatus status = engine.status();
            const double effective =
                status.frequency + (status.afcOn ? status.frequencyErrorOffset : 0.0f);
            run.largestTrackingError =
                std::max(run.largestTrackingError, std::fabs(effective - carrier));
        }
    }
    return run;
}

} // namespace testsignals
