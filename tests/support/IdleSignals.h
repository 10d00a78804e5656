// PSK31 idle (a phase reversal every symbol) around the engine's rendering
// of a message, as a station sends it before and after its text: the carrier
// runs on without a break, so the idle and the message join seamlessly.
#pragma once

#include <string>
#include <vector>

namespace testsignals {

// `idleBefore` idle symbols, renderMessage(text, frequency), then `idleAfter`
// idle symbols; 256 samples per symbol at 8000 Hz, amplitude 0.5.
std::vector<float> messageWithIdle(const std::string& text, double frequency, int idleBefore,
                                   int idleAfter);

} // namespace testsignals
