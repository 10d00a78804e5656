#include "tests/support/TestSignals.h"

#include "engine/TarnData.h"

#include <random>

namespace testsignals {

std::vector<float> renderMessage(const std::string& text, double frequency) {
    NullAudioPlatform platform;
    auto engine = TarnData::create(platform);
    engine->setFrequency(frequency);
    engine->renderString(std::string_view(text));
    const float* block = engine->renderedAudio.load();
    return std::vector<float>(block, block + engine->renderedAudioSize.load());
}

void addNoise(std::vector<float>& samples, double rms, uint32_t seed) {
    std::mt19937 generator(seed);
    std::normal_distribution<double> noise(0.0, rms);
    for (float& sample : samples) {
        sample = static_cast<float>(sample + noise(generator));
    }
}

} // namespace testsignals
