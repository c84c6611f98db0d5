#include "KestAV/KestAVCropUtil.h"
#include "KestAV/KestAVFrame.h"
#include "KestAV/KestAVPixelFormat.h"
#include "KestAV/KestAVRational.h"
#include "KestAV/KestAVTool.h"
#include "KestAV/KestYUVLen.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using namespace Kest;

namespace {

struct Geometry {
    int yWidth, uWidth, vWidth, uvWidth;
    int yHeight, uHeight, vHeight, uvHeight;
};

void ExpectGeometry(const Geometry& g, const KestYUVLen& len)
{
    EXPECT_EQ(g.yWidth, len.yWidth);
    EXPECT_EQ(g.uWidth, len.uWidth);
    EXPECT_EQ(g.vWidth, len.vWidth);
    EXPECT_EQ(g.uvWidth, len.uvWidth);
    EXPECT_EQ(g.yHeight, len.yHeight);
    EXPECT_EQ(g.uHeight, len.uHeight);
    EXPECT_EQ(g.vHeight, len.vHeight);
    EXPECT_EQ(g.uvHeight, len.uvHeight);
    EXPECT_EQ(g.yWidth * g.yHeight, len.yLen);
    EXPECT_EQ(g.uWidth * g.uHeight, len.uLen);
    EXPECT_EQ(g.vWidth * g.vHeight, len.vLen);
    EXPECT_EQ(g.uvWidth * g.uvHeight, len.uvLen);
}

KestYUVLen Prefilled()
{
    KestYUVLen len;
    len.yLen = len.uLen = len.vLen = len.uvLen = 99;
    len.yWidth = 7;
    len.uWidth = 6;
    len.vWidth = 5;
    len.uvWidth = 4;
    len.yHeight = 3;
    len.uHeight = 2;
    len.vHeight = 1;
    len.uvHeight = 8;
    return len;
}

struct Crop {
    int width = -1;
    int height = -1;
    int offsetX = 77;
    int offsetY = 88;
};

Crop GetCrop(int viewWidth, int viewHeight, int imageWidth, int imageHeight, KestAVCropType type)
{
    Crop c;
    EXPECT_EQ(0, KestAVCropUtil::GetCrop(viewWidth, viewHeight, imageWidth, imageHeight, c.width, c.height,
                                         c.offsetX, c.offsetY, type));
    return c;
}

} // namespace

TEST(KestAVRational, DefaultIsZeroOverZero)
{
    KestAVRational r;
    EXPECT_EQ(0, r.num);
    EXPECT_EQ(0, r.den);
}

TEST(KestAVRational, CopyAndAssignmentCopyBothParts)
{
    const KestAVRational a(1, 12800);
    KestAVRational b(a);
    EXPECT_EQ(1, b.num);
    EXPECT_EQ(12800, b.den);
    KestAVRational c(-3, 7);
    c = a;
    EXPECT_EQ(1, c.num);
    EXPECT_EQ(12800, c.den);
}

TEST(KestAVPixelFormat, ConvertsToFFmpegNumbers)
{
    const std::vector<std::pair<KestAVPixelFormat, int>> table = {
        {PIX_UNKNOWN, -1}, {PIX_YUV420P, 0}, {PIX_NV12, 23},    {PIX_NV21, 24}, {PIX_YUV422P, 4},
        {PIX_YUYV422, 1},  {PIX_YUV444P, 5}, {PIX_YUVJ420P, 12}, {PIX_RGBA, 26}, {PIX_RGB8, 20},
    };
    for (const auto& [kest, ffmpeg] : table) {
        EXPECT_EQ(ffmpeg, ToFFmpegPixelFormat(kest)) << "Kest value " << kest;
    }
}

TEST(KestAVPixelFormat, UnknownKestValuesConvertToMinusOne)
{
    EXPECT_EQ(-1, ToFFmpegPixelFormat(static_cast<KestAVPixelFormat>(150)));
    EXPECT_EQ(-1, ToFFmpegPixelFormat(static_cast<KestAVPixelFormat>(0)));
    EXPECT_EQ(-1, ToFFmpegPixelFormat(static_cast<KestAVPixelFormat>(100000)));
}

TEST(KestAVPixelFormat, ConvertsFromFFmpegNumbersAsymmetrically)
{
    const std::vector<std::pair<int, KestAVPixelFormat>> table = {
        {0, PIX_YUV420P},  {23, PIX_NV12},    {24, PIX_NV21},    {4, PIX_YUV422P}, {13, PIX_YUV422P},
        {1, PIX_YUYV422},  {5, PIX_YUV444P},  {14, PIX_YUV444P}, {12, PIX_YUVJ420P}, {26, PIX_RGBA},
        {20, PIX_UNKNOWN}, {-1, PIX_UNKNOWN}, {2, PIX_UNKNOWN},  {999, PIX_UNKNOWN},
    };
    for (const auto& [ffmpeg, kest] : table) {
        EXPECT_EQ(kest, ToKestPixelFormat(ffmpeg)) << "FFmpeg value " << ffmpeg;
    }
}

