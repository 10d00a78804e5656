// Sample entry from the audio input thread, the baseband mixer and the replay
// of the 8-second input history.
//
// Every input sample (8000 Hz) goes into the history ring, through the mixer
// into the 1024-entry I/Q rings, and into the spectrum block; every 16th
// sample the demodulator makes one 500 Hz baseband sample from the rings.
#include "engine/Engine.h"

#include "engine/Filters.h"

#include <cmath>

namespace tarn {

namespace {

// Ring index rules: 0 after the last entry, else one on.
int32_t nextRingIndex(int32_t index) {
    return index > kRingSize - 2 ? 0 : index + 1;
}
int32_t nextHistoryIndex(int32_t index) {
    return index > kHistorySamples - 2 ? 0 : index + 1;
}

} // namespace

// One input block (normally 2000 samples, 250 ms) under audioProcessingLock.
// A pending retune first re-runs the whole history at the new frequency.
void Engine::processInputAudioSamples(const float* samples, int32_t count) {
    std::lock_guard<std::mutex> lock(audioProcessingLock);
    if (replayHistory.exchange(false, std::memory_order_relaxed)) {
        replayAudioInput();
    }
    for (int32_t n = 0; n < count; ++n) {
        const float x = samples[n];
        audioSamplesTrainingBuffer[audioSamplesTrainingBufferIndex] = x;
        audioSamplesTrainingBufferIndex = nextHistoryIndex(audioSamplesTrainingBufferIndex);

        processInputAudioSample(x);

        // Live samples only (never the replay) make the waterfall: one
        // block of 1024, without overlap.
        rawAudioSamplesForFFT[indexForFFTSamples] = Complex{x, 0.0f};
        const int32_t collected = indexForFFTSamples;
        indexForFFTSamples = collected + 1;
        if (collected >= kSpectrumSize - 1) {
            indexForFFTSamples = 0;
            processSpectrumData();
        }
    }
}

// The mixer: I = x·sin φ, Q = x·cos φ at the oscillator phase φ (radians, in
// [0, 2π)), which then advances by iqTheta. The phase is a float sum, reduced
// once by 2π when it reaches 2π, so the oscillator stays continuous across
// retunes.
void Engine::processInputAudioSample(float sample) {
    const float phase = iqMatchPoint;
    inputAudioI[iqAudioInputIndex] =
        static_cast<float>(static_cast<double>(sample) * std::sin(static_cast<double>(phase)));
    inputAudioQ[iqAudioInputIndex] =
        static_cast<float>(static_cast<double>(sample) * std::cos(static_cast<double>(phase)));

    float next = iqTheta.load(std::memory_order_relaxed) + phase;
    if (next >= kTwoPi) {
        next = static_cast<float>(next - kTwoPi);
    }
    iqMatchPoint = next;
    iqAudioInputIndex = nextRingIndex(iqAudioInputIndex);

    const int32_t sinceBaseband = iqProcessIndex;
    iqProcessIndex = sinceBaseband + 1;
    if (sinceBaseband >= 15) {
        processInputIQBuffer();
        iqProcessIndex = 0;
    }
}

// Runs the 64000 stored samples, oldest first, through the mixer and
// demodulator again. The history, its write index and the spectrum block are
// left alone; the chain's state (clock, squelch average, open character)
// carries on into the live samples that follow.
void Engine::replayAudioInput() {
    int32_t index = audioSamplesTrainingBufferIndex;
    for (int32_t n = 0; n < kHistorySamples; ++n) {
        processInputAudioSample(audioSamplesTrainingBuffer[index]);
        index = nextHistoryIndex(index);
    }
}

} // namespace tarn
