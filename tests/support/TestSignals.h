// Test signals: PSK31 messages rendered by the engine, placed in longer
// recordings with optional white noise.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace testsignals {

// The engine's rendering of `text` at `frequency` Hz (8000 Hz samples).
std::vector<float> renderMessage(const std::string& text, double frequency);

// Adds Gaussian white noise of the given RMS, reproducibly from `seed`.
void addNoise(std::vector<float>& samples, double rms, uint32_t seed);

} // namespace testsignals
