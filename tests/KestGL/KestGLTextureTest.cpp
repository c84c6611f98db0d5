#include "GLTestContext.h"
#include "Quad.h"

#include "KestGL/KestGLProgram.h"
#include "KestGL/KestGLTexture.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Kest;
using gl_test::GLTest;
using gl_test::ReadRgba;

namespace {

const char* const kSampleVertex = "#version 330\n"
                                  "layout (location = 0) in vec3 position;"
                                  "layout (location = 1) in vec3 texCoord;"
                                  "out vec2 t;"
                                  "void main() { gl_Position = vec4(position, 1.0); t = texCoord.xy; }";
const char* const kSampleFragment = "#version 330\n"
                                    "in vec2 t;"
                                    "out vec4 color;"
                                    "uniform sampler2D image;"
                                    "void main() { color = texture(image, t); }";

class KestGLTextureTest : public GLTest {
protected:
    GLint Parameter(GLuint texture, GLenum name)
    {
        GLint value = 0;
        gl->glBindTexture(GL_TEXTURE_2D, texture);
        gl->glGetTexParameteriv(GL_TEXTURE_2D, name, &value);
        gl->glBindTexture(GL_TEXTURE_2D, 0);
        return value;
    }
    GLint Level(GLuint texture, GLenum name)
    {
        GLint value = 0;
        gl->glBindTexture(GL_TEXTURE_2D, texture);
        gl->glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, name, &value);
        gl->glBindTexture(GL_TEXTURE_2D, 0);
        return value;
    }
    std::vector<unsigned char> Texels(GLuint texture, GLenum format, int bytes)
    {
        std::vector<unsigned char> out(bytes, 0);
        gl->glPixelStorei(GL_PACK_ALIGNMENT, 1);
        gl->glBindTexture(GL_TEXTURE_2D, texture);
        gl->glGetTexImage(GL_TEXTURE_2D, 0, format, GL_UNSIGNED_BYTE, out.data());
        gl->glBindTexture(GL_TEXTURE_2D, 0);
        gl->glPixelStorei(GL_PACK_ALIGNMENT, 4);
        return out;
    }
    GLint Bound()
    {
        GLint bound = -1;
        gl->glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
        return bound;
    }
};

} // namespace

TEST_F(KestGLTextureTest, IsClampedLinearAndLeftUnbound)
{
    KestGLTexture texture(gl);
    ASSERT_NE(0u, texture.GL_GetTextureId());
    EXPECT_EQ(0, Bound());
    EXPECT_EQ(GL_CLAMP_TO_EDGE, Parameter(texture.GL_GetTextureId(), GL_TEXTURE_WRAP_S));
    EXPECT_EQ(GL_CLAMP_TO_EDGE, Parameter(texture.GL_GetTextureId(), GL_TEXTURE_WRAP_T));
    EXPECT_EQ(GL_LINEAR, Parameter(texture.GL_GetTextureId(), GL_TEXTURE_MIN_FILTER));
    EXPECT_EQ(GL_LINEAR, Parameter(texture.GL_GetTextureId(), GL_TEXTURE_MAG_FILTER));
}

TEST_F(KestGLTextureTest, OddWidthRedPlaneUploadsWithoutRowSkew)
{
    const int w = 13;
    const int h = 7;
    std::vector<unsigned char> plane(w * h);
    for (int r = 0; r < h; r++) {
        for (int c = 0; c < w; c++) {
            plane[r * w + c] = static_cast<unsigned char>(r * 30 + c * 2);
        }
    }
    KestGLTexture texture(gl);
    // Left at GL's default of 4 by the fixture: the upload must change it.
    EXPECT_EQ(0, texture.SetDataRedChannel(plane.data(), w, h));
    GLint alignment = 0;
    gl->glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
    EXPECT_EQ(1, alignment);
    EXPECT_EQ(0, Bound());
    EXPECT_EQ(w, Level(texture.GL_GetTextureId(), GL_TEXTURE_WIDTH));
    EXPECT_EQ(h, Level(texture.GL_GetTextureId(), GL_TEXTURE_HEIGHT));
    EXPECT_EQ(8, Level(texture.GL_GetTextureId(), GL_TEXTURE_RED_SIZE));
    EXPECT_EQ(0, Level(texture.GL_GetTextureId(), GL_TEXTURE_GREEN_SIZE));
    EXPECT_EQ(plane, Texels(texture.GL_GetTextureId(), GL_RED, w * h));

    // Drawn texel for pixel: row r of the plane lands on row r from the bottom.
    KestGLProgram program(kSampleVertex, kSampleFragment, gl);
    program.LinkProgram();
    program.UseProgram();
    gl->glBindTexture(GL_TEXTURE_2D, texture.GL_GetTextureId());
    auto quad = gl_test::MakeQuad(gl, -1, -1, 1, 1);
    gl->glViewport(0, 0, w, h);
    quad->DrawVAO(KEST_GL_DRAW_TRIANGLES);
    gl->glBindTexture(GL_TEXTURE_2D, 0);
    for (int r = 0; r < h; r++) {
        for (int c = 0; c < w; c++) {
            EXPECT_EQ(plane[r * w + c], ReadRgba(c, r).r) << "row " << r << " column " << c;
        }
    }
}

TEST_F(KestGLTextureTest, RedGreenUploadKeepsBothChannels)
{
    unsigned char texels[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14};
    KestGLTexture texture(gl);
    EXPECT_EQ(0, texture.SetDataRGChannel(texels, 7, 1));
    EXPECT_EQ(8, Level(texture.GL_GetTextureId(), GL_TEXTURE_GREEN_SIZE));
    EXPECT_EQ(0, Level(texture.GL_GetTextureId(), GL_TEXTURE_BLUE_SIZE));
    EXPECT_EQ(std::vector<unsigned char>(texels, texels + 14), Texels(texture.GL_GetTextureId(), GL_RG, 14));
}

TEST_F(KestGLTextureTest, RgbaUploadWithoutDataAllocatesStorage)
{
    KestGLTexture texture(gl);
    EXPECT_EQ(0, texture.SetDataRGBAChannel(nullptr, 5, 3));
    EXPECT_EQ(5, Level(texture.GL_GetTextureId(), GL_TEXTURE_WIDTH));
    EXPECT_EQ(3, Level(texture.GL_GetTextureId(), GL_TEXTURE_HEIGHT));
    EXPECT_EQ(8, Level(texture.GL_GetTextureId(), GL_TEXTURE_ALPHA_SIZE));
    unsigned char texels[] = {10, 20, 30, 40, 50, 60, 70, 80};
    EXPECT_EQ(0, texture.SetDataRGBAChannel(texels, 1, 2));
    EXPECT_EQ(std::vector<unsigned char>(texels, texels + 8), Texels(texture.GL_GetTextureId(), GL_RGBA, 8));
}

TEST_F(KestGLTextureTest, DestructorDeletesTheTexture)
{
    GLuint id = 0;
    {
        KestGLTexture texture(gl);
        id = texture.GL_GetTextureId();
        ASSERT_EQ(GL_TRUE, gl->glIsTexture(id));
    }
    EXPECT_EQ(GL_FALSE, gl->glIsTexture(id));
}
