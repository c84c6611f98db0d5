#include "KestColorSpace/KestColorSpace.h"
#include "KestColorSpace/KestColorSpaceMat.h"
#include "core/KestLog.h"

#include "TempDir.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using namespace Kest;

namespace {

constexpr int kBT709 = KEST_COLOR_SPACE_BT709;
constexpr int kBT2020 = KEST_COLOR_SPACE_BT2020;

Eatrix<float> ColourMatrix(int input, int output)
{
    Eatrix<float> m;
    KestColorSpace::ForSpaces(input, output).GetMat(m);
    return m;
}

void ExpectRows(const Eatrix<float>& m, std::initializer_list<float> values, float tolerance)
{
    ASSERT_EQ(3, m.GetRow());
    ASSERT_EQ(3, m.GetCol());
    std::vector<float> expected(values);
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++) {
            EXPECT_NEAR(expected[i * 3 + j], m(i, j), tolerance) << "element " << i << "," << j;
        }
    }
}

Eatrix<float> Diagonal(float a, float b, float c)
{
    Eatrix<float> m(3, 3);
    m(0, 0) = a;
    m(1, 1) = b;
    m(2, 2) = c;
    return m;
}

} // namespace

TEST(KestColorSpaceMat, SingletonIsOneObject)
{
    EXPECT_EQ(KestColorSpaceMat::GetInstance(), KestColorSpaceMat::GetInstance());
}

TEST(KestColorSpaceMat, LiteralValues)
{
    KestColorSpaceMat* t = KestColorSpaceMat::GetInstance();
    ExpectRows(t->mat_BT2020_RGB_XYZ, {0.637f, 0.1446f, 0.1689f, 0.2627f, 0.678f, 0.0593f, 0, 0.0281f, 1.061f}, 0);
    ExpectRows(t->mat_BT709_RGB_XYZ, {0.4124f, 0.3576f, 0.1805f, 0.2126f, 0.7152f, 0.0722f, 0.0193f, 0.1192f, 0.9505f},
               0);
    ExpectRows(t->mat_SRGB_RGB_XYZ, {0.4124f, 0.3576f, 0.1805f, 0.2126f, 0.7152f, 0.0722f, 0.0193f, 0.1192f, 0.9505f},
               0);
    ExpectRows(t->mat_ADOBE_RGB_XYZ,
               {0.57667f, 0.18555f, 0.18819f, 0.29738f, 0.62735f, 0.07527f, 0.02703f, 0.07069f, 0.9911f}, 0);
    ExpectRows(t->mat_BT601_YUV_RGB, {1, 0, 1.4017f, 1, -0.3437f, -0.7142f, 1, 1.7722f, 0}, 0);
    ExpectRows(t->mat_BT2020_YUV_RGB, {1, -0.0f, 1.4746f, 1, -0.1645f, -0.5713f, 1, 1.8814f, -0.0001f}, 0);
}

TEST(KestColorSpaceMat, BT709InputUsesTheBT601StyleMatrix)
{
    KestColorSpaceMat* t = KestColorSpaceMat::GetInstance();
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++) {
            EXPECT_EQ(t->mat_BT601_YUV_RGB(i, j), t->mat_BT709_YUV_RGB(i, j));
        }
    }
    EXPECT_NE(&t->mat_BT601_YUV_RGB(0, 0), &t->mat_BT709_YUV_RGB(0, 0));
}

TEST(KestColorSpaceMat, BT2020KeepsItsNegativeZero)
{
    EXPECT_TRUE(std::signbit(KestColorSpaceMat::GetInstance()->mat_BT2020_YUV_RGB(0, 1)));
}

TEST(KestColorSpace, EmptyChainGivesIdentity)
{
    KestColorSpace chain;
    Eatrix<float> m(2, 5);
    EXPECT_EQ(0, chain.GetMat(m));
    ExpectRows(m, {1, 0, 0, 0, 1, 0, 0, 0, 1}, 0);
}

TEST(KestColorSpace, FirstAddedIsFirstApplied)
{
    Eatrix<float> a(3, 3);
    a(0, 1) = 1; // adds the second component to the first
    Eatrix<float> b = Diagonal(2, 3, 4);
    KestColorSpace chain;
    chain.AddEatrix(a);
    chain.AddEatrix(b);
    Eatrix<float> m;
    chain.GetMat(m);
    // b * a, not a * b.
    ExpectRows(m, {2, 2, 0, 0, 3, 0, 0, 0, 4}, 0);
}

TEST(KestColorSpace, ChainKeepsCopies)
{
    Eatrix<float> a = Diagonal(2, 2, 2);
    KestColorSpace chain;
    chain.AddEatrix(a);
    a(0, 0) = 9;
    Eatrix<float> m;
    chain.GetMat(m);
    EXPECT_EQ(2, m(0, 0));
}

TEST(KestColorSpace, ReferenceTableBT709ToBT709)
{
    ExpectRows(ColourMatrix(kBT709, kBT709), {1, 0, 1.4017f, 1, -0.3437f, -0.7142f, 1, 1.7722f, 0}, 5e-5f);
}

