#include "KestGL/KestGLVAO.h"

namespace Kest {

KestGLVAO::KestGLVAO(QOpenGLFunctions_3_3_Core* gl) : vaoId(0), eboId(0), indexCount(0), gl(gl)
{
    gl->glGenVertexArrays(1, &vaoId);
}

KestGLVAO::~KestGLVAO()
{
    if (!vboIds.empty()) {
        gl->glDeleteBuffers(static_cast<GLsizei>(vboIds.size()), vboIds.data());
    }
    gl->glDeleteBuffers(1, &eboId);
    gl->glDeleteVertexArrays(1, &vaoId);
}

int KestGLVAO::AddVBO(float* data, int bytes, int location, int components, unsigned int stride)
{
    gl->glBindVertexArray(vaoId);
    GLuint vbo = 0;
    gl->glGenBuffers(1, &vbo);
    vboIds.push_back(vbo);
    gl->glBindBuffer(GL_ARRAY_BUFFER, vbo);
    gl->glBufferData(GL_ARRAY_BUFFER, bytes, data, GL_STATIC_DRAW);
    gl->glVertexAttribPointer(location, components, GL_FLOAT, GL_FALSE, stride, nullptr);
    gl->glEnableVertexAttribArray(location);
    gl->glBindVertexArray(0);
    return 0;
}

int KestGLVAO::SetEBO(unsigned int* indices, int bytes)
{
    if (vaoId == 0) {
        return -1;
    }
    indexCount = bytes / 4;
    gl->glBindVertexArray(vaoId);
    // A second index buffer replaces the first rather than leaking it.
    if (eboId != 0) {
        gl->glDeleteBuffers(1, &eboId);
    }
    gl->glGenBuffers(1, &eboId);
    gl->glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, eboId);
    gl->glBufferData(GL_ELEMENT_ARRAY_BUFFER, bytes, indices, GL_STATIC_DRAW);
    gl->glBindVertexArray(0);
    return 0;
}

int KestGLVAO::DrawVAO(KestGLDrawType type)
{
    if (vaoId == 0) {
        return -1;
    }
    gl->glBindVertexArray(vaoId);
    switch (type) {
    case KEST_GL_DRAW_TRIANGLES:
    case KEST_GL_DRAW_TRIANGLES_ALSO:
        gl->glDrawElements(GL_TRIANGLES, indexCount, GL_UNSIGNED_INT, nullptr);
        break;
    case KEST_GL_DRAW_LINES:
        gl->glDrawElements(GL_LINE_LOOP, indexCount, GL_UNSIGNED_INT, nullptr);
        break;
    default:
        break;
    }
    gl->glBindVertexArray(0);
    return 0;
}

GLuint KestGLVAO::GL_GetVAOId() const
{
    return vaoId;
}

} // namespace Kest
