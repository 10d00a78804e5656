#include "scanner/CarrierEstimate.h"

#include "scanner/ScannerTypes.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace scanner {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr int kSize = 512;
constexpr int kSearchBins = 16;       // ±15.6 Hz of the squared line (±7.8 Hz of carrier)
constexpr double kLineContrast = 4.0; // strongest bin against the median of the search range

struct Tables {
    std::array<stages::Complex, kSize> twiddles{};
    std::array<float, kSize> window{};
    Tables() {
        stages::makeTwiddles(twiddles.data(), kSize);
        for (int n = 0; n < kSize; ++n) {
            window[static_cast<size_t>(n)] =
                static_cast<float>(0.5 - 0.5 * std::cos(2.0 * kPi * n / kSize));
        }
    }
};

const Tables& tables() {
    static const Tables t;
    return t;
}

} // namespace

std::optional<double> estimateCarrierOffset(const std::vector<stages::Complex>& baseband,
                                            bool narrow) {
    const int taps = stages::kSymbolFilterTaps;
    const int count = static_cast<int>(baseband.size());
    if (count < taps + kSize / 2) {
        return std::nullopt;
    }
    const float* h = stages::symbolFilter();
    std::vector<stages::Complex> input(kSize, stages::Complex{0.0f, 0.0f});
    const int first = count - kSize < taps ? taps : count - kSize;
    const int used = count - first;
    for (int n = 0; n < used; ++n) {
        const int end = first + n; // filter over baseband[end - 63 .. end]
        float re = baseband[static_cast<size_t>(end)].re;
        float im = baseband[static_cast<size_t>(end)].im;
        for (int k = 0; narrow && k < taps; ++k) {
            if (k == 0) {
                re = im = 0.0f;
            }
            re += baseband[static_cast<size_t>(end - k)].re * h[k];
            im += baseband[static_cast<size_t>(end - k)].im * h[k];
        }
        const float w = tables().window[static_cast<size_t>(n * kSize / used)];
        input[static_cast<size_t>(n)] =
            stages::Complex{(re * re - im * im) * w, 2.0f * re * im * w};
    }
    std::vector<stages::Complex> spectrum(kSize);
    std::vector<stages::Complex> scratch(kSize);
    stages::fft(input.data(), spectrum.data(), tables().twiddles.data(), kSize, scratch.data());

    auto magnitude = [&](int bin) {
        const stages::Complex& x = spectrum[static_cast<size_t>((bin + kSize) % kSize)];
        return std::sqrt(static_cast<double>(x.re) * x.re + static_cast<double>(x.im) * x.im);
    };
    int best = 0;
    std::vector<double> magnitudes;
    for (int k = -kSearchBins; k <= kSearchBins; ++k) {
        magnitudes.push_back(magnitude(k));
        if (magnitude(k) > magnitude(best)) {
            best = k;
        }
    }
    std::nth_element(magnitudes.begin(), magnitudes.begin() + kSearchBins, magnitudes.end());
    const double median = magnitudes[kSearchBins]; // the median: the line's lobe does not lift it
    if (magnitude(best) < kLineContrast * median) {
        return std::nullopt;
    }
    const double left = magnitude(best - 1);
    const double centre = magnitude(best);
    const double right = magnitude(best + 1);
    const double denominator = left - 2.0 * centre + right;
    const double shift = denominator != 0.0 ? 0.5 * (left - right) / denominator : 0.0;
    const double twice = (best + shift) * kBasebandRate / kSize;
    return twice / 2.0;
}

} // namespace scanner
