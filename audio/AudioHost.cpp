#include "audio/AudioHost.h"

#include "audio/AudioDevices.h"
#include "audio/StreamWatch.h"
#include "log/TarnLog.h"

#include <pa_linux_alsa.h>
#include <portaudio.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace tarnaudio {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kPumpInterval = std::chrono::milliseconds(10);
constexpr auto kWatchInterval = std::chrono::milliseconds(500);
constexpr auto kReopenInterval = std::chrono::seconds(2);
// Capture buffering asked of the host: the callback only copies, so this
// is about the sound server's delivery, not about the receiver's cost.
constexpr double kCaptureLatency = 0.1; // seconds

int64_t nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
        .count();
}

int16_t status16(int status) {
    return static_cast<int16_t>(status & 0xffff);
}

} // namespace

struct AudioHost::Capture {
    PaStream* stream = nullptr;
    std::string deviceName;
    int channels = 1;
    std::unique_ptr<InputBlocks> blocks;
    StreamWatch watch;
    std::atomic<uint64_t> overflows{0};

    static int callback(const void* input, void*, unsigned long frames,
                        const PaStreamCallbackTimeInfo*, PaStreamCallbackFlags flags, void* user) {
        auto* self = static_cast<Capture*>(user);
        self->watch.calledBack();
        if (flags & paInputOverflow) {
            self->overflows.fetch_add(1, std::memory_order_relaxed);
        }
        if (input != nullptr) {
            self->blocks->write(static_cast<const float*>(input), frames,
                                static_cast<std::size_t>(self->channels));
        }
        return paContinue;
    }
};

struct AudioHost::Playback {
    PaStream* stream = nullptr;
    int device = -1;
    int channels = 2;
    double latency = 0.0;
    Playout* playout = nullptr;
    StreamWatch watch;

    static int callback(const void*, void* output, unsigned long frames,
                        const PaStreamCallbackTimeInfo* time, PaStreamCallbackFlags flags,
                        void* user) {
        auto* self = static_cast<Playback*>(user);
        self->watch.calledBack();
        // The host's clock to steady_clock, once per call; a host that gives
        // no times gets the stream's latency.
        const double ahead = time != nullptr && time->outputBufferDacTime > 0.0
                                 ? time->outputBufferDacTime - time->currentTime
                                 : self->latency;
        const int64_t dacNs = nowNs() + static_cast<int64_t>(ahead * 1e9);
        self->playout->render(static_cast<float*>(output), frames,
                              static_cast<std::size_t>(self->channels), dacNs,
                              (flags & (paOutputUnderflow | paOutputUnderflowed)) != 0);
        return paContinue;
    }
};

AudioHost::AudioHost(AudioHostOptions hostOptions, BlockConsumer blockConsumer)
    : options(std::move(hostOptions)), consumer(std::move(blockConsumer)) {
    {
        std::lock_guard<std::mutex> guard(control);
        if (openPortAudio()) {
            openStreams(true);
        }
    }
    thread = std::thread([this] { run(); });
}

AudioHost::~AudioHost() {
    shutdown();
}

void AudioHost::shutdown() {
    {
        std::lock_guard<std::mutex> guard(control);
        stopping = true;
    }
    wake.notify_all();
    if (thread.joinable()) {
        thread.join();
    }
    {
        std::lock_guard<std::mutex> guard(transmit);
        playout.take();
    }
    std::lock_guard<std::mutex> guard(control);
    closeStreams();
    reportGlitches();
    if (portAudioOpen) {
        terminatePortAudio();
        portAudioOpen = false;
    }
}

bool AudioHost::openPortAudio() {
    const int status = initializePortAudioQuietly();
    if (status != paNoError) {
        tarnLog("Failed to set Audio Session to play and record.  %d\n", status16(status));
        return false;
    }
    portAudioOpen = true;
    return true;
}

