#include "engine/Receiver.h"

#include "engine/PhaseDecider.h"

namespace tarn {

namespace {

// Decision points: symbol filter outputs ending seven and six symbols back
// (112 and 96 baseband samples), one symbol apart.
constexpr int32_t kEarlierPoint = 112;
constexpr int32_t kLaterPoint = 96;
// Baseband samples between coarse AFC evaluations (64 ms).
constexpr int32_t kCoarseInterval = 32;

// The upper bound is tested first; a NaN passes both unchanged.
double clampFrequency(double frequency) {
    if (frequency > Receiver::kHighest) {
        frequency = Receiver::kHighest;
    }
    if (frequency < Receiver::kLowest) {
        frequency = Receiver::kLowest;
    }
    return frequency;
}

} // namespace

Receiver::Receiver(double frequency, float squelch, const std::atomic<bool>* holdAFC)
    : level_(squelch), hold_(holdAFC) {
    tune(frequency);
}

void Receiver::setStep(double frequency) {
    step_.store(static_cast<float>(frequency * Mixer::kTwoPi / kSampleRate),
                std::memory_order_relaxed);
}

void Receiver::resetAFC() {
    phaseAFC_.reset();
    offset_.store(0.0f, std::memory_order_relaxed);
}

void Receiver::tune(double frequency) {
    const double f = clampFrequency(frequency);
    resetAFC();
    frequency_.store(f, std::memory_order_relaxed);
    setStep(f);
    offset_.store(0.0f, std::memory_order_relaxed);
    acquiring_.store(true, std::memory_order_relaxed);
    fftAFC_.rearm();
    clock_.resetError();
}

void Receiver::nudge(double frequency) {
    const double f = clampFrequency(frequency);
    frequency_.store(f, std::memory_order_relaxed);
    setStep(f);
    offset_.store(0.0f, std::memory_order_relaxed);
    acquiring_.store(false, std::memory_order_relaxed);
}

void Receiver::lockFrequency() {
    const double f = frequency_.load(std::memory_order_relaxed) +
                     static_cast<double>(offset_.load(std::memory_order_relaxed));
    frequency_.store(f, std::memory_order_relaxed);
    offset_.store(0.0f, std::memory_order_relaxed);
    setStep(f);
    acquiring_.store(false, std::memory_order_relaxed);
}

void Receiver::setAutomaticFrequencyControl(bool on) {
    afcOn_.store(on, std::memory_order_relaxed);
    if (!on) {
        resetAFC();
    }
}

void Receiver::basebandStep(float i, float q) {
    const int32_t p = filter_.push(i, q);
    clock_.countSample();

    // The bit decision, above the squelch only.
    if (level_.open() && clock_.decisionsAllowed() && clock_.atInstant(p)) {
        const int bit = PhaseDecider::bit(filter_.filtered(p - kEarlierPoint),
                                          filter_.filtered(p - kLaterPoint));
        const int code = assembler_.push(bit);
        if (code != CharacterAssembler::kNone) {
            text_.insert(static_cast<char>(code));
        }
    }

    // Symbol timing and signal level, squelched or not.
    if (clock_.atInstant(p)) {
        const SymbolClock::Step step = clock_.update(filter_, p);
        level_.update(step.logSum);
        if (step.slipped) {
            phaseAFC_.forgetAngle();
        }
    }

    // AFC above the squelch: the coarse stage every 64 ms until it hands
    // over, then the fine stage at each decision instant.
    if (afcOn_.load(std::memory_order_relaxed) && level_.open()) {
        if (acquiring_.load(std::memory_order_relaxed)) {
            if (p % kCoarseInterval == 0) {
                if (!holding() && fftAFC_.step(filter_, offset_) == FFTAFC::Result::handedOver) {
                    acquiring_.store(false, std::memory_order_relaxed);
                }
                if (!acquiring_.load(std::memory_order_relaxed)) {
                    // Hand-over: the coarse correction becomes the tuning.
                    frequency_.store(frequency_.load(std::memory_order_relaxed) +
                                         offset_.load(std::memory_order_relaxed),
                                     std::memory_order_relaxed);
                    offset_.store(0.0f, std::memory_order_relaxed);
                }
            }
        } else if (clock_.atInstant(p) && !holding()) {
            const Complex c = filter_.filtered(p);
            phaseAFC_.step(c.re, c.im, offset_);
        }
    }

    // The mixer step for the effective frequency.
    const double offset = afcOn_.load(std::memory_order_relaxed)
                              ? static_cast<double>(offset_.load(std::memory_order_relaxed))
                              : 0.0;
    setStep(frequency_.load(std::memory_order_relaxed) + offset);
}

} // namespace tarn
