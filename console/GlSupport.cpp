#include "console/GlSupport.h"

#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QSurfaceFormat>

namespace glsupport {

QString whyNoOpenGl() {
    const QString platform = QGuiApplication::platformName();
    // The offscreen platform may make a context, but QOpenGLWidget cannot
    // draw into its windows.
    if (platform == QStringLiteral("offscreen") || platform == QStringLiteral("minimal"))
        return QStringLiteral("the %1 platform has no OpenGL widgets").arg(platform);
    QSurfaceFormat format;
    format.setRenderableType(QSurfaceFormat::OpenGL);
    format.setVersion(2, 1);
    format.setProfile(QSurfaceFormat::CompatibilityProfile);
    QOpenGLContext context;
    context.setFormat(format);
    if (!context.create())
        return QStringLiteral("no OpenGL context can be made on the %1 platform").arg(platform);
    QOffscreenSurface surface;
    surface.setFormat(context.format());
    surface.create();
    if (!surface.isValid() || !context.makeCurrent(&surface))
        return QStringLiteral("an OpenGL context cannot be made current on the %1 platform")
            .arg(platform);
    context.doneCurrent();
    return {};
}

} // namespace glsupport
