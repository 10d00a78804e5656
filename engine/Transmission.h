// One rendered message on its way to the transmitter.
//
// The engine renders a message into a Transmission (8000 Hz mono float
// samples, owned here) and hands it to the host's TransmitSink, which plays
// it through its output callback and destroys it when it has been played or
// stopped. Destroying it marks the engine idle again (isSending false), so
// ownership alone ends a transmission: nothing is leaked and nothing is
// cleared twice.
//
// Threads: render() runs on the host's real-time output thread and only
// copies floats (no allocation, no lock). Everything else runs on the thread
// that owns the object; the sending flag is shared with the engine and is
// safe to clear whichever of the two goes first.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace tarn {

class Transmission {
public:
    Transmission(std::vector<float> samples, std::shared_ptr<std::atomic<bool>> sending)
        : samples_(std::move(samples)), sending_(std::move(sending)) {}
    ~Transmission() {
        if (sending_) {
            sending_->store(false, std::memory_order_release);
        }
    }
    Transmission(const Transmission&) = delete;
    Transmission& operator=(const Transmission&) = delete;

    // Copies the next samples into `out` and fills the rest of it with 0.0;
    // returns how many message samples were copied (0 once used up).
    std::size_t render(std::span<float> out) {
        const std::size_t next = position_.load(std::memory_order_relaxed);
        const std::size_t count = std::min(out.size(), samples_.size() - next);
        std::copy_n(samples_.begin() + static_cast<std::ptrdiff_t>(next), count, out.begin());
        std::fill(out.begin() + static_cast<std::ptrdiff_t>(count), out.end(), 0.0f);
        position_.store(next + count, std::memory_order_release);
        return count;
    }

    // True once every sample has been handed to render().
    bool exhausted() const { return position_.load(std::memory_order_acquire) >= samples_.size(); }
    std::size_t size() const { return samples_.size(); }
    // Samples handed out so far; readable from any thread.
    std::size_t position() const { return position_.load(std::memory_order_acquire); }
    std::span<const float> samples() const { return samples_; }

private:
    const std::vector<float> samples_;
    std::atomic<std::size_t> position_{0};
    std::shared_ptr<std::atomic<bool>> sending_;
};

// What the engine needs of the machine's audio output. The host implements
// it; the engine calls it on the thread that sends (the main thread).
class TransmitSink {
public:
    virtual ~TransmitSink() = default;

    // Starts playing `transmission`, on the radio's output or, with
    // `routeToSpeaker`, on the machine's loudspeaker (the sink logs
    // "Failed to force output to speaker\n" and plays on the radio's output
    // when it cannot). Returns 0, or the platform's non-zero status when the
    // output could not be started; either way the sink has taken the
    // transmission and destroys it when it is played, stopped or refused.
    virtual int startTransmission(std::unique_ptr<Transmission> transmission,
                                  bool routeToSpeaker) = 0;

    // Cuts the transmission off at once and destroys it; nothing when idle.
    virtual void stopTransmission() = 0;
};

} // namespace tarn
