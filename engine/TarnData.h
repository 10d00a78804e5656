// TarnData: the PSK31 modem engine. One object owns every receive-side buffer
// inline, the varicode codec, the two locks and the audio handles.
//
// Threads: the audio input thread calls processInputAudioSamples, which holds
// audioProcessingLock for the whole block; the main thread tunes, drains text,
// reads levels and spectrum rows and sends; the output render thread pulls the
// transmit block through outputRenderCallback. Fields written on one thread and
// read on another are relaxed atomics (their values are exactly those of plain
// fields; only the tearing is gone); everything else belongs to whoever holds
// audioProcessingLock.
//
// The operations are implemented in separate files by area: construction and
// properties (TarnData.cpp), sample entry and mixer (SampleEntry.cpp), filters
// (Filters.cpp), demodulator (Demodulator.cpp), received-text ring
// (TextRing.cpp), tuning (Tuning.cpp), AFC (AFC.cpp), FFT (FFT.cpp), spectrum
// (Spectrum.cpp), rendering (Render.cpp), sending (Sending.cpp) and audio
// configuration (AudioConfig.cpp).
#pragma once

#include "engine/AudioPlatform.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

class varicode;

// One complex value: real then imaginary, 32-bit floats; arrays interleave.
struct TarnComplex {
    float re;
    float im;
};

// Sizes of the engine's rings and tables.
namespace tarn {
constexpr int kSampleRate = 8000;        // Hz, input and output
constexpr int kInputBlockSamples = 2000; // one input buffer, 250 ms
constexpr int kRingSize = 1024;          // receive-side rings (8000 and 500 Hz)
constexpr int kFilterTaps = 64;          // both FIR stages
constexpr int kHistorySamples = 64000;   // replay history, 8 s
constexpr int kSpectrumSize = 1024;      // spectrum FFT and row length
constexpr int kWaterfallRows = 512;      // waterfall history rows
constexpr int kAFCFFTSize = 512;         // FFT AFC transform length
constexpr int kInputBuffers = 8;         // input buffers in circulation
constexpr double kTwoPi = 6.283185307179586;
} // namespace tarn

class TarnData {
public:
    // Builds the engine in the fixed construction order; `platform` must
    // outlive it. Never returns nothing on this platform (allocation failure
    // throws), but callers treat an empty result as "no engine".
    static std::unique_ptr<TarnData> create(AudioPlatform& platform);
    ~TarnData();

    TarnData(const TarnData&) = delete;
    TarnData& operator=(const TarnData&) = delete;

    // ---- Construction helpers --------------------------------------------
    void initDecoder();
    void decoderReset();
    void initFilters();
    void initGrayScaleLUT();
    void initSpectrumDataCollection();

    // ---- Sample entry (audio input thread) -------------------------------
    void processInputAudioSamples(const float* samples, int32_t count);
    void processInputAudioSample(float sample);
    void replayAudioInput();

    // ---- Filters ---------------------------------------------------------
    // One FIR output over a circular buffer, ending just before `index`
    // (which may be negative by up to size - 1).
    static float doFIRFilter(const float* buffer, int32_t index, int32_t size,
                             const float* coefficients, int32_t taps);
    static const float firstStageCoefficients[tarn::kFilterTaps];
    static const float secondStageCoefficients[tarn::kFilterTaps];
    // Kept and filled by initFilters, read by no filter: a unit-sum smoothing
    // kernel and eight rows of one 16-sample carrier period.
    static float smoothingCoefficients[tarn::kFilterTaps];
    static float symbolPhaseReference[8][16];

    // ---- Demodulator -----------------------------------------------------
    void processInputIQBuffer();
    void decodeSymbol0(int32_t sign);
    void decodeSymbol1();
    void decodeSymbol(int32_t sign);

    // ---- Received-text ring ----------------------------------------------
    void insertReceivedChar(char character);
    // The contiguous run of received bytes, or nothing when the ring is empty.
    std::optional<std::string> drainTextBuffer();

