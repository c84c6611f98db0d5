#ifndef KEST_GL_KESTGLDRAW_H
#define KEST_GL_KESTGLDRAW_H

#include "KestGL/KestGLDrawType.h"
#include "KestGL/KestGLProgram.h"
#include "KestGL/KestGLTexture.h"
#include "KestGL/KestGLVAO.h"
#include "KestMath/Eatrix.hpp"
#include "core/KestString.h"

#include <QOpenGLFunctions_3_3_Core>

#include <memory>

namespace Kest {

// One program drawn over one vertex array. Every setter selects the program
// first, so callers never manage glUseProgram.
class KestGLDraw {
public:
    KestGLDraw(KestString vertexSrc, KestString fragmentSrc, QOpenGLFunctions_3_3_Core* gl);
    virtual ~KestGLDraw();

    KestGLDraw(const KestGLDraw&) = delete;
    KestGLDraw& operator=(const KestGLDraw&) = delete;

    // Links the program; -1 without one.
    int Init();
    // The vertex array is not owned.
    int SetVAO(KestGLVAO* vao);
    // Binds the texture to unit and points the sampler name at it; the
    // binding stays after the call.
    int PutTexture(KestString name, KestGLTexture* texture, int unit);
    int PutUniform1i(KestString name, int v);
    int PutUniform1f(KestString name, float v);
    int PutMatrix4fv(KestString name, Eatrix4x4<float>& m);
    int PutMatrix3fv(KestString name, Eatrix3x3<float>& m);
    // -1 without a program, -2 without a vertex array (no GL call then).
    // Waits for the GPU to finish before returning.
    int Draw(KestGLDrawType type);

private:
    KestString vertexSrc;
    KestString fragmentSrc;
    std::unique_ptr<KestGLProgram> program;
    KestGLVAO* vao;
    QOpenGLFunctions_3_3_Core* gl;
};

} // namespace Kest

#endif
