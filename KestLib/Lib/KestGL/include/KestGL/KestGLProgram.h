#ifndef KEST_GL_KESTGLPROGRAM_H
#define KEST_GL_KESTGLPROGRAM_H

#include "KestMath/Eatrix.hpp"
#include "core/KestString.h"

#include <QOpenGLFunctions_3_3_Core>

namespace Kest {

// One GL program built from a vertex and a fragment source. The uniform
// setters act on the program in use: call UseProgram first.
class KestGLProgram {
public:
    KestGLProgram(KestString vertexSrc, KestString fragmentSrc, QOpenGLFunctions_3_3_Core* gl);
    virtual ~KestGLProgram();

    KestGLProgram(const KestGLProgram&) = delete;
    KestGLProgram& operator=(const KestGLProgram&) = delete;

    // Compiles both sources, attaches and links. Problems are only logged:
    // it returns 0 and a broken program fails silently when drawn.
    int LinkProgram();
    int UseProgram();

    int PutUniform1i(KestString name, int v);
    int PutUniform1f(KestString name, float v);
    // Sent in column order, so the shader's matrix * vector is the Eatrix
    // row-by-column product.
    int PutMatrix4fv(KestString name, Eatrix4x4<float>& m);
    int PutMatrix3fv(KestString name, Eatrix3x3<float>& m);

    GLuint GL_GetProgramId() const;

private:
    KestString vertexSrc;
    KestString fragmentSrc;
    GLuint programId;
    QOpenGLFunctions_3_3_Core* gl;
};

} // namespace Kest

#endif
