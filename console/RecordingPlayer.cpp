#include "console/RecordingPlayer.h"

#include "audiofile/AudioFile.h"
#include "log/TarnLog.h"

#include <chrono>
#include <cmath>
#include <limits>

namespace {
constexpr int kBlockSamples = 2000;                           // one input block
constexpr auto kBlockPeriod = std::chrono::milliseconds(250); // its duration at 8000 Hz
} // namespace

RecordingPlayer::RecordingPlayer(BlockConsumer blockReceiver)
    : receiver(std::move(blockReceiver)) {}

RecordingPlayer::~RecordingPlayer() {
    stop();
}

std::string RecordingPlayer::play(const std::string& path) {
    auto opened = audiofile::AudioFileReader::open(path);
    if (!opened)
        return opened.error().message;
    stop();
    const std::lock_guard<std::mutex> guard(controlLock);
    stopRequested.store(false, std::memory_order_relaxed);
    delivered.store(0, std::memory_order_relaxed);
    fraction.store(0.0, std::memory_order_relaxed);
    playing.store(true, std::memory_order_release);
    thread = std::thread(&RecordingPlayer::run, this, std::move(opened.value()));
    return {};
}

void RecordingPlayer::stop() {
    const std::lock_guard<std::mutex> guard(controlLock);
    stopRequested.store(true, std::memory_order_relaxed);
    if (thread.joinable())
        thread.join();
    playing.store(false, std::memory_order_release);
}

void RecordingPlayer::liveBlock(std::span<const float> block) {
    if (!isPlaying())
        receiver(block);
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
        // The reader hands out finite samples only (a damaged file's NaN or
        // infinity cleaned and counted there).
        // The last block is completed with silence: the receiver always gets
        // whole blocks, as from the radio.
        for (int64_t i = filled; i < kBlockSamples; ++i)
            block[i] = 0.0f;
        receiver(std::span<const float>(block, kBlockSamples));
        delivered.fetch_add(1, std::memory_order_relaxed);
        fraction.store(reader->progress(), std::memory_order_relaxed);
        due += kBlockPeriod;
        std::this_thread::sleep_until(due);
    }
    if (const int64_t cleaned = reader->cleanedSamples(); cleaned > 0) {
        tarnLog("Recording: %lld samples were not numbers and were replaced\n",
                static_cast<long long>(cleaned));
    }
    // Release: whoever sees the end of playing also sees every block delivered.
    playing.store(false, std::memory_order_release);
}
