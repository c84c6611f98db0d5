// CallPSNR and CallSsimIqa against plain double-precision references.

#include "YuvTestSupport.h"

#include "lumo/Threads.h"
#include "lumo/YUVReader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

using namespace lumo_yuv_test;
using lumo::YUVReader;

namespace {

size_t Frame420Size(int w, int h)
{
    return static_cast<size_t>(w) * h + 2 * static_cast<size_t>(w / 2) * (h / 2);
}

// b = a with a few samples moved by +-1..+-spread (clamped).
Bytes Perturb(const Bytes& a, double share, int spread, std::mt19937& rng)
{
    std::uniform_real_distribution<double> pick(0.0, 1.0);
    std::uniform_int_distribution<int> step(-spread, spread);
    Bytes b(a);
    for (auto& s : b) {
        if (pick(rng) < share) {
            s = static_cast<uint8_t>(std::clamp(s + step(rng), 0, 255));
        }
    }
    return b;
}

// Gentle gradients plus a little noise around a base level.
Bytes Smooth(int w, int h, int base, int span, std::mt19937& rng)
{
    std::uniform_int_distribution<int> noise(-1, 1);
    Bytes f(Frame420Size(w, h));
    for (size_t i = 0; i < f.size(); ++i) {
        const int x = static_cast<int>(i % static_cast<size_t>(w));
        const int y = static_cast<int>(i / static_cast<size_t>(w));
        f[i] =
            static_cast<uint8_t>(std::clamp(base + span * (x + y) / (w + h) + noise(rng), 0, 255));
    }
    return f;
}

void PlainPsnr(const Bytes& a, const Bytes& b, int w, int h, double mse[3], double psnr[3])
{
    const size_t plane = static_cast<size_t>(w) * h;
    const size_t chroma = static_cast<size_t>(w / 2) * (h / 2);
    const size_t start[3] = {0, plane, plane + chroma};
    const size_t count[3] = {plane, chroma, chroma};
    for (int p = 0; p < 3; ++p) {
        double sum = 0;
        for (size_t i = 0; i < count[p]; ++i) {
            const double d = static_cast<double>(a[start[p] + i]) - b[start[p] + i];
            sum += d * d;
        }
        mse[p] = count[p] == 0 ? 0.0 : sum / static_cast<double>(count[p]);
        psnr[p] = mse[p] == 0 ? std::numeric_limits<double>::infinity()
                              : 10.0 * std::log10(255.0 * 255.0 / mse[p]);
    }
}

const std::pair<int, int> kSizes[] = {{64, 48}, {67, 53}, {11, 11}, {12, 30}, {1, 1}, {3, 2}};

TEST(PsnrTest, EqualsAPlainLoop)
{
    std::mt19937 rng(11);
    const YUVReader receiver;
    for (auto [w, h] : kSizes) {
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        const Bytes a = RandomBytes(Frame420Size(w, h), rng);
        for (const Bytes& b : {RandomBytes(a.size(), rng), Perturb(a, 0.1, 3, rng)}) {
            Bytes ca(a);
            Bytes cb(b);
            double mse[3] = {0, 0, 0};
            double psnr[3] = {0, 0, 0};
            receiver.CallPSNR(psnr, ca.data(), cb.data(), w, h, mse);
            double refMse[3];
            double refPsnr[3];
            PlainPsnr(a, b, w, h, refMse, refPsnr);
            for (int p = 0; p < 3; ++p) {
                EXPECT_DOUBLE_EQ(mse[p], refMse[p]) << p;
                if (std::isinf(refPsnr[p])) {
                    EXPECT_TRUE(std::isinf(psnr[p]) && psnr[p] > 0) << p;
                } else {
                    EXPECT_DOUBLE_EQ(psnr[p], refPsnr[p]) << p;
                }
            }
        }
    }
}

TEST(PsnrTest, LargeErrorsDoNotOverflow)
{
    // 255 apart everywhere on a frame larger than any internal chunk.
    const int w = 1024;
    const int h = 512;
    Bytes a(Frame420Size(w, h), 0);
    Bytes b(a.size(), 255);
    double mse[3];
    double psnr[3];
    YUVReader().CallPSNR(psnr, a.data(), b.data(), w, h, mse);
    for (int p = 0; p < 3; ++p) {
        EXPECT_DOUBLE_EQ(mse[p], 65025.0);
        EXPECT_DOUBLE_EQ(psnr[p], 0.0);
    }
}

TEST(PsnrTest, IdenticalPlanesAreInfinite)
{
    std::mt19937 rng(12);
    Bytes a = RandomBytes(Frame420Size(9, 7), rng);
    Bytes b(a);
    b.back() ^= 1; // only the last V sample differs
    double mse[3] = {-1, -1, -1};
    double psnr[3] = {-1, -1, -1};
    YUVReader().CallPSNR(psnr, a.data(), b.data(), 9, 7, mse);
    EXPECT_EQ(mse[0], 0.0);
    EXPECT_EQ(mse[1], 0.0);
    EXPECT_GT(mse[2], 0.0);
    EXPECT_EQ(psnr[0], std::numeric_limits<double>::infinity());
    EXPECT_EQ(psnr[1], std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isfinite(psnr[2]));
}

TEST(PsnrTest, BadArgumentsWriteNothing)
{
    Bytes a(Frame420Size(4, 4), 1);
    Bytes b(a.size(), 2);
    const YUVReader receiver;
    double mse[3] = {0, 0, 0};
    double psnr[3] = {0, 0, 0};
    receiver.CallPSNR(psnr, nullptr, b.data(), 4, 4, mse);
    receiver.CallPSNR(psnr, a.data(), nullptr, 4, 4, mse);
    receiver.CallPSNR(psnr, a.data(), b.data(), 0, 4, mse);
    receiver.CallPSNR(psnr, a.data(), b.data(), 4, -1, mse);
    for (int p = 0; p < 3; ++p) {
        EXPECT_EQ(mse[p], 0.0);
        EXPECT_EQ(psnr[p], 0.0);
    }
    // Either output may be left out.
    receiver.CallPSNR(nullptr, a.data(), b.data(), 4, 4, mse);
    EXPECT_EQ(mse[0], 1.0);
    receiver.CallPSNR(psnr, a.data(), b.data(), 4, 4, nullptr);
    EXPECT_DOUBLE_EQ(psnr[0], 10.0 * std::log10(65025.0));
}

struct SsimCase {
    const char* name;
    Bytes a;
    Bytes b;
};

std::vector<SsimCase> SsimCases(int w, int h, std::mt19937& rng)
{
    std::vector<SsimCase> cases;
    const Bytes noise = RandomBytes(Frame420Size(w, h), rng);
    cases.push_back({"random", noise, RandomBytes(noise.size(), rng)});
    cases.push_back({"noisy copy", noise, Perturb(noise, 0.5, 20, rng)});
    cases.push_back({"near identical", noise, Perturb(noise, 0.03, 1, rng)});
    const Bytes dark = Smooth(w, h, 16, 6, rng);
    cases.push_back({"smooth dark", dark, Perturb(dark, 0.2, 1, rng)});
    const Bytes bright = Smooth(w, h, 235, 18, rng);
    cases.push_back({"smooth bright", bright, Perturb(bright, 0.2, 2, rng)});
    const Bytes ramp = Smooth(w, h, 40, 180, rng);
    cases.push_back({"smooth ramp vs other", ramp, Smooth(w, h, 60, 150, rng)});
    cases.push_back({"flat", Bytes(noise.size(), 200), Bytes(noise.size(), 190)});
    return cases;
}

TEST(SsimTest, AgreesWithTheDirectDefinition)
{
    std::mt19937 rng(21);
    const YUVReader receiver;
    for (auto [w, h] : {std::pair{64, 48}, {67, 53}, {11, 11}, {40, 12}}) {
        for (SsimCase& c : SsimCases(w, h, rng)) {
            for (bool video : {false, true}) {
                SCOPED_TRACE(std::string(c.name) + " " + std::to_string(w) + "x" +
                             std::to_string(h) + (video ? " video" : " full"));
                const double expected = SsimReference(c.a.data(), c.b.data(), w, h, video);
                const double got = receiver.CallSsimIqa(c.a.data(), c.b.data(), w, h,
                                                        video ? lumo::COLOR_SPACE_VIDEO_RANGE
                                                              : lumo::COLOR_SPACE_FULL_RANGE);
                EXPECT_NEAR(got, expected, 1e-5);
            }
        }
    }
}

TEST(SsimTest, SmallFramesUseOneUniformWindow)
{
    std::mt19937 rng(22);
    const YUVReader receiver;
    for (auto [w, h] : {std::pair{1, 1}, {10, 10}, {10, 40}, {40, 10}, {3, 2}, {2, 64}}) {
        for (SsimCase& c : SsimCases(w, h, rng)) {
            SCOPED_TRACE(std::string(c.name) + " " + std::to_string(w) + "x" + std::to_string(h));
            const double expected = SsimReference(c.a.data(), c.b.data(), w, h, false);
            EXPECT_NEAR(
                receiver.CallSsimIqa(c.a.data(), c.b.data(), w, h, lumo::COLOR_SPACE_DEFAULT),
                expected, 1e-9);
        }
    }
}

TEST(SsimTest, VideoRangeClampsLumaOnlyForValueTwo)
{
    // Unrelated codes, but all below 16 or above 235 in the same places:
    // clamped, the two planes are equal.
    std::mt19937 rng(26);
    std::uniform_int_distribution<int> low(0, 15);
    std::uniform_int_distribution<int> high(236, 255);
    const int w = 32;
    const int h = 32;
    Bytes a(Frame420Size(w, h), 128);
    Bytes b(a.size(), 128);
    for (size_t i = 0; i < static_cast<size_t>(w) * h; ++i) {
        const bool top = (i / 5) % 2 == 0;
        a[i] = static_cast<uint8_t>(top ? high(rng) : low(rng));
        b[i] = static_cast<uint8_t>(top ? high(rng) : low(rng));
    }
    const YUVReader receiver;
    EXPECT_EQ(receiver.CallSsimIqa(a.data(), b.data(), w, h, lumo::COLOR_SPACE_VIDEO_RANGE), 1.0);
    const double full =
        receiver.CallSsimIqa(a.data(), b.data(), w, h, lumo::COLOR_SPACE_FULL_RANGE);
    EXPECT_LT(full, 0.999);
    EXPECT_NEAR(full, SsimReference(a.data(), b.data(), w, h, false), 1e-5);
    EXPECT_EQ(receiver.CallSsimIqa(a.data(), b.data(), w, h, lumo::COLOR_SPACE_DEFAULT), full);
    EXPECT_EQ(receiver.CallSsimIqa(a.data(), b.data(), w, h, static_cast<lumo::COLOR_SPACE>(7)),
              full);
}

TEST(SsimTest, IdenticalFramesGiveExactlyOne)
{
    std::mt19937 rng(23);
    const YUVReader receiver;
    for (auto [w, h] : {std::pair{1, 1}, {7, 3}, {11, 11}, {64, 48}, {333, 331}, {700, 420}}) {
        for (const Bytes& frame : {RandomBytes(Frame420Size(w, h), rng), Smooth(w, h, 30, 100, rng),
                                   Bytes(Frame420Size(w, h), 77)}) {
            Bytes copy(frame);
            for (auto cs : {lumo::COLOR_SPACE_DEFAULT, lumo::COLOR_SPACE_FULL_RANGE,
                            lumo::COLOR_SPACE_VIDEO_RANGE}) {
                EXPECT_EQ(
                    receiver.CallSsimIqa(copy.data(), const_cast<uint8_t*>(frame.data()), w, h, cs),
                    1.0)
                    << w << "x" << h << " cs " << cs;
            }
        }
    }
}

TEST(SsimTest, SymmetricInItsFrames)
{
    std::mt19937 rng(24);
    const YUVReader receiver;
    for (SsimCase& c : SsimCases(96, 80, rng)) {
        EXPECT_NEAR(
            receiver.CallSsimIqa(c.a.data(), c.b.data(), 96, 80, lumo::COLOR_SPACE_FULL_RANGE),
            receiver.CallSsimIqa(c.b.data(), c.a.data(), 96, 80, lumo::COLOR_SPACE_FULL_RANGE),
            1e-12)
            << c.name;
    }
}

TEST(MaxThreadsTest, SetsClampsAndFallsBackToTheDefault)
{
    const int saved = lumo::SetMaxThreads(0);
    const int fallback = lumo::GetMaxThreads();
    EXPECT_GE(fallback, 1);
    EXPECT_LE(fallback, 64);
    EXPECT_EQ(0, lumo::SetMaxThreads(3));
    EXPECT_EQ(3, lumo::GetMaxThreads());
    EXPECT_EQ(3, lumo::SetMaxThreads(1000));
    EXPECT_EQ(64, lumo::GetMaxThreads());
    EXPECT_EQ(64, lumo::SetMaxThreads(-5));
    EXPECT_EQ(fallback, lumo::GetMaxThreads());
    lumo::SetMaxThreads(saved);
}

// Large frames are split over threads; the sum must not depend on that.
TEST(SsimTest, ThreadCountDoesNotChangeTheResult)
{
    std::mt19937 rng(25);
    const int w = 1000;
    const int h = 600;
    Bytes a = RandomBytes(Frame420Size(w, h), rng);
    Bytes b = Perturb(a, 0.3, 9, rng);
    const YUVReader receiver;
    const int saved = lumo::SetMaxThreads(1);
    const double one = receiver.CallSsimIqa(a.data(), b.data(), w, h, lumo::COLOR_SPACE_FULL_RANGE);
    lumo::SetMaxThreads(3);
    const double three =
        receiver.CallSsimIqa(a.data(), b.data(), w, h, lumo::COLOR_SPACE_FULL_RANGE);
    lumo::SetMaxThreads(saved);
    EXPECT_EQ(one, three);
    EXPECT_GT(one, 0.0);
    EXPECT_LT(one, 1.0);
}

TEST(SsimTest, BadArgumentsGiveNaN)
{
    Bytes a(Frame420Size(16, 16), 1);
    const YUVReader receiver;
    EXPECT_TRUE(
        std::isnan(receiver.CallSsimIqa(nullptr, a.data(), 16, 16, lumo::COLOR_SPACE_FULL_RANGE)));
    EXPECT_TRUE(
        std::isnan(receiver.CallSsimIqa(a.data(), nullptr, 16, 16, lumo::COLOR_SPACE_FULL_RANGE)));
    EXPECT_TRUE(
        std::isnan(receiver.CallSsimIqa(a.data(), a.data(), 0, 16, lumo::COLOR_SPACE_FULL_RANGE)));
    EXPECT_TRUE(
        std::isnan(receiver.CallSsimIqa(a.data(), a.data(), 16, -2, lumo::COLOR_SPACE_FULL_RANGE)));
}

} // namespace
