#ifndef KEST_GL_KESTGLFRAMEBUFFER_H
#define KEST_GL_KESTGLFRAMEBUFFER_H

#include "KestGL/KestGLComponent.h"
#include "KestGL/KestGLDraw.h"
#include "KestGL/KestGLTexture.h"
#include "KestGL/KestLinkedList.h"

#include <QOpenGLFunctions_3_3_Core>

namespace Kest {

// A render target of width x height: a frame buffer drawing into texture,
// or, without a texture or when that frame buffer is incomplete, the default
// frame buffer (id 0). Holds draws and components, drawn in insertion order.
class KestGLFrameBuffer {
public:
    // The texture (not owned) is reallocated as width x height RGBA. The new
    // frame buffer is left bound when it is complete.
    KestGLFrameBuffer(int width, int height, KestGLTexture* texture, QOpenGLFunctions_3_3_Core* gl);
    virtual ~KestGLFrameBuffer();

    KestGLFrameBuffer(const KestGLFrameBuffer&) = delete;
    KestGLFrameBuffer& operator=(const KestGLFrameBuffer&) = delete;

    // Neither is owned.
    int AddDraw(KestGLDraw* draw);
    int AddComponent(KestGLComponent* component);
    int ClearAllComponent();

    // Every draw as triangles, then every component, into this target;
    // frame buffer 0 is bound afterwards.
    int Draw();
    int Clear(float r, float g, float b, float a);
    // White.
    int Clear();
    // B, G, R bytes, rows bottom-up, each row padded to 4 bytes (GL's
    // default pack alignment).
    int ReadPixel(int x, int y, int width, int height, unsigned char* out);

    GLuint GL_GetFrameBufferId() const;

private:
    KestLinkedList<KestGLDraw*> draws;
    KestLinkedList<KestGLComponent*> components;
    GLuint frameBufferId;
    int width;
    int height;
    KestGLTexture* texture;
    QOpenGLFunctions_3_3_Core* gl;
};

} // namespace Kest

#endif
