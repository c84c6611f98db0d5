#include "GLTestContext.h"
#include "Quad.h"

#include "KestGL/KestGLDraw.h"
#include "KestGL/KestGLTexture.h"

#include <gtest/gtest.h>

#include <memory>

using namespace Kest;
using gl_test::GLTest;
using gl_test::kSize;
using gl_test::ReadRgba;

namespace {

const char* const kUniformFragment = "#version 330\n"
                                     "out vec4 color;"
                                     "uniform int level;"
                                     "uniform float blue;"
                                     "uniform mat3 m;"
                                     "uniform sampler2D image;"
                                     "void main() { color = vec4(float(level) / 4.0, m[0][0], blue, 1.0)"
                                     " + texture(image, vec2(0.5)); }";

class KestGLDrawTest : public GLTest {
protected:
    GLint Current()
    {
        GLint current = -1;
        gl->glGetIntegerv(GL_CURRENT_PROGRAM, &current);
        return current;
    }
    GLint Integer(GLenum name)
    {
        GLint value = -1;
        gl->glGetIntegerv(name, &value);
        return value;
    }
};

} // namespace

TEST_F(KestGLDrawTest, DrawBeforeSetVAOFailsWithoutTouchingGL)
{
    KestGLDraw draw(gl_test::kFlatVertex, gl_test::kFlatFragment, gl);
    EXPECT_EQ(0, draw.Init());
    gl->glUseProgram(0);
    EXPECT_EQ(-2, draw.Draw(KEST_GL_DRAW_TRIANGLES));
    // Its first call would have been glUseProgram.
    EXPECT_EQ(0, Current());
    EXPECT_EQ(0, Integer(GL_VERTEX_ARRAY_BINDING));
    EXPECT_EQ(0, ReadRgba(kSize / 2, kSize / 2).r);
}

TEST_F(KestGLDrawTest, InitLinksAndDrawUsesTheProgramOverTheVertexArray)
{
    auto quad = gl_test::MakeQuad(gl, -1, -1, 0, 0);
    KestGLDraw draw(gl_test::kFlatVertex, gl_test::kFlatFragment, gl);
    EXPECT_EQ(0, draw.Init());
    EXPECT_EQ(0, draw.SetVAO(quad.get()));
    gl->glUseProgram(0);
    EXPECT_EQ(0, draw.Draw(KEST_GL_DRAW_TRIANGLES));
    EXPECT_NE(0, Current());
    EXPECT_EQ(0, Integer(GL_VERTEX_ARRAY_BINDING));
    EXPECT_EQ(255, ReadRgba(kSize / 4, kSize / 4).r);
    EXPECT_EQ(0, ReadRgba(kSize * 3 / 4, kSize * 3 / 4).r);
    EXPECT_EQ("", Log());
}

TEST_F(KestGLDrawTest, DrawPassesItsTypeOn)
{
    auto quad = gl_test::MakeQuad(gl, -1, -1, 1, 1);
    KestGLDraw draw(gl_test::kFlatVertex, gl_test::kFlatFragment, gl);
    draw.Init();
    draw.SetVAO(quad.get());
    EXPECT_EQ(0, draw.Draw(KEST_GL_DRAW_NOTHING));
    EXPECT_EQ(0, ReadRgba(kSize / 2, kSize / 2).r);
    EXPECT_EQ(0, draw.Draw(KEST_GL_DRAW_TRIANGLES_ALSO));
    EXPECT_EQ(255, ReadRgba(kSize / 2, kSize / 2).r);
}

TEST_F(KestGLDrawTest, SettersSelectTheProgramFirst)
{
    KestGLDraw draw(gl_test::kFlatVertex, kUniformFragment, gl);
    draw.Init();

    gl->glUseProgram(0);
    EXPECT_EQ(0, draw.PutUniform1f("blue", 0.25f));
    const GLint program = Current();
    ASSERT_NE(0, program);
    GLfloat blue = 0;
    gl->glGetUniformfv(program, gl->glGetUniformLocation(program, "blue"), &blue);
    EXPECT_FLOAT_EQ(0.25f, blue);

    gl->glUseProgram(0);
    EXPECT_EQ(0, draw.PutUniform1i("level", 3));
    EXPECT_EQ(program, Current());
    GLint level = 0;
    gl->glGetUniformiv(program, gl->glGetUniformLocation(program, "level"), &level);
    EXPECT_EQ(3, level);

    gl->glUseProgram(0);
    Eatrix3x3<float> m;
    m(1, 0) = 7;
    EXPECT_EQ(0, draw.PutMatrix3fv("m", m));
    EXPECT_EQ(program, Current());
    GLfloat m3[9] = {};
    gl->glGetUniformfv(program, gl->glGetUniformLocation(program, "m"), m3);
    EXPECT_FLOAT_EQ(7, m3[1]);
    EXPECT_FLOAT_EQ(0, m3[3]);

    gl->glUseProgram(0);
    Eatrix4x4<float> mvp;
    mvp(0, 3) = 5;
    EXPECT_EQ(0, draw.PutMatrix4fv("mvp", mvp));
    EXPECT_EQ(program, Current());
    GLfloat m4[16] = {};
    gl->glGetUniformfv(program, gl->glGetUniformLocation(program, "mvp"), m4);
    EXPECT_FLOAT_EQ(5, m4[12]);
    EXPECT_FLOAT_EQ(0, m4[3]);
}

TEST_F(KestGLDrawTest, PutTextureLeavesTheTextureBoundOnItsUnit)
{
    KestGLDraw draw(gl_test::kFlatVertex, kUniformFragment, gl);
    draw.Init();
    KestGLTexture texture(gl);
    gl->glUseProgram(0);
    EXPECT_EQ(0, draw.PutTexture("image", &texture, 2));
    const GLint program = Current();
    ASSERT_NE(0, program);
    EXPECT_EQ(GL_TEXTURE2, Integer(GL_ACTIVE_TEXTURE));
    EXPECT_EQ(static_cast<GLint>(texture.GL_GetTextureId()), Integer(GL_TEXTURE_BINDING_2D));
    GLint unit = -1;
    gl->glGetUniformiv(program, gl->glGetUniformLocation(program, "image"), &unit);
    EXPECT_EQ(2, unit);
    gl->glBindTexture(GL_TEXTURE_2D, 0);
    gl->glActiveTexture(GL_TEXTURE0);
}
