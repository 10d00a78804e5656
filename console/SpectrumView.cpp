#include "console/SpectrumView.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QSurfaceFormat>

#include <utility>

namespace {
int createdContexts = 0;
int releasedContexts = 0;
} // namespace

SpectrumView::SpectrumView(QWidget* parent) : QOpenGLWidget(parent) {
    // The drawing uses the fixed-function pipeline (matrices, client arrays).
    QSurfaceFormat format;
    format.setRenderableType(QSurfaceFormat::OpenGL);
    format.setVersion(2, 1);
    format.setProfile(QSurfaceFormat::CompatibilityProfile);
    format.setDepthBufferSize(16);
    setFormat(format);
    // Keep the last frame between ticks: repaints the window system asks for
    // (expose, grab) show it instead of an empty surface.
    setUpdateBehavior(QOpenGLWidget::PartialUpdate);
    setAttribute(Qt::WA_AcceptTouchEvents);
    setMinimumSize(100, 60);
}

SpectrumView::~SpectrumView() = default;

void SpectrumView::initializeGL() {
    ++createdContexts;
    renderer.initialize();
    connect(
        context(), &QOpenGLContext::aboutToBeDestroyed, context(), [] { ++releasedContexts; },
        Qt::DirectConnection);
}

void SpectrumView::paintGL() {
    // The framebuffer keeps its contents between paints (partial updates).
    if (!std::exchange(frameRequested, false))
        return;
    ++frames;
    drawCallback(renderer, QRectF(0, 0, width(), height()));
}

void SpectrumView::display() {
    if (!isValid() || !drawCallback)
        return; // not shown yet: no context
    makeCurrent();
    const qreal ratio = devicePixelRatioF();
    context()->functions()->glViewport(0, 0, static_cast<int>(width() * ratio),
                                       static_cast<int>(height() * ratio));
    renderer.setPixelsPerPoint(static_cast<float>(ratio));
    frameRequested = true;
    paintGL();
    doneCurrent();
    update(); // show the new frame
}

QImage SpectrumView::drawAndGrab() {
    display();
    return grabFramebuffer();
}

int SpectrumView::contextsCreated() {
    return createdContexts;
}
int SpectrumView::contextsReleased() {
    return releasedContexts;
}
