// The console's GL surface for the spectrum and waterfall. It draws only
// when asked (display()): the refresh tick is its only clock. What it draws
// is the console's choice (TarnViewController::paintSpectrum), through the
// SpectrumRenderer it owns for its context.
#pragma once

#include "console/SpectrumRenderer.h"

#include <QOpenGLWidget>
#include <QRectF>

#include <functional>

class SpectrumView : public QOpenGLWidget {
    Q_OBJECT
public:
    // Called with the view's renderer and its rectangle in points while the
    // view's GL context is current.
    using DrawCallback = std::function<void(SpectrumRenderer&, const QRectF&)>;

    explicit SpectrumView(QWidget* parent = nullptr);
    ~SpectrumView() override;

    void setDrawCallback(DrawCallback callback) { drawCallback = std::move(callback); }
    // Draws now, synchronously, through the callback (nothing before the
    // view is first shown and has its context).
    void display();
    // Draws through the callback and returns the framebuffer's pixels.
    QImage drawAndGrab();

    // Frames this view has handed to the draw callback.
    int framesDrawn() const { return frames; }

    // GL contexts made and released by spectrum views since start (the
    // console makes a fresh one on each return to the foreground).
    static int contextsCreated();
    static int contextsReleased();

protected:
    void initializeGL() override;
    // Draws the frame display() asked for. Repaints the window system asks
    // for (expose, resize, grab) show the last frame instead.
    void paintGL() override;

private:
    DrawCallback drawCallback;
    SpectrumRenderer renderer;
    bool frameRequested = false;
    int frames = 0;
};
