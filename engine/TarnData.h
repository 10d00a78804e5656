// TarnData: the PSK31 modem engine behind one façade.
//
// The host feeds it 8000 Hz mono float input on its audio thread
// (processInputAudioSamples); everything else (tuning, AFC, squelch, text,
// status, waterfall rows, sending) is called from the host's main thread.
// The engine asks no platform anything: the squelch default comes with the
// constructor, audio output goes to the TransmitSink the host registers.
//
// Threads:
// - processInputAudioSamples holds the engine's processing lock for one
//   block; nudgeFrequency takes the same lock for its replay on the caller's
//   thread. Nothing else blocks on it.
// - Tuning writes, status() and the level getters are lock-free atomics.
// - drainTextBuffer and copySpectrumRow never wait for the audio thread: the
//   text ring is single-producer single-consumer, the waterfall rows are
//   published under a sequence count and copied out whole.
// - sendString, stopAudioOutput and setTransmitSink belong to the main thread;
//   the sink's own output thread only plays the Transmission it was handed.
#pragma once

#include "engine/Transmission.h"

#include <atomic>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarn {

constexpr int kSampleRate = 8000;            // Hz, input and output
constexpr int kInputBlockSamples = 2000;     // one input buffer of the audio host, 250 ms
constexpr int kSpectrumSize = 1024;          // bins per waterfall row, 7.8125 Hz each
constexpr int kWaterfallRows = 512;          // rows of waterfall history, 65.5 s
constexpr double kDefaultFrequency = 1500.0; // Hz
constexpr double kLowestFrequency = 500.0;   // Hz, tuning range
constexpr double kHighestFrequency = 2500.0; // Hz

// Squelch defaults (natural log of power): a tablet's microphone hears less
// room noise than a phone held close.
constexpr float kTabletSquelch = -20.0f;
constexpr float kPhoneSquelch = -30.0f;

// What the display shows, read in one call. Each field is the engine's value
// at the moment it was read; fields written by the audio thread may be one
// baseband step apart from each other.
struct EngineStatus {
    double frequency = kDefaultFrequency; // Hz, tuned carrier (AFC correction not included)
    float frequencyErrorOffset = 0.0f;    // Hz, AFC correction, -8 .. 8
    float signalLevel = 0.0f;             // smoothed ln power at the carrier
    float squelch = 0.0f;                 // ln power decisions and AFC need to exceed
    bool afcOn = false;                   // automatic frequency control switched on
    bool afcAcquiring = false;            // the coarse (FFT) stage is still pulling in
    bool sending = false;                 // a transmission is being played
    int symbolPhase = 0;                  // decision instant within the symbol, 0 .. 15
    float timingError = 0.0f;             // symbol clock's error accumulator, -0.2 .. 0.2
    int waterfallRow = 0;                 // ring row of the newest waterfall row, 0 .. 511
};

class Engine;

} // namespace tarn

class TarnData {
public:
    // Ready to receive at 1500 Hz with AFC on and the given squelch
    // (tarn::kTabletSquelch or tarn::kPhoneSquelch as the host's form factor
    // suggests). The first input block replays the (silent) history.
    explicit TarnData(float squelchDefault);
    ~TarnData();
    TarnData(const TarnData&) = delete;
    TarnData& operator=(const TarnData&) = delete;

    // ---- Input (the host's audio thread) --------------------------------
    // One block of 8000 Hz mono samples, any length (normally 2000).
    void processInputAudioSamples(std::span<const float> samples);

    // ---- Tuning and AFC (main thread) -------------------------------------
    // Full retune (a tap): clamps to 500 .. 2500 Hz, re-arms the coarse AFC
    // and replays the 8 s history at the start of the next input block.
    void setFrequency(double hertz);
    // Fine retune (the step buttons): clamps, hands the AFC to its fine
    // stage, and replays the history at once on this thread.
    void nudgeFrequency(double hertz);
    // Folds the AFC correction into the tuned frequency (before sending).
    void lockFrequency();
    double frequency() const;
    void setAutomaticFrequencyControl(bool on);
    bool automaticFrequencyControl() const;
    // Squelch: decisions and AFC run only while the signal level exceeds it.
    void setBackgroundNoiseLevel(float level);
    float backgroundNoiseLevel() const;

    // ---- Display (main thread) --------------------------------------------
    // The received bytes since the last call (one contiguous run of the
    // ring; call again until nothing comes), or nothing.
    std::optional<std::string> drainTextBuffer();
    tarn::EngineStatus status() const;
    // Copies waterfall row rowsBack (0 = newest .. 511 = oldest) into out:
    // bin k at k × 7.8125 Hz, levels 0 .. 3. False (and out all zeros) when
    // rowsBack is outside 0 .. 511 or the row kept being rewritten while it
    // was copied; the audio thread never waits for it.
    bool copySpectrumRow(int rowsBack, std::span<float, tarn::kSpectrumSize> out) const;

    // ---- Transmitter (main thread) ----------------------------------------
    // The PSK31 signal of text at the tuned frequency: 8 idle reversals
    // (plus the preamble's), the characters, 8 idle reversals; 256 samples per symbol at 8000 Hz.
    // One code per byte (std::string_view) or the low 8 bits of each code
    // unit. Throws std::length_error beyond 2^31 - 1 samples.
    std::vector<float> renderString(std::string_view text) const;
    std::vector<float> renderString(std::u16string_view text) const;
    // Refuses (false) while a message is playing. Otherwise renders text,
    // hands it to the transmit sink and returns true, even when the output
    // could not be started ("Failed to start output audio: %d\n" is logged
    // and the engine is idle again).
    bool sendString(std::string_view text);
    bool sendString(std::u16string_view text);
    // The host's output; null (the default) means there is none, and every
    // send fails to start. The sink must outlive the engine or be replaced.
    void setTransmitSink(tarn::TransmitSink* sink);
    // Cuts the transmission off; nothing when idle.
    void stopAudioOutput();
    bool isSending() const;
    // Extra idle reversals before each message (0 .. 250, clamped; default
    // 0), for radios that clip the start of a transmission.
    void setPreambleReversals(int count);
    int preambleReversals() const { return preamble; }
    void setForceOutputToSpeaker(bool force);
    bool forceOutputToSpeaker() const;

private:
    std::unique_ptr<tarn::Engine> engine;
    tarn::TransmitSink* sink = nullptr;
    int preamble = 0; // main thread
    std::atomic<bool> speakerForced{false};
};
