// The display's frequency axis: which span of audio frequencies (Hz) the
// spectrum or waterfall covers across its width, for drawing (x 0..1 of the
// unit square, FFT bins of 8000 / 1024 = 7.8125 Hz) and for tapping (points
// across the view back to Hz).
//
// Unzoomed the axis covers the whole band; zoomed, 128 Hz (spectrum) or
// 512 Hz (waterfall) around the tuned frequency. The drawn span lies
// kDrawnSpanShiftHz above the span taps are read against (501..2501 Hz drawn,
// 500..2500 Hz tapped): the two have always differed so, and both the
// picture and the tuning of a tap depend on it.
//
// Spans are single-precision floats formed from double sums, as the drawing
// and tuning arithmetic below expects; results are exact to the bit.
#pragma once

class FrequencyAxis {
public:
    static constexpr double kDrawnSpanShiftHz = 1.0;

    // displayMode 0 waterfall, 1 spectrum; zoom applies only to those two.
    static FrequencyAxis forTapping(double frequency, int displayMode, bool zoomed);
    static FrequencyAxis forDrawing(double frequency, int displayMode, bool zoomed);

    float low() const { return lowHz; }
    float high() const { return highHz; }

    // The frequency under x points from the left of a view `width` points wide.
    double frequencyAt(float x, float width) const;
    // Where a frequency lies across the unit square (0 left edge, 1 right).
    float positionOf(double frequency) const;
    // A bandwidth in Hz as a fraction of the width.
    float widthOf(float hertz) const;

    // The FFT bins of the span: fractional bin of each edge, the edges
    // truncated to whole bins, and the bins between them (a drawn line has
    // binCount() + 1 vertices).
    float lowBinF() const;
    float highBinF() const;
    int lowBin() const { return static_cast<int>(lowBinF()); }
    int highBin() const { return static_cast<int>(highBinF()); }
    int binCount() const { return highBin() - lowBin(); }
    // x of vertex i of a drawn line.
    float vertexX(int i) const;

private:
    FrequencyAxis(float low, float high) : lowHz(low), highHz(high) {}
    static FrequencyAxis around(double frequency, int displayMode, bool zoomed, double shift);

    float lowHz;
    float highHz;
};
