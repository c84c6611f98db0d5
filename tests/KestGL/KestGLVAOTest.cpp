#include "GLTestContext.h"
#include "Quad.h"

#include "KestGL/KestGLProgram.h"
#include "KestGL/KestGLVAO.h"

#include <gtest/gtest.h>

#include <memory>

using namespace Kest;
using gl_test::GLTest;
using gl_test::kSize;
using gl_test::ReadRgba;

namespace {

class KestGLVAOTest : public GLTest {
protected:
    void SetUp() override
    {
        GLTest::SetUp();
        program = std::make_unique<KestGLProgram>(gl_test::kFlatVertex, gl_test::kFlatFragment, gl);
        program->LinkProgram();
        program->UseProgram();
    }
    void TearDown() override
    {
        program.reset();
        GLTest::TearDown();
    }
    GLint BoundVAO()
    {
        GLint bound = -1;
        gl->glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &bound);
        return bound;
    }
    GLint Attribute(const KestGLVAO& vao, GLuint location, GLenum name)
    {
        GLint value = -1;
        gl->glBindVertexArray(vao.GL_GetVAOId());
        gl->glGetVertexAttribiv(location, name, &value);
        gl->glBindVertexArray(0);
        return value;
    }
    int RedPixels()
    {
        int count = 0;
        for (int y = 0; y < kSize; y++) {
            for (int x = 0; x < kSize; x++) {
                count += ReadRgba(x, y).r == 255 ? 1 : 0;
            }
        }
        return count;
    }

    std::unique_ptr<KestGLProgram> program;
};

} // namespace

TEST_F(KestGLVAOTest, VertexBufferIsRecordedAtItsLocation)
{
    KestGLVAO vao(gl);
    ASSERT_NE(0u, vao.GL_GetVAOId());
    float data[] = {0, 0, 1, 1, 2, 2, 3, 3};
    EXPECT_EQ(0, vao.AddVBO(data, sizeof(data), 3, 2, 8));
    EXPECT_EQ(0, BoundVAO());
    EXPECT_EQ(GL_TRUE, Attribute(vao, 3, GL_VERTEX_ATTRIB_ARRAY_ENABLED));
    EXPECT_EQ(2, Attribute(vao, 3, GL_VERTEX_ATTRIB_ARRAY_SIZE));
    EXPECT_EQ(8, Attribute(vao, 3, GL_VERTEX_ATTRIB_ARRAY_STRIDE));
    EXPECT_EQ(GL_FLOAT, Attribute(vao, 3, GL_VERTEX_ATTRIB_ARRAY_TYPE));
    EXPECT_EQ(GL_FALSE, Attribute(vao, 3, GL_VERTEX_ATTRIB_ARRAY_NORMALIZED));
    EXPECT_EQ(GL_FALSE, Attribute(vao, 0, GL_VERTEX_ATTRIB_ARRAY_ENABLED));
    const GLint buffer = Attribute(vao, 3, GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING);
    ASSERT_NE(0, buffer);
    GLint size = 0;
    gl->glBindBuffer(GL_ARRAY_BUFFER, buffer);
    gl->glGetBufferParameteriv(GL_ARRAY_BUFFER, GL_BUFFER_SIZE, &size);
    EXPECT_EQ(static_cast<GLint>(sizeof(data)), size);
}

TEST_F(KestGLVAOTest, IndexBufferBelongsToTheVertexArray)
{
    KestGLVAO vao(gl);
    unsigned int indices[] = {0, 1, 2};
    EXPECT_EQ(0, vao.SetEBO(indices, sizeof(indices)));
    EXPECT_EQ(0, BoundVAO());
    gl->glBindVertexArray(vao.GL_GetVAOId());
    GLint element = 0;
    gl->glGetIntegerv(GL_ELEMENT_ARRAY_BUFFER_BINDING, &element);
    GLint size = 0;
    gl->glGetBufferParameteriv(GL_ELEMENT_ARRAY_BUFFER, GL_BUFFER_SIZE, &size);
    gl->glBindVertexArray(0);
    EXPECT_NE(0, element);
    EXPECT_EQ(12, size);
}

