#include "KestGL/KestGLSurfaceFormat.h"
#include "GLTestContext.h"

#include "TempDir.h"
#include "core/KestLog.h"

#include <QGuiApplication>
#include <QOpenGLContext>
#include <QWindow>

#include <cstdio>
#include <memory>

namespace gl_test {

namespace {

struct Environment {
    QWindow window;
    QOpenGLContext context;
    QOpenGLFunctions_3_3_Core functions;
};

Environment* environment = nullptr;
lumo_test::TempDir* logDir = nullptr;

} // namespace

const char* const kFlatVertex = "#version 330\n"
                                "layout (location = 0) in vec3 position;"
                                "uniform mat4 mvp = mat4(1.0);"
                                "void main() { gl_Position = mvp * vec4(position, 1.0); }";
const char* const kFlatFragment = "#version 330\n"
                                  "out vec4 color;"
                                  "uniform vec4 paint = vec4(1.0, 0.0, 0.0, 1.0);"
                                  "void main() { color = paint; }";

QOpenGLFunctions_3_3_Core* Functions()
{
    return &environment->functions;
}

void MakeCurrent()
{
    environment->context.makeCurrent(&environment->window);
}

void DoneCurrent()
{
    environment->context.doneCurrent();
}

Rgba ReadRgba(int x, int y)
{
    unsigned char px[4] = {0, 0, 0, 0};
    Functions()->glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, px);
    return Rgba{px[0], px[1], px[2], px[3]};
}

void GLTest::SetUp()
{
    MakeCurrent();
    gl = Functions();
    gl->glBindFramebuffer(GL_FRAMEBUFFER, 0);
    gl->glBindVertexArray(0);
    gl->glUseProgram(0);
    gl->glViewport(0, 0, kSize, kSize);
    gl->glClearColor(0, 0, 0, 1);
    gl->glClear(GL_COLOR_BUFFER_BIT);
    gl->glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    gl->glPixelStorei(GL_PACK_ALIGNMENT, 4);
    logPath = logDir->File(std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + ".log");
    kest_log_path(logPath.c_str());
    kest_log_param(0, 0, 0, 0, 0);
}

void GLTest::TearDown()
{
    kest_log_clear();
    kest_log_path("");
    kest_log_param(1, 1, 1, 1, 1);
    MakeCurrent();
    EXPECT_EQ(static_cast<GLenum>(GL_NO_ERROR), gl->glGetError());
}

std::string GLTest::Log()
{
    kest_log_clear();
    return lumo_test::ReadWholeFile(logPath);
}

} // namespace gl_test

using gl_test::Environment;

// A GL context of at least 3.3 core on the X display, or the program fails:
// these tests are never skipped.
int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    // Listing the tests needs no context.
    if (::testing::GTEST_FLAG(list_tests)) {
        return RUN_ALL_TESTS();
    }
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        fprintf(stderr, "no X display: run the tests on a display (scripts/test provides one)\n");
        return 1;
    }
    // Mesa's shader cache skips compiling sources it has seen before, and
    // their warnings with it; the log tests need every compile for real.
    qputenv("MESA_SHADER_CACHE_DISABLE", "true");
    Kest::KestGLSurfaceFormat::UseCoreFormat();
    QGuiApplication app(argc, argv);

    auto env = std::make_unique<Environment>();
    env->window.setSurfaceType(QSurface::OpenGLSurface);
    env->window.resize(gl_test::kSize, gl_test::kSize);
    env->window.create();
    if (!env->context.create() || !env->context.makeCurrent(&env->window)) {
        fprintf(stderr, "no OpenGL context\n");
        return 1;
    }
    const QSurfaceFormat got = env->context.format();
    if (!Kest::KestGLSurfaceFormat::IsCore33(got)) {
        fprintf(stderr, "OpenGL %d.%d (profile %d) is below 3.3 core\n", got.majorVersion(), got.minorVersion(),
                static_cast<int>(got.profile()));
        return 1;
    }
    if (!env->functions.initializeOpenGLFunctions()) {
        fprintf(stderr, "cannot resolve the OpenGL 3.3 core functions\n");
        return 1;
    }
    lumo_test::TempDir dir;
    gl_test::logDir = &dir;
    gl_test::environment = env.get();
    const int result = RUN_ALL_TESTS();
    gl_test::environment = nullptr;
    gl_test::logDir = nullptr;
    return result;
}
