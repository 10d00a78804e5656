// Feeds an audio file into the receiver as if it came from the radio: one
// more source of input blocks for the same consumer as the audio host's.
//
// While a recording plays, a player thread delivers the file in
// 2000-sample blocks (250 ms at 8000 Hz) every 250 ms, and the live blocks
// that the audio host offers through liveBlock() are dropped. Otherwise the
// live blocks pass straight through. The player thread only reads the file
// and moves samples.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>

namespace audiofile {
class AudioFileReader;
}

class RecordingPlayer final {
public:
    using BlockConsumer = std::function<void(std::span<const float>)>;

    // `receiver` gets every block, live or played; it must outlive the
    // player (the destructor stops the player thread).
    explicit RecordingPlayer(BlockConsumer receiver);
    ~RecordingPlayer();
    RecordingPlayer(const RecordingPlayer&) = delete;
    RecordingPlayer& operator=(const RecordingPlayer&) = delete;

    // Starts playing `path` (any rate and channel count libsndfile reads; the
    // first channel). Stops a recording already playing. Returns an empty
    // string, or the reason the file cannot be played.
    std::string play(const std::string& path);
    void stop();
    bool isPlaying() const { return playing.load(std::memory_order_acquire); }
    // Blocks delivered from the current or last recording.
    int64_t blocksDelivered() const { return delivered.load(std::memory_order_relaxed); }
    // Fraction of the current recording delivered, 0.0 .. 1.0.
    double progress() const { return fraction.load(std::memory_order_relaxed); }

    // A live input block (the audio host's thread): to the receiver unless a
    // recording is playing.
    void liveBlock(std::span<const float> block);

private:
    void run(std::unique_ptr<audiofile::AudioFileReader> reader);

    const BlockConsumer receiver;
    std::mutex controlLock; // start/stop from the main thread
    std::thread thread;
    std::atomic<bool> playing{false};
    std::atomic<bool> stopRequested{false};
    std::atomic<int64_t> delivered{0};
    std::atomic<double> fraction{0.0};
};
