#include "tests/support/DriftSignals.h"

#include "varicode/varicode.h"

#include <algorithm>
#include <cmath>

namespace testsignals {

namespace {
constexpr int kSamplesPerSymbol = 256;
constexpr double kSampleRate = 8000.0;
} // namespace

std::vector<float> renderDriftingMessage(const std::string& text, double startFrequency,
                                         double driftHzPerSecond) {
    const std::string bits = varicode().renderVaricodeString(8, std::string_view(text), 8);
    const size_t count = bits.size();
    std::vector<float> samples(count * kSamplesPerSymbol);
    double phase = 0.0; // radians, kept below 2π
    double sign = 1.0;
    bool shapeFirstHalf = true;
    for (size_t i = 0; i < count; ++i) {
        // A reversal at the start of the next symbol shapes this one's end.
        const bool shapeSecondHalf = i + 1 == count || bits[i + 1] == '0';
        if (bits[i] == '0') {
            sign = -sign;
        }
        for (int k = 0; k < kSamplesPerSymbol; ++k) {
            const size_t n = i * kSamplesPerSymbol + k;
            const bool shaped = k < kSamplesPerSymbol / 2 ? shapeFirstHalf : shapeSecondHalf;
            const double rise = std::sin(k * M_PI / kSamplesPerSymbol);
            const double envelope = shaped ? rise * rise : 1.0;
            samples[n] = static_cast<float>(envelope * sign * 0.5 * std::sin(phase));
            const double frequency = startFrequency + driftHzPerSecond * (n / kSampleRate);
            phase = std::fmod(phase + 2.0 * M_PI * frequency / kSampleRate, 2.0 * M_PI);
        }
        shapeFirstHalf = shapeSecondHalf;
    }
    return samples;
}

double effectiveFrequency(const TarnData& engine) {
    return engine.frequency() +
           (engine.automaticFrequencyControl() ? engine.status().frequencyErrorOffset : 0.0f);
}

ReceiveRun runReceiver(TarnData& engine, const std::vector<float>& samples,
                       const std::function<void(int64_t)>& beforeBlock,
                       const std::function<double(int64_t)>& carrierAt, int64_t trackFrom) {
    ReceiveRun run;
    run.smallestOffset = run.largestOffset = engine.status().frequencyErrorOffset;
    const int64_t total = static_cast<int64_t>(samples.size());
    for (int64_t first = 0; first < total; first += tarn::kInputBlockSamples) {
        if (beforeBlock) {
            beforeBlock(first);
        }
        const int32_t count =
            static_cast<int32_t>(std::min<int64_t>(tarn::kInputBlockSamples, total - first));
        engine.processInputAudioSamples(
            std::span<const float>(samples.data() + first, static_cast<size_t>(count)));
        while (auto text = engine.drainTextBuffer()) {
            run.text += *text;
        }
        const float offset = engine.status().frequencyErrorOffset;
        run.smallestOffset = std::min(run.smallestOffset, offset);
        run.largestOffset = std::max(run.largestOffset, offset);
        const int64_t end = first + count;
        if (carrierAt && end >= trackFrom) {
            run.largestTrackingError = std::max(
                run.largestTrackingError, std::fabs(effectiveFrequency(engine) - carrierAt(end)));
        }
    }
    return run;
}

} // namespace testsignals
