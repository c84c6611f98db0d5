// Frame444To420 and the RGB conversion against plain references.

#include "YuvTestSupport.h"

#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

using namespace lumo_yuv_test;
using lumo::YUVReader;
using lumo::YUVType;

namespace {

// I420 of a 4:4:4 frame: Y, then U and V of (w/2) x (h/2), each sample the
// rounded mean of its 2x2 block.
Bytes Reference420(const Bytes& yuv, int w, int h)
{
    const size_t plane = static_cast<size_t>(w) * h;
    const int cw = w / 2;
    const int ch = h / 2;
    Bytes out(yuv.begin(), yuv.begin() + static_cast<long>(plane));
    for (int p = 1; p <= 2; ++p) {
        const uint8_t* in = yuv.data() + p * plane;
        for (int j = 0; j < ch; ++j) {
            for (int i = 0; i < cw; ++i) {
                const int sum = in[2 * j * w + 2 * i] + in[2 * j * w + 2 * i + 1] +
                                in[(2 * j + 1) * w + 2 * i] + in[(2 * j + 1) * w + 2 * i + 1];
                out.push_back(static_cast<uint8_t>((sum + 2) / 4));
            }
        }
    }
    return out;
}

const std::pair<int, int> kSizes[] = {{1, 1}, {2, 2}, {1, 5},   {5, 1},   {3, 3},    {8, 6},
                                      {7, 5}, {6, 7}, {37, 19}, {64, 64}, {333, 331}};

TEST(Frame444To420Test, RoundedMeanOfEachBlock)
{
    std::mt19937 rng(5);
    const YUVReader receiver;
    for (auto [w, h] : kSizes) {
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        Bytes src = RandomBytes(3 * static_cast<size_t>(w) * h, rng);
        LibBuffer out(receiver.Frame444To420(src.data(), nullptr, w, h));
        ASSERT_NE(out, nullptr);
        const Bytes expected = Reference420(src, w, h);
        EXPECT_EQ(Bytes(out.get(), out.get() + expected.size()), expected);
        // The buffer holds the w*h*3/2 bytes callers count on.
        std::memset(out.get(), 0, static_cast<size_t>(w) * h * 3 / 2);
    }
}

TEST(Frame444To420Test, RoundingIsHalfUp)
{
    const YUVReader receiver;
    // One 2x2 block per case: sums 0..1020 cover every remainder.
    for (int sum = 0; sum <= 1020; ++sum) {
        Bytes src(12, 0);
        int left = sum;
        for (int k = 0; k < 4; ++k) {
            const int s = std::min(left, 255);
            src[4 + k] = static_cast<uint8_t>(s);
            src[8 + k] = static_cast<uint8_t>(255 - s);
            left -= s;
        }
        LibBuffer out(receiver.Frame444To420(src.data(), nullptr, 2, 2));
        ASSERT_NE(out, nullptr);
        EXPECT_EQ(out.get()[4], (sum + 2) / 4) << sum;
        EXPECT_EQ(out.get()[5], (1020 - sum + 2) / 4) << sum;
    }
}

TEST(Frame444To420Test, ReusesOrReplacesTheEarlierBuffer)
{
    std::mt19937 rng(6);
    const YUVReader receiver;
    unsigned char* dst = nullptr;
    // Growing and shrinking in turn, each result checked.
    for (auto [w, h] : {std::pair{8, 6}, {333, 331}, {1, 1}, {64, 64}, {7, 5}, {64, 64}}) {
        Bytes src = RandomBytes(3 * static_cast<size_t>(w) * h, rng);
        dst = receiver.Frame444To420(src.data(), dst, w, h);
        ASSERT_NE(dst, nullptr);
        const Bytes expected = Reference420(src, w, h);
        EXPECT_EQ(Bytes(dst, dst + expected.size()), expected) << w << "x" << h;
    }
    std::free(dst);
}

TEST(Frame444To420Test, FailuresReturnNull)
{
    const YUVReader receiver;
    Bytes src(3 * 16, 7);
    // A null source: nothing to convert; the earlier buffer is released
    // (leak checking would catch it otherwise).
    unsigned char* earlier = receiver.Frame444To420(src.data(), nullptr, 4, 4);
    ASSERT_NE(earlier, nullptr);
    EXPECT_EQ(receiver.Frame444To420(nullptr, earlier, 4, 4), nullptr);
    EXPECT_EQ(receiver.Frame444To420(nullptr, nullptr, 4, 4), nullptr);
    for (auto [w, h] : {std::pair{0, 4}, {4, 0}, {-4, 4}, {YUVReader::MAX_DIMENSION + 1, 1}}) {
        unsigned char* again = receiver.Frame444To420(src.data(), nullptr, 4, 4);
        ASSERT_NE(again, nullptr);
        EXPECT_EQ(receiver.Frame444To420(src.data(), again, w, h), nullptr) << w << "x" << h;
    }
    // The same buffer as source and destination is refused and left alone.
    unsigned char* same = receiver.Frame444To420(src.data(), nullptr, 4, 4);
    std::memcpy(same, src.data(), 24);
    EXPECT_EQ(receiver.Frame444To420(same, same, 4, 2), nullptr);
    EXPECT_EQ(same[0], 7);
    std::free(same);
}

TEST(Frame444To420Test, I420RoundTripIsBitExact)
{
    std::mt19937 rng(7);
    lumo_test::TempDir dir;
    const YUVReader receiver;
    for (auto [w, h] : kSizes) {
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        const size_t len = static_cast<size_t>(w) * h + 2 * static_cast<size_t>(w / 2) * (h / 2);
        const Bytes i420 = RandomBytes(len, rng);
        const std::string path = dir.File("round.yuv");
        WriteFile(path, i420);
        const YUVReader reader(path, w, h, YUVType::YUV_TYPE_I420);
        int status = 0;
        LibBuffer full(reader.ReadFrameYUV444(nullptr, &status, 0));
        ASSERT_NE(full, nullptr);
        LibBuffer back(receiver.Frame444To420(full.get(), nullptr, w, h));
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(Bytes(back.get(), back.get() + len), i420);
    }
}

// Every Y, U pair for every V: 256 frames of 256x256 4:4:4 with Y along x
// and U along y.
TEST(RgbTest, EveryCodeIsWithinOneOfTheRealFormula)
{
    lumo_test::TempDir dir;
    const int n = 256;
    const size_t plane = static_cast<size_t>(n) * n;
    Bytes file;
    file.reserve(3 * plane * n);
    for (int v = 0; v < n; ++v) {
        for (int y = 0; y < n; ++y) {
            for (int x = 0; x < n; ++x) {
                file.push_back(static_cast<uint8_t>(x));
            }
        }
        for (int y = 0; y < n; ++y) {
            file.insert(file.end(), static_cast<size_t>(n), static_cast<uint8_t>(y));
        }
        file.insert(file.end(), plane, static_cast<uint8_t>(v));
    }
    const std::string path = dir.File("codes.yuv");
    WriteFile(path, file);
    const YUVReader reader(path, n, n,
                           lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName("I444"));
    ASSERT_EQ(reader.GetFrameCount(), n);
    int worst = 0;
    long exact = 0;
    for (int v = 0; v < n; ++v) {
        int status = 0;
        LibBuffer rgb(reader.ReadFrameRGB24(nullptr, &status, v * reader.GetFrameLen()));
        ASSERT_NE(rgb, nullptr);
        for (int u = 0; u < n; ++u) {
            for (int y = 0; y < n; ++y) {
                double real[3];
                RgbExact(y, u, v, real);
                const unsigned char* px = rgb.get() + 3 * (static_cast<size_t>(u) * n + y);
                for (int c = 0; c < 3; ++c) {
                    const int diff = std::abs(px[c] - RgbExpected(real[c]));
                    worst = std::max(worst, diff);
                    exact += diff == 0;
                }
            }
        }
    }
    EXPECT_LE(worst, 1);
    // Nearly all channels are exactly the rounded value, not merely close.
    EXPECT_GT(static_cast<double>(exact) / (3.0 * n * n * n), 0.98);
}

TEST(RgbTest, KnownColours)
{
    lumo_test::TempDir dir;
    // Black, white, codes beyond them (clamped), and the red and blue
    // primaries.
    const uint8_t yuv[][3] = {{16, 128, 128},  {235, 128, 128}, {0, 128, 128},
                              {255, 128, 128}, {81, 90, 240},   {41, 240, 110}};
    const uint8_t rgb[][3] = {{0, 0, 0},       {255, 255, 255}, {0, 0, 0},
                              {255, 255, 255}, {255, 0, 0},     {0, 0, 255}};
    Bytes frame;
    for (int p = 0; p < 3; ++p) {
        for (const auto& px : yuv) {
            frame.push_back(px[p]);
        }
    }
    const std::string path = dir.File("bars.yuv");
    WriteFile(path, frame);
    const YUVReader reader(path, 6, 1,
                           lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName("I444"));
    int status = 0;
    LibBuffer out(reader.ReadFrameRGB24(nullptr, &status, 0));
    ASSERT_NE(out, nullptr);
    for (int i = 0; i < 6; ++i) {
        for (int c = 0; c < 3; ++c) {
            EXPECT_NEAR(out.get()[3 * i + c], rgb[i][c], 1) << i << "," << c;
        }
    }
}

} // namespace
