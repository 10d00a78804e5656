#include "console/RecordingPlayer.h"

#include "audiofile/AudioFile.h"

#include <chrono>

namespace {
constexpr int kBlockSamples = 2000;                           // one input buffer
constexpr auto kBlockPeriod = std::chrono::milliseconds(250); // its duration at 8000 Hz
} // namespace

RecordingPlayer::RecordingPlayer(AudioPlatform& platform, int idiom)
    : platform(platform), idiom(idiom) {}

RecordingPlayer::~RecordingPlayer() {
    stop();
}

std::string RecordingPlayer::play(const std::string& path) {
    auto opened = audiofile::AudioFileReader::open(path);
    if (!opened)
        return opened.error().message;
    if (engineCallback == nullptr)
        return "the receiver has no input to feed";
    stop();
    const std::lock_guard<std::mutex> guard(controlLock);
    stopRequested.store(false, std::memory_order_relaxed);
    delivered.store(0, std::memory_order_relaxed);
    fraction.store(0.0, std::memory_order_relaxed);
    playing.store(true, std::memory_order_relaxed);
    thread = std::thread(&RecordingPlayer::run, this, std::move(opened.value()));
    return {};
}

void RecordingPlayer::stop() {
    const std::lock_guard<std::mutex> guard(controlLock);
    stopRequested.store(true, std::memory_order_relaxed);
    if (thread.joinable())
        thread.join();
    playing.store(false, std::memory_order_relaxed);
}

void RecordingPlayer::run(std::unique_ptr<audiofile::AudioFileReader> reader) {
    float block[kBlockSamples];
    auto due = std::chrono::steady_clock::now();
    while (!stopRequested.load(std::memory_order_relaxed)) {
        int64_t filled = 0;
        while (filled < kBlockSamples) {
            auto got = reader->read(block + filled, kBlockSamples - filled);
            if (!got || got.value() == 0)
                break;
            filled += got.value();
        }
        if (filled == 0)
            break;
        // The last block is completed with silence: the receiver always gets
        // whole buffers, as from the radio.
        for (int64_t i = filled; i < kBlockSamples; ++i)
            block[i] = 0.0f;
        engineCallback(engineContext, engineQueue, &playerBuffer, block,
                       kBlockSamples * sizeof(float));
        delivered.fetch_add(1, std::memory_order_relaxed);
        fraction.store(reader->progress(), std::memory_order_relaxed);
        due += kBlockPeriod;
        std::this_thread::sleep_until(due);
    }
    // Release: whoever sees the end of playing also sees every block delivered.
    playing.store(false, std::memory_order_release);
}

void RecordingPlayer::liveInput(void* self, AudioHandle queue, AudioHandle buffer,
                                const float* samples, uint32_t byteSize) {
    auto* player = static_cast<RecordingPlayer*>(self);
    if (player->isPlaying())
        player->platform.queueEnqueueBuffer(queue, buffer);
    else
        player->engineCallback(player->engineContext, queue, buffer, samples, byteSize);
}

int32_t RecordingPlayer::queueNewInput(const AudioStreamFormat& format, InputCallback callback,
                                       void* context, AudioHandle* queue) {
    engineCallback = callback;
    engineContext = context;
    const int32_t status = platform.queueNewInput(format, &RecordingPlayer::liveInput, this, queue);
    engineQueue = *queue;
    return status;
}

int32_t RecordingPlayer::queueEnqueueBuffer(AudioHandle queue, AudioHandle buffer) {
    if (buffer == &playerBuffer)
        return 0;
    return platform.queueEnqueueBuffer(queue, buffer);
}

// Everything else is the real platform's.
int32_t RecordingPlayer::sessionInitialize(InterruptionListener listener, void* context) {
    return platform.sessionInitialize(listener, context);
}
int32_t RecordingPlayer::sessionSetCategoryPlayAndRecord() {
    return platform.sessionSetCategoryPlayAndRecord();
}
int32_t RecordingPlayer::sessionSetDefaultToSpeaker(uint32_t enable) {
    return platform.sessionSetDefaultToSpeaker(enable);
}
int32_t RecordingPlayer::sessionOverrideRouteToSpeaker(bool speaker) {
    return platform.sessionOverrideRouteToSpeaker(speaker);
}
int32_t RecordingPlayer::sessionSetActive(bool active) {
    return platform.sessionSetActive(active);
}
int32_t RecordingPlayer::queueAllocateBuffer(AudioHandle queue, uint32_t byteSize,
                                             AudioHandle* buffer) {
    return platform.queueAllocateBuffer(queue, byteSize, buffer);
}
int32_t RecordingPlayer::queueStart(AudioHandle queue) {
    return platform.queueStart(queue);
}
bool RecordingPlayer::outputFindComponent() {
    return platform.outputFindComponent();
}
int32_t RecordingPlayer::outputInstanceNew(AudioHandle* unit) {
    return platform.outputInstanceNew(unit);
}
int32_t RecordingPlayer::outputEnableIO(AudioHandle unit, uint32_t scope, uint32_t element,
                                        uint32_t enable) {
    return platform.outputEnableIO(unit, scope, element, enable);
}
int32_t RecordingPlayer::outputSetRenderCallback(AudioHandle unit, RenderCallback callback,
                                                 void* context) {
    return platform.outputSetRenderCallback(unit, callback, context);
}
int32_t RecordingPlayer::outputSetStreamFormat(AudioHandle unit, const AudioStreamFormat& format) {
    return platform.outputSetStreamFormat(unit, format);
}
int32_t RecordingPlayer::outputInitialize(AudioHandle unit) {
    return platform.outputInitialize(unit);
}
int32_t RecordingPlayer::outputStart(AudioHandle unit) {
    return platform.outputStart(unit);
}
int32_t RecordingPlayer::outputStop(AudioHandle unit) {
    return platform.outputStop(unit);
}
