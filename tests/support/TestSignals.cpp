#include "tests/support/TestSignals.h"

#include "engine/TarnData.h"

#include <random>

namespace testsignals {

std::vector<float> renderMessage(const std::string& text, double frequency) {
    TarnData engine(tarn::kTabletSquelch);
    engine.setFrequency(frequency);
    return engine.renderString(std::string_view(text));
}

void addNoise(std::vector<float>& samples, double rms, uint32_t seed) {
    std::mt19937 generator(seed);
    std::normal_distribution<double> noise(0.0, rms);
    for (float& sample : samples) {
        sample = static_cast<float>(sample + noise(generator));
    }
}

} // namespace testsignals
