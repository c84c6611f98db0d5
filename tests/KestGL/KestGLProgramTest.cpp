#include "GLTestContext.h"
#include "Quad.h"

#include "KestGL/KestGLProgram.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Kest;
using gl_test::GLTest;
using gl_test::kSize;
using gl_test::ReadRgba;

namespace {

// Colours a pixel from a 3x3 matrix applied to a fixed column, so the
// element order of the upload shows in the result.
const char* const kMatrixFragment = "#version 330\n"
                                    "out vec4 color;"
                                    "uniform mat3 m;"
                                    "void main() { color = vec4(m * vec3(1.0, 0.5, 0.25), 1.0); }";
const char* const kScalarFragment = "#version 330\n"
                                    "out vec4 color;"
                                    "uniform int level;"
                                    "uniform float blue;"
                                    "void main() { color = vec4(float(level) / 4.0, 0.0, blue, 1.0); }";
// Both compile; linking fails for want of the fragment stage's main.
const char* const kNoMainFragment = "#version 330\n"
                                    "out vec4 color;"
                                    "void paint() { color = vec4(1.0); }";

class KestGLProgramTest : public GLTest {};

std::string ProgramLog(QOpenGLFunctions_3_3_Core* gl, GLuint program)
{
    GLint length = 0;
    gl->glGetProgramiv(program, GL_INFO_LOG_LENGTH, &length);
    std::vector<char> text(length + 1, 0);
    if (length > 0) {
        gl->glGetProgramInfoLog(program, length, nullptr, text.data());
    }
    return text.data();
}

} // namespace

TEST_F(KestGLProgramTest, LinksUsesAndDraws)
{
    KestGLProgram program(gl_test::kFlatVertex, gl_test::kFlatFragment, gl);
    EXPECT_EQ(0, program.LinkProgram());
    GLint status = GL_FALSE;
    gl->glGetProgramiv(program.GL_GetProgramId(), GL_LINK_STATUS, &status);
    EXPECT_EQ(GL_TRUE, status);
    EXPECT_EQ(0, program.UseProgram());
    GLint current = 0;
    gl->glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    EXPECT_EQ(static_cast<GLint>(program.GL_GetProgramId()), current);

    auto quad = gl_test::MakeQuad(gl, -1, -1, 1, 1);
    quad->DrawVAO(KEST_GL_DRAW_TRIANGLES);
    gl_test::Rgba px = ReadRgba(kSize / 2, kSize / 2);
    EXPECT_EQ(255, px.r);
    EXPECT_EQ(0, px.g);
    EXPECT_EQ("", Log());
}

TEST_F(KestGLProgramTest, LinkedShadersAreDeletedWithTheProgram)
{
    GLuint attached[2] = {0, 0};
    {
        KestGLProgram program(gl_test::kFlatVertex, gl_test::kFlatFragment, gl);
        program.LinkProgram();
        GLsizei count = 0;
        gl->glGetAttachedShaders(program.GL_GetProgramId(), 2, &count, attached);
        ASSERT_EQ(2, count);
    }
    EXPECT_EQ(GL_FALSE, gl->glIsShader(attached[0]));
    EXPECT_EQ(GL_FALSE, gl->glIsShader(attached[1]));
}

TEST_F(KestGLProgramTest, LinkFailureIsLoggedWithBothSourcesAndReturnsZero)
{
    KestGLProgram program(gl_test::kFlatVertex, kNoMainFragment, gl);
    EXPECT_EQ(0, program.LinkProgram());
    GLint status = GL_TRUE;
    gl->glGetProgramiv(program.GL_GetProgramId(), GL_LINK_STATUS, &status);
    EXPECT_EQ(GL_FALSE, status);
    const std::string driver = ProgramLog(gl, program.GL_GetProgramId());
    ASSERT_NE("", driver);
    EXPECT_EQ(driver + "Vertex Src:\n " + gl_test::kFlatVertex + "\n" + "Fragment Src:\n " + kNoMainFragment + "\n",
              Log());
}

TEST_F(KestGLProgramTest, BrokenShaderLinksSilentlyAndDrawsNothing)
{
    KestGLProgram program("#version 330\nvoid main() { oops }", gl_test::kFlatFragment, gl);
    EXPECT_EQ(0, program.LinkProgram());
    program.UseProgram();
    auto quad = gl_test::MakeQuad(gl, -1, -1, 1, 1);
    quad->DrawVAO(KEST_GL_DRAW_TRIANGLES);
    EXPECT_EQ(0, ReadRgba(kSize / 2, kSize / 2).r);
    EXPECT_NE(std::string::npos, Log().find("Shader Src:\n #version 330\nvoid main() { oops }\n"));
    // Using the unlinked program raised errors; they are the point here.
    while (gl->glGetError() != GL_NO_ERROR) {
    }
}

TEST_F(KestGLProgramTest, Matrix4HasItsTranslationInTheLastColumn)
{
    KestGLProgram program(gl_test::kFlatVertex, gl_test::kFlatFragment, gl);
    program.LinkProgram();
    program.UseProgram();
    Eatrix4x4<float> move;
    move(0, 3) = 0.5f;
    move(1, 3) = -0.5f;
    EXPECT_EQ(0, program.PutMatrix4fv("mvp", move));
    // The quad covers the left-top quarter and is moved right and down.
    auto quad = gl_test::MakeQuad(gl, -1, 0, 0, 1);
    quad->DrawVAO(KEST_GL_DRAW_TRIANGLES);
    EXPECT_EQ(255, ReadRgba(kSize / 2, kSize / 2 - 1).r);
    EXPECT_EQ(255, ReadRgba(kSize * 3 / 4 - 1, kSize / 4).r);
    EXPECT_EQ(0, ReadRgba(kSize / 4 - 1, kSize * 3 / 4).r);
    EXPECT_EQ(0, ReadRgba(kSize * 3 / 4 + 1, kSize / 4).r);
}

TEST_F(KestGLProgramTest, Matrix3MultipliesRowByColumn)
{
    KestGLProgram program(gl_test::kFlatVertex, kMatrixFragment, gl);
    program.LinkProgram();
    program.UseProgram();
    // Rows pick the second, third and first element of (1, 0.5, 0.25).
    Eatrix3x3<float> pick;
    const float rows[9] = {0, 1, 0, 0, 0, 1, 1, 0, 0};
    pick.SetData(rows, 9);
    EXPECT_EQ(0, program.PutMatrix3fv("m", pick));
    auto quad = gl_test::MakeQuad(gl, -1, -1, 1, 1);
    quad->DrawVAO(KEST_GL_DRAW_TRIANGLES);
    gl_test::Rgba px = ReadRgba(kSize / 2, kSize / 2);
    EXPECT_NEAR(128, px.r, 1);
    EXPECT_NEAR(64, px.g, 1);
    EXPECT_EQ(255, px.b);
}

TEST_F(KestGLProgramTest, ScalarUniformsReachTheShader)
{
    KestGLProgram program(gl_test::kFlatVertex, kScalarFragment, gl);
    program.LinkProgram();
    program.UseProgram();
    EXPECT_EQ(0, program.PutUniform1i("level", 2));
    EXPECT_EQ(0, program.PutUniform1f("blue", 0.25f));
    auto quad = gl_test::MakeQuad(gl, -1, -1, 1, 1);
    quad->DrawVAO(KEST_GL_DRAW_TRIANGLES);
    gl_test::Rgba px = ReadRgba(kSize / 2, kSize / 2);
    EXPECT_NEAR(128, px.r, 1);
    EXPECT_NEAR(64, px.b, 1);
}
