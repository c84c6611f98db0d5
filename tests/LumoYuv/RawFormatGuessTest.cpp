// What a raw file's name says about its size and layout.

#include "lumo/RawFormatGuess.h"
#include "lumo/YUVTypeInstance.h"

#include <gtest/gtest.h>

namespace {

struct Case {
    const char* path;
    int width;
    int height;
    const char* layout; // "" when none
};

TEST(RawFormatGuessTest, CommonNamesGiveSizeAndLayout)
{
    const Case cases[] = {
        {"clip_1920x1080_nv12.yuv", 1920, 1080, "NV12"},
        {"1280x720.yuv", 1280, 720, ""},
        {"foo_p010_3840x2160.yuv", 3840, 2160, "P010"},
        {"/videos/a_b/akiyo_qcif.yuv", 176, 144, ""},
        {"bus_cif_yuv420p.yuv", 352, 288, "I420"},
        {"x_720p_I420.yuv", 1280, 720, "I420"},
        {"out.1920X1080.yuyv", 1920, 1080, "YUYV"},
        {"cam-640x480-yuy2.raw", 640, 480, "YUYV"},
        {"tears_yuv420p10le_4096x2160.yuv", 4096, 2160, "I420P10"},
        {"t_yuv444p_16x16.yuv", 16, 16, "I444"},
        {"t_gray_16x16.y", 16, 16, "GRAY"},
        {"nv21_only.yuv", 0, 0, "NV21"},
        {"a_4k_uyvy.yuv", 3840, 2160, "UYVY"},
    };
    for (const Case& c : cases) {
        lumo::RawFormatGuess guess;
        EXPECT_TRUE(lumo::GuessRawFormat(c.path, guess)) << c.path;
        EXPECT_EQ(guess.width, c.width) << c.path;
        EXPECT_EQ(guess.height, c.height) << c.path;
        EXPECT_EQ(guess.type.idName, c.layout) << c.path;
    }
}

TEST(RawFormatGuessTest, NamesWithoutHintsGiveNothing)
{
    for (const char* path : {"clip.yuv", "", "/", "a/b/c", "x.264", "nv12x/clip.yuv", "v12.yuv",
                             "0x0.yuv", "99999999x5.yuv", "1920x.yuv", "x1080.yuv"}) {
        lumo::RawFormatGuess guess;
        guess.width = 5;
        EXPECT_FALSE(lumo::GuessRawFormat(path, guess)) << path;
        EXPECT_EQ(guess.width, 0) << path;
        EXPECT_EQ(guess.type, lumo::YUVType::YUV_TYPE_UNKNOW) << path;
    }
}

TEST(RawFormatGuessTest, OnlyTheLastPathComponentCounts)
{
    lumo::RawFormatGuess guess;
    EXPECT_FALSE(lumo::GuessRawFormat("/data/1920x1080_nv12/clip.yuv", guess));
}

TEST(RawFormatGuessTest, TheLastSizeAndLayoutWin)
{
    lumo::RawFormatGuess guess;
    ASSERT_TRUE(lumo::GuessRawFormat("src_1920x1080_nv12_to_1280x720_i420.yuv", guess));
    EXPECT_EQ(guess.width, 1280);
    EXPECT_EQ(guess.height, 720);
    EXPECT_EQ(guess.type.idName, "I420");
}

TEST(RawFormatGuessTest, EveryRegistryIdIsRecognised)
{
    lumo::YUVTypeInstance* registry = lumo::YUVTypeInstance::GetInstance();
    for (int i = 0; i < registry->GetSize(); ++i) {
        lumo::YUVType type;
        ASSERT_EQ(registry->GetType(type, i), 0);
        lumo::RawFormatGuess guess;
        EXPECT_TRUE(lumo::GuessRawFormat("clip_" + type.idName + ".yuv", guess)) << type.idName;
        EXPECT_EQ(guess.type, type);
    }
}

} // namespace
