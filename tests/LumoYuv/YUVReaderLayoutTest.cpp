// Per layout: frames written by the test's own writer read back as the
// expected 4:4:4 samples and RGB, with the right frame length and count.

#include "YuvTestSupport.h"

#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <gtest/gtest.h>

#include <utility>

using namespace lumo_yuv_test;
using lumo::YUVReader;

namespace {

class LayoutTest : public ::testing::TestWithParam<int> {
protected:
    const LayoutDef& Def() const { return Layouts()[static_cast<size_t>(GetParam())]; }

    lumo::YUVType Type() const
    {
        lumo::YUVType type;
        EXPECT_EQ(lumo::YUVTypeInstance::GetInstance()->GetType(type, GetParam()), 0);
        return type;
    }

    // Even, odd, tiny and several-band sizes; packed 4:2:2 only has even widths.
    std::vector<std::pair<int, int>> Sizes() const
    {
        std::vector<std::pair<int, int>> sizes = {{8, 6}, {7, 5}, {1, 1},   {2, 1},
                                                  {1, 2}, {3, 3}, {37, 19}, {333, 331}};
        if (Def().family == Family::Packed) {
            for (auto& s : sizes) {
                s.first += s.first % 2;
            }
        }
        return sizes;
    }

    lumo_test::TempDir dir;
    std::mt19937 rng{1234};
};

TEST_P(LayoutTest, FrameLengthFollowsTheLayout)
{
    for (auto [w, h] : Sizes()) {
        const YUVReader reader(dir.File("absent.yuv"), w, h, Type());
        EXPECT_EQ(reader.GetFrameLen(), ExpectedFrameLen(Def(), w, h)) << w << "x" << h;
    }
    const YUVReader big(dir.File("absent.yuv"), 100000, 100000, Type());
    EXPECT_EQ(big.GetFrameLen(), ExpectedFrameLen(Def(), 100000, 100000));
    EXPECT_GT(big.GetFrameLen(), int64_t(1) << 32);
}

TEST_P(LayoutTest, EveryFrameReadsBackAs444)
{
    for (auto [w, h] : Sizes()) {
        SCOPED_TRACE(Def().id + " " + std::to_string(w) + "x" + std::to_string(h));
        std::vector<Picture> pictures;
        Bytes file;
        for (int f = 0; f < 3; ++f) {
            pictures.push_back(RandomPicture(Def(), w, h, rng));
            const Bytes frame = WriteFrame(Def(), pictures.back());
            ASSERT_EQ(static_cast<int64_t>(frame.size()), ExpectedFrameLen(Def(), w, h));
            file.insert(file.end(), frame.begin(), frame.end());
        }
        const std::string path = dir.File(Def().id + ".yuv");
        WriteFile(path, file);
        const YUVReader reader(path, w, h, Type());
        ASSERT_EQ(reader.GetFrameCount(), 3);
        for (int f = 0; f < 3; ++f) {
            int status = 0;
            LibBuffer got(reader.ReadFrameYUV444(nullptr, &status, f * reader.GetFrameLen()));
            ASSERT_NE(got, nullptr);
            EXPECT_EQ(status, YUVReader::READ_OK);
            const Bytes expected = Expected444(Def(), pictures[static_cast<size_t>(f)]);
            ASSERT_EQ(Bytes(got.get(), got.get() + expected.size()), expected) << "frame " << f;
        }
    }
}

TEST_P(LayoutTest, RgbIsWithinOneOfTheRealFormula)
{
    for (auto [w, h] : Sizes()) {
        SCOPED_TRACE(Def().id + " " + std::to_string(w) + "x" + std::to_string(h));
        const Picture picture = RandomPicture(Def(), w, h, rng);
        const std::string path = dir.File(Def().id + "-rgb.yuv");
        WriteFile(path, WriteFrame(Def(), picture));
        const YUVReader reader(path, w, h, Type());
        int status = 0;
        LibBuffer rgb(reader.ReadFrameRGB24(nullptr, &status, 0));
        ASSERT_NE(rgb, nullptr);
        EXPECT_GE(status, 1);
        const Bytes yuv = Expected444(Def(), picture);
        const size_t plane = static_cast<size_t>(w) * h;
        int worst = 0;
        for (size_t i = 0; i < plane; ++i) {
            double exact[3];
            RgbExact(yuv[i], yuv[plane + i], yuv[2 * plane + i], exact);
            for (int c = 0; c < 3; ++c) {
                worst = std::max(worst, std::abs(rgb.get()[3 * i + c] - RgbExpected(exact[c])));
            }
        }
        EXPECT_LE(worst, 1);
    }
}

TEST_P(LayoutTest, TrailingPartialFrameIsNotCounted)
{
    const int w = 6;
    const int h = 5;
    const int64_t len = ExpectedFrameLen(Def(), w, h);
    const std::string path = dir.File("partial.yuv");
    for (int64_t extra : {int64_t(0), int64_t(1), len - 1}) {
        WriteFile(path, RandomBytes(static_cast<size_t>(2 * len + extra), rng));
        const YUVReader reader(path, w, h, Type());
        EXPECT_EQ(reader.GetFrameCount(), 2) << extra;
        int status = 0;
        LibBuffer last(reader.ReadFrameYUV444(nullptr, &status, static_cast<long>(len)));
        EXPECT_NE(last, nullptr);
        EXPECT_EQ(status, YUVReader::READ_OK);
        status = 0;
        LibBuffer past(reader.ReadFrameYUV444(nullptr, &status, static_cast<long>(2 * len)));
        EXPECT_EQ(past, nullptr);
        EXPECT_EQ(status, YUVReader::READ_ERROR_OFFSET);
        status = 0;
        LibBuffer pastRgb(reader.ReadFrameRGB24(nullptr, &status, static_cast<long>(2 * len)));
        EXPECT_EQ(pastRgb, nullptr);
        EXPECT_EQ(status, YUVReader::READ_ERROR_OFFSET);
    }
    WriteFile(path, RandomBytes(static_cast<size_t>(len - 1), rng));
    EXPECT_EQ(YUVReader(path, w, h, Type()).GetFrameCount(), 0);
}

std::string LayoutName(const ::testing::TestParamInfo<int>& info)
{
    return Layouts()[static_cast<size_t>(info.param)].id;
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, LayoutTest,
                         ::testing::Range(0, static_cast<int>(Layouts().size())), LayoutName);

} // namespace
