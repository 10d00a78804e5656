// The demodulator: one 500 Hz baseband sample per call, the symbol clock,
// differential bit decisions once per symbol (16 baseband samples, 31.25
// baud), character assembly and the calls into the AFC.
//
// A phase change of about π between two points one symbol apart is a 0 bit,
// none a 1 bit; two 0 bits in a row close a varicode character.
#include "engine/Engine.h"

#include "engine/Filters.h"

#include <cmath>
#include <string_view>

namespace tarn {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr int32_t kSymbolSamples = 16; // baseband samples per symbol
constexpr int32_t kBitBufferSize = 16; // inputString
// Decision points: second-stage outputs ending seven and six symbols back
// (112 and 96 baseband samples), one symbol apart.
constexpr int32_t kEarlierPoint = 112;
constexpr int32_t kLaterPoint = 96;
// Baseband samples after a +1 timing slip before decisions resume, so that
// no symbol is decided twice.
constexpr int32_t kDecisionHoldOff = 9;
// Timing error beyond which the decision instant moves by one sample.
constexpr double kSlipThreshold = 0.2;
// Signal average: weight of the old value, and 1 - 0.99 as double arithmetic
// yields it, applied to the mean of 16 log powers.
constexpr double kSignalKeep = 0.99;
constexpr double kSignalNew = 0.010000000000000009;
constexpr double kMeanOf16 = 0.0625;
// Baseband samples between FFT AFC evaluations (64 ms).
constexpr int32_t kFFTAFCInterval = 32;

int32_t nextRingIndex(int32_t index) {
    return index > kRingSize - 2 ? 0 : index + 1;
}

// The bit index after appending a bit: a 16th bit wraps it to 0, which
// abandons the bits gathered so far.
int8_t nextBitIndex(int8_t index) {
    return static_cast<int8_t>(index + 1 >= kBitBufferSize ? 0 : index + 1);
}

} // namespace

