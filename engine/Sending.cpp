// Starting and ending a transmission. One message at a time: the rendered
// signal goes to the host's TransmitSink inside a Transmission, whose end
// (played, stopped or refused) clears the sending flag.
#include "engine/Engine.h"
#include "engine/TarnData.h"
#include "log/TarnLog.h"

#include <cstdint>

namespace {

// No output to play on: the status a missing device gives (paInvalidDevice).
constexpr int kNoOutputStatus = -9996;

// A platform status as the 16-bit signed value the log message prints.
int16_t status16(int status) {
    return static_cast<int16_t>(status & 0xffff);
}

} // namespace

bool TarnData::sendString(std::u16string_view text) {
    // Read-then-write is not one step; all sends come from the main thread.
    const std::shared_ptr<std::atomic<bool>>& sending = engine->sendingFlag();
    if (sending->load(std::memory_order_acquire)) {
        return false;
    }
    sending->store(true, std::memory_order_release);
    auto transmission = std::make_unique<tarn::Transmission>(renderString(text), sending);
    int status = kNoOutputStatus;
    if (sink != nullptr) {
        status = sink->startTransmission(std::move(transmission), forceOutputToSpeaker());
    } else {
        transmission.reset(); // idle again
    }
    if (status16(status) != 0) {
        tarnLog("Failed to start output audio: %d\n", status16(status));
        stopAudioOutput();
    }
    return true;
}

bool TarnData::sendString(std::string_view text) {
    if (isSending()) {
        return false;
    }
    // One code per byte: 8-bit characters 0 .. 255.
    std::u16string codes(text.size(), u'\0');
    for (size_t i = 0; i < text.size(); ++i) {
        codes[i] = static_cast<unsigned char>(text[i]);
    }
    return sendString(std::u16string_view(codes));
}

void TarnData::setTransmitSink(tarn::TransmitSink* transmitSink) {
    sink = transmitSink;
}

void TarnData::stopAudioOutput() {
    if (sink != nullptr) {
        sink->stopTransmission();
    }
}

bool TarnData::isSending() const {
    return engine->sendingFlag()->load(std::memory_order_acquire);
}

void TarnData::setForceOutputToSpeaker(bool force) {
    speakerForced.store(force, std::memory_order_relaxed);
}

bool TarnData::forceOutputToSpeaker() const {
    return speakerForced.load(std::memory_order_relaxed);
}
