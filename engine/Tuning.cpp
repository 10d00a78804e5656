// Setting, nudging and locking the tuned frequency (Hz, 500 .. 2500) and the
// mixer step that follows from it. Called on the main thread while the audio
// thread runs the receive chain; every field written here is an atomic that
// the chain reads afresh.
#include "engine/Engine.h"

namespace tarn {

namespace {

// The upper bound is tested first; a NaN passes both unchanged.
double clampFrequency(double frequency) {
    if (frequency > kHighestFrequency) {
        frequency = kHighestFrequency;
    }
    if (frequency < kLowestFrequency) {
        frequency = kLowestFrequency;
    }
    return frequency;
}

// Radians per input sample, computed in double and narrowed.
float mixerStep(double frequency) {
    return static_cast<float>(frequency * kTwoPi / kSampleRate);
}

} // namespace

// Full retune (a tap on the display): clears the AFC and the timing error,
// re-arms the coarse FFT AFC, and asks the audio thread to run the last 8
// seconds again at the new frequency before its next block. The oscillator
// phase is left alone, so the mixer stays continuous.
void Engine::setFrequency(double frequency) {
    const double f = clampFrequency(frequency);
    afcReset();
    _frequency.store(f, std::memory_order_relaxed);
    iqTheta.store(mixerStep(f), std::memory_order_relaxed);
    frequencyErrorOffset.store(0.0f, std::memory_order_relaxed);
    useFFTForAFC.store(true, std::memory_order_relaxed);
    FFTAFCStable.store(0, std::memory_order_relaxed);
    carrierStart.store(0.0f, std::memory_order_relaxed);
    replayHistory.store(true, std::memory_order_relaxed);
}

// Fine retune (the step buttons): the phase AFC keeps its angles, the
// correction is dropped, and the history is replayed at once on this thread.
// The replay takes audioProcessingLock so that it and the audio thread's
// block run one after the other rather than over the same rings.
void Engine::nudgeFrequency(double frequency) {
    const double f = clampFrequency(frequency);
    _frequency.store(f, std::memory_order_relaxed);
    iqTheta.store(mixerStep(f), std::memory_order_relaxed);
    frequencyErrorOffset.store(0.0f, std::memory_order_relaxed);
    useFFTForAFC.store(false, std::memory_order_relaxed);
    std::lock_guard<std::mutex> lock(audioProcessingLock);
    replayAudioInput();
}

// Folds the AFC correction into the tuned frequency (before sending, so the
// transmitter sends where the receiver has settled). Deliberately unclamped:
// the result may lie up to 8 Hz outside 500 .. 2500.
void Engine::lockFrequency() {
    const double f = _frequency.load(std::memory_order_relaxed) +
                     static_cast<double>(frequencyErrorOffset.load(std::memory_order_relaxed));
    _frequency.store(f, std::memory_order_relaxed);
    frequencyErrorOffset.store(0.0f, std::memory_order_relaxed);
    iqTheta.store(mixerStep(f), std::memory_order_relaxed);
    useFFTForAFC.store(false, std::memory_order_relaxed);
}

} // namespace tarn