TEST_F(KestGLVAOTest, SecondIndexBufferReplacesTheFirst)
{
    KestGLVAO vao(gl);
    unsigned int indices[] = {0, 1, 2};
    vao.SetEBO(indices, sizeof(indices));
    gl->glBindVertexArray(vao.GL_GetVAOId());
    GLint first = 0;
    gl->glGetIntegerv(GL_ELEMENT_ARRAY_BUFFER_BINDING, &first);
    gl->glBindVertexArray(0);
    vao.SetEBO(indices, 8);
    EXPECT_EQ(GL_FALSE, gl->glIsBuffer(first));
}

TEST_F(KestGLVAOTest, TypesZeroAndThreeDrawTriangles)
{
    for (KestGLDrawType type : {KEST_GL_DRAW_TRIANGLES, KEST_GL_DRAW_TRIANGLES_ALSO}) {
        gl->glClear(GL_COLOR_BUFFER_BIT);
        auto quad = gl_test::MakeQuad(gl, -0.5f, -0.5f, 0.5f, 0.5f);
        EXPECT_EQ(0, quad->DrawVAO(type));
        EXPECT_EQ(0, BoundVAO());
        EXPECT_EQ((kSize / 2) * (kSize / 2), RedPixels()) << "type " << type;
    }
}

TEST_F(KestGLVAOTest, TypeOneBindsAndUnbindsButDrawsNothing)
{
    auto quad = gl_test::MakeQuad(gl, -1, -1, 1, 1);
    EXPECT_EQ(0, quad->DrawVAO(KEST_GL_DRAW_NOTHING));
    EXPECT_EQ(0, BoundVAO());
    EXPECT_EQ(0, RedPixels());
}

TEST_F(KestGLVAOTest, TypeTwoWithTwoIndicesDrawsOneSegment)
{
    // From x = 8 to 56 along the middle of pixel row 20.
    const float y = 20.5f / (kSize / 2) - 1;
    float ends[] = {-0.75f, y, 0, 0.75f, y, 0};
    unsigned int indices[] = {0, 1};
    KestGLVAO vao(gl);
    vao.AddVBO(ends, sizeof(ends), 0, 3, 0);
    vao.SetEBO(indices, sizeof(indices));
    EXPECT_EQ(0, vao.DrawVAO(KEST_GL_DRAW_LINES));
    for (int x = 9; x < 55; x++) {
        EXPECT_EQ(255, ReadRgba(x, 20).r) << "x " << x;
    }
    EXPECT_EQ(0, ReadRgba(4, 20).r);
    EXPECT_EQ(0, ReadRgba(60, 20).r);
    EXPECT_EQ(48, RedPixels());
}

TEST_F(KestGLVAOTest, WithoutAVertexArrayObjectIndexAndDrawFail)
{
    // With no context current the driver hands out no object.
    gl_test::DoneCurrent();
    KestGLVAO vao(gl);
    gl_test::MakeCurrent();
    EXPECT_EQ(0u, vao.GL_GetVAOId());
    unsigned int indices[] = {0, 1, 2};
    EXPECT_EQ(-1, vao.SetEBO(indices, sizeof(indices)));
    EXPECT_EQ(-1, vao.DrawVAO(KEST_GL_DRAW_TRIANGLES));
    EXPECT_EQ(0, RedPixels());
}

TEST_F(KestGLVAOTest, DestructorDeletesTheArrayAndItsBuffers)
{
    GLuint array = 0;
    GLint vertices = 0;
    GLint elements = 0;
    {
        auto quad = gl_test::MakeQuad(gl, -1, -1, 1, 1);
        array = quad->GL_GetVAOId();
        vertices = Attribute(*quad, 1, GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING);
        gl->glBindVertexArray(array);
        gl->glGetIntegerv(GL_ELEMENT_ARRAY_BUFFER_BINDING, &elements);
        gl->glBindVertexArray(0);
        ASSERT_EQ(GL_TRUE, gl->glIsBuffer(vertices));
        ASSERT_EQ(GL_TRUE, gl->glIsBuffer(elements));
    }
    gl->glBindBuffer(GL_ARRAY_BUFFER, 0);
    EXPECT_EQ(GL_FALSE, gl->glIsVertexArray(array));
    EXPECT_EQ(GL_FALSE, gl->glIsBuffer(vertices));
    EXPECT_EQ(GL_FALSE, gl->glIsBuffer(elements));
}
