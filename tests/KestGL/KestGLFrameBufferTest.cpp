#include "GLTestContext.h"
#include "Quad.h"

#include "KestGL/KestGLComponent.h"
#include "KestGL/KestGLDraw.h"
#include "KestGL/KestGLFrameBuffer.h"
#include "KestGL/KestGLTexture.h"

#include <QOpenGLContext>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using namespace Kest;
using gl_test::GLTest;
using gl_test::kSize;
using gl_test::ReadRgba;

namespace {

const char* const kGreenFragment = "#version 330\n"
                                   "out vec4 color;"
                                   "void main() { color = vec4(0.0, 1.0, 0.0, 1.0); }";
const char* const kBlueFragment = "#version 330\n"
                                  "out vec4 color;"
                                  "void main() { color = vec4(0.0, 0.0, 1.0, 1.0); }";

// Writes what happens to it into a shared journal.
class JournalComponent : public KestGLComponent {
public:
    JournalComponent(std::string name, std::vector<std::string>& journal) : name(std::move(name)), journal(journal) {}
    int Draw() override
    {
        journal.push_back(name + " " + std::to_string(viewportWidth) + "x" + std::to_string(viewportHeight));
        return 0;
    }

private:
    std::string name;
    std::vector<std::string>& journal;
};

class KestGLFrameBufferTest : public GLTest {
protected:
    std::unique_ptr<KestGLDraw> MakeDraw(const char* fragment)
    {
        auto draw = std::make_unique<KestGLDraw>(gl_test::kFlatVertex, fragment, gl);
        draw->Init();
        draw->SetVAO(quad.get());
        return draw;
    }
    GLint Bound()
    {
        GLint bound = -1;
        gl->glGetIntegerv(GL_FRAMEBUFFER_BINDING, &bound);
        return bound;
    }
    // Blue, green, red of pixel (x, y) of the target.
    std::vector<int> Bgr(KestGLFrameBuffer& target, int x, int y)
    {
        unsigned char px[4] = {0, 0, 0, 0};
        target.ReadPixel(x, y, 1, 1, px);
        return {px[0], px[1], px[2]};
    }

    void SetUp() override
    {
        GLTest::SetUp();
        quad = gl_test::MakeQuad(gl, -1, -1, 1, 1);
    }
    void TearDown() override
    {
        quad.reset();
        GLTest::TearDown();
    }

    std::unique_ptr<KestGLVAO> quad;
};

} // namespace

TEST_F(KestGLFrameBufferTest, TextureTargetIsCompleteAndLeftBound)
{
    KestGLTexture texture(gl);
    KestGLFrameBuffer target(16, 8, &texture, gl);
    ASSERT_NE(0u, target.GL_GetFrameBufferId());
    EXPECT_EQ(static_cast<GLint>(target.GL_GetFrameBufferId()), Bound());
    EXPECT_EQ(static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE), gl->glCheckFramebufferStatus(GL_FRAMEBUFFER));
    GLint width = 0;
    GLint alpha = 0;
    gl->glBindTexture(GL_TEXTURE_2D, texture.GL_GetTextureId());
    gl->glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &width);
    gl->glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_ALPHA_SIZE, &alpha);
    gl->glBindTexture(GL_TEXTURE_2D, 0);
    EXPECT_EQ(16, width);
    EXPECT_EQ(8, alpha);
    EXPECT_EQ("", Log());
}

TEST_F(KestGLFrameBufferTest, DrawGoesIntoTheTextureAndNotToTheScreen)
{
    KestGLTexture texture(gl);
    KestGLFrameBuffer target(16, 8, &texture, gl);
    auto red = MakeDraw(gl_test::kFlatFragment);
    EXPECT_EQ(0, target.AddDraw(red.get()));
    EXPECT_EQ(0, target.Draw());
    EXPECT_EQ(0, Bound());
    GLint viewport[4] = {0, 0, 0, 0};
    gl->glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(16, viewport[2]);
    EXPECT_EQ(8, viewport[3]);
    EXPECT_EQ((std::vector<int>{0, 0, 255}), Bgr(target, 15, 7));
    EXPECT_EQ(0, ReadRgba(kSize / 2, kSize / 2).r);
}

TEST_F(KestGLFrameBufferTest, DrawsThenComponentsInInsertionOrder)
{
    KestGLTexture texture(gl);
    KestGLFrameBuffer target(16, 8, &texture, gl);
    auto red = MakeDraw(gl_test::kFlatFragment);
    auto green = MakeDraw(kGreenFragment);
    target.AddDraw(red.get());
    target.AddDraw(green.get());
    std::vector<std::string> journal;
    JournalComponent first("first", journal);
    JournalComponent second("second", journal);
    EXPECT_EQ(0, target.AddComponent(&first));
    EXPECT_EQ(0, target.AddComponent(&second));
    target.Draw();
    EXPECT_EQ((std::vector<int>{0, 255, 0}), Bgr(target, 3, 3));
    EXPECT_EQ((std::vector<std::string>{"first 16x8", "second 16x8"}), journal);

    EXPECT_EQ(0, target.ClearAllComponent());
    auto blue = MakeDraw(kBlueFragment);
    target.AddDraw(blue.get());
    target.Draw();
    EXPECT_EQ((std::vector<int>{255, 0, 0}), Bgr(target, 3, 3));
    EXPECT_EQ(2u, journal.size());
}