TEST(KestColorSpace, ReferenceTableBT709ToBT2020)
{
    ExpectRows(ColourMatrix(kBT709, kBT2020),
               {1, -0.0364f, 0.6442f, 1, -0.2959f, -0.5600f, 0.9999f, 1.5569f, -0.0399f}, 5e-5f);
}

TEST(KestColorSpace, ReferenceTableBT2020ToBT709)
{
    ExpectRows(ColourMatrix(kBT2020, kBT709),
               {1, -0.0404f, 2.7842f, 1, -0.2021f, -0.8307f, 1.0001f, 2.1214f, 0.0306f}, 5e-5f);
}

TEST(KestColorSpace, ReferenceTableBT2020ToBT2020)
{
    ExpectRows(ColourMatrix(kBT2020, kBT2020), {1, 0, 1.4746f, 1, -0.1645f, -0.5713f, 1, 1.8814f, -0.0001f}, 5e-5f);
}

TEST(KestColorSpace, ForSpacesChainsYuvToRgbToXyzToOutputRgb)
{
    KestColorSpaceMat* t = KestColorSpaceMat::GetInstance();
    // The same chain built by hand, with a probe column through both.
    KestColorSpace byHand;
    byHand.AddEatrix(t->mat_BT2020_YUV_RGB);
    byHand.AddEatrix(t->mat_BT2020_RGB_XYZ);
    byHand.AddEatrix(!t->mat_BT709_RGB_XYZ);
    Eatrix<float> expected;
    byHand.GetMat(expected);
    const Eatrix<float> got = ColourMatrix(kBT2020, kBT709);
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++) {
            EXPECT_EQ(expected(i, j), got(i, j));
        }
    }
}

TEST(KestColorSpace, UnknownSpaceIndexCountsAsBT709)
{
    const Eatrix<float> a = ColourMatrix(7, -1);
    const Eatrix<float> b = ColourMatrix(kBT709, kBT709);
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++) {
            EXPECT_EQ(b(i, j), a(i, j));
        }
    }
}

TEST(KestColorSpace, EqualSpacesGiveTheInputMatrixWithinRounding)
{
    KestColorSpaceMat* t = KestColorSpaceMat::GetInstance();
    const Eatrix<float> m709 = ColourMatrix(kBT709, kBT709);
    const Eatrix<float> m2020 = ColourMatrix(kBT2020, kBT2020);
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++) {
            EXPECT_NEAR(t->mat_BT709_YUV_RGB(i, j), m709(i, j), 2e-6f);
            EXPECT_NEAR(t->mat_BT2020_YUV_RGB(i, j), m2020(i, j), 2e-6f);
        }
    }
}

TEST(KestColorSpace, BT709InputDecodesAKnownColour)
{
    Eatrix<float> m = ColourMatrix(kBT709, kBT709);
    Eatrix3x1<float> yuv;
    const float values[3] = {0.5f, 0.0f, 0.1f};
    yuv.SetData(values, 3);
    Eatrix<float> rgb = m * yuv;
    EXPECT_NEAR(0.64017f, rgb(0, 0), 1e-5f);
    EXPECT_NEAR(0.42858f, rgb(1, 0), 1e-5f);
    EXPECT_NEAR(0.5f, rgb(2, 0), 1e-5f);
}

TEST(KestColorSpace, RgbToXyzInversesMultiplyBackToIdentity)
{
    KestColorSpaceMat* t = KestColorSpaceMat::GetInstance();
    for (const Eatrix<float>* m : {&t->mat_BT2020_RGB_XYZ, &t->mat_BT709_RGB_XYZ, &t->mat_SRGB_RGB_XYZ,
                                   &t->mat_ADOBE_RGB_XYZ}) {
        const Eatrix<float> product = *m * !*m;
        ExpectRows(product, {1, 0, 0, 0, 1, 0, 0, 0, 1}, 2e-6f);
    }
}

TEST(KestColorSpace, ConvertAppliesTheChainAndLogsEachMatrix)
{
    lumo_test::TempDir dir;
    kest_log_path(dir.File("log.txt").c_str());
    kest_log_param(0, 0, 0, 0, 0);

    KestColorSpace chain;
    chain.AddEatrix(Diagonal(2, 2, 2));
    chain.AddEatrix(Diagonal(1, 10, 100));
    Eatrix3x1<float> v;
    const float values[3] = {1, 2, 3};
    v.SetData(values, 3);
    Eatrix3x1<float> r = chain.Convert(v);

    kest_log_clear();
    kest_log_path("");
    kest_log_param(1, 1, 1, 1, 1);
    ExpectRows(Eatrix<float>(3, 3), {1, 0, 0, 0, 1, 0, 0, 0, 1}, 0);
    EXPECT_EQ(2, r(0, 0));
    EXPECT_EQ(40, r(1, 0));
    EXPECT_EQ(600, r(2, 0));
    EXPECT_EQ("output:(3,3)\n 2.0000  0.0000  0.0000 \n 0.0000  2.0000  0.0000 \n 0.0000  0.0000  2.0000 \n"
              "output:(3,3)\n 1.0000  0.0000  0.0000 \n 0.0000  10.0000  0.0000 \n 0.0000  0.0000  100.0000 \n",
              lumo_test::ReadWholeFile(dir.File("log.txt")));
}
