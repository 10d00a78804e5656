// The spectrum trace and the waterfall, drawn with fixed-function GL in a
// unit square: x 0..1 across the drawn span, y 0 (bottom) .. 1 (top).
//
// Frequencies map to FFT bins at 8000 / 1024 = 7.8125 Hz a bin. Rows come
// from the engine's waterfall history (levels 0.0 .. 3.0), newest first, and
// are read with relaxed loads because the audio thread may be writing the
// newest row while it is drawn.
#include "console/FrequencyAxis.h"
#include "console/SpectrumView.h"
#include "console/TarnViewController.h"
#include "log/TarnLog.h"

#include <GL/gl.h>

#include <algorithm>
#include <array>

namespace {

// Position of the newest-row-relative line being drawn, 0 .. <1; only
// meaningful inside one waterfall frame.
float rowFraction = 0.0f;

void glCheck(const char* callText) {
    const GLenum error = glGetError();
    if (error != GL_NO_ERROR)
        tarnLog("GLErr at %s %d\n", callText, static_cast<int>(error));
}

void commonSetup() {
    glMatrixMode(GL_PROJECTION);
    glCheck("glMatrixMode(GL_PROJECTION)");
    glLoadIdentity();
    glCheck("glLoadIdentity()");
    glOrtho(0, 1.0, 0, 1.0, 0, 1);
    glCheck("glOrthof (0, 1.0, 0, 1.0, 0, 1)");
    glDisable(GL_DEPTH_TEST);
    glCheck("glDisable(GL_DEPTH_TEST)");
    glDisable(GL_LINE_SMOOTH);
    glCheck("glDisable(GL_LINE_SMOOTH)");
    glMatrixMode(GL_MODELVIEW);
    glCheck("glMatrixMode(GL_MODELVIEW)");
    glLoadIdentity();
    glCheck("glLoadIdentity()");
    glPointSize(1.0);
    glCheck("glPointSize(1.0)");
    glLineWidth(1.0);
    glCheck("glLineWidth(1.0)");
    glDisableClientState(GL_TEXTURE_COORD_ARRAY);
    glCheck("glDisableClientState(GL_TEXTURE_COORD_ARRAY)");
}

void drawMarker(float x, const float (&colour)[4]) {
    const GLfloat line[4] = {x, 0.0f, x, 1.0f};
    glColor4f(colour[0], colour[1], colour[2], colour[3]);
    glVertexPointer(2, GL_FLOAT, 0, line);
    glCheck("glVertexPointer(2, GL_FLOAT, 0, line)");
    glDrawArrays(GL_LINES, 0, 2);
    glCheck("glDrawArrays(GL_LINES, 0, 2)");
}

// The tuned-frequency marker and two markers one PSK31 signal width
// (32.768 Hz) apart around it.
void drawMarkers(double frequency, const FrequencyAxis& axis, const float (&tuned)[4],
                 const float (&width)[4]) {
    const float x0 = axis.positionOf(frequency);
    const float w = axis.widthOf(32.768f);
    drawMarker(x0, tuned);
    drawMarker(x0 - w / 2, width);
    drawMarker((x0 - w / 2) + w, width);
}

void clearBackground() {
    glClearColor(0.0f, 0.0f, 0.1f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

} // namespace

void TarnViewController::glkView(SpectrumView*, const QRectF& rect) {
    if (inBackground)
        return;
    if (displayMode == 1)
        drawSpectrum(rect);
    else if (displayMode == 0)
        drawSonogram(rect);
}

void TarnViewController::drawSpectrum(const QRectF&) {
    TarnData& engine = *theData();
    const double frequency = engine.frequency();
    clearBackground();
    const FrequencyAxis axis = FrequencyAxis::forDrawing(frequency, 1, displayZoomed);
    const int lowBin = axis.lowBin();
    const int highBin = axis.highBin();
    const int n = axis.binCount();

    // Mean of the newest 32 rows; the element one past the range stays zero
    // and gives the trace's last vertex its height.
    float average[tarn::kSpectrumSize] = {};
    std::array<float, tarn::kSpectrumSize> row;
    for (int r = 0; r < 32; ++r) {
        spectrumRowSource ? spectrumRowSource(r, row) : engine.copySpectrumRow(r, row);
        for (int k = lowBin; k < highBin; ++k)
            average[k] += row[k];
    }
    for (int k = lowBin; k < highBin; ++k)
        average[k] = static_cast<float>(average[k] * 0.03125);

    float minimum = average[lowBin];
    float maximum = average[lowBin];
    for (int k = lowBin; k < highBin; ++k) {
        if (average[k] > maximum)
            maximum = average[k];
        if (average[k] < minimum)
            minimum = average[k];
    }
    // Scale the strongest bin to the top, but never stretch levels below 1.0
    // to full height.
    if (n > 0) {
        const float top = maximum < 1.0f ? 1.0f : maximum;
        for (int k = lowBin; k < highBin; ++k)
            average[k] = (average[k] - minimum) / (top - minimum);
    }

    GLfloat points[tarn::kSpectrumSize * 2];
    for (int i = 0; i <= n; ++i) {
        points[2 * i] = axis.vertexX(i);
        points[2 * i + 1] = average[lowBin + i];
    }

    commonSetup();
    glEnableClientState(GL_VERTEX_ARRAY);
    glCheck("glEnableClientState(GL_VERTEX_ARRAY)");
    glDisableClientState(GL_COLOR_ARRAY);
    glCheck("glDisableClientState(GL_COLOR_ARRAY)");

    drawMarkers(frequency, axis, {1.0f, 1.0f, 1.0f, 1.0f}, {0.75f, 0.3f, 0.3f, 1.0f});

    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glVertexPointer(2, GL_FLOAT, 0, points);
    glCheck("glVertexPointer(2, GL_FLOAT, 0, points)");
    glDrawArrays(GL_LINE_STRIP, 0, n + 1);
    glCheck("glDrawArrays(GL_LINE_STRIP, 0, p_size)");

    // Flat shading stays set in the context for every later frame.
    glShadeModel(GL_FLAT);
    glCheck("glShadeModel(GL_FLAT)");
    glDisableClientState(GL_VERTEX_ARRAY);
    glCheck("glDisableClientState(GL_VERTEX_ARRAY)");
    glFlush();
    glCheck("glFlush()");
}

void TarnViewController::drawSonogram(const QRectF& rect) {
    TarnData& engine = *theData();
    const double frequency = engine.frequency();
    clearBackground();
    const FrequencyAxis axis = FrequencyAxis::forDrawing(frequency, 0, displayZoomed);
    const int lowBin = axis.lowBin();
    const int n = axis.binCount();

    commonSetup();
    glEnableClientState(GL_COLOR_ARRAY);
    glCheck("glEnableClientState(GL_COLOR_ARRAY)");
    glEnableClientState(GL_VERTEX_ARRAY);
    glCheck("glEnableClientState(GL_VERTEX_ARRAY)");

    // One line per point of height, newest row at the top, at most 512.
    const int rows = rect.height() >= 512 ? 512 : static_cast<int>(rect.height());
    GLfloat points[tarn::kSpectrumSize * 2];
    GLfloat colors[tarn::kSpectrumSize * 4];
    std::array<float, tarn::kSpectrumSize> row;
    for (int r = 0; r < rows; ++r) {
        spectrumRowSource ? spectrumRowSource(r, row) : engine.copySpectrumRow(r, row);
        rowFraction = static_cast<float>(r) / static_cast<float>(rows);
        if (n < 0)
            continue;
        for (int i = 0; i <= n; ++i) {
            const float v = row[lowBin + i];
            points[2 * i] = axis.vertexX(i);
            points[2 * i + 1] = static_cast<float>(1.0 - rowFraction);
            // Black at 0, cyan with half red at 1.5, white at 3.0 and above.
            colors[4 * i] = static_cast<float>(std::min(v / 3.0, 1.0));
            colors[4 * i + 1] = static_cast<float>(std::min(v / 1.5, 1.0));
            colors[4 * i + 2] = static_cast<float>(std::min(v / 1.5, 1.0));
            colors[4 * i + 3] = 1.0f;
        }
        glVertexPointer(2, GL_FLOAT, 0, points);
        glCheck("glVertexPointer(2, GL_FLOAT, 0, points)");
        glColorPointer(4, GL_FLOAT, 0, colors);
        glCheck("glColorPointer(4, GL_FLOAT, 0, colors)");
        glDrawArrays(GL_LINE_STRIP, 0, n + 1);
        glCheck("glDrawArrays(GL_LINE_STRIP, 0, p_size)");
    }

    glEnableClientState(GL_VERTEX_ARRAY);
    glCheck("glEnableClientState(GL_VERTEX_ARRAY)");
    glDisableClientState(GL_COLOR_ARRAY);
    glCheck("glDisableClientState(GL_COLOR_ARRAY)");

    drawMarkers(frequency, axis, {0.0f, 0.0f, 1.0f, 1.0f}, {1.0f, 1.0f, 1.0f, 1.0f});

    glDisableClientState(GL_VERTEX_ARRAY);
    glCheck("glDisableClientState(GL_VERTEX_ARRAY)");
    glDisableClientState(GL_COLOR_ARRAY);
    glCheck("glDisableClientState(GL_COLOR_ARRAY)");
    glFlush();
    glCheck("glFlush()");
}
