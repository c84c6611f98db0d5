#include "GLTestContext.h"

#include "KestGL/KestGLShader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Kest;
using gl_test::GLTest;

namespace {

const char* const kBroken = "#version 330\nvoid main() { gl_Position = vec4(1.0) }";

// What the driver says about src, asked directly.
std::string DriverLog(QOpenGLFunctions_3_3_Core* gl, GLenum stage, const char* src)
{
    GLuint shader = gl->glCreateShader(stage);
    gl->glShaderSource(shader, 1, &src, nullptr);
    gl->glCompileShader(shader);
    GLint length = 0;
    gl->glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    std::vector<char> text(length + 1, 0);
    if (length > 0) {
        gl->glGetShaderInfoLog(shader, length, nullptr, text.data());
    }
    gl->glDeleteShader(shader);
    return text.data();
}

class KestGLShaderTest : public GLTest {};

} // namespace

TEST_F(KestGLShaderTest, CreatesTheStageItIsGiven)
{
    KestGLShader vertex(KEST_GL_SHADER_VERTEX, gl_test::kFlatVertex, gl);
    KestGLShader fragment(KEST_GL_SHADER_FRAGMENT, gl_test::kFlatFragment, gl);
    GLint type = 0;
    gl->glGetShaderiv(vertex.GL_GetShaderId(), GL_SHADER_TYPE, &type);
    EXPECT_EQ(GL_VERTEX_SHADER, type);
    gl->glGetShaderiv(fragment.GL_GetShaderId(), GL_SHADER_TYPE, &type);
    EXPECT_EQ(GL_FRAGMENT_SHADER, type);
}

TEST_F(KestGLShaderTest, CleanSourceCompilesWithoutLogging)
{
    KestGLShader shader(KEST_GL_SHADER_VERTEX, gl_test::kFlatVertex, gl);
    EXPECT_EQ(0, shader.Compile());
    GLint status = GL_FALSE;
    gl->glGetShaderiv(shader.GL_GetShaderId(), GL_COMPILE_STATUS, &status);
    EXPECT_EQ(GL_TRUE, status);
    EXPECT_EQ("", Log());
}

TEST_F(KestGLShaderTest, SyntaxErrorIsLoggedWithTheSourceAndStillReturnsZero)
{
    const std::string driver = DriverLog(gl, GL_VERTEX_SHADER, kBroken);
    ASSERT_NE("", driver);
    KestGLShader shader(KEST_GL_SHADER_VERTEX, kBroken, gl);
    EXPECT_EQ(0, shader.Compile());
    GLint status = GL_TRUE;
    gl->glGetShaderiv(shader.GL_GetShaderId(), GL_COMPILE_STATUS, &status);
    EXPECT_EQ(GL_FALSE, status);
    EXPECT_EQ(driver + "Shader Src:\n " + kBroken + "\n", Log());
}

TEST_F(KestGLShaderTest, WarningIsLoggedLikeAnError)
{
    const char* const warns = "#version 330\n#extension GL_EXT_made_up : warn\n"
                              "void main() { gl_Position = vec4(1.0); }";
    const std::string driver = DriverLog(gl, GL_VERTEX_SHADER, warns);
    ASSERT_NE(std::string::npos, driver.find("warning")) << driver;
    KestGLShader shader(KEST_GL_SHADER_VERTEX, warns, gl);
    EXPECT_EQ(0, shader.Compile());
    EXPECT_EQ(driver + "Shader Src:\n " + warns + "\n", Log());
}

TEST_F(KestGLShaderTest, WithoutAShaderObjectCompileFails)
{
    // With no context current the driver hands out no object.
    gl_test::DoneCurrent();
    KestGLShader shader(KEST_GL_SHADER_FRAGMENT, gl_test::kFlatFragment, gl);
    EXPECT_EQ(0u, shader.GL_GetShaderId());
    EXPECT_EQ(-1, shader.Compile());
    gl_test::MakeCurrent();
    EXPECT_EQ("", Log());
}

TEST_F(KestGLShaderTest, DestructorDeletesTheShader)
{
    GLuint id = 0;
    {
        KestGLShader shader(KEST_GL_SHADER_VERTEX, gl_test::kFlatVertex, gl);
        id = shader.GL_GetShaderId();
        ASSERT_EQ(GL_TRUE, gl->glIsShader(id));
    }
    EXPECT_EQ(GL_FALSE, gl->glIsShader(id));
}
