#include "AppVersions.h"

#include <gtest/gtest.h>

using lumo_service::AppVersions;

TEST(AppVersionsTest, AcceptsOneToFourDotSeparatedNumbers)
{
    EXPECT_TRUE(AppVersions::PlausibleVersion("3"));
    EXPECT_TRUE(AppVersions::PlausibleVersion("3.1.0"));
    EXPECT_TRUE(AppVersions::PlausibleVersion("10.20.30.40"));
}

TEST(AppVersionsTest, RefusesEmptyPartsLettersAndMoreThanFourParts)
{
    EXPECT_FALSE(AppVersions::PlausibleVersion(""));
    EXPECT_FALSE(AppVersions::PlausibleVersion("3..0"));
    EXPECT_FALSE(AppVersions::PlausibleVersion("3.0."));
    EXPECT_FALSE(AppVersions::PlausibleVersion(".3"));
    EXPECT_FALSE(AppVersions::PlausibleVersion("3.1.0-beta"));
    EXPECT_FALSE(AppVersions::PlausibleVersion("1.2.3.4.5"));
    EXPECT_FALSE(AppVersions::PlausibleVersion("3.1'; DROP TABLE versions; --"));
}

TEST(AppVersionsTest, AppNamesAreShortPlainWords)
{
    EXPECT_TRUE(AppVersions::PlausibleApp("YUVLumo"));
    EXPECT_TRUE(AppVersions::PlausibleApp("yuv-lumo_2.x"));
    EXPECT_FALSE(AppVersions::PlausibleApp(""));
    EXPECT_FALSE(AppVersions::PlausibleApp(std::string(65, 'a')));
    EXPECT_FALSE(AppVersions::PlausibleApp("YUV Lumo"));
    EXPECT_FALSE(AppVersions::PlausibleApp("应用"));
}