    // ---- Tuning (main thread) --------------------------------------------
    void setFrequency(double frequency);
    void nudgeFrequency(double frequency);
    void lockFrequency();
    double frequency() const { return _frequency.load(std::memory_order_relaxed); }
    void setFrequencyErrorOffset(float offset) {
        frequencyErrorOffset.store(offset, std::memory_order_relaxed);
    }

    // ---- Automatic frequency control -------------------------------------
    void afcReset();
    void setAutomaticFrequencyControl(bool on);
    bool automaticFrequencyControl() const {
        return _automaticFrequencyControl.load(std::memory_order_relaxed);
    }
    void automaticFrequencyAdjust(float inPhase, float quadrature);
    void FFTBasedAFC();

    // ---- FFT -------------------------------------------------------------
    static void initFFTCoefficients(TarnComplex* table, int n);
    // Forward, unscaled, natural order; n a power of two up to 1024. `scratch`
    // holds at least n values and belongs to the caller, so the live chain and
    // a replay never share one.
    static void computeFFT(const TarnComplex* input, TarnComplex* output,
                           const TarnComplex* twiddles, int n, TarnComplex* scratch);
    static void fftRecursive(const TarnComplex* input, int n, int stride, TarnComplex* output,
                             TarnComplex* scratch, const TarnComplex* twiddles);

    // ---- Spectrum and waterfall ------------------------------------------
    void processSpectrumData();
    void finalizeArray(const float* logPower, float* destination, int count);
    // Row rowsBack (0 = newest .. 511 = oldest) of the waterfall history.
    const float* getCurrentSpectrum(int rowsBack) const;
    // One value of a row from getCurrentSpectrum, read while the audio thread
    // may be writing that row (a relaxed atomic load: a row may be partly new,
    // never undefined).
    static float spectrumLevel(const float* row, int bin) {
        return std::atomic_ref<float>(const_cast<float&>(row[bin])).load(std::memory_order_relaxed);
    }

    // ---- Transmitter -----------------------------------------------------
    void renderString(std::u16string_view text);
    void renderString(std::string_view text); // one code per byte
    bool sendString(std::u16string_view text);
    bool sendString(std::string_view text);
    void sendCharThread(std::u16string_view text);
    void stopAudioOutput();
    void setIsSending(bool sending) { isSending.store(sending, std::memory_order_relaxed); }
    void setForceOutputToSpeaker(bool force) {
        forceOutputToSpeaker.store(force, std::memory_order_relaxed);
    }

    // ---- Audio configuration (main thread, at construction) --------------
    void configureAudioSession();
    void reconfigureAudioPorts();
    void configureInputAudioQueue();
    void configureOutputAudio();

    // ---- Plain property setters --------------------------------------------
    void setBackgroundNoiseLevel(float level) {
        backgroundNoiseLevel.store(level, std::memory_order_relaxed);
    }
    void setPeakSignal(float level) { peakSignal.store(level, std::memory_order_relaxed); }
    void setNoiseAtFrequency(float level) {
        noiseAtFrequency.store(level, std::memory_order_relaxed);
    }
    void setSignalAtFrequency(float level) {
        signalAtFrequency.store(level, std::memory_order_relaxed);
    }

