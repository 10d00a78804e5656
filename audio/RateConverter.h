// Streaming sample-rate conversion for the audio streams when a device cannot
// run at the engine's 8000 Hz. Everything is allocated at construction; the
// process call only runs the converter on fixed buffers, so it may be used on
// an audio thread.
#pragma once

#include <cstddef>
#include <vector>

struct SRC_STATE_tag;

class RateConverter {
public:
    // Converts mono float audio from `fromRate` to `toRate` Hz. Chunks passed
    // to process() hold at most maxInputFrames samples. ok() is false when
    // the converter could not be made.
    RateConverter(double fromRate, double toRate, size_t maxInputFrames);
    ~RateConverter();
    RateConverter(const RateConverter&) = delete;
    RateConverter& operator=(const RateConverter&) = delete;

    bool ok() const { return state != nullptr; }
    double ratio() const { return toRate / fromRate; }
    // Most output frames one process() call can give.
    size_t maxOutputFrames() const { return output.size(); }

    // Forgets the samples held from earlier chunks (a new stream starts).
    void reset();

    // Converts `count` (<= maxInputFrames) samples; returns the output,
    // valid until the next call, and its length in `produced`. A converter
    // error gives no output for this chunk.
    const float* process(const float* input, size_t count, size_t& produced);

private:
    double fromRate;
    double toRate;
    SRC_STATE_tag* state = nullptr;
    std::vector<float> output;
};
