// Audio session, input queue and output unit: set up once at construction,
// never torn down. Every failing step logs its fixed message (with the
// platform status as a 16-bit signed value where the message has one) and
// gives up; the engine carries on without that facility.
#include "engine/TarnData.h"
#include "log/TarnLog.h"

namespace {

// Bytes per input buffer: 2000 float samples, 250 ms at 8000 Hz.
constexpr uint32_t kInputBufferBytes = tarn::kInputBlockSamples * sizeof(float);

bool failed(int32_t status) {
    return audioStatus16(status) != 0;
}

} // namespace

void TarnData::configureAudioSession() {
    // The initialisation status is not tested: a session that did not come up
    // shows itself in the category step.
    platform->sessionInitialize(audioSessionInterruptionListener, this);
    const int32_t status = platform->sessionSetCategoryPlayAndRecord();
    if (failed(status)) {
        tarnLog("Failed to set Audio Session to play and record.  %d\n", audioStatus16(status));
        return;
    }
    reconfigureAudioPorts();
}

void TarnData::reconfigureAudioPorts() {
    // A tablet plays on its speaker anyway; a phone (or a device that does not
    // say) would otherwise play on the earpiece.
    const std::optional<int> idiom = platform->userInterfaceIdiom();
    if (idiom && *idiom == 1) {
        return;
    }
    if (failed(platform->sessionSetDefaultToSpeaker(1))) {
        tarnLog("Failed to set output destination\n");
    }
}

void TarnData::configureInputAudioQueue() {
    const AudioStreamFormat format; // 8000 Hz mono float
    int32_t status = platform->queueNewInput(format, inputQueueCallback, this, &inputAudioQueueRef);
    if (failed(status)) {
        tarnLog("Failed to create audio queue: %d\n", audioStatus16(status));
        return;
    }
    for (int i = 0; i < tarn::kInputBuffers; ++i) {
        status = platform->queueAllocateBuffer(inputAudioQueueRef, kInputBufferBytes,
                                               &inputAudioQueueBufferRef[i]);
        if (failed(status)) {
            tarnLog("Failed to allocate buffers for input audio queue %d\n", audioStatus16(status));
            return;
        }
        status = platform->queueEnqueueBuffer(inputAudioQueueRef, inputAudioQueueBufferRef[i]);
        if (failed(status)) {
            tarnLog("Failed to enqueue buffers for input audio queue %d\n", audioStatus16(status));
            return;
        }
    }
    // A queue that does not start delivers nothing; its status is not tested.
    platform->queueStart(inputAudioQueueRef);
}

void TarnData::configureOutputAudio() {
    if (!platform->outputFindComponent()) {
        tarnLog("Failure to locate default audio output.\n");
        return;
    }
    const int32_t created = platform->outputInstanceNew(&audioOutput);
    if (audioOutput == nullptr) {
        tarnLog("Error creating default audio output. %d\n", audioStatus16(created));
        return;
    }
    // Recording through the output unit off (bus 1), playing on (bus 0). The
    // two messages name the opposite actions; they are the fixed texts.
    if (failed(platform->outputEnableIO(audioOutput, kAudioUnitScopeInput, 1, 0))) {
        tarnLog("Failed to enable input on bus 1\n");
        return;
    }
    if (failed(platform->outputEnableIO(audioOutput, kAudioUnitScopeOutput, 0, 1))) {
        tarnLog("Failed to disable output on bus 0\n");
        return;
    }
    int32_t status = platform->outputSetRenderCallback(audioOutput, outputRenderCallback, this);
    if (failed(status)) {
        tarnLog("Failed to set audio output callback.  %d\n", audioStatus16(status));
        return;
    }
    AudioStreamFormat format;
    format.channelsPerFrame = 2; // signal on the first, silence on the second
    status = platform->outputSetStreamFormat(audioOutput, format);
    if (failed(status)) {
        tarnLog("Failed to set audio output stream format.  %d\n", audioStatus16(status));
        return;
    }
    if (failed(platform->outputInitialize(audioOutput))) {
        tarnLog("Failed to initialize output audio\n");
    }
}

void inputQueueCallback(void* context, AudioHandle, AudioHandle buffer, const float* samples,
                        uint32_t byteSize) {
    TarnData* engine = static_cast<TarnData*>(context);
    engine->processInputAudioSamples(samples, static_cast<int32_t>(byteSize / 4));
    const int32_t status = engine->platform->queueEnqueueBuffer(engine->inputAudioQueueRef, buffer);
    if (failed(status)) {
        tarnLog("Failed to enqueue buffers for input audio queue %d\n", audioStatus16(status));
    }
}

void audioSessionInterruptionListener(void* context, uint32_t interruptionState) {
    // Only the end of an interruption matters: the session is made active
    // again (its status is not tested). The queue and the unit are untouched.
    if (interruptionState == kAudioSessionEndInterruption) {
        static_cast<TarnData*>(context)->platform->sessionSetActive(true);
    }
}
