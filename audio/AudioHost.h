// The station's audio host on PortAudio: the radio's receive audio in, the
// transmit signal out.
//
// Input: a capture stream on the radio's input device; its callback only
// moves samples into InputBlocks (mono, 8000 Hz, 2 s ring). The host's own
// thread hands every whole 2000-sample block to the consumer given at
// construction (the engine's processInputAudioSamples, a scanner, a
// recording player's live gate).
//
// Output (only when asked for: a program that never sends opens none): a
// playback stream on the radio's output device, started at once and kept
// running, silent between transmissions, so that a transmission starts on
// a primed stream without a gap and its first sample can be placed at a
// given moment. The host is the engine's TransmitSink and the transmit
// sequencer's PlayoutSink. A transmission is destroyed (the engine then is
// idle) on the host's thread once its last sample has left the device, or
// at once when it is stopped or its device fails.
//
// Reconnection: every half second the host's thread checks both streams.
// A stream that PortAudio has stopped (its thread gave up on an error) is
// reopened at once on the same device; a transmission on it is cut. When
// that reopen fails, or a stream has not called back in ten checks in a
// row (5 s), the device counts as lost: "Audio device lost; waiting for it
// to return" is logged, a transmission is cut, and PortAudio is reopened
// every 2 s (the only way it sees a new sound server) until the streams
// run again ("Audio device back; streams reopened"). Lost input and gaps in
// a transmission are counted on the audio threads and logged from the
// host's thread.
#pragma once

#include "audio/InputBlocks.h"
#include "audio/Playout.h"
#include "rig/PlayoutSink.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>

namespace tarnaudio {

struct AudioHostOptions {
    // Device names (settings "radioInputDevice", "radioOutputDevice"); empty
    // or "System default": the system's default device.
    std::string inputDevice;
    std::string outputDevice;
    // Rate to run the devices at, Hz; 0: 8000 Hz where a device can, else
    // its own default rate. Converted to and from 8000 Hz.
    double deviceRate = 0.0;
    bool input = true;  // open a capture stream
    bool output = true; // open a playback stream
    // Output latency asked of the host, seconds: shorter than the PTT lead
    // delay (50 ms by default), so that the first sample can be placed
    // exactly, and long enough that a busy machine leaves no gap (on a
    // PulseAudio server under load, 30 ms had gaps now and then, 40 to
    // 70 ms none, and 100 ms, oddly, a gap in every period).
    double outputLatency = 0.04;
};

class AudioHost final : public tarn::rig::PlayoutSink {
public:
    // Called on the host's thread with each 2000-sample block at 8000 Hz.
    using BlockConsumer = std::function<void(std::span<const float>)>;

    // Opens PortAudio and the streams asked for and starts the host's
    // thread; failures are logged and leave that direction out until the
    // reconnection brings it back.
    AudioHost(AudioHostOptions options, BlockConsumer consumer);
    // Calls shutdown().
    ~AudioHost() override;
    AudioHost(const AudioHost&) = delete;
    AudioHost& operator=(const AudioHost&) = delete;

    // Cuts a transmission, stops the thread and both streams and closes
    // PortAudio; no block reaches the consumer afterwards. Idempotent.
    void shutdown();

    bool inputRunning() const;
    bool outputRunning() const;
    std::string inputDeviceName() const;
    // The playback stream's latency in seconds (0 without one).
    double outputLatency() const;
    // A transmission is held: started and not yet played out or stopped.
    bool transmitting() const { return playout.holding(); }

    // tarn::TransmitSink / tarn::rig::PlayoutSink; any thread but the audio
    // threads. A start returns paDeviceUnavailable (-9985) without a running
    // output stream.
    int startTransmission(std::unique_ptr<tarn::Transmission> transmission,
                          bool routeToSpeaker) override;
    int startTransmissionAt(std::unique_ptr<tarn::Transmission> transmission, bool routeToSpeaker,
                            Clock::time_point firstSampleAt) override;
    void stopTransmission() override;
    std::optional<Clock::time_point> playedOutAt() const override;
    bool failed() const override { return outputFailed.load(std::memory_order_acquire); }

    struct Capture;
    struct Playback;

private:
    void run();
    bool openPortAudio();
    void openStreams(bool logFailures);
    int openCapture();
    void closeStreams();
    int openPlayback(int device);
    void retirePlayed();
    void reportGlitches();
    bool streamsLost(std::unique_lock<std::mutex>& lock);

    const AudioHostOptions options;
    const BlockConsumer consumer;
    Playout playout;

    mutable std::mutex control; // PortAudio and the streams, off the audio threads
    std::mutex transmit;        // start, stop and retirement of transmissions
    bool portAudioOpen = false;
    bool stopping = false;
    bool lost = false;
    std::unique_ptr<Capture> capture;
    std::unique_ptr<Playback> playback;
    int radioOutput = -1; // PortAudio index of the radio's output, -1 none
    std::atomic<bool> outputFailed{false};
    uint64_t reportedDrops = 0;
    uint64_t reportedOverflows = 0;
    uint64_t reportedCleaned = 0;
    std::condition_variable wake;
    std::thread thread;
};

} // namespace tarnaudio
