// Connects the engine to an AudioPlatform: sets up the session, the input
// queue and the output unit once (never torn down while it lives), pushes
// every input buffer into the engine, and plays the engine's transmissions
// through the output unit's render callback.
//
// Threads: construction, startTransmission and stopTransmission on the main
// thread; the input callback on the platform's input thread (it only hands
// the buffer to the engine and queues it again); the render callback on the
// platform's output thread (it copies samples from the Transmission and, once
// the message has been used up, stops the unit and ends the transmission).
#pragma once

#include "audio/AudioPlatform.h"
#include "engine/TarnData.h"
#include "engine/Transmission.h"

#include <atomic>
#include <span>

namespace tarnaudio {

// A second consumer of the radio's input next to the engine (the band
// scanner): fed every input block on the input thread, right after the
// engine. It must outlive the EngineAudio it is given to.
class InputConsumer {
public:
    virtual void feed(std::span<const float> block) = 0;

protected:
    ~InputConsumer() = default;
};

class EngineAudio final : public tarn::TransmitSink {
public:
    // Configures the platform in the fixed order (session, input queue,
    // output unit), logging each failing step, and registers itself as the
    // engine's transmit sink. Both must outlive it.
    EngineAudio(AudioPlatform& platform, TarnData& engine);
    // Unregisters from the engine and ends a transmission still playing.
    // Stop the platform's streams first: its threads call in here.
    ~EngineAudio() override;
    EngineAudio(const EngineAudio&) = delete;
    EngineAudio& operator=(const EngineAudio&) = delete;

    int startTransmission(std::unique_ptr<tarn::Transmission> transmission,
                          bool routeToSpeaker) override;
    void stopTransmission() override;
    // Sets the input's second consumer (nullptr: none); any thread.
    void setInputConsumer(InputConsumer* consumer) {
        inputConsumer.store(consumer, std::memory_order_release);
    }

    // The platform's callbacks, with this object as their context.
    static void inputQueueCallback(void* context, AudioHandle queue, AudioHandle buffer,
                                   const float* samples, uint32_t byteSize);
    static int32_t outputRenderCallback(void* context, uint32_t frames, float* channel0,
                                        float* channel1);
    static void audioSessionInterruptionListener(void* context, uint32_t interruptionState);

private:
    void configureAudioSession();
    void reconfigureAudioPorts();
    void configureInputAudioQueue();
    void configureOutputAudio();
    // Output stopped, route released, the transmission destroyed (which
    // marks the engine idle). Main or output thread.
    void endTransmission();

    static constexpr int kInputBuffers = 8;

    AudioPlatform& platform;
    TarnData& engine;
    AudioHandle inputAudioQueueRef = nullptr;
    AudioHandle inputAudioQueueBufferRef[kInputBuffers] = {};
    AudioHandle audioOutput = nullptr;
    // The message being played; owned here, handed between the main and the
    // output thread by exchange so that exactly one of them destroys it.
    std::atomic<tarn::Transmission*> playing{nullptr};
    std::atomic<InputConsumer*> inputConsumer{nullptr};
};

} // namespace tarnaudio
