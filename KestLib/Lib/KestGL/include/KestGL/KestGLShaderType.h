#ifndef KEST_GL_KESTGLSHADERTYPE_H
#define KEST_GL_KESTGLSHADERTYPE_H

namespace Kest {

// The stage a KestGLShader compiles for.
enum KestGLShaderType {
    KEST_GL_SHADER_VERTEX = 0,
    KEST_GL_SHADER_FRAGMENT = 1,
};

} // namespace Kest

#endif