TEST(KestAVPixelFormat, Rgb8DoesNotSurviveTheRoundTrip)
{
    EXPECT_EQ(PIX_UNKNOWN, ToKestPixelFormat(ToFFmpegPixelFormat(PIX_RGB8)));
    EXPECT_EQ(PIX_YUV422P, ToKestPixelFormat(13));
    EXPECT_EQ(PIX_YUVJ420P, ToKestPixelFormat(ToFFmpegPixelFormat(PIX_YUVJ420P)));
}

TEST(KestYUVLen, StartsAtZero)
{
    KestYUVLen len;
    ExpectGeometry({0, 0, 0, 0, 0, 0, 0, 0}, len);
}

TEST(KestAVTool, Yuv420pOddSizeRoundsChromaDown)
{
    KestYUVLen len;
    EXPECT_EQ(0, KestAVTool::GetYUVLen(5, 3, len, PIX_YUV420P));
    ExpectGeometry({5, 2, 2, 0, 3, 1, 1, 0}, len);
    EXPECT_EQ(15, len.yLen);
    EXPECT_EQ(2, len.uLen);
    EXPECT_EQ(2, len.vLen);
    EXPECT_EQ(0, len.uvLen);
}

TEST(KestAVTool, Nv12AndNv21HaveOneInterleavedChromaPlane)
{
    for (KestAVPixelFormat format : {PIX_NV12, PIX_NV21}) {
        KestYUVLen len = Prefilled();
        KestAVTool::GetYUVLen(6, 5, len, format);
        ExpectGeometry({6, 0, 0, 6, 5, 0, 0, 2}, len);
    }
}

TEST(KestAVTool, Yuv422pHalvesOnlyTheWidth)
{
    KestYUVLen len = Prefilled();
    KestAVTool::GetYUVLen(7, 4, len, PIX_YUV422P);
    ExpectGeometry({7, 3, 3, 0, 4, 4, 4, 0}, len);
}

TEST(KestAVTool, Yuv444pHasThreeFullPlanes)
{
    KestYUVLen len = Prefilled();
    KestAVTool::GetYUVLen(7, 4, len, PIX_YUV444P);
    ExpectGeometry({7, 7, 7, 0, 4, 4, 4, 0}, len);
}

TEST(KestAVTool, UnknownFormatZeroesSizesAndWidthsButKeepsHeights)
{
    KestYUVLen len = Prefilled();
    KestAVTool::GetYUVLen(64, 48, len, PIX_UNKNOWN);
    ExpectGeometry({0, 0, 0, 0, 3, 2, 1, 8}, len);
}

TEST(KestAVTool, FormatsWithoutARuleKeepTheCallersGeometry)
{
    for (KestAVPixelFormat format : {PIX_YUYV422, PIX_YUVJ420P, PIX_RGBA, PIX_RGB8}) {
        KestYUVLen len = Prefilled();
        KestAVTool::GetYUVLen(64, 48, len, format);
        ExpectGeometry({7, 6, 5, 4, 3, 2, 1, 8}, len);
    }
}

TEST(KestAVTool, FrameOverloadUsesTheFramesSizeAndFormat)
{
    KestAVFrame frame;
    ASSERT_EQ(0, frame.SetNULLData(6, 4, PIX_NV21));
    KestYUVLen len;
    EXPECT_EQ(0, KestAVTool::GetYUVLen(frame, len));
    ExpectGeometry({6, 0, 0, 6, 4, 0, 0, 2}, len);
}

TEST(KestAVTool, ConstructsAsAnObjectToo)
{
    KestAVTool tool;
    KestYUVLen len;
    EXPECT_EQ(0, tool.GetYUVLen(4, 2, len, PIX_YUV420P));
    EXPECT_EQ(2, len.uLen);
}

TEST(KestAVCropUtil, FitOfAWideImageKeepsTheSinglePrecisionTruncation)
{
    const Crop c = GetCrop(800, 600, 1920, 1080, CROP_FIT);
    EXPECT_EQ(800, c.width);
    EXPECT_EQ(449, c.height);
    EXPECT_EQ(77, c.offsetX);
    EXPECT_EQ(88, c.offsetY);
}

TEST(KestAVCropUtil, FitOfATallImageIsHeightLed)
{
    const Crop c = GetCrop(800, 600, 1080, 1920, CROP_FIT);
    EXPECT_EQ(337, c.width);
    EXPECT_EQ(600, c.height);
}

TEST(KestAVCropUtil, HeightLedProductStaysInSinglePrecision)
{
    // 0.7 is 0.69999999 as a float; 1000 times it rounds to 700 in single
    // precision but would truncate to 699 in double.
    const Crop c = GetCrop(800, 1000, 700, 1000, CROP_FIT);
    EXPECT_EQ(700, c.width);
    EXPECT_EQ(1000, c.height);
}

TEST(KestAVCropUtil, FitOfASquareImageIsHeightLed)
{
    const Crop c = GetCrop(800, 600, 500, 500, CROP_FIT);
    EXPECT_EQ(600, c.width);
    EXPECT_EQ(600, c.height);
}

