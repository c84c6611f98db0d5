#ifndef KEST_GL_KESTGLTEXTURE_H
#define KEST_GL_KESTGLTEXTURE_H

#include <QOpenGLFunctions_3_3_Core>

namespace Kest {

// One 2D texture: clamped to its edges, linearly filtered, 8 bits per
// channel. Uploads take tightly packed rows of any width.
class KestGLTexture {
public:
    explicit KestGLTexture(QOpenGLFunctions_3_3_Core* gl);
    virtual ~KestGLTexture();

    KestGLTexture(const KestGLTexture&) = delete;
    KestGLTexture& operator=(const KestGLTexture&) = delete;

    // Null data allocates the storage without filling it.
    int SetDataRedChannel(unsigned char* data, int width, int height);
    int SetDataRGChannel(unsigned char* data, int width, int height);
    int SetDataRGBAChannel(unsigned char* data, int width, int height);

    GLuint GL_GetTextureId() const;

private:
    int Upload(GLenum format, unsigned char* data, int width, int height);

    GLuint textureId;
    QOpenGLFunctions_3_3_Core* gl;
};

} // namespace Kest

#endif
