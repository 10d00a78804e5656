// Something that takes every receive-audio block next to the engine (the
// band scanner): 8000 Hz mono, 2000 samples, called on the thread that
// delivers input (the audio host's or the recording player's). It only does
// DSP on the block; it must not block for long.
#pragma once

#include <span>

namespace tarnaudio {

class InputConsumer {
public:
    virtual ~InputConsumer() = default;
    virtual void feed(std::span<const float> block) = 0;
};

} // namespace tarnaudio