void AudioHost::openStreams(bool logFailures) {
    for (const std::string* name : {&options.inputDevice, &options.outputDevice}) {
        const bool wanted = name == &options.inputDevice ? options.input : options.output;
        const bool named = !name->empty() && *name != kSystemDefault;
        if (logFailures && wanted && named && !findDevice(*name, name == &options.inputDevice)) {
            tarnLog("Audio device not found: %s\n", name->c_str());
        }
    }
    if (options.input) {
        const int status = openCapture();
        if (status != paNoError && logFailures) {
            tarnLog("Failed to create audio queue: %d\n", status16(status));
        }
    }
    if (options.output) {
        const std::optional<int> device = findDevice(options.outputDevice, false);
        radioOutput = device.value_or(-1);
        if (!device) {
            if (logFailures) {
                tarnLog("Failure to locate default audio output.\n");
            }
        } else if (openPlayback(*device) != paNoError && logFailures) {
            tarnLog("Failed to initialize output audio\n");
        }
    }
}

int AudioHost::openCapture() {
    int status = paInvalidDevice;
    if (const std::optional<int> device = findDevice(options.inputDevice, true)) {
        auto made = std::make_unique<Capture>();
        const PaDeviceInfo* info = Pa_GetDeviceInfo(*device);
        PaStreamParameters parameters{};
        parameters.device = *device;
        parameters.sampleFormat = paFloat32;
        parameters.suggestedLatency = std::max(kCaptureLatency, info->defaultLowInputLatency);
        // Mono where the device offers it, else the first of two
        // channels; 8000 Hz where it can, else its own rate (or the one
        // asked for).
        const double rates[] = {options.deviceRate > 0.0 ? options.deviceRate : kEngineRate,
                                options.deviceRate > 0.0 ? options.deviceRate
                                                         : info->defaultSampleRate};
        double rate = 0.0;
        for (int channels : {1, 2}) {
            parameters.channelCount = std::min(channels, info->maxInputChannels);
            for (double candidate : rates) {
                status = isFormatSupported(&parameters, nullptr, candidate);
                if (status == paFormatIsSupported) {
                    rate = candidate;
                    break;
                }
            }
            if (rate > 0.0) {
                break;
            }
        }
        if (rate > 0.0) {
            made->channels = parameters.channelCount;
            made->deviceName = info->name != nullptr ? info->name : "";
            made->blocks = std::make_unique<InputBlocks>(rate);
            status = made->blocks->ok() ? openStream(&made->stream, &parameters, nullptr, rate,
                                                     paClipOff, Capture::callback, made.get())
                                        : paInsufficientMemory;
            if (status == paNoError) {
                status = Pa_StartStream(made->stream);
                if (status != paNoError) {
                    Pa_CloseStream(made->stream);
                }
            }
        }
        if (status == paNoError) {
            capture = std::move(made);
        }
    }
    return status;
}

int AudioHost::openPlayback(int device) {
    if (playback) {
        Pa_AbortStream(playback->stream);
        Pa_CloseStream(playback->stream);
        playback.reset();
    }
    const PaDeviceInfo* info = Pa_GetDeviceInfo(device);
    if (info == nullptr || info->maxOutputChannels < 1) {
        return paInvalidDevice;
    }
    auto made = std::make_unique<Playback>();
    PaStreamParameters parameters{};
    parameters.device = device;
    // The signal on the first channel, silence on the second.
    parameters.channelCount = std::min(2, info->maxOutputChannels);
    parameters.sampleFormat = paFloat32;
    parameters.suggestedLatency = options.outputLatency;
    double rate = options.deviceRate > 0.0 ? options.deviceRate : kEngineRate;
    int status = isFormatSupported(nullptr, &parameters, rate);
    if (status != paFormatIsSupported && options.deviceRate <= 0.0) {
        rate = info->defaultSampleRate;
        status = isFormatSupported(nullptr, &parameters, rate);
    }
    if (status != paFormatIsSupported) {
        return status;
    }
    if (!playout.prepare(rate)) {
        return paInsufficientMemory;
    }
    made->device = device;
    made->channels = parameters.channelCount;
    made->playout = &playout;
    // The first buffers come from the callback (silence), so the stream
    // never starts on an empty buffer.
    status = openStream(&made->stream, nullptr, &parameters, rate,
                        paClipOff | paPrimeOutputBuffersUsingStreamCallback, Playback::callback,
                        made.get());
    if (status != paNoError) {
        return status;
    }
    const PaStreamInfo* streamInfo = Pa_GetStreamInfo(made->stream);
    made->latency = streamInfo != nullptr ? streamInfo->outputLatency : options.outputLatency;
    // On ALSA the callback thread asks for real-time scheduling (granted
    // where the system allows it): a busy machine then delays it less.
    const PaHostApiInfo* api = Pa_GetHostApiInfo(info->hostApi);
    if (api != nullptr && api->type == paALSA) {
        PaAlsa_EnableRealtimeScheduling(made->stream, 1);
    }
    status = Pa_StartStream(made->stream);
    if (status != paNoError) {
        Pa_CloseStream(made->stream);
        return status;
    }
    playback = std::move(made);
    return paNoError;
}

