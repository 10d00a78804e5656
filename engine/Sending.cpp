// Starting and ending a transmission, and the output render callback that
// plays the rendered block. One message at a time; no lock anywhere here:
// isSending is set on the main thread and cleared on the render thread.
#include "engine/TarnData.h"
#include "log/TarnLog.h"

bool TarnData::sendString(std::u16string_view text) {
    // Read-then-write is not one step; all sends come from the main thread.
    if (isSending.load(std::memory_order_relaxed)) {
        return false;
    }
    isSending.store(true, std::memory_order_relaxed);
    sendCharThread(text);
    return true;
}

bool TarnData::sendString(std::string_view text) {
    if (isSending.load(std::memory_order_relaxed)) {
        return false;
    }
    // One code per byte: 8-bit characters 0 .. 255.
    std::u16string codes(text.size(), u'\0');
    for (size_t i = 0; i < text.size(); ++i) {
        codes[i] = static_cast<unsigned char>(text[i]);
    }
    return sendString(std::u16string_view(codes));
}

void TarnData::sendCharThread(std::u16string_view text) {
    // Runs on the caller's thread and returns once the output has started;
    // the render thread paces the rest.
    renderString(text);
    if (forceOutputToSpeaker.load(std::memory_order_relaxed) &&
        audioStatus16(platform->sessionOverrideRouteToSpeaker(true)) != 0) {
        tarnLog("Failed to force output to speaker\n");
    }
    const int32_t status = platform->outputStart(audioOutput);
    if (audioStatus16(status) != 0) {
        tarnLog("Failed to start output audio: %d\n", audioStatus16(status));
        stopAudioOutput();
    }
}

void TarnData::stopAudioOutput() {
    // Both statuses are ignored: the transmission is over either way.
    platform->outputStop(audioOutput);
    platform->sessionOverrideRouteToSpeaker(false);
    isSending.store(false, std::memory_order_relaxed);
}

int32_t outputRenderCallback(void* context, uint32_t frames, float* channel0, float* channel1) {
    TarnData* engine = static_cast<TarnData*>(context);
    const auto relaxed = std::memory_order_relaxed;
    // The end is noticed at the start of the call after the one that played
    // the last sample, so that call's silence reaches the device too.
    if (engine->renderedAudioIndex.load(relaxed) >= engine->renderedAudioSize.load(relaxed)) {
        engine->stopAudioOutput();
    }
    if (frames == 0) {
        return 0;
    }
    const float* block = engine->renderedAudio.load(relaxed);
    const int32_t size = engine->renderedAudioSize.load(relaxed);
    int32_t index = engine->renderedAudioIndex.load(relaxed);
    for (uint32_t frame = 0; frame < frames; ++frame) {
        if (index < size) {
            channel0[frame] = block[index];
            ++index;
        } else {
            channel0[frame] = 0.0f;
        }
        channel1[frame] = 0.0f;
    }
    engine->renderedAudioIndex.store(index, relaxed);
    return 0;
}
