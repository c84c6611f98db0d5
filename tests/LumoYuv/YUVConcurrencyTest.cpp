// Distinct readers and metric receivers used from many threads at once give
// the same results as one thread alone.

#include "YuvTestSupport.h"

#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <gtest/gtest.h>

#include <thread>

using namespace lumo_yuv_test;
using lumo::YUVReader;

namespace {

struct Result {
    Bytes yuv;
    Bytes rgb;
    double mse[3] = {0, 0, 0};
    double psnr[3] = {0, 0, 0};
    double ssim = 0;
};

// Reads frame f of reader and of the frame after it, and scores the pair.
Result Work(const YUVReader& reader, int f)
{
    Result r;
    const int w = reader.width;
    const int h = reader.height;
    const int count = reader.GetFrameCount();
    int status = 0;
    LibBuffer a(reader.ReadFrameYUV444(nullptr, &status, f * reader.GetFrameLen()));
    LibBuffer b(reader.ReadFrameYUV444(nullptr, &status, ((f + 1) % count) * reader.GetFrameLen()));
    LibBuffer rgb(reader.ReadFrameRGB24(nullptr, &status, f * reader.GetFrameLen()));
    if (!a || !b || !rgb) {
        return r;
    }
    r.yuv.assign(a.get(), a.get() + 3 * static_cast<size_t>(w) * h);
    r.rgb.assign(rgb.get(), rgb.get() + 3 * static_cast<size_t>(w) * h);
    const YUVReader receiver;
    LibBuffer a420(receiver.Frame444To420(a.get(), nullptr, w, h));
    LibBuffer b420(receiver.Frame444To420(b.get(), nullptr, w, h));
    receiver.CallPSNR(r.psnr, a420.get(), b420.get(), w, h, r.mse);
    r.ssim = receiver.CallSsimIqa(b420.get(), a420.get(), w, h, lumo::COLOR_SPACE_VIDEO_RANGE);
    return r;
}

TEST(ConcurrencyTest, ManyThreadsManyReaders)
{
    lumo_test::TempDir dir;
    std::mt19937 rng(31);
    std::vector<YUVReader> readers;
    const std::pair<const char*, std::pair<int, int>> files[] = {
        {"I420", {96, 64}}, {"NV21", {95, 63}}, {"YUYV", {120, 40}}, {"P010", {80, 60}}};
    for (auto& [id, size] : files) {
        const lumo::YUVType type = lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(id);
        YUVReader reader(dir.File(std::string(id) + ".yuv"), size.first, size.second, type);
        WriteFile(reader.path, RandomBytes(static_cast<size_t>(4 * reader.GetFrameLen()), rng));
        readers.push_back(reader);
    }
    std::vector<std::vector<Result>> serial(readers.size());
    for (size_t r = 0; r < readers.size(); ++r) {
        for (int f = 0; f < 4; ++f) {
            serial[r].push_back(Work(readers[r], f));
            ASSERT_FALSE(serial[r].back().yuv.empty());
        }
    }
    const int threads = 8;
    std::vector<int> mismatches(threads, 0);
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) {
        pool.emplace_back([&, t] {
            for (int round = 0; round < 6; ++round) {
                const size_t r = static_cast<size_t>(t + round) % readers.size();
                const YUVReader mine = readers[r]; // each thread its own copy
                const int f = (t * 3 + round) % 4;
                const Result got = Work(mine, f);
                const Result& want = serial[r][static_cast<size_t>(f)];
                const bool same = got.yuv == want.yuv && got.rgb == want.rgb &&
                                  got.ssim == want.ssim && got.mse[0] == want.mse[0] &&
                                  got.mse[1] == want.mse[1] && got.mse[2] == want.mse[2];
                mismatches[static_cast<size_t>(t)] += same ? 0 : 1;
            }
        });
    }
    for (auto& t : pool) {
        t.join();
    }
    for (int t = 0; t < threads; ++t) {
        EXPECT_EQ(mismatches[static_cast<size_t>(t)], 0) << "thread " << t;
    }
}

} // namespace
