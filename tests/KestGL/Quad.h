#ifndef LUMO_TESTS_QUAD_H
#define LUMO_TESTS_QUAD_H

#include "KestGL/KestGLVAO.h"

#include <memory>

namespace gl_test {

// A rectangle from (x0, y0) to (x1, y1) in normalised device coordinates as
// two triangles, positions at location 0 and texture coordinates (0..1, t up)
// at location 1.
inline std::unique_ptr<Kest::KestGLVAO> MakeQuad(QOpenGLFunctions_3_3_Core* gl, float x0, float y0, float x1,
                                                 float y1)
{
    auto vao = std::make_unique<Kest::KestGLVAO>(gl);
    float positions[] = {x1, y1, 0, x1, y0, 0, x0, y0, 0, x0, y1, 0};
    float texCoords[] = {1, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0};
    unsigned int indices[] = {0, 1, 3, 1, 2, 3};
    vao->AddVBO(positions, sizeof(positions), 0, 3, 0);
    vao->AddVBO(texCoords, sizeof(texCoords), 1, 3, 0);
    vao->SetEBO(indices, sizeof(indices));
    return vao;
}

} // namespace gl_test

#endif
