#include "KestGL/KestGLSurfaceFormat.h"

#include <gtest/gtest.h>

using Kest::KestGLSurfaceFormat;

TEST(KestGLSurfaceFormat, CoreFormatIs33CoreWithDepthAndStencil)
{
    const QSurfaceFormat format = KestGLSurfaceFormat::CoreFormat();
    EXPECT_EQ(3, format.majorVersion());
    EXPECT_EQ(3, format.minorVersion());
    EXPECT_EQ(QSurfaceFormat::CoreProfile, format.profile());
    EXPECT_EQ(24, format.depthBufferSize());
    EXPECT_EQ(8, format.stencilBufferSize());
}

TEST(KestGLSurfaceFormat, UseCoreFormatSetsTheDefault)
{
    const QSurfaceFormat before = QSurfaceFormat::defaultFormat();
    KestGLSurfaceFormat::UseCoreFormat();
    EXPECT_EQ(KestGLSurfaceFormat::CoreFormat(), QSurfaceFormat::defaultFormat());
    QSurfaceFormat::setDefaultFormat(before);
}

TEST(KestGLSurfaceFormat, IsCore33AcceptsNewerCoreVersionsOnly)
{
    QSurfaceFormat format;
    format.setProfile(QSurfaceFormat::CoreProfile);
    format.setVersion(3, 3);
    EXPECT_TRUE(KestGLSurfaceFormat::IsCore33(format));
    format.setVersion(4, 5);
    EXPECT_TRUE(KestGLSurfaceFormat::IsCore33(format));
    format.setVersion(3, 2);
    EXPECT_FALSE(KestGLSurfaceFormat::IsCore33(format));
    format.setVersion(4, 5);
    format.setProfile(QSurfaceFormat::CompatibilityProfile);
    EXPECT_FALSE(KestGLSurfaceFormat::IsCore33(format));
}
