// The received-text ring between the audio thread (producer) and the
// display refresh (consumer): 256 slots, at most 255 characters, guarded by
// textBufferLock. The producer never waits: a full ring drops new characters.
#include "engine/TarnData.h"

namespace {

constexpr int32_t kSlots = 256;

} // namespace

// Stores every byte as it is, including 0 (an unknown pattern) and control
// characters; drops it silently when the ring is full.
void TarnData::insertReceivedChar(char character) {
    std::lock_guard<std::mutex> lock(textBufferLock);
    const int32_t next = (textBufferHead + 1) % kSlots;
    if (next != textBufferTail) {
        receivedText[textBufferHead] = character;
        textBufferHead = next;
    }
}

// The run of bytes from the tail up to the head or, when the data wraps, up
// to the end of the array (the rest comes with the next call). Bytes above
// 127 are passed through unchanged, one char each. Nothing for an empty ring.
std::optional<std::string> TarnData::drainTextBuffer() {
    std::lock_guard<std::mutex> lock(textBufferLock);
    if (textBufferHead == textBufferTail) {
        return std::nullopt;
    }
    const int32_t end = textBufferHead > textBufferTail ? textBufferHead : kSlots;
    receivedText[end] = '\0';
    std::string text(receivedText + textBufferTail, static_cast<size_t>(end - textBufferTail));
    textBufferTail = end % kSlots;
    return text;
}
