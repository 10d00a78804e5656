// The operations the audio host needs of the machine's audio system and
// device. EngineAudio's configuration, input and output logic (log messages,
// step order, failure handling) is written against this interface;
// PortAudioPlatform implements it, NullAudioPlatform stands in where there is
// no sound, and the console's recording player wraps
// it. Statuses are the platform's own codes; 0 means success.
#pragma once

#include <cstdint>
#include <optional>

// Opaque handle of an audio queue, buffer or output unit.
using AudioHandle = void*;

// Linear PCM stream description: float, packed, non-interleaved.
struct AudioStreamFormat {
    double sampleRate = 8000.0;
    uint32_t formatID = 0x6c70636d; // 'lpcm'
    uint32_t formatFlags = 41;      // float (1) + packed (8) + non-interleaved (32)
    uint32_t bytesPerPacket = 4;
    uint32_t framesPerPacket = 1;
    uint32_t bytesPerFrame = 4;
    uint32_t channelsPerFrame = 1;
    uint32_t bitsPerChannel = 32;
    uint32_t reserved = 0;
};

// Interruption states delivered to the session listener.
enum : uint32_t { kAudioSessionEndInterruption = 0, kAudioSessionBeginInterruption = 1 };

// Property scopes used by the output unit's enable-I/O setting.
enum : uint32_t { kAudioUnitScopeInput = 1, kAudioUnitScopeOutput = 2 };

class AudioPlatform {
public:
    using InterruptionListener = void (*)(void* context, uint32_t interruptionState);
    // A filled input buffer: `samples` holds byteSize / 4 floats at 8000 Hz.
    using InputCallback = void (*)(void* context, AudioHandle queue, AudioHandle buffer,
                                   const float* samples, uint32_t byteSize);
    // Fills `frames` samples of each of the two non-interleaved channels.
    using RenderCallback = int32_t (*)(void* context, uint32_t frames, float* channel0,
                                       float* channel1);

    virtual ~AudioPlatform() = default;

    // The device's user-interface idiom (1 = tablet, 0 = phone), or nothing
    // when the device does not answer.
    virtual std::optional<int> userInterfaceIdiom() = 0;

    // Session.
    virtual int32_t sessionInitialize(InterruptionListener listener, void* context) = 0;
    virtual int32_t sessionSetCategoryPlayAndRecord() = 0;
    virtual int32_t sessionSetDefaultToSpeaker(uint32_t enable) = 0;
    virtual int32_t sessionOverrideRouteToSpeaker(bool speaker) = 0;
    virtual int32_t sessionSetActive(bool active) = 0;

    // Input queue.
    virtual int32_t queueNewInput(const AudioStreamFormat& format, InputCallback callback,
                                  void* context, AudioHandle* queue) = 0;
    virtual int32_t queueAllocateBuffer(AudioHandle queue, uint32_t byteSize,
                                        AudioHandle* buffer) = 0;
    virtual int32_t queueEnqueueBuffer(AudioHandle queue, AudioHandle buffer) = 0;
    virtual int32_t queueStart(AudioHandle queue) = 0;

    // Output unit.
    virtual bool outputFindComponent() = 0;
    virtual int32_t outputInstanceNew(AudioHandle* unit) = 0;
    virtual int32_t outputEnableIO(AudioHandle unit, uint32_t scope, uint32_t element,
                                   uint32_t enable) = 0;
    virtual int32_t outputSetRenderCallback(AudioHandle unit, RenderCallback callback,
                                            void* context) = 0;
    virtual int32_t outputSetStreamFormat(AudioHandle unit, const AudioStreamFormat& format) = 0;
    virtual int32_t outputInitialize(AudioHandle unit) = 0;
    virtual int32_t outputStart(AudioHandle unit) = 0;
    virtual int32_t outputStop(AudioHandle unit) = 0;
};

// A platform status kept as the 16-bit signed value the log messages print.
inline int16_t audioStatus16(int32_t status) {
    return static_cast<int16_t>(status & 0xffff);
}

// No audio hardware: configuration succeeds, no input ever arrives, and
// starting the output fails (so a send logs and returns to idle at once).
// For hosts and tests without sound.
class NullAudioPlatform final : public AudioPlatform {
public:
    explicit NullAudioPlatform(std::optional<int> idiom = 1) : idiom(idiom) {}

    std::optional<int> userInterfaceIdiom() override { return idiom; }
    int32_t sessionInitialize(InterruptionListener, void*) override { return 0; }
    int32_t sessionSetCategoryPlayAndRecord() override { return 0; }
    int32_t sessionSetDefaultToSpeaker(uint32_t) override { return 0; }
    int32_t sessionOverrideRouteToSpeaker(bool) override { return 0; }
    int32_t sessionSetActive(bool) override { return 0; }
    int32_t queueNewInput(const AudioStreamFormat&, InputCallback, void*,
                          AudioHandle* queue) override {
        *queue = this;
        return 0;
    }
    int32_t queueAllocateBuffer(AudioHandle, uint32_t, AudioHandle* buffer) override {
        *buffer = this;
        return 0;
    }
    int32_t queueEnqueueBuffer(AudioHandle, AudioHandle) override { return 0; }
    int32_t queueStart(AudioHandle) override { return 0; }
    bool outputFindComponent() override { return true; }
    int32_t outputInstanceNew(AudioHandle* unit) override {
        *unit = this;
        return 0;
    }
    int32_t outputEnableIO(AudioHandle, uint32_t, uint32_t, uint32_t) override { return 0; }
    int32_t outputSetRenderCallback(AudioHandle, RenderCallback, void*) override { return 0; }
    int32_t outputSetStreamFormat(AudioHandle, const AudioStreamFormat&) override { return 0; }
    int32_t outputInitialize(AudioHandle) override { return 0; }
    // -9996 (paInvalidDevice): there is no device to play on.
    int32_t outputStart(AudioHandle) override { return -9996; }
    int32_t outputStop(AudioHandle) override { return 0; }

private:
    std::optional<int> idiom;
};
