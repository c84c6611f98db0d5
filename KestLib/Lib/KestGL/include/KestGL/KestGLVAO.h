#ifndef KEST_GL_KESTGLVAO_H
#define KEST_GL_KESTGLVAO_H

#include "KestGL/KestGLDrawType.h"

#include <QOpenGLFunctions_3_3_Core>

#include <vector>

namespace Kest {

// A vertex array with the vertex buffers and the one index buffer it owns.
class KestGLVAO {
public:
    explicit KestGLVAO(QOpenGLFunctions_3_3_Core* gl);
    virtual ~KestGLVAO();

    KestGLVAO(const KestGLVAO&) = delete;
    KestGLVAO& operator=(const KestGLVAO&) = delete;

    // A new buffer of float attributes at location; stride 0 means packed.
    int AddVBO(float* data, int bytes, int location, int components, unsigned int stride);
    // Unsigned int indices; -1 without a vertex array object.
    int SetEBO(unsigned int* indices, int bytes);
    // -1 without a vertex array object.
    int DrawVAO(KestGLDrawType type);

    GLuint GL_GetVAOId() const;

private:
    GLuint vaoId;
    std::vector<GLuint> vboIds;
    GLuint eboId;
    int indexCount;
    QOpenGLFunctions_3_3_Core* gl;
};

} // namespace Kest

#endif
