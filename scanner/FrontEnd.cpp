#include "scanner/FrontEnd.h"

#include <cmath>

namespace scanner {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr int kHalfBandTaps = 47;
constexpr int kCentreTap = 23;

// Blackman-windowed half-band low-pass at 8000 Hz: flat to about 1500 Hz,
// below -70 dB from 2500 Hz, unit gain at 0 Hz. Non-zero taps only (the
// centre and the odd distances from it).
struct HalfBand {
    int offsets[25];
    float taps[25];
    int count = 0;
    HalfBand() {
        double raw[kHalfBandTaps];
        double sum = 0.0;
        for (int n = 0; n < kHalfBandTaps; ++n) {
            const int k = n - kCentreTap;
            const double sinc = k == 0 ? 0.5 : std::sin(kPi * k / 2.0) / (kPi * k);
            const double w = 0.42 - 0.5 * std::cos(2.0 * kPi * (n + 1) / (kHalfBandTaps + 1)) +
                             0.08 * std::cos(4.0 * kPi * (n + 1) / (kHalfBandTaps + 1));
            raw[n] = sinc * w;
            sum += raw[n];
        }
        for (int n = 0; n < kHalfBandTaps; ++n) {
            const int k = n - kCentreTap;
            if (k == 0 || k % 2 != 0) {
                offsets[count] = n;
                taps[count] = static_cast<float>(raw[n] / sum);
                ++count;
            }
        }
    }
};

const HalfBand& halfBand() {
    static const HalfBand filter;
    return filter;
}

} // namespace

FrontEnd::FrontEnd(double centre)
    : centreHz(std::round(centre / 125.0) * 125.0), historyRing(kHistorySamples) {
    // e^(-j2π·centre·n/8000) repeats after 64 samples for a multiple of 125 Hz.
    for (int n = 0; n < 64; ++n) {
        const double phase = 2.0 * kPi * centreHz * n / kSampleRate;
        mixRe[static_cast<size_t>(n)] = static_cast<float>(std::cos(phase));
        mixIm[static_cast<size_t>(n)] = static_cast<float>(-std::sin(phase));
    }
}

bool FrontEnd::push(float sample, stages::Complex& out) {
    const stages::Complex mixed{sample * mixRe[static_cast<size_t>(mixIndex)],
                                sample * mixIm[static_cast<size_t>(mixIndex)]};
    mixIndex = (mixIndex + 1) & 63;
    ring[static_cast<size_t>(ringIndex)] = mixed;
    ring[static_cast<size_t>(ringIndex + kTaps)] = mixed;
    ringIndex = ringIndex + 1 == kTaps ? 0 : ringIndex + 1;
    oddSample = !oddSample;
    if (oddSample) {
        return false;
    }
    // ring[ringIndex .. ringIndex + kTaps - 1] is oldest .. newest.
    const HalfBand& filter = halfBand();
    const stages::Complex* window = ring.data() + ringIndex;
    float re = 0.0f;
    float im = 0.0f;
    for (int t = 0; t < filter.count; ++t) {
        const stages::Complex& x = window[filter.offsets[t]];
        re += x.re * filter.taps[t];
        im += x.im * filter.taps[t];
    }
    out = stages::Complex{re, im};
    historyRing[static_cast<size_t>(historyIndex)] = out;
    historyIndex = historyIndex + 1 == kHistorySamples ? 0 : historyIndex + 1;
    ++produced;
    return true;
}

std::vector<stages::Complex> FrontEnd::history() const {
    const int64_t count = produced < kHistorySamples ? produced : kHistorySamples;
    std::vector<stages::Complex> out;
    out.reserve(static_cast<size_t>(count));
    int index = static_cast<int>((historyIndex - count + kHistorySamples) % kHistorySamples);
    for (int64_t n = 0; n < count; ++n) {
        out.push_back(historyRing[static_cast<size_t>(index)]);
        index = index + 1 == kHistorySamples ? 0 : index + 1;
    }
    return out;
}

double FrontEnd::responseAt(double offsetHz) {
    const HalfBand& filter = halfBand();
    double re = 0.0;
    double im = 0.0;
    for (int t = 0; t < filter.count; ++t) {
        const double phase = 2.0 * kPi * offsetHz * filter.offsets[t] / kSampleRate;
        re += filter.taps[t] * std::cos(phase);
        im -= filter.taps[t] * std::sin(phase);
    }
    return std::sqrt(re * re + im * im);
}

} // namespace scanner