void Engine::processInputIQBuffer() {
    const float* const h1 = firstStageCoefficients;
    const float* const h2 = secondStageCoefficients;
    constexpr int32_t ring = kRingSize;
    constexpr int32_t taps = kFilterTaps;

    // The baseband sample and its power.
    const float i = doFIRFilter(inputAudioI, iqAudioInputIndex, ring, h1, taps);
    secondStageInputAudioI[iqSecondStageIndex] = i;
    const float q = doFIRFilter(inputAudioQ, iqAudioInputIndex, ring, h1, taps);
    secondStageInputAudioQ[iqSecondStageIndex] = q;
    amplitudeBuffer[iqSecondStageIndex] = i * i + q * q;

    // p is the next write position.
    iqSecondStageIndex = nextRingIndex(iqSecondStageIndex);
    const int32_t p = iqSecondStageIndex;
    delayDecoder += 1;

    // The bit decision, above the squelch only.
    if (signalAtFrequency.load(std::memory_order_relaxed) >
            backgroundNoiseLevel.load(std::memory_order_relaxed) &&
        delayDecoder >= kDecisionHoldOff && p % kSymbolSamples == phaseSyncSubBit) {
        const float ia = doFIRFilter(secondStageInputAudioI, p - kEarlierPoint, ring, h2, taps);
        const float qa = doFIRFilter(secondStageInputAudioQ, p - kEarlierPoint, ring, h2, taps);
        const float ib = doFIRFilter(secondStageInputAudioI, p - kLaterPoint, ring, h2, taps);
        const float qb = doFIRFilter(secondStageInputAudioQ, p - kLaterPoint, ring, h2, taps);
        const double a = std::atan2(static_cast<double>(qa), static_cast<double>(ia)) / kPi;
        const double b = std::atan2(static_cast<double>(qb), static_cast<double>(ib)) / kPi;
        // Phase change in units of π, 0 .. 2; near 2 is a small change seen
        // across the ±π seam.
        const float change = static_cast<float>(std::fabs(b - a));
        if (change < 0.5) {
            decodeSymbol1();
        } else if (change < 1.5) {
            decodeSymbol0();
        } else {
            decodeSymbol1();
        }
    }

    // Symbol timing and signal level, squelched or not.
    if (p % kSymbolSamples == phaseSyncSubBit) {
        // The 16 newest powers, oldest first, as natural logs; diff weighs
        // the older half against the newer half.
        int32_t j = p - kSymbolSamples;
        if (j < 0) {
            j = p + ring - kSymbolSamples;
        }
        float sum = 0.0f;
        float diff = 0.0f;
        for (int32_t k = 0; k < kSymbolSamples; ++k) {
            const float v =
                static_cast<float>(std::log(static_cast<double>(amplitudeBuffer[j]) + 1e-12));
            sum += v;
            if (k <= 7) {
                diff += v;
            } else {
                diff -= v;
            }
            j = nextRingIndex(j);
        }
        signalAtFrequency.store(
            static_cast<float>(kSignalKeep * signalAtFrequency.load(std::memory_order_relaxed) +
                               kSignalNew * kMeanOf16 * sum),
            std::memory_order_relaxed);

        // More power in the older half (diff > 0) means the power dip of a
        // reversal lies late in the window: decide one sample later.
        float timing = carrierStart.load(std::memory_order_relaxed) - diff / std::fabs(sum);
        if (timing < -kSlipThreshold) {
            phaseSyncSubBit += 1;
            timing = static_cast<float>(timing + kSlipThreshold);
            delayDecoder = 0;
            afcLastAngle.store(0.0f, std::memory_order_relaxed);
        }
        if (timing > kSlipThreshold) {
            phaseSyncSubBit -= 1;
            timing = static_cast<float>(timing - kSlipThreshold);
            delayDecoder = 0;
            afcLastAngle.store(0.0f, std::memory_order_relaxed);
        }
        if (phaseSyncSubBit < 0) {
            phaseSyncSubBit = kSymbolSamples - 1;
        }
        if (phaseSyncSubBit >= kSymbolSamples) {
            phaseSyncSubBit = 0;
        }
        // Also resets a NaN (from a window whose log powers sum to 0).
        if (!(timing > -kSlipThreshold && timing < kSlipThreshold)) {
            timing = 0.0f;
        }
        carrierStart.store(timing, std::memory_order_relaxed);
        publishedSymbolPhase.store(phaseSyncSubBit, std::memory_order_relaxed);
    }

    // AFC above the squelch: the FFT stage every 64 ms until it hands
    // over, then the phase stage at each decision instant.
    const bool afcOn = _automaticFrequencyControl.load(std::memory_order_relaxed);
    if (afcOn && signalAtFrequency.load(std::memory_order_relaxed) >
                     backgroundNoiseLevel.load(std::memory_order_relaxed)) {
        if (useFFTForAFC.load(std::memory_order_relaxed)) {
            if (p % kFFTAFCInterval == 0) {
                FFTBasedAFC();
                if (!useFFTForAFC.load(std::memory_order_relaxed)) {
                    // Hand-over: the coarse correction becomes the tuning.
                    _frequency.store(_frequency.load(std::memory_order_relaxed) +
                                         frequencyErrorOffset.load(std::memory_order_relaxed),
                                     std::memory_order_relaxed);
                    frequencyErrorOffset.store(0.0f, std::memory_order_relaxed);
                }
            }
        } else if (p % kSymbolSamples == phaseSyncSubBit) {
            const float afcI = doFIRFilter(secondStageInputAudioI, p, ring, h2, taps);
            const float afcQ = doFIRFilter(secondStageInputAudioQ, p, ring, h2, taps);
            automaticFrequencyAdjust(afcI, afcQ);
        }
    }

    // The mixer step for the effective frequency (with the AFC correction
    // while AFC is on), radians per input sample.
    const double offset =
        _automaticFrequencyControl.load(std::memory_order_relaxed)
            ? static_cast<double>(frequencyErrorOffset.load(std::memory_order_relaxed))
            : 0.0;
    iqTheta.store(static_cast<float>((_frequency.load(std::memory_order_relaxed) + offset) *
                                     kTwoPi / kSampleRate),
                  std::memory_order_relaxed);
}

// A 1 bit: appended.
void Engine::decodeSymbol1() {
    inputString[inputStringIndex] = '1';
    inputStringIndex = nextBitIndex(inputStringIndex);
}

// A 0 bit. Zeros with no character open (idle, the gap between characters)
// are ignored; a second 0 closes the open character, whose bits (with the
// first 0 of the separator) go to the varicode decoder.
void Engine::decodeSymbol0() {
    if (inputStringIndex == 0) {
        return;
    }
    if (inputString[inputStringIndex - 1] == '0') {
        inputString[inputStringIndex] = '\0';
        const std::string decoded = varicodeParser.parseVaricodeChar(
            std::string_view(inputString, static_cast<size_t>(inputStringIndex)));
        text.insert(decoded[0]);
        inputStringIndex = 0;
        return;
    }
    inputString[inputStringIndex] = '0';
    inputStringIndex = nextBitIndex(inputStringIndex);
}

} // namespace tarn
