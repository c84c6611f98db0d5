#include "KestGL/KestGLDraw.h"

namespace Kest {

KestGLDraw::KestGLDraw(KestString vertexSrc, KestString fragmentSrc, QOpenGLFunctions_3_3_Core* gl)
    : vertexSrc(vertexSrc),
      fragmentSrc(fragmentSrc),
      program(new KestGLProgram(vertexSrc, fragmentSrc, gl)),
      vao(nullptr),
      gl(gl)
{
}

KestGLDraw::~KestGLDraw() = default;

int KestGLDraw::Init()
{
    if (!program) {
        return -1;
    }
    program->LinkProgram();
    return 0;
}

int KestGLDraw::SetVAO(KestGLVAO* vao)
{
    this->vao = vao;
    return 0;
}

int KestGLDraw::PutTexture(KestString name, KestGLTexture* texture, int unit)
{
    program->UseProgram();
    gl->glActiveTexture(GL_TEXTURE0 + unit);
    gl->glBindTexture(GL_TEXTURE_2D, texture->GL_GetTextureId());
    program->PutUniform1i(name, unit);
    return 0;
}

int KestGLDraw::PutUniform1i(KestString name, int v)
{
    program->UseProgram();
    program->PutUniform1i(name, v);
    return 0;
}

int KestGLDraw::PutUniform1f(KestString name, float v)
{
    program->UseProgram();
    program->PutUniform1f(name, v);
    return 0;
}

int KestGLDraw::PutMatrix4fv(KestString name, Eatrix4x4<float>& m)
{
    program->UseProgram();
    program->PutMatrix4fv(name, m);
    return 0;
}

int KestGLDraw::PutMatrix3fv(KestString name, Eatrix3x3<float>& m)
{
    program->UseProgram();
    program->PutMatrix3fv(name, m);
    return 0;
}

int KestGLDraw::Draw(KestGLDrawType type)
{
    if (!program) {
        return -1;
    }
    if (vao == nullptr) {
        return -2;
    }
    program->UseProgram();
    vao->DrawVAO(type);
    // Every draw waits for the GPU: simple synchronisation for the handful
    // of draws a paint makes.
    gl->glFinish();
    return 0;
}

} // namespace Kest
