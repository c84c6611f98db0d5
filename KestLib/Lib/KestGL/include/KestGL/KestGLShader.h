#ifndef KEST_GL_KESTGLSHADER_H
#define KEST_GL_KESTGLSHADER_H

#include "KestGL/KestGLShaderType.h"
#include "core/KestString.h"

#include <QOpenGLFunctions_3_3_Core>

namespace Kest {

// One GL shader object, created at construction with the context current.
class KestGLShader {
public:
    KestGLShader(KestGLShaderType type, KestString src, QOpenGLFunctions_3_3_Core* gl);
    virtual ~KestGLShader();

    KestGLShader(const KestGLShader&) = delete;
    KestGLShader& operator=(const KestGLShader&) = delete;

    // -1 without a shader object, otherwise 0 whether or not the source
    // compiled: a non-empty driver log is logged with the source instead.
    int Compile();

    GLuint GL_GetShaderId() const;

private:
    KestGLShaderType type;
    KestString src;
    GLuint shaderId;
    QOpenGLFunctions_3_3_Core* gl;
};

} // namespace Kest

#endif
