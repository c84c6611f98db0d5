#ifndef KEST_KESTGL_KESTGLSURFACEFORMAT_H
#define KEST_KESTGL_KESTGLSURFACEFORMAT_H

#include <QSurfaceFormat>

namespace Kest {

// The context the GL layer is written for: OpenGL 3.3 core, depth 24,
// stencil 8.
class KestGLSurfaceFormat {
public:
    static QSurfaceFormat CoreFormat();
    // Makes CoreFormat() the default of every context created afterwards;
    // call it before the application object exists.
    static void UseCoreFormat();
    // True for a context of at least OpenGL 3.3 in the core profile (drivers
    // may answer a 3.3 request with a newer version).
    static bool IsCore33(const QSurfaceFormat& format);
};

} // namespace Kest

#endif
