#include "SpectrumView.h"

#include <QOpenGLContext>
#include <QSurfaceFormat>

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
    connect(
        context(), &QOpenGLContext::aboutToBeDestroyed, context(), [] { ++releasedContexts; },
        Qt::DirectConnection);
}

void SpectrumView::paintGL() {
    // Expose and resize repaints leave the frame alone until the next tick.
    if (drawRequested && drawCallback)
        drawCallback(this, QRectF(0, 0, width(), height()));
}

void SpectrumView::display() {
    drawRequested = true;
    repaint();
    drawRequested = false;
}

QImage SpectrumView::drawAndGrab() {
    drawRequested = true;
    QImage image = grabFramebuffer();
    drawRequested = false;
    return image;
}

int SpectrumView::contextsCreated() {
    return createdContexts;
}
int SpectrumView::contextsReleased() {
    return releasedContexts;
}