    // ---- Fields, in declaration order ------------------------------------
    // Public so that tests and benchmarks can set up exact states; only the
    // engine's own operations write them in the running system.
    char inputString[16];
    std::unique_ptr<varicode> varicodeParser;
    float inputAudioI[tarn::kRingSize];
    float inputAudioQ[tarn::kRingSize];
    float secondStageInputAudioI[tarn::kRingSize];
    float secondStageInputAudioQ[tarn::kRingSize];
    float Phases[tarn::kRingSize];
    float amplitudeBuffer[tarn::kRingSize];
    TarnComplex afcCoeffVector[tarn::kAFCFFTSize];
    TarnComplex spectrum_coeff_vector[tarn::kSpectrumSize];
    TarnComplex rawAudioSamplesForFFT[tarn::kSpectrumSize];
    TarnComplex rawFFTOutput[tarn::kSpectrumSize];
    float rawMagnitudeOutput[tarn::kSpectrumSize];
    float rawSpectrumData[tarn::kSpectrumSize];
    std::atomic<int32_t> currentFFTRow;
    float logScaleSpectrumData[tarn::kSpectrumSize];
    // Written by the audio thread, read by the console without a lock: every
    // element access outside the chain goes through std::atomic_ref.
    alignas(64) float normalizedSpectrumData[tarn::kWaterfallRows][tarn::kSpectrumSize];
    int32_t indexForFFTSamples;
    bool training;
    int32_t audioSamplesTrainingBufferIndex;
    float audioSamplesTrainingBuffer[tarn::kHistorySamples];
    float GrayScaleLUT[256];
    int8_t inputStringIndex;
    int32_t oldSign;
    int32_t iqAudioInputIndex;
    int32_t iqProcessIndex;
    int32_t iqSecondStageIndex;
    int32_t syncBit;
    int32_t newSyncBit;
    int32_t delayDecoder;
    float oldPhase;
    std::atomic<float> iqTheta;
    float iqMatchPoint;
    std::atomic<int32_t> FFTAFCStable;
    std::atomic<bool> useFFTForAFC;
    float FFTAFCFilter[1];
    std::atomic<int32_t> afcUpdates;
    std::atomic<float> afcLastAngle;
    std::atomic<float> afcStoredAngle;
    std::atomic<float> display_average_low;
    std::atomic<float> display_average_high;
    std::atomic<float> display_average_average;
    int32_t phaseSyncSubBit;
    std::atomic<float> carrierStart;
    std::mutex textBufferLock;
    char receivedText[257];
    int32_t textBufferHead;
    int32_t textBufferTail;
    std::mutex audioProcessingLock;
    std::atomic<bool> replayHistory;
    AudioHandle inputAudioQueueRef;
    AudioHandle inputAudioQueueBufferRef[tarn::kInputBuffers];
    std::atomic<bool> isSending;
    std::atomic<bool> _automaticFrequencyControl;
    std::atomic<bool> forceOutputToSpeaker;
    std::atomic<int32_t> renderedAudioIndex;
    std::atomic<int32_t> renderedAudioSize;
    std::atomic<float> frequencyErrorOffset;
    std::atomic<float> backgroundNoiseLevel;
    std::atomic<float> peakSignal;
    std::atomic<float> noiseAtFrequency;
    std::atomic<float> signalAtFrequency;
    std::atomic<double> _frequency;
    std::atomic<float*> renderedAudio;
    AudioHandle audioOutput;

    // ---- Our additions (not part of the numeric state) --------------------
    AudioPlatform* platform;
    // FFT scratch of the live spectrum path and of the AFC (the AFC's may run
    // in a replay; both are under audioProcessingLock, but they stay apart).
    TarnComplex spectrumFFTScratch[tarn::kSpectrumSize];
    TarnComplex afcFFTScratch[tarn::kAFCFFTSize];

private:
    TarnData() = default;
    bool init(AudioPlatform& platform);
};

// Callbacks handed to the platform, with the engine as their context.
void inputQueueCallback(void* engine, AudioHandle queue, AudioHandle buffer, const float* samples,
                        uint32_t byteSize);
int32_t outputRenderCallback(void* engine, uint32_t frames, float* channel0, float* channel1);
void audioSessionInterruptionListener(void* engine, uint32_t interruptionState);

// A platform status kept as the 16-bit signed value the log messages print.
inline int16_t audioStatus16(int32_t status) {
    return static_cast<int16_t>(status & 0xffff);
}
