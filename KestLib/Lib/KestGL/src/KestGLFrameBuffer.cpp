#include "KestGL/KestGLFrameBuffer.h"

#include "core/KestLog.h"

namespace Kest {

namespace {
const char* const kLogFile = "KestLib/Lib/KestGL/KestGLFrameBuffer";
}

KestGLFrameBuffer::KestGLFrameBuffer(int width, int height, KestGLTexture* texture, QOpenGLFunctions_3_3_Core* gl)
    : frameBufferId(0), width(width), height(height), texture(texture), gl(gl)
{
    if (texture == nullptr) {
        return;
    }
    texture->SetDataRGBAChannel(nullptr, width, height);
    gl->glGenFramebuffers(1, &frameBufferId);
    gl->glBindFramebuffer(GL_FRAMEBUFFER, frameBufferId);
    gl->glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture->GL_GetTextureId(), 0);
    if (gl->glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE) {
        return;
    }
    // The text names the status that was expected; kept as it is.
    kest_log_log(kLogFile, __FUNCTION__, __LINE__, 5, "GL_FRAMEBUFFER_COMPLETE Error!!!!\n");
    // Drawing then goes to the default frame buffer.
    gl->glDeleteFramebuffers(1, &frameBufferId);
    frameBufferId = 0;
}

KestGLFrameBuffer::~KestGLFrameBuffer()
{
    if (frameBufferId != 0) {
        gl->glDeleteFramebuffers(1, &frameBufferId);
    }
}

int KestGLFrameBuffer::AddDraw(KestGLDraw* draw)
{
    return draws.Add(draw);
}

int KestGLFrameBuffer::AddComponent(KestGLComponent* component)
{
    return components.Add(component);
}

int KestGLFrameBuffer::ClearAllComponent()
{
    return components.Clear();
}

int KestGLFrameBuffer::Draw()
{
    gl->glBindFramebuffer(GL_FRAMEBUFFER, frameBufferId);
    gl->glViewport(0, 0, width, height);
    for (KestGLDraw* draw : draws) {
        draw->Draw(KEST_GL_DRAW_TRIANGLES);
    }
    for (KestGLComponent* component : components) {
        component->Viewport(width, height);
        component->Draw();
    }
    gl->glBindFramebuffer(GL_FRAMEBUFFER, 0);
    return 0;
}

int KestGLFrameBuffer::Clear(float r, float g, float b, float a)
{
    gl->glBindFramebuffer(GL_FRAMEBUFFER, frameBufferId);
    gl->glViewport(0, 0, width, height);
    gl->glClearColor(r, g, b, a);
    gl->glClear(GL_COLOR_BUFFER_BIT);
    gl->glBindFramebuffer(GL_FRAMEBUFFER, 0);
    return 0;
}

int KestGLFrameBuffer::Clear()
{
    return Clear(1.0f, 1.0f, 1.0f, 1.0f);
}

int KestGLFrameBuffer::ReadPixel(int x, int y, int width, int height, unsigned char* out)
{
    gl->glBindFramebuffer(GL_FRAMEBUFFER, frameBufferId);
    gl->glReadPixels(x, y, width, height, GL_BGR, GL_UNSIGNED_BYTE, out);
    gl->glBindFramebuffer(GL_FRAMEBUFFER, 0);
    return 0;
}

GLuint KestGLFrameBuffer::GL_GetFrameBufferId() const
{
    return frameBufferId;
}

} // namespace Kest
