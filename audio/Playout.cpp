#include "audio/Playout.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <thread>

namespace tarnaudio {

namespace {
constexpr double kEngineRate = 8000.0; // Hz
constexpr double kNsPerSecond = 1e9;
} // namespace

Playout::Playout() : chunk(kChunk) {}

bool Playout::prepare(double deviceRate) {
    rate = deviceRate;
    converter.reset();
    pending.clear();
    if (deviceRate != kEngineRate) {
        converter = std::make_unique<RateConverter>(kEngineRate, deviceRate, kChunk);
        if (!converter->ok()) {
            converter.reset();
            return false;
        }
        pending.resize(converter->maxOutputFrames());
    }
    seen = nullptr;
    pendingStart = pendingEnd = 0;
    return true;
}

Playout::~Playout() {
    take();
}

std::unique_ptr<tarn::Transmission> Playout::start(std::unique_ptr<tarn::Transmission> transmission,
                                                   int64_t firstSampleNs) {
    std::unique_ptr<tarn::Transmission> previous = take();
    lastSampleNs.store(-1, std::memory_order_relaxed);
    underflows.store(0, std::memory_order_relaxed);
    startNs.store(firstSampleNs, std::memory_order_relaxed);
    generation.fetch_add(1, std::memory_order_relaxed);
    current.store(transmission.release(), std::memory_order_seq_cst);
    return previous;
}

std::unique_ptr<tarn::Transmission> Playout::take() {
    tarn::Transmission* taken = current.exchange(nullptr, std::memory_order_seq_cst);
    // A callback that saw the pointer before the exchange is still reading
    // it; one that starts after sees none. Callbacks last well under a
    // millisecond.
    while (busy.load(std::memory_order_seq_cst)) {
        std::this_thread::yield();
    }
    return std::unique_ptr<tarn::Transmission>(taken);
}

std::optional<int64_t> Playout::playedOutNs() const {
    const int64_t ns = lastSampleNs.load(std::memory_order_acquire);
    return ns < 0 ? std::nullopt : std::optional<int64_t>(ns);
}

void Playout::pull(tarn::Transmission* transmission, float* out, std::size_t count,
                   int64_t firstNs) {
    if (transmission == nullptr) {
        std::fill_n(out, count, 0.0f);
        return;
    }
    std::size_t wait = 0;
    if (!begun) {
        // Silence up to the sample that leaves the device at the start time.
        const double ahead =
            static_cast<double>(startNs.load(std::memory_order_relaxed) - firstNs) * kEngineRate /
            kNsPerSecond;
        wait = ahead <= 0.0
                   ? 0
                   : std::min<std::size_t>(count, static_cast<std::size_t>(std::ceil(ahead)));
        std::fill_n(out, wait, 0.0f);
        begun = wait < count;
    }
    const bool wasExhausted = transmission->exhausted();
    const std::size_t copied = transmission->render(std::span<float>(out + wait, count - wait));
    if (!wasExhausted && transmission->exhausted()) {
        lastSampleNs.store(firstNs + static_cast<int64_t>(static_cast<double>(wait + copied) *
                                                          kNsPerSecond / kEngineRate),
                           std::memory_order_release);
    }
}

void Playout::render(float* out, std::size_t frames, std::size_t channels, int64_t dacNs,
                     bool underflow) {
    busy.store(true, std::memory_order_seq_cst);
    // Taken meanwhile, it stays valid until this call clears `busy`.
    tarn::Transmission* transmission = current.load(std::memory_order_seq_cst);
    // The generation tells a new message from an old one at the same address.
    const uint64_t started = generation.load(std::memory_order_relaxed);
    if (transmission != seen || started != seenGeneration) {
        // A new message (or none): nothing converted for the last one plays.
        seen = transmission;
        seenGeneration = started;
        begun = false;
        pendingStart = pendingEnd = 0;
        if (converter) {
            converter->reset();
        }
    }
    if (underflow && transmission != nullptr && transmission->position() > 0 &&
        lastSampleNs.load(std::memory_order_relaxed) < 0) {
        underflows.fetch_add(1, std::memory_order_relaxed);
    }
    std::memset(out, 0, frames * channels * sizeof(float));
    const double nsPerFrame = kNsPerSecond / rate;
    std::size_t done = 0;
    while (done < frames) {
        if (!converter) {
            const std::size_t n = std::min(frames - done, kChunk);
            pull(transmission, chunk.data(), n,
                 dacNs + static_cast<int64_t>(static_cast<double>(done) * nsPerFrame));
            for (std::size_t i = 0; i < n; ++i) {
                out[(done + i) * channels] = chunk[i];
            }
            done += n;
            continue;
        }
        if (pendingStart == pendingEnd) {
            // The next engine sample leaves after what is already converted.
            const int64_t nextNs =
                dacNs + static_cast<int64_t>(static_cast<double>(done) * nsPerFrame);
            pull(transmission, chunk.data(), kChunk, nextNs);
            std::size_t produced = 0;
            const float* converted = converter->process(chunk.data(), kChunk, produced);
            std::memcpy(pending.data(), converted, produced * sizeof(float));
            pendingStart = 0;
            pendingEnd = produced;
            if (produced == 0) {
                continue;
            }
        }
        const std::size_t n = std::min(frames - done, pendingEnd - pendingStart);
        for (std::size_t i = 0; i < n; ++i) {
            out[(done + i) * channels] = pending[pendingStart + i];
        }
        pendingStart += n;
        done += n;
    }
    busy.store(false, std::memory_order_seq_cst);
}

} // namespace tarnaudio
