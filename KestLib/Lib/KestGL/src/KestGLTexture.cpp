#include "KestGL/KestGLTexture.h"

namespace Kest {

KestGLTexture::KestGLTexture(QOpenGLFunctions_3_3_Core* gl) : textureId(0), gl(gl)
{
    gl->glGenTextures(1, &textureId);
    gl->glBindTexture(GL_TEXTURE_2D, textureId);
    gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    gl->glBindTexture(GL_TEXTURE_2D, 0);
}

KestGLTexture::~KestGLTexture()
{
    gl->glDeleteTextures(1, &textureId);
}

int KestGLTexture::SetDataRedChannel(unsigned char* data, int width, int height)
{
    return Upload(GL_RED, data, width, height);
}

int KestGLTexture::SetDataRGChannel(unsigned char* data, int width, int height)
{
    return Upload(GL_RG, data, width, height);
}

int KestGLTexture::SetDataRGBAChannel(unsigned char* data, int width, int height)
{
    return Upload(GL_RGBA, data, width, height);
}

GLuint KestGLTexture::GL_GetTextureId() const
{
    return textureId;
}

int KestGLTexture::Upload(GLenum format, unsigned char* data, int width, int height)
{
    gl->glBindTexture(GL_TEXTURE_2D, textureId);
    // Rows arrive tightly packed; GL's default of 4 would skew odd widths.
    gl->glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    gl->glTexImage2D(GL_TEXTURE_2D, 0, format, width, height, 0, format, GL_UNSIGNED_BYTE, data);
    gl->glBindTexture(GL_TEXTURE_2D, 0);
    return 0;
}

} // namespace Kest
