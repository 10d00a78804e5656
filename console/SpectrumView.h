// The console's GL surface for the spectrum and waterfall. It draws only
// when asked (display()): the refresh tick is its only clock, and the
// drawing itself is the console's (TarnViewController::glkView).
#pragma once

#include <QOpenGLWidget>
#include <QRectF>

#include <functional>

class SpectrumView : public QOpenGLWidget {
    Q_OBJECT
public:
    // Called with the view and its rectangle in points while the view's GL
    // context is current.
    using DrawCallback = std::function<void(SpectrumView*, const QRectF&)>;

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
    void paintGL() override;

private:
    DrawCallback drawCallback;
    int frames = 0;
};
