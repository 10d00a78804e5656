// Spectrum collection and the waterfall history: every 1024 live input
// samples become one row of natural-log power, normalised against slowly
// moving display levels into 0 .. 3 and stored in a 512-row ring.
//
// Threads: processSpectrumData and finalizeArray run on the audio input
// thread under audioProcessingLock. The console reads rows through
// getCurrentSpectrum without a lock while the newest row is being written, so
// every element of normalizedSpectrumData is stored here with a relaxed
// atomic store and read elsewhere with spectrumLevel (a torn row is fine).
#include "engine/TarnData.h"

#include <atomic>
#include <cmath>

namespace {

// Bins 64 .. 319 (500.0 .. 2492.1875 Hz, the tuning range) give the display
// levels; normalisation is then applied to every bin.
constexpr int kBandFirstBin = 64;
constexpr int kBandLastBin = 319;

// Smoothing weight of a new reading: 1 - 0.9 as double arithmetic yields it.
constexpr double kNewWeight = 0.09999999999999998;
constexpr double kOldWeight = 0.9;

// Levels fed to the smoothing instead of the row's own for a flat band
// (max - min below 1.0), as in silence.
constexpr double kFlatLow = -8.0;
constexpr double kFlatMean = -1.0;

// The top of the display scale sits this far above the smoothed minimum.
constexpr float kDisplaySpan = 13.0f;

float loadLevel(const float& value) {
    return std::atomic_ref<float>(const_cast<float&>(value)).load(std::memory_order_relaxed);
}

void storeLevel(float& destination, float value) {
    std::atomic_ref<float>(destination).store(value, std::memory_order_relaxed);
}

} // namespace

// A quarter sine, 0 up to sin(255/256 · π/2) ≈ 0.99998, with the step summed
// in single precision.
void TarnData::initGrayScaleLUT() {
    float a = 0.0f;
    for (float& entry : GrayScaleLUT) {
        entry = static_cast<float>(std::sin(a * 3.141592653589793 * 0.5));
        a += 0.00390625f;
    }
}

void TarnData::initSpectrumDataCollection() {
    initFFTCoefficients(spectrum_coeff_vector, tarn::kSpectrumSize);
}

// One waterfall row from the collected block: unwindowed 1024-point
// transform, power per bin, ln(power + 1e-12), then the next ring row.
void TarnData::processSpectrumData() {
    computeFFT(rawAudioSamplesForFFT, rawFFTOutput, spectrum_coeff_vector, tarn::kSpectrumSize,
               spectrumFFTScratch);
    for (int k = 0; k < tarn::kSpectrumSize; ++k) {
        const TarnComplex bin = rawFFTOutput[k];
        rawMagnitudeOutput[k] = bin.re * bin.re + bin.im * bin.im;
    }
    for (int k = 0; k < tarn::kSpectrumSize; ++k) {
        logScaleSpectrumData[k] = static_cast<float>(std::log(rawMagnitudeOutput[k] + 1e-12));
    }
    const int32_t row = currentFFTRow.load(std::memory_order_relaxed);
    const int32_t next = row == tarn::kWaterfallRows - 1 ? 0 : row + 1;
    currentFFTRow.store(next, std::memory_order_relaxed);
    finalizeArray(logScaleSpectrumData, normalizedSpectrumData[next], tarn::kSpectrumSize);
}

// Updates the display levels from the band of `logPower` and writes `count`
// normalised values (0 .. 3) into `destination`, a waterfall row.
void TarnData::finalizeArray(const float* logPower, float* destination, int count) {
    int minBin = kBandFirstBin;
    int maxBin = kBandFirstBin;
    float sum = 0.0f;
    for (int k = kBandFirstBin; k <= kBandLastBin; ++k) {
        if (logPower[k] < logPower[minBin]) {
            minBin = k;
        }
        if (logPower[k] > logPower[maxBin]) {
            maxBin = k;
        }
        sum += logPower[k];
    }
    // 256 values over 257: the displayed scale has always been set this way.
    const double mean = sum / 257.0;

    const bool flat = logPower[maxBin] - logPower[minBin] < 1.0;
    const double lowReading = flat ? kFlatLow : logPower[minBin];
    const double meanReading = flat ? kFlatMean : mean;

    const float low = static_cast<float>(
        kNewWeight * lowReading + kOldWeight * display_average_low.load(std::memory_order_relaxed));
    const float avg =
        static_cast<float>(kNewWeight * meanReading +
                           kOldWeight * display_average_average.load(std::memory_order_relaxed));
    // The band maximum (or 2.0 for a flat band) would be smoothed the same
    // way, but the top of the scale is pinned 13 units above the new minimum
    // after every block, so only the pinned value is ever stored.
    const float high = low + kDisplaySpan;
    display_average_low.store(low, std::memory_order_relaxed);
    display_average_high.store(high, std::memory_order_relaxed);
    display_average_average.store(avg, std::memory_order_relaxed);

    if (count < 1) {
        return;
    }
    const float mid = (high + avg) * 0.5f;
    for (int i = 0; i < count; ++i) {
        const float x = logPower[i];
        // The segment follows what this row held one turn of the ring ago,
        // not the new value; the picture's contrast depends on it.
        const float previous = loadLevel(destination[i]);
        float y;
        if (previous <= avg) {
            y = static_cast<float>((x - low) * 0.15 / (avg - low));
        } else if (previous <= mid) {
            y = static_cast<float>((x - avg) * 0.6 / (mid - avg) + 0.15);
        } else {
            y = static_cast<float>((x - mid) * 1.9 / (high - mid) + 0.75);
        }
        // A NaN (from a degenerate scale) passes both tests and is kept.
        if (y < 0.0f) {
            y = 0.0f;
        } else if (y > 3.0f) {
            y = 3.0f;
        }
        storeLevel(destination[i], y);
    }
}

// Row rowsBack (0 = newest .. 511 = oldest) of the ring. Callers stay within
// 0 .. 511, where one wrap is all it takes; anything else is taken modulo
// the ring rather than pointing outside it.
const float* TarnData::getCurrentSpectrum(int rowsBack) const {
    int64_t row =
        (int64_t{currentFFTRow.load(std::memory_order_relaxed)} - rowsBack) % tarn::kWaterfallRows;
    if (row < 0) {
        row += tarn::kWaterfallRows;
    }
    return normalizedSpectrumData[row];
}