TEST_F(KestGLFrameBufferTest, ClearPaintsWhiteOrTheColourGiven)
{
    KestGLTexture texture(gl);
    KestGLFrameBuffer target(16, 8, &texture, gl);
    EXPECT_EQ(0, target.Clear());
    EXPECT_EQ(0, Bound());
    EXPECT_EQ((std::vector<int>{255, 255, 255}), Bgr(target, 0, 0));
    EXPECT_EQ(0, target.Clear(0.0f, 0.0f, 1.0f, 1.0f));
    EXPECT_EQ((std::vector<int>{255, 0, 0}), Bgr(target, 15, 7));
    EXPECT_EQ(0, ReadRgba(kSize / 2, kSize / 2).b);
}

TEST_F(KestGLFrameBufferTest, ReadPixelDeliversBlueFirstRowsBottomUp)
{
    KestGLTexture texture(gl);
    KestGLFrameBuffer target(4, 2, &texture, gl);
    target.Clear(0.0f, 0.0f, 1.0f, 1.0f);
    // Red over the top row only.
    auto top = gl_test::MakeQuad(gl, -1, 0, 1, 1);
    auto red = std::make_unique<KestGLDraw>(gl_test::kFlatVertex, gl_test::kFlatFragment, gl);
    red->Init();
    red->SetVAO(top.get());
    target.AddDraw(red.get());
    target.Draw();
    std::vector<unsigned char> out(4 * 2 * 3, 0);
    EXPECT_EQ(0, target.ReadPixel(0, 0, 4, 2, out.data()));
    EXPECT_EQ(0, Bound());
    for (int x = 0; x < 4; x++) {
        EXPECT_EQ(255, out[x * 3]) << x;
        EXPECT_EQ(0, out[x * 3 + 2]) << x;
        EXPECT_EQ(0, out[12 + x * 3]) << x;
        EXPECT_EQ(255, out[12 + x * 3 + 2]) << x;
    }
}

TEST_F(KestGLFrameBufferTest, WithoutATextureEverythingGoesToTheScreen)
{
    KestGLFrameBuffer screen(kSize, kSize, nullptr, gl);
    EXPECT_EQ(0u, screen.GL_GetFrameBufferId());
    auto red = MakeDraw(gl_test::kFlatFragment);
    screen.AddDraw(red.get());
    screen.Draw();
    EXPECT_EQ(255, ReadRgba(1, 1).r);
    EXPECT_EQ("", Log());
}

TEST_F(KestGLFrameBufferTest, IncompleteTargetIsLoggedAndReplacedByTheScreen)
{
    // An immutable depth texture: the RGBA reallocation is refused, so the
    // attachment cannot be rendered to.
    using TexStorage2D = void (*)(GLenum, GLsizei, GLenum, GLsizei, GLsizei);
    auto texStorage2D =
        reinterpret_cast<TexStorage2D>(QOpenGLContext::currentContext()->getProcAddress("glTexStorage2D"));
    ASSERT_NE(nullptr, texStorage2D);
    KestGLTexture texture(gl);
    gl->glBindTexture(GL_TEXTURE_2D, texture.GL_GetTextureId());
    texStorage2D(GL_TEXTURE_2D, 1, GL_DEPTH_COMPONENT24, kSize, kSize);
    gl->glBindTexture(GL_TEXTURE_2D, 0);

    KestGLFrameBuffer target(kSize, kSize, &texture, gl);
    EXPECT_EQ(static_cast<GLenum>(GL_INVALID_OPERATION), gl->glGetError());
    EXPECT_EQ(0u, target.GL_GetFrameBufferId());
    // Deleted, not merely forgotten: it would still be bound otherwise.
    EXPECT_EQ(0, Bound());
    EXPECT_EQ("GL_FRAMEBUFFER_COMPLETE Error!!!!\n", Log());

    target.Clear(0.0f, 1.0f, 0.0f, 1.0f);
    EXPECT_EQ(255, ReadRgba(kSize / 2, kSize / 2).g);
    auto red = MakeDraw(gl_test::kFlatFragment);
    target.AddDraw(red.get());
    target.Draw();
    EXPECT_EQ(255, ReadRgba(kSize / 2, kSize / 2).r);
    EXPECT_EQ((std::vector<int>{0, 0, 255}), Bgr(target, 0, 0));
}

TEST_F(KestGLFrameBufferTest, DestructorDeletesTheFrameBuffer)
{
    KestGLTexture texture(gl);
    GLuint id = 0;
    {
        KestGLFrameBuffer target(4, 4, &texture, gl);
        id = target.GL_GetFrameBufferId();
        ASSERT_EQ(GL_TRUE, gl->glIsFramebuffer(id));
    }
    EXPECT_EQ(GL_FALSE, gl->glIsFramebuffer(id));
}
