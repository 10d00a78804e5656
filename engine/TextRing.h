// The received-text ring between the receive chain (producer) and the
// display (consumer): 256 byte slots, at most 255 characters. The producer
// never waits: a full ring drops new characters. Single producer (whoever
// runs the receive chain, serialised by the engine's processing lock) and
// single consumer; the head and tail indices are the only shared state and
// each slot is written only while it lies outside the consumer's run.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace tarn {

class TextRing {
public:
    // Stores every byte as it is, 0 and control characters included.
    void insert(char character) {
        const int32_t head = head_.load(std::memory_order_relaxed);
        const int32_t next = (head + 1) % kSlots;
        if (next != tail_.load(std::memory_order_acquire)) {
            slots_[head] = character;
            head_.store(next, std::memory_order_release);
        }
    }

    // The bytes from the tail up to the head or, when they wrap, up to the
    // end of the slots (the rest comes with the next call); nothing when empty.
    std::optional<std::string> drain() {
        const int32_t tail = tail_.load(std::memory_order_relaxed);
        const int32_t head = head_.load(std::memory_order_acquire);
        if (head == tail) {
            return std::nullopt;
        }
        const int32_t end = head > tail ? head : kSlots;
        std::string text(slots_ + tail, static_cast<size_t>(end - tail));
        tail_.store(end % kSlots, std::memory_order_release);
        return text;
    }

private:
    static constexpr int32_t kSlots = 256;
    char slots_[kSlots] = {};
    std::atomic<int32_t> head_{0}; // next slot to write
    std::atomic<int32_t> tail_{0}; // next slot to read
};

} // namespace tarn
