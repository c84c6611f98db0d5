// Every instruction-set level of the row loops gives the portable loops'
// bits: each loop on random rows of many lengths, with guard bytes around
// its output that must stay untouched, and the library's calls as a whole.
// Levels this processor cannot run are reported and left out.

#include "YuvTestSupport.h"

#include "Kernels.h"
#include "SsimFilters.h"

#include "lumo/Threads.h"
#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

using namespace lumo_yuv_test;
using lumo::kernels::Level;

namespace {

constexpr size_t kGuard = 64;
constexpr uint8_t kGuardByte = 0xa5;

// Lengths around every vector width and its multiples, plus long rows.
const int kLengths[] = {0, 1, 2, 3, 7, 8, 15, 16, 17, 31, 32, 33, 63, 64, 65, 95, 96, 127, 128, 129,
                        191, 200, 255, 256, 257, 1000, 1920, 3841};

// Bytes with guard bands on both sides.
class Guarded {
public:
    explicit Guarded(size_t n) : bytes(n + 2 * kGuard, kGuardByte), n(n) {}

    uint8_t* Data() { return bytes.data() + kGuard; }
    template <typename T>
    T* As()
    {
        return reinterpret_cast<T*>(Data());
    }
    bool GuardsIntact() const
    {
        for (size_t i = 0; i < kGuard; ++i) {
            if (bytes[i] != kGuardByte || bytes[kGuard + n + i] != kGuardByte) {
                return false;
            }
        }
        return true;
    }
    Bytes Contents() const { return Bytes(bytes.begin() + kGuard, bytes.begin() + kGuard + static_cast<long>(n)); }

private:
    Bytes bytes;
    size_t n;
};

// Restores the best level when a test ends.
class KernelLevelsTest : public ::testing::Test {
protected:
    void TearDown() override { lumo::kernels::ForceLevel(lumo::kernels::BestLevel()); }

    // The levels above portable that this processor runs.
    static std::vector<Level> FastLevels()
    {
        std::vector<Level> levels;
        for (Level level : {Level::Avx2, Level::Avx512, Level::Avx512Vbmi}) {
            if (lumo::kernels::ForceLevel(level)) {
                levels.push_back(level);
            } else {
                std::printf("[   NOTE   ] level %s not run here\n", lumo::kernels::LevelName(level));
            }
        }
        lumo::kernels::ForceLevel(Level::Portable);
        return levels;
    }

    // Runs produce(level) at portable and at every fast level and expects
    // equal results and intact guards.
    void ExpectSameAtEveryLevel(const std::string& what, const std::function<Bytes()>& produce)
    {
        ASSERT_TRUE(lumo::kernels::ForceLevel(Level::Portable));
        const Bytes reference = produce();
        for (Level level : FastLevels()) {
            ASSERT_TRUE(lumo::kernels::ForceLevel(level));
            EXPECT_EQ(produce(), reference) << what << " at " << lumo::kernels::LevelName(level);
        }
        lumo::kernels::ForceLevel(Level::Portable);
    }

