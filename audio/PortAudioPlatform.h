// The engine's audio platform on PortAudio.
//
// Session: made active once; the category step opens PortAudio and finds the
// radio's input and output devices by name. The machine counts as a tablet
// (idiom 1) unless a phone form factor is asked for; the phone's "speaker by
// default" has nothing to switch on a desktop, where the system default
// output already is the loudspeaker.
//
// Interruptions are a device or the sound server going away and coming back.
// A watcher thread checks the running streams every few seconds (off the
// audio threads); when one has stopped delivering it logs it, tells the
// session listener that an interruption began, closes the streams and then
// retries: PortAudio is shut down and opened again (the only way it sees a
// new server) and the streams are reopened; when that works the listener is
// told that the interruption ended.
//
// Route override to the speaker: the transmission plays on the system's
// default output device instead of the radio's.
#pragma once

#include "audio/AudioPlatform.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace tarnaudio {

class InputQueue;
class OutputUnit;

struct AudioOptions {
    // Device names (settings "radioInputDevice", "radioOutputDevice"); empty
    // or "System default" means the system's default device.
    std::string inputDevice;
    std::string outputDevice;
    // Rate to run the devices at, Hz, converted to and from the engine's
    // 8000 Hz; 0: 8000 Hz where a device can, else its own default rate.
    double deviceRate = 0.0;
    bool useInput = true;      // false: the queue is made but never records
    bool phone = false;        // report a phone form factor (idiom 0)
    double watchSeconds = 2.0; // interval of the stream health checks
};

class PortAudioPlatform final : public AudioPlatform {
public:
    explicit PortAudioPlatform(AudioOptions options);
    // Calls shutdown().
    ~PortAudioPlatform() override;

    // Stops the watcher, stops and closes both streams and shuts PortAudio
    // down; later stream operations fail. Call it before the engine that uses
    // this platform is destroyed: until then the audio threads call into it.
    void shutdown();

    // True when the input stream was opened and started.
    bool inputRunning();
    // Name of the input device in use (empty when there is none).
    std::string inputDeviceName();
    // Blocks until the output stream has played everything and stopped.
    void waitForOutputToFinish();

    std::optional<int> userInterfaceIdiom() override;
    int32_t sessionInitialize(InterruptionListener listener, void* context) override;
    int32_t sessionSetCategoryPlayAndRecord() override;
    int32_t sessionSetDefaultToSpeaker(uint32_t enable) override;
    int32_t sessionOverrideRouteToSpeaker(bool speaker) override;
    int32_t sessionSetActive(bool active) override;

    int32_t queueNewInput(const AudioStreamFormat& format, InputCallback callback, void* context,
                          AudioHandle* queue) override;
    int32_t queueAllocateBuffer(AudioHandle queue, uint32_t byteSize, AudioHandle* buffer) override;
    int32_t queueEnqueueBuffer(AudioHandle queue, AudioHandle buffer) override;
    int32_t queueStart(AudioHandle queue) override;

    bool outputFindComponent() override;
    int32_t outputInstanceNew(AudioHandle* unit) override;
    int32_t outputEnableIO(AudioHandle unit, uint32_t scope, uint32_t element,
                           uint32_t enable) override;
    int32_t outputSetRenderCallback(AudioHandle unit, RenderCallback callback,
                                    void* context) override;
    int32_t outputSetStreamFormat(AudioHandle unit, const AudioStreamFormat& format) override;
    int32_t outputInitialize(AudioHandle unit) override;
    int32_t outputStart(AudioHandle unit) override;
    int32_t outputStop(AudioHandle unit) override;

private:
    void watch();
    void reportGlitches();
    bool streamsLost();
    bool reopen();
    void runOutMessage();
    int32_t openOutputOn(int device);

    const AudioOptions options;
    std::mutex mutex; // every PortAudio call outside the audio callbacks
    bool portAudioOpen = false;
    std::optional<int> inputDevice;
    std::optional<int> outputDevice;
    std::unique_ptr<InputQueue> queue;
    std::unique_ptr<OutputUnit> unit;
    bool outputInitialized = false;
    std::atomic<bool> routeToSpeaker{false};

    InterruptionListener listener = nullptr;
    void* listenerContext = nullptr;
    std::thread watcher;
    std::condition_variable wake;
    bool stopping = false;
    bool interrupted = false;
    uint64_t lastInputCallbacks = 0;
    uint64_t lastOutputCallbacks = 0;
    double inputSilentFor = 0.0;  // seconds without an input callback
    double outputSilentFor = 0.0; // seconds without a render call while playing
    uint64_t reportedDrops = 0;
    uint64_t reportedOverflows = 0;
    uint64_t reportedUnderflows = 0;
};

} // namespace tarnaudio
