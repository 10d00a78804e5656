// The spectrum trace and the waterfall.
//
// Frequencies map to FFT bins at 8000 / 1024 = 7.8125 Hz a bin. Rows come
// newest first; the engine's copy-out reads them with relaxed loads because
// the audio thread may be writing the newest row while it is drawn.
#include "console/SpectrumRenderer.h"

#include "console/FrequencyAxis.h"
#include "log/TarnLog.h"

#include <algorithm>
#include <array>

void SpectrumRenderer::initialize() {
    initializeOpenGLFunctions();
    fixedFunction.initializeOpenGLFunctions();
}

void SpectrumRenderer::check(const char* callText) {
    const GLenum error = glGetError();
    if (error != GL_NO_ERROR)
        tarnLog("GLErr at %s %d\n", callText, static_cast<int>(error));
}

void SpectrumRenderer::clearBackground() {
    glClearColor(0.0f, 0.0f, 0.1f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

void SpectrumRenderer::commonSetup() {
    fixedFunction.glMatrixMode(GL_PROJECTION);
    check("glMatrixMode(GL_PROJECTION)");
    fixedFunction.glLoadIdentity();
    check("glLoadIdentity()");
    fixedFunction.glOrtho(0, 1.0, 0, 1.0, 0, 1);
    check("glOrthof (0, 1.0, 0, 1.0, 0, 1)");
    glDisable(GL_DEPTH_TEST);
    check("glDisable(GL_DEPTH_TEST)");
    glDisable(GL_LINE_SMOOTH);
    check("glDisable(GL_LINE_SMOOTH)");
    fixedFunction.glMatrixMode(GL_MODELVIEW);
    check("glMatrixMode(GL_MODELVIEW)");
    fixedFunction.glLoadIdentity();
    check("glLoadIdentity()");
    fixedFunction.glPointSize(1.0);
    check("glPointSize(1.0)");
    glLineWidth(lineWidth);
    check("glLineWidth(1.0)");
    fixedFunction.glDisableClientState(GL_TEXTURE_COORD_ARRAY);
    check("glDisableClientState(GL_TEXTURE_COORD_ARRAY)");
}

void SpectrumRenderer::drawMarker(float x, const float (&colour)[4]) {
    const GLfloat line[4] = {x, 0.0f, x, 1.0f};
    fixedFunction.glColor4f(colour[0], colour[1], colour[2], colour[3]);
    fixedFunction.glVertexPointer(2, GL_FLOAT, 0, line);
    check("glVertexPointer(2, GL_FLOAT, 0, line)");
    glDrawArrays(GL_LINES, 0, 2);
    check("glDrawArrays(GL_LINES, 0, 2)");
}

// The tuned-frequency marker and two markers one PSK31 signal width
// (32.768 Hz) apart around it.
void SpectrumRenderer::drawMarkers(double frequency, const FrequencyAxis& axis,
                                   const float (&tuned)[4], const float (&width)[4]) {
    const float x0 = axis.positionOf(frequency);
    const float w = axis.widthOf(32.768f);
    drawMarker(x0, tuned);
    drawMarker(x0 - w / 2, width);
    drawMarker((x0 - w / 2) + w, width);
}

void SpectrumRenderer::drawSpectrum(double frequency, bool zoomed, const RowSource& rows) {
    clearBackground();
    const FrequencyAxis axis = FrequencyAxis::forDrawing(frequency, 1, zoomed);
    const int lowBin = axis.lowBin();
    const int highBin = axis.highBin();
    const int n = axis.binCount();

    // Mean of the newest 32 rows; the element one past the range stays zero
    // and gives the trace's last vertex its height.
    float average[tarn::kSpectrumSize] = {};
    std::array<float, tarn::kSpectrumSize> row;
    for (int r = 0; r < 32; ++r) {
        rows(r, row);
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
    fixedFunction.glEnableClientState(GL_VERTEX_ARRAY);
    check("glEnableClientState(GL_VERTEX_ARRAY)");
    fixedFunction.glDisableClientState(GL_COLOR_ARRAY);
    check("glDisableClientState(GL_COLOR_ARRAY)");

    drawMarkers(frequency, axis, {1.0f, 1.0f, 1.0f, 1.0f}, {0.75f, 0.3f, 0.3f, 1.0f});

    fixedFunction.glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    fixedFunction.glVertexPointer(2, GL_FLOAT, 0, points);
    check("glVertexPointer(2, GL_FLOAT, 0, points)");
    glDrawArrays(GL_LINE_STRIP, 0, n + 1);
    check("glDrawArrays(GL_LINE_STRIP, 0, p_size)");

    // Flat shading stays set in the context for every later frame.
    fixedFunction.glShadeModel(GL_FLAT);
    check("glShadeModel(GL_FLAT)");
    fixedFunction.glDisableClientState(GL_VERTEX_ARRAY);
    check("glDisableClientState(GL_VERTEX_ARRAY)");
    glFlush();
    check("glFlush()");
}

void SpectrumRenderer::drawSonogram(double frequency, bool zoomed, double height,
                                    const RowSource& rows) {
    clearBackground();
    const FrequencyAxis axis = FrequencyAxis::forDrawing(frequency, 0, zoomed);
    const int lowBin = axis.lowBin();
    const int n = axis.binCount();

    commonSetup();
    fixedFunction.glEnableClientState(GL_COLOR_ARRAY);
    check("glEnableClientState(GL_COLOR_ARRAY)");
    fixedFunction.glEnableClientState(GL_VERTEX_ARRAY);
    check("glEnableClientState(GL_VERTEX_ARRAY)");

    // One line per point of height, newest row at the top, at most 512.
    const int lines = height >= 512 ? 512 : static_cast<int>(height);
    GLfloat points[tarn::kSpectrumSize * 2];
    GLfloat colors[tarn::kSpectrumSize * 4];
    std::array<float, tarn::kSpectrumSize> row;
    for (int r = 0; r < lines; ++r) {
        rows(r, row);
        rowFraction = static_cast<float>(r) / static_cast<float>(lines);
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
        fixedFunction.glVertexPointer(2, GL_FLOAT, 0, points);
        check("glVertexPointer(2, GL_FLOAT, 0, points)");
        fixedFunction.glColorPointer(4, GL_FLOAT, 0, colors);
        check("glColorPointer(4, GL_FLOAT, 0, colors)");
        glDrawArrays(GL_LINE_STRIP, 0, n + 1);
        check("glDrawArrays(GL_LINE_STRIP, 0, p_size)");
    }

    fixedFunction.glEnableClientState(GL_VERTEX_ARRAY);
    check("glEnableClientState(GL_VERTEX_ARRAY)");
    fixedFunction.glDisableClientState(GL_COLOR_ARRAY);
    check("glDisableClientState(GL_COLOR_ARRAY)");

    drawMarkers(frequency, axis, {0.0f, 0.0f, 1.0f, 1.0f}, {1.0f, 1.0f, 1.0f, 1.0f});

    fixedFunction.glDisableClientState(GL_VERTEX_ARRAY);
    check("glDisableClientState(GL_VERTEX_ARRAY)");
    fixedFunction.glDisableClientState(GL_COLOR_ARRAY);
    check("glDisableClientState(GL_COLOR_ARRAY)");
    glFlush();
    check("glFlush()");
}
