#include "audio/RateConverter.h"

#include <samplerate.h>

#include <cmath>

RateConverter::RateConverter(double from, double to, size_t maxInputFrames)
    : fromRate(from), toRate(to) {
    int error = 0;
    // The fastest band-limited sinc converter: about 97 dB of signal to noise
    // is far beyond what a receiver's audio carries, at a third of the cost of
    // the medium one on the audio thread.
    state = src_new(SRC_SINC_FASTEST, 1, &error);
    // The converter may hold back a few samples and release them later, so
    // leave room beyond the plain ratio.
    output.resize(static_cast<size_t>(std::ceil(maxInputFrames * (to / from))) + 64);
}

RateConverter::~RateConverter() {
    if (state) {
        src_delete(state);
    }
}

void RateConverter::reset() {
    if (state) {
        src_reset(state);
    }
}

const float* RateConverter::process(const float* input, size_t count, size_t& produced) {
    produced = 0;
    if (!state) {
        return output.data();
    }
    SRC_DATA data{};
    data.src_ratio = toRate / fromRate;
    data.end_of_input = 0;
    // The whole chunk is taken in one pass unless the output is full, in
    // which case the rest is fed in the next round.
    while (count > 0 && produced < output.size()) {
        data.data_in = input;
        data.input_frames = static_cast<long>(count);
        data.data_out = output.data() + produced;
        data.output_frames = static_cast<long>(output.size() - produced);
        if (src_process(state, &data) != 0) {
            return output.data();
        }
        produced += static_cast<size_t>(data.output_frames_gen);
        input += data.input_frames_used;
        count -= static_cast<size_t>(data.input_frames_used);
        if (data.input_frames_used == 0 && data.output_frames_gen == 0) {
            break;
        }
    }
    return output.data();
}
