#ifndef KEST_GL_KESTGLDRAWTYPE_H
#define KEST_GL_KESTGLDRAWTYPE_H

namespace Kest {

// The primitive KestGLVAO::DrawVAO draws its indices as. Types 0 and 3 both
// draw triangles; type 1 (and any other value) draws nothing.
enum KestGLDrawType {
    KEST_GL_DRAW_TRIANGLES = 0,
    KEST_GL_DRAW_NOTHING = 1,
    KEST_GL_DRAW_LINES = 2,
    KEST_GL_DRAW_TRIANGLES_ALSO = 3,
};

} // namespace Kest

#endif
