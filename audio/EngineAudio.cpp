#include "audio/EngineAudio.h"

#include "log/TarnLog.h"

#include <algorithm>
#include <span>

namespace tarnaudio {

namespace {

// Bytes per input buffer: 2000 float samples, 250 ms at 8000 Hz.
constexpr uint32_t kInputBufferBytes = tarn::kInputBlockSamples * sizeof(float);

bool failed(int32_t status) {
    return audioStatus16(status) != 0;
}

} // namespace

EngineAudio::EngineAudio(AudioPlatform& audioPlatform, TarnData& tarnEngine)
    : platform(audioPlatform), engine(tarnEngine) {
    configureAudioSession();
    configureInputAudioQueue();
    configureOutputAudio();
    engine.setTransmitSink(this);
}

EngineAudio::~EngineAudio() {
    engine.setTransmitSink(nullptr);
    delete playing.exchange(nullptr, std::memory_order_acq_rel);
}

void EngineAudio::configureAudioSession() {
    // The initialisation status is not tested: a session that did not come up
    // shows itself in the category step.
    platform.sessionInitialize(audioSessionInterruptionListener, this);
    const int32_t status = platform.sessionSetCategoryPlayAndRecord();
    if (failed(status)) {
        tarnLog("Failed to set Audio Session to play and record.  %d\n", audioStatus16(status));
        return;
    }
    reconfigureAudioPorts();
}

void EngineAudio::reconfigureAudioPorts() {
    // A tablet plays on its speaker anyway; a phone (or a device that does not
    // say) would otherwise play on the earpiece.
    const std::optional<int> idiom = platform.userInterfaceIdiom();
    if (idiom && *idiom == 1) {
        return;
    }
    if (failed(platform.sessionSetDefaultToSpeaker(1))) {
        tarnLog("Failed to set output destination\n");
    }
}

void EngineAudio::configureInputAudioQueue() {
    const AudioStreamFormat format; // 8000 Hz mono float
    int32_t status = platform.queueNewInput(format, inputQueueCallback, this, &inputAudioQueueRef);
    if (failed(status)) {
        tarnLog("Failed to create audio queue: %d\n", audioStatus16(status));
        return;
    }
    for (AudioHandle& buffer : inputAudioQueueBufferRef) {
        status = platform.queueAllocateBuffer(inputAudioQueueRef, kInputBufferBytes, &buffer);
        if (failed(status)) {
            tarnLog("Failed to allocate buffers for input audio queue %d\n", audioStatus16(status));
            return;
        }
        status = platform.queueEnqueueBuffer(inputAudioQueueRef, buffer);
        if (failed(status)) {
            tarnLog("Failed to enqueue buffers for input audio queue %d\n", audioStatus16(status));
            return;
        }
    }
    // A queue that does not start delivers nothing; its status is not tested.
    platform.queueStart(inputAudioQueueRef);
}

void EngineAudio::configureOutputAudio() {
    if (!platform.outputFindComponent()) {
        tarnLog("Failure to locate default audio output.\n");
        return;
    }
    const int32_t created = platform.outputInstanceNew(&audioOutput);
    if (audioOutput == nullptr) {
        tarnLog("Error creating default audio output. %d\n", audioStatus16(created));
        return;
    }
    // Recording through the output unit off (bus 1), playing on (bus 0). The
    // two messages name the opposite actions; they are the fixed texts.
    if (failed(platform.outputEnableIO(audioOutput, kAudioUnitScopeInput, 1, 0))) {
        tarnLog("Failed to enable input on bus 1\n");
        return;
    }
    if (failed(platform.outputEnableIO(audioOutput, kAudioUnitScopeOutput, 0, 1))) {
        tarnLog("Failed to disable output on bus 0\n");
        return;
    }
    int32_t status = platform.outputSetRenderCallback(audioOutput, outputRenderCallback, this);
    if (failed(status)) {
        tarnLog("Failed to set audio output callback.  %d\n", audioStatus16(status));
        return;
    }
    AudioStreamFormat format;
    format.channelsPerFrame = 2; // signal on the first, silence on the second
    status = platform.outputSetStreamFormat(audioOutput, format);
    if (failed(status)) {
        tarnLog("Failed to set audio output stream format.  %d\n", audioStatus16(status));
        return;
    }
    if (failed(platform.outputInitialize(audioOutput))) {
        tarnLog("Failed to initialize output audio\n");
    }
}

int EngineAudio::startTransmission(std::unique_ptr<tarn::Transmission> transmission,
                                   bool routeToSpeaker) {
    if (routeToSpeaker && failed(platform.sessionOverrideRouteToSpeaker(true))) {
        tarnLog("Failed to force output to speaker\n");
    }
    // The unit is stopped: nothing is playing the previous message any more.
    delete playing.exchange(transmission.release(), std::memory_order_acq_rel);
    const int32_t status = platform.outputStart(audioOutput);
    if (failed(status)) {
        delete playing.exchange(nullptr, std::memory_order_acq_rel);
    }
    return status;
}

void EngineAudio::stopTransmission() {
    endTransmission();
}

void EngineAudio::endTransmission() {
    // Both statuses are ignored: the transmission is over either way. The
    // unit is stopped before the samples go, so no render call still reads
    // them.
    platform.outputStop(audioOutput);
    platform.sessionOverrideRouteToSpeaker(false);
    delete playing.exchange(nullptr, std::memory_order_acq_rel);
}

void EngineAudio::inputQueueCallback(void* context, AudioHandle, AudioHandle buffer,
                                     const float* samples, uint32_t byteSize) {
    auto* self = static_cast<EngineAudio*>(context);
    self->engine.processInputAudioSamples(std::span<const float>(samples, byteSize / 4));
    // The band scanner's feed: in the reworked audio host this goes next to
    // the engine's call in the input consumer.
    if (InputConsumer* consumer = self->inputConsumer.load(std::memory_order_acquire))
        consumer->feed(std::span<const float>(samples, byteSize / 4));
    const int32_t status = self->platform.queueEnqueueBuffer(self->inputAudioQueueRef, buffer);
    if (failed(status)) {
        tarnLog("Failed to enqueue buffers for input audio queue %d\n", audioStatus16(status));
    }
}

int32_t EngineAudio::outputRenderCallback(void* context, uint32_t frames, float* channel0,
                                          float* channel1) {
    auto* self = static_cast<EngineAudio*>(context);
    // The end is noticed at the start of the call after the one that played
    // the last sample, so that call's silence reaches the device too.
    tarn::Transmission* transmission = self->playing.load(std::memory_order_acquire);
    if (transmission == nullptr || transmission->exhausted()) {
        self->endTransmission();
        transmission = nullptr;
    }
    if (frames == 0) {
        return 0;
    }
    if (transmission != nullptr) {
        transmission->render(std::span<float>(channel0, frames));
    } else {
        std::fill_n(channel0, frames, 0.0f);
    }
    std::fill_n(channel1, frames, 0.0f);
    return 0;
}

void EngineAudio::audioSessionInterruptionListener(void* context, uint32_t interruptionState) {
    // Only the end of an interruption matters: the session is made active
    // again (its status is not tested). The queue and the unit are untouched.
    if (interruptionState == kAudioSessionEndInterruption) {
        static_cast<EngineAudio*>(context)->platform.sessionSetActive(true);
    }
}

} // namespace tarnaudio
