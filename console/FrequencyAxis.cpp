#include "console/FrequencyAxis.h"

namespace {

constexpr double kBandLowHz = 500.0;
constexpr double kBandHighHz = 2500.0;
// Half the zoomed span (Hz) of each display mode.
constexpr double kSpectrumHalfSpanHz = 64.0;
constexpr double kWaterfallHalfSpanHz = 256.0;

} // namespace

FrequencyAxis FrequencyAxis::around(double frequency, int displayMode, bool zoomed, double shift) {
    if (zoomed && (displayMode == 0 || displayMode == 1)) {
        const double half = displayMode == 1 ? kSpectrumHalfSpanHz : kWaterfallHalfSpanHz;
        return {static_cast<float>(frequency - half + shift),
                static_cast<float>(frequency + half + shift)};
    }
    return {static_cast<float>(kBandLowHz + shift), static_cast<float>(kBandHighHz + shift)};
}

FrequencyAxis FrequencyAxis::forTapping(double frequency, int displayMode, bool zoomed) {
    // Adding +0.0 leaves every sum as it is.
    return around(frequency, displayMode, zoomed, 0.0);
}

FrequencyAxis FrequencyAxis::forDrawing(double frequency, int displayMode, bool zoomed) {
    return around(frequency, displayMode, zoomed, kDrawnSpanShiftHz);
}

double FrequencyAxis::frequencyAt(float x, float width) const {
    // Single precision, the product first, then the quotient.
    const float product = x * (highHz - lowHz);
    const float quotient = product / width;
    return static_cast<double>(lowHz + quotient);
}

float FrequencyAxis::positionOf(double frequency) const {
    // The span's width is a float difference, widened for the division.
    return static_cast<float>((frequency - lowHz) / (highHz - lowHz));
}

float FrequencyAxis::widthOf(float hertz) const {
    return hertz / (highHz - lowHz);
}

float FrequencyAxis::lowBinF() const {
    return lowHz / 8000.0f * 1024.0f;
}

float FrequencyAxis::highBinF() const {
    return highHz / 8000.0f * 1024.0f;
}

float FrequencyAxis::vertexX(int i) const {
    return static_cast<float>(i) / (highBinF() - lowBinF());
}
