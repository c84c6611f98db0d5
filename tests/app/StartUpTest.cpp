// What main() prepares between the application object and the splash
// window. The test programs' main() sets the OpenGL default itself, so the
// test starts from Qt's own default to see that the preparation sets it.
#include "shell/StartUp.h"

#include "ViewTestSupport.h"

#include <gtest/gtest.h>

#include <QOpenGLContext>
#include <QOpenGLWidget>
#include <QSurfaceFormat>

TEST(StartUpTest, EveryOpenGLWidgetGetsOpenGL33CoreWithDepth24AndStencil8)
{
    QSurfaceFormat::setDefaultFormat(QSurfaceFormat());
    PrepareApplication();

    const QSurfaceFormat asked = QSurfaceFormat::defaultFormat();
    EXPECT_EQ(qMakePair(3, 3), asked.version());
    EXPECT_EQ(QSurfaceFormat::CoreProfile, asked.profile());
    EXPECT_EQ(24, asked.depthBufferSize());
    EXPECT_EQ(8, asked.stencilBufferSize());

    // A widget that asks for nothing itself gets a context of that kind.
    QOpenGLWidget widget;
    widget.resize(64, 64);
    ASSERT_TRUE(view_test::ShowAndExpose(widget));
    ASSERT_TRUE(view_test::WaitUntil([&] { return widget.isValid(); }));
    const QSurfaceFormat got = widget.context()->format();
    EXPECT_GE(got.version(), qMakePair(3, 3));
    EXPECT_EQ(QSurfaceFormat::CoreProfile, got.profile());
    EXPECT_EQ(24, got.depthBufferSize());
    EXPECT_EQ(8, got.stencilBufferSize());
}
