#include "KestGL/KestGLProgram.h"

#include "KestGL/KestGLShader.h"
#include "core/KestLog.h"

#include <vector>

namespace Kest {

namespace {

const char* const kLogFile = "KestLib/Lib/KestGL/KestGLProgram";

// Element (r, c) at index c * n + r: the layout glUniformMatrix expects
// without transposition.
template <int N>
void ColumnOrder(const Eatrix<float>& m, float (&out)[N * N])
{
    for (int r = 0; r < N; r++) {
        for (int c = 0; c < N; c++) {
            out[c * N + r] = m(r, c);
        }
    }
}

} // namespace

KestGLProgram::KestGLProgram(KestString vertexSrc, KestString fragmentSrc, QOpenGLFunctions_3_3_Core* gl)
    : vertexSrc(vertexSrc), fragmentSrc(fragmentSrc), programId(0), gl(gl)
{
    programId = gl->glCreateProgram();
}

KestGLProgram::~KestGLProgram()
{
    gl->glDeleteProgram(programId);
}

int KestGLProgram::LinkProgram()
{
    KestGLShader vertex(KEST_GL_SHADER_VERTEX, vertexSrc, gl);
    KestGLShader fragment(KEST_GL_SHADER_FRAGMENT, fragmentSrc, gl);
    vertex.Compile();
    fragment.Compile();
    gl->glAttachShader(programId, vertex.GL_GetShaderId());
    gl->glAttachShader(programId, fragment.GL_GetShaderId());
    gl->glLinkProgram(programId);
    GLint status = GL_FALSE;
    gl->glGetProgramiv(programId, GL_LINK_STATUS, &status);
    GLint logLength = 0;
    gl->glGetProgramiv(programId, GL_INFO_LOG_LENGTH, &logLength);
    if (logLength > 0) {
        std::vector<char> message(logLength + 1, 0);
        gl->glGetProgramInfoLog(programId, logLength, nullptr, message.data());
        kest_log_log(kLogFile, __FUNCTION__, __LINE__, 5, "%s", message.data());
        kest_log_log(kLogFile, __FUNCTION__, __LINE__, 5, "Vertex Src:\n %s\n", vertexSrc.CStr());
        kest_log_log(kLogFile, __FUNCTION__, __LINE__, 5, "Fragment Src:\n %s\n", fragmentSrc.CStr());
    }
    return 0;
}

int KestGLProgram::UseProgram()
{
    gl->glUseProgram(programId);
    return 0;
}

int KestGLProgram::PutUniform1i(KestString name, int v)
{
    gl->glUniform1i(gl->glGetUniformLocation(programId, name.CStr()), v);
    return 0;
}

int KestGLProgram::PutUniform1f(KestString name, float v)
{
    gl->glUniform1f(gl->glGetUniformLocation(programId, name.CStr()), v);
    return 0;
}

int KestGLProgram::PutMatrix4fv(KestString name, Eatrix4x4<float>& m)
{
    float data[16];
    ColumnOrder<4>(m, data);
    gl->glUniformMatrix4fv(gl->glGetUniformLocation(programId, name.CStr()), 1, GL_FALSE, data);
    return 0;
}

int KestGLProgram::PutMatrix3fv(KestString name, Eatrix3x3<float>& m)
{
    float data[9];
    ColumnOrder<3>(m, data);
    gl->glUniformMatrix3fv(gl->glGetUniformLocation(programId, name.CStr()), 1, GL_FALSE, data);
    return 0;
}

GLuint KestGLProgram::GL_GetProgramId() const
{
    return programId;
}

} // namespace Kest