void AudioHost::closeStreams() {
    if (capture) {
        Pa_AbortStream(capture->stream);
        Pa_CloseStream(capture->stream);
    }
    if (playback) {
        Pa_AbortStream(playback->stream);
        Pa_CloseStream(playback->stream);
        playback.reset();
    }
    // The capture's counters are reported before it goes.
}

bool AudioHost::inputRunning() const {
    std::lock_guard<std::mutex> guard(control);
    return capture && !lost && Pa_IsStreamActive(capture->stream) == 1;
}

bool AudioHost::outputRunning() const {
    std::lock_guard<std::mutex> guard(control);
    return playback && !lost && Pa_IsStreamActive(playback->stream) == 1;
}

std::string AudioHost::inputDeviceName() const {
    std::lock_guard<std::mutex> guard(control);
    return capture ? capture->deviceName : "";
}

double AudioHost::outputLatency() const {
    std::lock_guard<std::mutex> guard(control);
    return playback ? playback->latency : 0.0;
}

int AudioHost::startTransmission(std::unique_ptr<tarn::Transmission> transmission,
                                 bool routeToSpeaker) {
    return startTransmissionAt(std::move(transmission), routeToSpeaker, Clock::time_point{});
}

int AudioHost::startTransmissionAt(std::unique_ptr<tarn::Transmission> transmission,
                                   bool routeToSpeaker, Clock::time_point firstSampleAt) {
    std::unique_ptr<tarn::Transmission> previous;
    std::lock_guard<std::mutex> order(transmit);
    {
        std::lock_guard<std::mutex> guard(control);
        if (!playback || lost || stopping) {
            return paDeviceUnavailable;
        }
        // The speaker is the system's default output; the stream moves
        // there for this transmission and back to the radio for the next.
        int device = radioOutput;
        if (routeToSpeaker) {
            const std::optional<int> speaker = findDevice(kSystemDefault, false);
            if (speaker) {
                device = *speaker;
            } else {
                tarnLog("Failed to force output to speaker\n");
            }
        }
        if (device != playback->device) {
            previous = playout.take();
            const int status = openPlayback(device);
            if (status != paNoError && openPlayback(radioOutput) != paNoError) {
                return status;
            }
        }
    }
    outputFailed.store(false, std::memory_order_release);
    previous = playout.start(
        std::move(transmission),
        std::chrono::duration_cast<std::chrono::nanoseconds>(firstSampleAt.time_since_epoch())
            .count());
    return paNoError;
}

void AudioHost::stopTransmission() {
    std::unique_ptr<tarn::Transmission> cut;
    std::lock_guard<std::mutex> order(transmit);
    cut = playout.take();
}

std::optional<AudioHost::Clock::time_point> AudioHost::playedOutAt() const {
    const std::optional<int64_t> ns = playout.playedOutNs();
    if (!ns) {
        return std::nullopt;
    }
    return Clock::time_point(std::chrono::nanoseconds(*ns));
}

void AudioHost::retirePlayed() {
    std::unique_ptr<tarn::Transmission> played;
    uint64_t gaps = 0;
    {
        std::lock_guard<std::mutex> order(transmit);
        const std::optional<int64_t> end = playout.playedOutNs();
        if (!playout.holding() || !end || *end > nowNs()) {
            return;
        }
        gaps = playout.gaps();
        played = playout.take();
    }
    if (played && gaps != 0) {
        tarnLog("Audio output underflow: the transmission had %llu gaps\n",
                static_cast<unsigned long long>(gaps));
    }
}

