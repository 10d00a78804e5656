// Whether this display can give the console's spectrum view an OpenGL
// context. Without one the view cannot draw (Qt's offscreen platform, a
// display without GL), and the console refuses to start rather than crash.
#pragma once

#include <QString>

namespace glsupport {

// Empty when an OpenGL 2.1 context can be made current on this display;
// otherwise why not, in one line ("the offscreen platform has no OpenGL
// widgets"). Needs a QGuiApplication.
QString whyNoOpenGl();

} // namespace glsupport
