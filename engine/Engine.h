// The engine's inside, behind the TarnData façade: the receive chain, the
// frequency control, the spectrum and the transmitter's renderer over one
// set of inline buffers. Only TarnData includes this header.
//
// Threads: processInputAudioSamples holds audioProcessingLock for a whole
// block; the state that the main thread writes (tuning, AFC, squelch) or
// reads (status) is relaxed atomics, re-read at each use; everything else
// belongs to whoever holds audioProcessingLock.
#pragma once

#include "engine/FFT.h"
#include "engine/TarnData.h"
#include "engine/TextRing.h"
#include "engine/WaterfallHistory.h"
#include "varicode/varicode.h"

#include <atomic>
#include <cstdint>
#include <mutex>

namespace tarn {

constexpr int kRingSize = 1024;        // receive-side rings (8000 and 500 Hz)
constexpr int kHistorySamples = 64000; // replay history, 8 s
constexpr int kAFCFFTSize = 512;       // FFT AFC transform length
constexpr double kTwoPi = 6.283185307179586;

class Engine {
public:
    explicit Engine(float squelchDefault);

    void processInputAudioSamples(const float* samples, int32_t count);

    void setFrequency(double frequency);
    void nudgeFrequency(double frequency);
    void lockFrequency();
    double frequency() const { return _frequency.load(std::memory_order_relaxed); }
    void setAutomaticFrequencyControl(bool on);
    bool automaticFrequencyControl() const {
        return _automaticFrequencyControl.load(std::memory_order_relaxed);
    }
    void setBackgroundNoiseLevel(float level) {
        backgroundNoiseLevel.store(level, std::memory_order_relaxed);
    }
    float squelch() const { return backgroundNoiseLevel.load(std::memory_order_relaxed); }

    std::optional<std::string> drainTextBuffer() { return text.drain(); }
    EngineStatus status() const;
    bool copySpectrumRow(int rowsBack, std::span<float, kSpectrumSize> out) const {
        return waterfall.copyRow(rowsBack, out);
    }

    std::vector<float> renderString(std::u16string_view text) const;
    std::vector<float> renderString(std::string_view text) const;

    // Shared with every Transmission: cleared when the one playing is gone.
    const std::shared_ptr<std::atomic<bool>>& sendingFlag() const { return isSending; }
    bool sending() const { return isSending->load(std::memory_order_acquire); }

private:
    void processInputAudioSample(float sample);
    void replayAudioInput();
    void processInputIQBuffer();
    void decodeSymbol0();
    void decodeSymbol1();
    void afcReset();
    void automaticFrequencyAdjust(float inPhase, float quadrature);
    void FFTBasedAFC();
    void processSpectrumData();

    varicode varicodeParser;
    char inputString[16] = {};
    int8_t inputStringIndex = 0;

    // Mixer and first stage, 8000 Hz.
    float inputAudioI[kRingSize] = {};
    float inputAudioQ[kRingSize] = {};
    int32_t iqAudioInputIndex = 0;
    int32_t iqProcessIndex = 0;
    std::atomic<float> iqTheta{0.0f};
    float iqMatchPoint = 0.0f;

    // Baseband, 500 Hz.
    float secondStageInputAudioI[kRingSize] = {};
    float secondStageInputAudioQ[kRingSize] = {};
    float amplitudeBuffer[kRingSize] = {};
    int32_t iqSecondStageIndex = 0;
    int32_t delayDecoder = 0;
    int32_t phaseSyncSubBit = 8;                  // decision instant, 0 .. 15
    std::atomic<int32_t> publishedSymbolPhase{8}; // its copy for status()
    std::atomic<float> carrierStart{0.0f};
    std::atomic<float> signalAtFrequency{0.0f};
    std::atomic<float> backgroundNoiseLevel;

    // AFC.
    Complex afcCoeffVector[kAFCFFTSize] = {};
    Complex afcFFTScratch[kAFCFFTSize] = {};
    std::atomic<bool> _automaticFrequencyControl{false};
    std::atomic<bool> useFFTForAFC{true};
    std::atomic<int32_t> FFTAFCStable{0};
    std::atomic<float> afcLastAngle{0.0f};
    std::atomic<float> afcStoredAngle{0.0f};
    std::atomic<float> frequencyErrorOffset{0.0f};
    std::atomic<double> _frequency{0.0};

    // Spectrum.
    Complex spectrum_coeff_vector[kSpectrumSize] = {};
    Complex rawAudioSamplesForFFT[kSpectrumSize] = {};
    Complex rawFFTOutput[kSpectrumSize] = {};
    Complex spectrumFFTScratch[kSpectrumSize] = {};
    float logScaleSpectrumData[kSpectrumSize] = {};
    int32_t indexForFFTSamples = 0;
    WaterfallHistory waterfall;

    // Replay history, 8 s.
    float audioSamplesTrainingBuffer[kHistorySamples] = {};
    int32_t audioSamplesTrainingBufferIndex = 0;
    std::atomic<bool> replayHistory{false};
    std::mutex audioProcessingLock;

    TextRing text;
    std::shared_ptr<std::atomic<bool>> isSending = std::make_shared<std::atomic<bool>>(false);
};

} // namespace tarn