void AudioHost::reportGlitches() {
    if (!capture) {
        return;
    }
    const uint64_t dropped = capture->blocks->droppedSamples();
    if (dropped != reportedDrops) {
        tarnLog("Audio input overrun: %llu samples dropped\n",
                static_cast<unsigned long long>(dropped - reportedDrops));
        reportedDrops = dropped;
    }
    const uint64_t overflows = capture->overflows.load(std::memory_order_relaxed);
    if (overflows != reportedOverflows) {
        tarnLog("Audio input overflow: the system lost input %llu times\n",
                static_cast<unsigned long long>(overflows - reportedOverflows));
        reportedOverflows = overflows;
    }
    const uint64_t cleaned = capture->blocks->cleanedSamples();
    if (cleaned != reportedCleaned) {
        tarnLog("Audio input: %llu samples were not numbers and were replaced\n",
                static_cast<unsigned long long>(cleaned - reportedCleaned));
        reportedCleaned = cleaned;
    }
}

// An ended stream is reopened in the same session before anything is
// declared lost (see StreamWatch for why).
bool AudioHost::streamsLost(std::unique_lock<std::mutex>& lock) {
    using Health = StreamWatch::Health;
    const Health input =
        capture ? capture->watch.watch(Pa_IsStreamActive(capture->stream) == 1) : Health::Running;
    const Health output = playback ? playback->watch.watch(Pa_IsStreamActive(playback->stream) == 1)
                                   : Health::Running;
    if (input == Health::Silent || output == Health::Silent) {
        return true;
    }
    if (input == Health::Ended) {
        reportGlitches();
        Pa_CloseStream(capture->stream);
        capture.reset();
        reportedDrops = reportedOverflows = reportedCleaned = 0;
        if (openCapture() != paNoError) {
            return true;
        }
    }
    if (output == Health::Ended) {
        // A transmission on it has a hole: it is cut, and fails.
        if (playout.holding()) {
            outputFailed.store(true, std::memory_order_release);
            lock.unlock();
            stopTransmission();
            lock.lock();
        }
        if (openPlayback(radioOutput) != paNoError) {
            return true;
        }
    }
    return false;
}

void AudioHost::run() {
    std::array<float, kBlockSamples> block{};
    auto nextWatch = Clock::now() + kWatchInterval;
    std::unique_lock<std::mutex> lock(control);
    while (!stopping) {
        wake.wait_for(lock, kPumpInterval, [this] { return stopping; });
        if (stopping) {
            break;
        }
        // Blocks go to the consumer without the lock: only this thread
        // replaces the capture.
        Capture* source = capture.get();
        lock.unlock();
        while (source != nullptr && source->blocks->takeBlock(block)) {
            if (consumer) {
                consumer(std::span<const float>(block));
            }
        }
        retirePlayed();
        lock.lock();
        if (Clock::now() < nextWatch) {
            continue;
        }
        nextWatch = Clock::now() + (lost ? kReopenInterval : kWatchInterval);
        if (!lost) {
            reportGlitches();
            if ((capture || playback) && streamsLost(lock)) {
                tarnLog("Audio device lost; waiting for it to return\n");
                lost = true;
                outputFailed.store(true, std::memory_order_release);
                lock.unlock();
                stopTransmission();
                lock.lock();
                closeStreams();
                capture.reset();
                nextWatch = Clock::now() + kReopenInterval;
            }
            continue;
        }
        // PortAudio sees a new sound server only when it is opened again.
        closeStreams();
        capture.reset();
        if (portAudioOpen) {
            terminatePortAudio();
            portAudioOpen = false;
        }
        if (initializePortAudioQuietly() != paNoError) {
            continue;
        }
        portAudioOpen = true;
        // Quietly: the device is known to be away until this works.
        openStreams(false);
        if ((options.input && !capture) || (options.output && !playback)) {
            continue;
        }
        lost = false;
        reportedDrops = reportedOverflows = reportedCleaned = 0;
        tarnLog("Audio device back; streams reopened\n");
    }
}

} // namespace tarnaudio
