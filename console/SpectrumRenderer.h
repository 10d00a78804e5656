// SpectrumRenderer: the spectrum trace and the waterfall, drawn with
// fixed-function GL in a unit square (x 0..1 across the drawn span, y 0 at
// the bottom .. 1 at the top) into the current framebuffer.
//
// Each GL call is followed by a check that logs "GLErr at %s %d\n" with the
// call's text; the clear-colour, clear and colour calls have none. The
// functions come from the context the renderer was initialised in (a
// compatibility profile: QOpenGLFunctions for what OpenGL ES 2 shares, the
// 1.1 functions for matrices, client arrays and the shade model); a
// SpectrumView owns one per context.
#pragma once

#include "engine/TarnData.h"

#include <QOpenGLFunctions>
#include <QOpenGLFunctions_1_1>

#include <functional>
#include <span>

class FrequencyAxis;

class SpectrumRenderer : protected QOpenGLFunctions {
public:
    // Fills `out` with the waterfall row `rowsBack` (0 = newest) of levels
    // 0.0 .. 3.0, bin k at k * 7.8125 Hz.
    using RowSource = std::function<void(int rowsBack, std::span<float, tarn::kSpectrumSize> out)>;

    // Resolves the GL functions; the context must be current.
    void initialize();
    // Device pixels per point (the screen's scale, 1 at 100 %): lines are
    // drawn this wide, so the waterfall's rows, one point apart, leave no
    // gaps on scaled screens.
    void setPixelsPerPoint(float ratio) { lineWidth = ratio; }

    // The mean of the newest 32 rows as a white trace scaled to the height,
    // around `frequency` (Hz) when zoomed, with its three markers.
    void drawSpectrum(double frequency, bool zoomed, const RowSource& rows);
    // One coloured line per point of `height` (points), at most 512, newest
    // at the top, then the three markers.
    void drawSonogram(double frequency, bool zoomed, double height, const RowSource& rows);

private:
    void check(const char* callText);
    void clearBackground();
    void commonSetup();
    float lineWidth = 1.0f;
    void drawMarker(float x, const float (&colour)[4]);
    void drawMarkers(double frequency, const FrequencyAxis& axis, const float (&tuned)[4],
                     const float (&width)[4]);

    QOpenGLFunctions_1_1 fixedFunction; // matrices, client arrays, colour, shading
    // Position of the line being drawn below the newest, 0 .. <1; only
    // meaningful inside one waterfall frame.
    float rowFraction = 0.0f;
};