TEST(KestAVCropUtil, FitLooksOnlyAtTheImageShape)
{
    // A wide image follows the view's width even when the view is tall.
    const Crop wide = GetCrop(100, 1000, 1920, 1080, CROP_FIT);
    EXPECT_EQ(100, wide.width);
    EXPECT_EQ(56, wide.height);
    // A tall image follows the view's height and can come out wider than
    // the view.
    const Crop tall = GetCrop(100, 900, 1080, 1920, CROP_FIT);
    EXPECT_EQ(506, tall.width);
    EXPECT_EQ(900, tall.height);
}

TEST(KestAVCropUtil, FullIsTheViewSize)
{
    const Crop c = GetCrop(800, 600, 1920, 1080, CROP_FULL);
    EXPECT_EQ(800, c.width);
    EXPECT_EQ(600, c.height);
    EXPECT_EQ(77, c.offsetX);
    EXPECT_EQ(88, c.offsetY);
}

TEST(KestAVCropUtil, OffsetAWritesOutMinusViewForWideAndViewMinusOutForTall)
{
    const Crop wide = GetCrop(800, 600, 1920, 1080, CROP_FIT_OFFSET_A);
    EXPECT_EQ(800, wide.width);
    EXPECT_EQ(449, wide.height);
    EXPECT_EQ(77, wide.offsetX);
    EXPECT_EQ(449 - 600, wide.offsetY);
    const Crop tall = GetCrop(800, 600, 1080, 1920, CROP_FIT_OFFSET_A);
    EXPECT_EQ(337, tall.width);
    EXPECT_EQ(600, tall.height);
    EXPECT_EQ(800 - 337, tall.offsetX);
    EXPECT_EQ(88, tall.offsetY);
}

TEST(KestAVCropUtil, OffsetBHasTheOppositeSigns)
{
    const Crop wide = GetCrop(800, 600, 1920, 1080, CROP_FIT_OFFSET_B);
    EXPECT_EQ(800, wide.width);
    EXPECT_EQ(449, wide.height);
    EXPECT_EQ(77, wide.offsetX);
    EXPECT_EQ(600 - 449, wide.offsetY);
    const Crop tall = GetCrop(800, 600, 1080, 1920, CROP_FIT_OFFSET_B);
    EXPECT_EQ(337, tall.width);
    EXPECT_EQ(600, tall.height);
    EXPECT_EQ(337 - 800, tall.offsetX);
    EXPECT_EQ(88, tall.offsetY);
}

TEST(KestAVCropUtil, OriginalIsTheImageSize)
{
    const Crop c = GetCrop(800, 600, 1920, 1080, CROP_ORIGINAL);
    EXPECT_EQ(1920, c.width);
    EXPECT_EQ(1080, c.height);
    EXPECT_EQ(77, c.offsetX);
    EXPECT_EQ(88, c.offsetY);
}

TEST(KestAVCropUtil, FillSwapsTheLeadingSide)
{
    const Crop wide = GetCrop(800, 600, 1920, 1080, CROP_FILL);
    EXPECT_EQ(1066, wide.width);
    EXPECT_EQ(600, wide.height);
    const Crop tall = GetCrop(800, 600, 1080, 1920, CROP_FILL);
    EXPECT_EQ(800, tall.width);
    EXPECT_EQ(1422, tall.height);
}

TEST(KestAVCropUtil, FitNoEnlargeStartsFromTheSmallerSize)
{
    // 4:3 in single precision is 1.33333337, so 320 wide gives 239 rows.
    const Crop small = GetCrop(800, 600, 320, 240, CROP_FIT_NO_ENLARGE);
    EXPECT_EQ(320, small.width);
    EXPECT_EQ(239, small.height);
    const Crop tallSmall = GetCrop(800, 600, 240, 320, CROP_FIT_NO_ENLARGE);
    EXPECT_EQ(240, tallSmall.width);
    EXPECT_EQ(320, tallSmall.height);
    const Crop large = GetCrop(800, 600, 1920, 1080, CROP_FIT_NO_ENLARGE);
    EXPECT_EQ(800, large.width);
    EXPECT_EQ(449, large.height);
}

TEST(KestAVCropUtil, UnknownTypeLeavesTheViewSize)
{
    const Crop c = GetCrop(800, 600, 1920, 1080, static_cast<KestAVCropType>(7));
    EXPECT_EQ(800, c.width);
    EXPECT_EQ(600, c.height);
    EXPECT_EQ(77, c.offsetX);
    EXPECT_EQ(88, c.offsetY);
}

TEST(KestAVCropUtil, ShortOverloadMatchesTheLongOne)
{
    KestAVCropUtil util;
    for (int type = 0; type <= 6; type++) {
        int width = 0;
        int height = 0;
        EXPECT_EQ(0, util.GetCrop(800, 600, 1080, 1920, width, height, static_cast<KestAVCropType>(type)));
        const Crop c = GetCrop(800, 600, 1080, 1920, static_cast<KestAVCropType>(type));
        EXPECT_EQ(c.width, width) << "type " << type;
        EXPECT_EQ(c.height, height) << "type " << type;
    }
}