    std::mt19937 rng{97};
};

Bytes Join(std::initializer_list<Guarded*> parts)
{
    Bytes out;
    for (Guarded* g : parts) {
        EXPECT_TRUE(g->GuardsIntact());
        const Bytes c = g->Contents();
        out.insert(out.end(), c.begin(), c.end());
    }
    return out;
}

Bytes Words(std::mt19937& rng, size_t n)
{
    Bytes b = RandomBytes(2 * n, rng);
    return b;
}

TEST_F(KernelLevelsTest, PortableLevelIsAlwaysAvailable)
{
    EXPECT_TRUE(lumo::kernels::ForceLevel(Level::Portable));
    EXPECT_EQ(lumo::kernels::Active().level, Level::Portable);
    EXPECT_STREQ(lumo::kernels::LevelName(Level::Portable), "portable");
}

TEST_F(KernelLevelsTest, ForcingALevelSwitchesTheTable)
{
    for (Level level : FastLevels()) {
        ASSERT_TRUE(lumo::kernels::ForceLevel(level));
        EXPECT_EQ(lumo::kernels::Active().level, level);
    }
    ASSERT_TRUE(lumo::kernels::ForceLevel(lumo::kernels::BestLevel()));
    EXPECT_EQ(lumo::kernels::Active().level, lumo::kernels::BestLevel());
}

TEST_F(KernelLevelsTest, ByteLoopsMatchThePortableOnes)
{
    for (int n : kLengths) {
        SCOPED_TRACE(n);
        const size_t count = static_cast<size_t>(n);
        const Bytes a = RandomBytes(4 * count + 4, rng);
        const Bytes b = RandomBytes(4 * count + 4, rng);
        const Bytes words = Words(rng, 2 * count + 2);
        const auto* w16 = reinterpret_cast<const uint16_t*>(words.data());
        std::vector<uint16_t> w(w16, w16 + 2 * count + 2);

        ExpectSameAtEveryLevel("WidenRow", [&] {
            Guarded out(2 * count + 1);
            if (n > 0) {
                lumo::kernels::WidenRow(a.data(), n, out.Data(), 2 * n + 1);
            }
            return Join({&out});
        });
        ExpectSameAtEveryLevel("SplitPairs", [&] {
            Guarded first(count);
            Guarded second(count);
            lumo::kernels::SplitPairs(a.data(), n, first.Data(), second.Data());
            return Join({&first, &second});
        });
        ExpectSameAtEveryLevel("Narrow", [&] {
            Guarded low(count);
            Guarded high(count);
            Guarded first(count);
            Guarded second(count);
            lumo::kernels::NarrowLow10(w.data(), count, low.Data());
            lumo::kernels::NarrowHigh10(w.data(), count, high.Data());
            lumo::kernels::SplitPairsHigh10(w.data(), n, first.Data(), second.Data());
            return Join({&low, &high, &first, &second});
        });
        ExpectSameAtEveryLevel("Unpack", [&] {
            Bytes all;
            for (int order = 0; order < 3; ++order) {
                Guarded y(2 * count);
                Guarded u(count);
                Guarded v(count);
                auto* unpack = order == 0   ? lumo::kernels::UnpackYUYV
                               : order == 1 ? lumo::kernels::UnpackUYVY
                                            : lumo::kernels::UnpackYVYU;
                unpack(a.data(), n, y.Data(), u.Data(), v.Data());
                const Bytes part = Join({&y, &u, &v});
                all.insert(all.end(), part.begin(), part.end());
            }
            return all;
        });
        ExpectSameAtEveryLevel("HalveRows and AverageRows", [&] {
            Guarded halved(count);
            Guarded averaged(count);
            lumo::kernels::HalveRows(a.data(), b.data(), halved.Data(), n);
            lumo::kernels::AverageRows(a.data(), b.data(), averaged.Data(), n);
            return Join({&halved, &averaged});
        });
        ExpectSameAtEveryLevel("SumSquaredError", [&] {
            const uint64_t sse = lumo::kernels::SumSquaredError(a.data(), b.data(), 4 * count + 4);
            Bytes out(sizeof(sse));
            std::memcpy(out.data(), &sse, sizeof(sse));
            return out;
        });
    }
}

TEST_F(KernelLevelsTest, RgbLoopsMatchThePortableOnes)
{
    for (int n : kLengths) {
        if (n == 0) {
            continue;
        }
        SCOPED_TRACE(n);
        const size_t count = static_cast<size_t>(n);
        const Bytes y = RandomBytes(2 * count + 1, rng);
        const Bytes u = RandomBytes(count, rng);
        const Bytes v = RandomBytes(count, rng);
        ExpectSameAtEveryLevel("chroma terms and RGB", [&] {
            Guarded tr(2 * (2 * count + 1));
            Guarded tg(2 * (2 * count + 1));
            Guarded tb(2 * (2 * count + 1));
            Guarded rgb(3 * (2 * count + 1));
            Guarded narrow(3 * count);
            lumo::kernels::ChromaTermsWideRow(u.data(), v.data(), n, tr.As<int16_t>(),
                                              tg.As<int16_t>(), tb.As<int16_t>(), 2 * n + 1);
            lumo::kernels::LumaToRgb(y.data(), tr.As<int16_t>(), tg.As<int16_t>(),
                                     tb.As<int16_t>(), rgb.Data(), 2 * n + 1, false);
            Guarded streamed(3 * (2 * count + 1));
            lumo::kernels::LumaToRgb(y.data(), tr.As<int16_t>(), tg.As<int16_t>(),
                                     tb.As<int16_t>(), streamed.Data(), 2 * n + 1, true);
            EXPECT_EQ(streamed.Contents(), rgb.Contents());
            lumo::kernels::ChromaTermsRow(u.data(), v.data(), n, tr.As<int16_t>(),
                                          tg.As<int16_t>(), tb.As<int16_t>());
            lumo::kernels::LumaToRgb(y.data(), tr.As<int16_t>(), tg.As<int16_t>(),
                                     tb.As<int16_t>(), narrow.Data(), n, false);
            return Join({&tr, &tg, &tb, &rgb, &streamed, &narrow});
        });
    }
}

TEST_F(KernelLevelsTest, SsimLoopsMatchThePortableOnes)
{
    double g[lumo::ssim::kWindow];
    for (int k = 0; k < lumo::ssim::kWindow; ++k) {
        g[k] = 0.01 + 0.013 * (k < 6 ? k : 10 - k);
    }
    for (int n : kLengths) {
        SCOPED_TRACE(n);
        const size_t count = static_cast<size_t>(n) + lumo::ssim::kWindow;
        const Bytes a = RandomBytes(count, rng);
        const Bytes b = RandomBytes(count, rng);
        std::uniform_real_distribution<double> value(0.0, 65025.0);
        std::vector<std::vector<double>> rows(14, std::vector<double>(count));
        for (auto& row : rows) {
            for (double& x : row) {
                x = value(rng);
            }
        }
        const double* rowPointers[14];
        for (int k = 0; k < 14; ++k) {
            rowPointers[k] = rows[static_cast<size_t>(k)].data();
        }
        ExpectSameAtEveryLevel("SSIM loops", [&] {
            const size_t bytes = count * sizeof(double);
            std::vector<Guarded> out;
            out.reserve(16);
            for (int i = 0; i < 16; ++i) {
                out.emplace_back(bytes);
            }
            lumo::ssim::Products(a.data(), b.data(), static_cast<int>(count), out[0].As<double>(),
                                 out[1].As<double>(), out[2].As<double>(), out[3].As<double>());
            lumo::ssim::ProductsClamped(a.data(), b.data(), static_cast<int>(count), 16, 235,
                                        out[4].As<double>(), out[5].As<double>(),
                                        out[6].As<double>(), out[7].As<double>());
            lumo::ssim::VerticalRow(rowPointers, n, g, out[8].As<double>());
            lumo::ssim::VerticalRowQuad(rowPointers, n, g, out[9].As<double>(),
                                        out[10].As<double>(), out[11].As<double>(),
                                        out[12].As<double>());
            lumo::ssim::HorizontalRow(rows[0].data(), n, g, out[13].As<double>());
            // Moments of a plausible size: means up to 255, second moments
            // above their squares.
            std::vector<double> mx(count), my(count), mq(count), mp(count);
            for (size_t i = 0; i < count; ++i) {
                mx[i] = rows[0][i] / 255.0;
                my[i] = rows[1][i] / 255.0;
                mq[i] = mx[i] * mx[i] + my[i] * my[i] + rows[2][i] / 100.0;
                mp[i] = mx[i] * my[i] + rows[3][i] / 1000.0 - 30.0;
            }
            const double sum = lumo::ssim::SumWindows(mx.data(), my.data(), mq.data(), mp.data(), n);
            std::memcpy(out[14].Data(), &sum, sizeof(sum));
            Bytes all;
            for (int i = 0; i < 15; ++i) {
                const Bytes part = Join({&out[static_cast<size_t>(i)]});
                all.insert(all.end(), part.begin(), part.end());
            }
            return all;
        });
    }
}

// The calls users make, level against level, on every layout.
TEST_F(KernelLevelsTest, WholeCallsMatchThePortableOnes)
{
    lumo_test::TempDir dir;
    const int saved = lumo::SetMaxThreads(1);
    for (const LayoutDef& d : Layouts()) {
        for (auto [w, h] : {std::pair{130, 67}, {66, 34}}) {
            SCOPED_TRACE(d.id + " " + std::to_string(w) + "x" + std::to_string(h));
            const lumo::YUVType type = lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(d.id);
            const std::string path = dir.File(d.id + ".yuv");
            Bytes file;
            for (int f = 0; f < 2; ++f) {
                const Bytes frame = WriteFrame(d, RandomPicture(d, w, h, rng));
                file.insert(file.end(), frame.begin(), frame.end());
            }
            WriteFile(path, file);
            const lumo::YUVReader reader(path, w, h, type);
            if (reader.GetFrameLen() == 0) {
                continue; // odd width for packed 4:2:2
            }
            ExpectSameAtEveryLevel("reads and metrics", [&] {
                Bytes all;
                int status = 0;
                LibBuffer f444(reader.ReadFrameYUV444(nullptr, &status, 0));
                LibBuffer rgb(reader.ReadFrameRGB24(nullptr, &status, 0));
                LibBuffer a420(reader.ReadFrameYUV420(nullptr, &status, 0));
                LibBuffer b420(reader.ReadFrameYUV420(nullptr, &status, reader.GetFrameLen()));
                LibBuffer halved(reader.Frame444To420(f444.get(), nullptr, w, h));
                EXPECT_TRUE(f444 && rgb && a420 && b420 && halved);
                const size_t plane = static_cast<size_t>(w) * h;
                all.insert(all.end(), f444.get(), f444.get() + 3 * plane);
                all.insert(all.end(), rgb.get(), rgb.get() + 3 * plane);
                all.insert(all.end(), a420.get(), a420.get() + plane * 3 / 2);
                all.insert(all.end(), halved.get(), halved.get() + plane * 3 / 2);
                double psnr[3];
                double mse[3];
                double ssim[3];
                reader.CallPSNR(psnr, a420.get(), b420.get(), w, h, mse);
                reader.CallSsimPlanes(ssim, a420.get(), b420.get(), w, h,
                                      lumo::COLOR_SPACE_VIDEO_RANGE);
                const double full =
                    reader.CallSsimIqa(a420.get(), b420.get(), w, h, lumo::COLOR_SPACE_FULL_RANGE);
                const double values[10] = {psnr[0], psnr[1], psnr[2], mse[0], mse[1],
                                           mse[2],  ssim[0], ssim[1], ssim[2], full};
                const auto* p = reinterpret_cast<const uint8_t*>(values);
                all.insert(all.end(), p, p + sizeof(values));
                return all;
            });
        }
    }
    lumo::SetMaxThreads(saved);
}

} // namespace
