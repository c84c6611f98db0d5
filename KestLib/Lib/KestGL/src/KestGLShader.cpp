#include "KestGL/KestGLShader.h"

#include "core/KestLog.h"

#include <vector>

namespace Kest {

namespace {
const char* const kLogFile = "KestLib/Lib/KestGL/KestGLShader";
}

KestGLShader::KestGLShader(KestGLShaderType type, KestString src, QOpenGLFunctions_3_3_Core* gl)
    : type(type), src(src), shaderId(0), gl(gl)
{
    shaderId = gl->glCreateShader(type == KEST_GL_SHADER_FRAGMENT ? GL_FRAGMENT_SHADER : GL_VERTEX_SHADER);
}

KestGLShader::~KestGLShader()
{
    gl->glDeleteShader(shaderId);
}

int KestGLShader::Compile()
{
    if (shaderId == 0) {
        return -1;
    }
    const char* text = src.CStr();
    gl->glShaderSource(shaderId, 1, &text, nullptr);
    gl->glCompileShader(shaderId);
    // The status is fetched but not acted on: any driver log, warnings
    // included, is reported the same way and the program links regardless.
    GLint status = GL_FALSE;
    gl->glGetShaderiv(shaderId, GL_COMPILE_STATUS, &status);
    GLint logLength = 0;
    gl->glGetShaderiv(shaderId, GL_INFO_LOG_LENGTH, &logLength);
    if (logLength < 1) {
        return 0;
    }
    std::vector<char> message(logLength + 1, 0);
    gl->glGetShaderInfoLog(shaderId, logLength, nullptr, message.data());
    kest_log_log(kLogFile, __FUNCTION__, __LINE__, 5, "%s", message.data());
    kest_log_log(kLogFile, __FUNCTION__, __LINE__, 5, "Shader Src:\n %s\n", src.CStr());
    return 0;
}

GLuint KestGLShader::GL_GetShaderId() const
{
    return shaderId;
}

} // namespace Kest
