#include "audio/PortAudioPlatform.h"

#include "audio/AudioDevices.h"
#include "audio/InputQueue.h"
#include "audio/OutputUnit.h"
#include "log/TarnLog.h"

#include <portaudio.h>

#include <chrono>
#include <vector>

namespace tarnaudio {

namespace {

// The engine's stream formats: 8000 Hz float, packed, non-interleaved.
bool engineFormat(const AudioStreamFormat& format, uint32_t channels) {
    return format.sampleRate == 8000.0 && format.formatID == 0x6c70636d &&
           format.formatFlags == 41 && format.bitsPerChannel == 32 &&
           format.channelsPerFrame == channels;
}

} // namespace

PortAudioPlatform::PortAudioPlatform(AudioOptions audioOptions)
    : options(std::move(audioOptions)) {}

PortAudioPlatform::~PortAudioPlatform() {
    shutdown();
}

void PortAudioPlatform::shutdown() {
    {
        std::lock_guard<std::mutex> guard(mutex);
        stopping = true;
    }
    wake.notify_all();
    if (watcher.joinable()) {
        watcher.join();
    }
    std::lock_guard<std::mutex> guard(mutex);
    if (queue) {
        queue->close();
    }
    if (unit) {
        unit->close();
    }
    reportGlitches(); // those since the watcher's last look
    if (portAudioOpen) {
        Pa_Terminate();
        portAudioOpen = false;
    }
}

bool PortAudioPlatform::inputRunning() {
    std::lock_guard<std::mutex> guard(mutex);
    return queue && queue->startRequested && queue->active() && !interrupted;
}

std::string PortAudioPlatform::inputDeviceName() {
    std::lock_guard<std::mutex> guard(mutex);
    const PaDeviceInfo* info =
        portAudioOpen && inputDevice ? Pa_GetDeviceInfo(*inputDevice) : nullptr;
    return info && info->name ? info->name : "";
}

void PortAudioPlatform::waitForOutputToFinish() {
    for (;;) {
        {
            std::lock_guard<std::mutex> guard(mutex);
            if (!unit || !unit->playing()) {
                if (unit && unit->isOpen()) {
                    unit->stop();
                }
                return;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

std::optional<int> PortAudioPlatform::userInterfaceIdiom() {
    return options.phone ? 0 : 1;
}

int32_t PortAudioPlatform::sessionInitialize(InterruptionListener sessionListener, void* context) {
    std::lock_guard<std::mutex> guard(mutex);
    listener = sessionListener;
    listenerContext = context;
    return paNoError;
}

int32_t PortAudioPlatform::sessionSetCategoryPlayAndRecord() {
    std::lock_guard<std::mutex> guard(mutex);
    if (stopping) {
        return paNotInitialized;
    }
    if (!portAudioOpen) {
        const PaError status = initializePortAudioQuietly();
        if (status != paNoError) {
            return status;
        }
        portAudioOpen = true;
    }
    inputDevice = findDevice(options.inputDevice, true);
    outputDevice = findDevice(options.outputDevice, false);
    for (const std::string* name : {&options.inputDevice, &options.outputDevice}) {
        const bool named = !name->empty() && *name != kSystemDefault;
        if (named && !(name == &options.inputDevice ? inputDevice : outputDevice)) {
            tarnLog("Audio device not found: %s\n", name->c_str());
        }
    }
    if (!watcher.joinable()) {
        watcher = std::thread([this] { watch(); });
    }
    return paNoError;
}

// The system default output already is the loudspeaker: nothing to switch.
int32_t PortAudioPlatform::sessionSetDefaultToSpeaker(uint32_t) {
    return paNoError;
}

int32_t PortAudioPlatform::sessionOverrideRouteToSpeaker(bool speaker) {
    // Also called on the render thread: only noted here, used at the next start.
    routeToSpeaker.store(speaker, std::memory_order_relaxed);
    return paNoError;
}

// The streams are reopened by the watcher before an interruption is declared
// over, so there is nothing left to do when the session is made active.
int32_t PortAudioPlatform::sessionSetActive(bool) {
    return paNoError;
}

int32_t PortAudioPlatform::queueNewInput(const AudioStreamFormat& format, InputCallback callback,
                                         void* context, AudioHandle* queueHandle) {
    *queueHandle = nullptr;
    std::lock_guard<std::mutex> guard(mutex);
    if (!portAudioOpen || stopping) {
        return paNotInitialized;
    }
    if (!engineFormat(format, 1)) {
        return paSampleFormatNotSupported;
    }
    auto made = std::make_unique<InputQueue>(callback, context);
    if (!options.useInput) {
        // A transmit-only run: a queue without a stream, which stays silent.
        queue = std::move(made);
        *queueHandle = queue.get();
        return paNoError;
    }
    if (!inputDevice) {
        return paInvalidDevice;
    }
    const PaError status = made->open(*inputDevice, options.deviceRate);
    if (status != paNoError) {
        return status;
    }
    queue = std::move(made);
    *queueHandle = queue.get();
    return paNoError;
}

int32_t PortAudioPlatform::queueAllocateBuffer(AudioHandle queueHandle, uint32_t byteSize,
                                               AudioHandle* buffer) {
    if (!queueHandle) {
        return paBadStreamPtr;
    }
    return static_cast<InputQueue*>(queueHandle)->allocateBuffer(byteSize, buffer);
}

int32_t PortAudioPlatform::queueEnqueueBuffer(AudioHandle queueHandle, AudioHandle buffer) {
    // From the input callback on the audio thread: lock-free.
    if (!queueHandle) {
        return paBadStreamPtr;
    }
    return static_cast<InputQueue*>(queueHandle)->enqueue(buffer);
}

int32_t PortAudioPlatform::queueStart(AudioHandle queueHandle) {
    std::lock_guard<std::mutex> guard(mutex);
    if (!queueHandle || queueHandle != queue.get()) {
        return paBadStreamPtr;
    }
    if (!queue->isOpen()) {
        return paNoError; // input not wanted
    }
    queue->startRequested = true;
    lastInputCallbacks = queue->callbacks.load(std::memory_order_relaxed);
    inputSilentFor = 0.0;
    return queue->start();
}

bool PortAudioPlatform::outputFindComponent() {
    std::lock_guard<std::mutex> guard(mutex);
    return portAudioOpen && outputDevice.has_value();
}

int32_t PortAudioPlatform::outputInstanceNew(AudioHandle* unitHandle) {
    std::lock_guard<std::mutex> guard(mutex);
    unit = std::make_unique<OutputUnit>();
    *unitHandle = unit.get();
    return paNoError;
}

int32_t PortAudioPlatform::outputEnableIO(AudioHandle unitHandle, uint32_t scope, uint32_t element,
                                          uint32_t enable) {
    if (!unitHandle) {
        return paBadStreamPtr;
    }
    // The playback stream has no recording side to switch off (input scope,
    // bus 1) and always plays (output scope, bus 0); anything else is
    // unsupported.
    const bool recordOff = scope == kAudioUnitScopeInput && element == 1 && enable == 0;
    const bool playOn = scope == kAudioUnitScopeOutput && element == 0 && enable == 1;
    return recordOff || playOn ? paNoError : paInvalidFlag;
}

int32_t PortAudioPlatform::outputSetRenderCallback(AudioHandle unitHandle, RenderCallback callback,
                                                   void* context) {
    std::lock_guard<std::mutex> guard(mutex);
    if (!unitHandle || unitHandle != unit.get()) {
        return paBadStreamPtr;
    }
    unit->setRenderCallback(callback, context);
    return paNoError;
}

int32_t PortAudioPlatform::outputSetStreamFormat(AudioHandle unitHandle,
                                                 const AudioStreamFormat& format) {
    if (!unitHandle) {
        return paBadStreamPtr;
    }
    return engineFormat(format, 2) ? paNoError : paSampleFormatNotSupported;
}

int32_t PortAudioPlatform::outputInitialize(AudioHandle unitHandle) {
    std::lock_guard<std::mutex> guard(mutex);
    if (!unitHandle || unitHandle != unit.get() || !unit->renderCallback()) {
        return paBadStreamPtr;
    }
    if (!portAudioOpen || !outputDevice) {
        return paInvalidDevice;
    }
    const PaError status = unit->open(*outputDevice, options.deviceRate);
    outputInitialized = status == paNoError;
    return status;
}

int32_t PortAudioPlatform::outputStart(AudioHandle unitHandle) {
    std::lock_guard<std::mutex> guard(mutex);
    if (!unitHandle || unitHandle != unit.get() || !outputInitialized) {
        return paBadStreamPtr;
    }
    if (!portAudioOpen || stopping) {
        return paNotInitialized;
    }
    if (interrupted) {
        return paDeviceUnavailable;
    }
    const std::optional<int> device = routeToSpeaker.load(std::memory_order_relaxed)
                                          ? findDevice(kSystemDefault, false)
                                          : outputDevice;
    if (!device) {
        return paInvalidDevice;
    }
    if (!unit->isOpen() || unit->device() != *device) {
        const PaError status = unit->open(*device, options.deviceRate);
        if (status != paNoError) {
            return status;
        }
    }
    lastOutputCallbacks = unit->callbacks.load(std::memory_order_relaxed);
    outputSilentFor = 0.0;
    return unit->start();
}

int32_t PortAudioPlatform::outputStop(AudioHandle unitHandle) {
    OutputUnit* target = static_cast<OutputUnit*>(unitHandle);
    if (!target) {
        return paBadStreamPtr;
    }
    if (target->renderingOnThisThread()) {
        // From inside the render callback: the stream winds down by itself.
        target->noteStopFromRender();
        return paNoError;
    }
    std::lock_guard<std::mutex> guard(mutex);
    if (target != unit.get()) {
        return paBadStreamPtr;
    }
    return unit->stop();
}

void PortAudioPlatform::reportGlitches() {
    // Counted on the audio threads, reported here: the operator learns why
    // a character was lost.
    if (queue) {
        const uint64_t dropped = queue->droppedSamples.load(std::memory_order_relaxed);
        if (dropped != reportedDrops) {
            tarnLog("Audio input overrun: %llu samples dropped\n",
                    static_cast<unsigned long long>(dropped - reportedDrops));
            reportedDrops = dropped;
        }
        const uint64_t overflows = queue->hostOverflows.load(std::memory_order_relaxed);
        if (overflows != reportedOverflows) {
            tarnLog("Audio input overflow: the system lost input %llu times\n",
                    static_cast<unsigned long long>(overflows - reportedOverflows));
            reportedOverflows = overflows;
        }
    }
    if (unit) {
        const uint64_t underflows = unit->hostUnderflows.load(std::memory_order_relaxed);
        if (underflows != reportedUnderflows) {
            tarnLog("Audio output underflow: the transmission had %llu gaps\n",
                    static_cast<unsigned long long>(underflows - reportedUnderflows));
            reportedUnderflows = underflows;
        }
    }
}

bool PortAudioPlatform::streamsLost() {
    // A stream whose host gave up is inactive at once. A stream that merely
    // stops calling back counts as lost only after a while: a freshly started
    // sound server can take two seconds to deliver its first audio.
    constexpr double kSilenceLimit = 6.0; // seconds
    bool lost = false;
    if (queue && queue->startRequested && queue->isOpen()) {
        const uint64_t calls = queue->callbacks.load(std::memory_order_relaxed);
        inputSilentFor = calls == lastInputCallbacks ? inputSilentFor + options.watchSeconds : 0.0;
        lastInputCallbacks = calls;
        lost = !queue->active() || inputSilentFor >= kSilenceLimit;
    }
    if (unit && unit->playing()) {
        const uint64_t calls = unit->callbacks.load(std::memory_order_relaxed);
        outputSilentFor =
            calls == lastOutputCallbacks ? outputSilentFor + options.watchSeconds : 0.0;
        lastOutputCallbacks = calls;
        lost = lost || outputSilentFor >= kSilenceLimit;
    }
    return lost;
}

void PortAudioPlatform::runOutMessage() {
    // The device went away mid-message: the rest of it is pulled through the
    // engine's render callback into nothing, so that the engine ends the
    // transmission just as if it had been played.
    std::vector<float> left(256), right(256);
    for (int call = 0; call < (1 << 22) && !unit->stopWasRequested(); ++call) {
        unit->pullFromEngine(256, left.data(), right.data());
    }
}

bool PortAudioPlatform::reopen() {
    if (queue) {
        queue->close();
    }
    if (unit) {
        unit->close();
    }
    if (portAudioOpen) {
        Pa_Terminate();
        portAudioOpen = false;
    }
    if (initializePortAudioQuietly() != paNoError) {
        return false;
    }
    portAudioOpen = true;
    inputDevice = findDevice(options.inputDevice, true);
    outputDevice = findDevice(options.outputDevice, false);
    if (queue && options.useInput) {
        if (!inputDevice || queue->open(*inputDevice, options.deviceRate) != paNoError) {
            return false;
        }
        if (queue->startRequested && queue->start() != paNoError) {
            queue->close();
            return false;
        }
        lastInputCallbacks = queue->callbacks.load(std::memory_order_relaxed);
        inputSilentFor = 0.0;
    }
    if (unit && outputInitialized) {
        if (!outputDevice || unit->open(*outputDevice, options.deviceRate) != paNoError) {
            if (queue) {
                queue->close();
            }
            return false;
        }
    }
    return true;
}

void PortAudioPlatform::watch() {
    std::unique_lock<std::mutex> lock(mutex);
    const auto interval = std::chrono::duration<double>(options.watchSeconds);
    while (!stopping) {
        // Only a timeout or the stop ends the wait: the silence counts below
        // add one interval per check.
        if (wake.wait_for(lock, interval, [this] { return stopping; })) {
            break;
        }
        uint32_t state;
        if (!interrupted) {
            reportGlitches();
            if (!streamsLost()) {
                continue;
            }
            tarnLog("Audio device lost; waiting for it to return\n");
            interrupted = true;
            const bool messageCut = unit && unit->playing() && !unit->stopWasRequested();
            if (queue) {
                queue->close();
            }
            if (unit) {
                unit->close();
            }
            if (messageCut) {
                runOutMessage();
            }
            state = kAudioSessionBeginInterruption;
        } else {
            if (!reopen()) {
                continue;
            }
            interrupted = false;
            tarnLog("Audio device back; streams reopened\n");
            state = kAudioSessionEndInterruption;
        }
        // The listener may call back into the platform.
        const InterruptionListener notify = listener;
        void* context = listenerContext;
        lock.unlock();
        if (notify) {
            notify(context, state);
        }
        lock.lock();
    }
}

} // namespace tarnaudio
