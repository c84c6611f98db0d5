// LumoYuv's frame calls beside the nearest libyuv functions, on 1080p and
// 2160p I420 files held in the page cache. After the usual benchmark output
// it prints one table of time ratios (LumoYuv / libyuv; below 1 is faster).
//
// The LumoYuv side is measured the way the app calls it: result buffers
// malloc'ed by the library and freed after each call, Frame444To420 reusing
// its previous buffer. The libyuv side works in buffers allocated once.

#include "lumo/Threads.h"
#include "lumo/YUVReader.h"

#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int kFrames = 4;

struct Resolution {
    const char* label;
    int width;
    int height;
};

constexpr Resolution kResolutions[] = {{"1080p", 1920, 1080}, {"2160p", 3840, 2160}};

// One I420 test file and the buffers both sides work on.
struct Clip {
    int width = 0;
    int height = 0;
    std::string path;
    lumo::YUVReader reader;
    int64_t frameLen = 0;
    std::vector<uint8_t> i420A; // frame 0
    std::vector<uint8_t> i420B; // frame 1, a noisy copy of frame 0
    std::vector<uint8_t> yuv444;
    std::vector<uint8_t> scratch;

    size_t Plane() const { return static_cast<size_t>(width) * height; }
    size_t Chroma() const { return static_cast<size_t>(width / 2) * (height / 2); }
};

std::map<std::string, Clip>& Clips()
{
    static std::map<std::string, Clip> clips;
    return clips;
}

fs::path& WorkDir()
{
    static fs::path dir;
    return dir;
}

// Smooth gradients with texture and noise: closer to video than pure noise.
std::vector<uint8_t> MakeFrame(int w, int h, int seed)
{
    std::mt19937 rng(static_cast<unsigned>(seed));
    std::uniform_int_distribution<int> noise(-6, 6);
    const int cw = w / 2;
    const int ch = h / 2;
    std::vector<uint8_t> f(static_cast<size_t>(w) * h + 2 * static_cast<size_t>(cw) * ch);
    auto put = [](int v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); };
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            f[static_cast<size_t>(y) * w + x] =
                put(16 + (x * 200) / w + ((x / 8 + y / 8) % 2) * 10 + noise(rng));
        }
    }
    uint8_t* u = f.data() + static_cast<size_t>(w) * h;
    uint8_t* v = u + static_cast<size_t>(cw) * ch;
    for (int y = 0; y < ch; ++y) {
        for (int x = 0; x < cw; ++x) {
            u[static_cast<size_t>(y) * cw + x] = put(128 + (y * 60) / ch - 30 + noise(rng));
            v[static_cast<size_t>(y) * cw + x] = put(128 + (x * 60) / cw - 30 + noise(rng));
        }
    }
    return f;
}

std::vector<uint8_t> AddNoise(const std::vector<uint8_t>& in, int seed)
{
    std::mt19937 rng(static_cast<unsigned>(seed));
    std::uniform_int_distribution<int> noise(-3, 3);
    std::vector<uint8_t> out(in.size());
    for (size_t i = 0; i < in.size(); ++i) {
        out[i] = static_cast<uint8_t>(std::clamp(in[i] + noise(rng), 0, 255));
    }
    return out;
}

void PrepareClips()
{
    WorkDir() = fs::temp_directory_path() / ("lumo-yuv-bench-" + std::to_string(::getpid()));
    fs::create_directories(WorkDir());
    for (const Resolution& r : kResolutions) {
        Clip& clip = Clips()[r.label];
        clip.width = r.width;
        clip.height = r.height;
        clip.path = (WorkDir() / (std::string(r.label) + ".yuv")).string();
        clip.i420A = MakeFrame(r.width, r.height, 1);
        clip.i420B = AddNoise(clip.i420A, 2);
        {
            std::ofstream out(clip.path, std::ios::binary);
            for (int i = 0; i < kFrames; ++i) {
                const auto& f = i % 2 == 0 ? clip.i420A : clip.i420B;
                out.write(reinterpret_cast<const char*>(f.data()),
                          static_cast<std::streamsize>(f.size()));
            }
        }
        clip.reader = lumo::YUVReader(clip.path, r.width, r.height, lumo::YUVType::YUV_TYPE_I420);
        clip.frameLen = clip.reader.GetFrameLen();
        // Pull the file into the page cache.
        std::ifstream in(clip.path, std::ios::binary);
        std::vector<char> sink(1 << 20);
        while (in.read(sink.data(), static_cast<std::streamsize>(sink.size()))) {
        }
        clip.yuv444.resize(3 * clip.Plane());
        clip.scratch.resize(static_cast<size_t>(clip.frameLen));
        int status = 0;
        unsigned char* frame = clip.reader.ReadFrameYUV444(nullptr, &status, 0);
        std::copy(frame, frame + 3 * clip.Plane(), clip.yuv444.begin());
        std::free(frame);
    }
}

bool ReadWhole(const Clip& clip, int64_t offset, uint8_t* dst)
{
    const int fd = ::open(clip.path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const ssize_t got = ::pread(fd, dst, static_cast<size_t>(clip.frameLen), offset);
    ::close(fd);
    return got == clip.frameLen;
}

void SetBytes(benchmark::State& state, const Clip& clip)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * clip.frameLen);
}

// ---- ReadFrameYUV444 vs pread + I420ToI444 ----

using ReadCall = unsigned char* (lumo::YUVReader::*)(unsigned char*, int*, long) const;

// One frame after the other through a LumoYuv read call, as the app reads.
void LumoRead(benchmark::State& state, const char* res, ReadCall read)
{
    const Clip& clip = Clips().at(res);
    int frame = 0;
    for (auto _ : state) {
        int status = 0;
        unsigned char* p = (clip.reader.*read)(nullptr, &status, frame * clip.frameLen);
        benchmark::DoNotOptimize(p);
        std::free(p);
        frame = (frame + 1) % kFrames;
    }
    SetBytes(state, clip);
}

void LumoRead444(benchmark::State& state, const char* res)
{
    LumoRead(state, res, &lumo::YUVReader::ReadFrameYUV444);
}

// pread of each frame into scratch, then a libyuv conversion of it.
template <typename Convert>
void YuvRead(benchmark::State& state, const char* res, Convert convert)
{
    Clip& clip = Clips().at(res);
    std::vector<uint8_t> out(3 * clip.Plane());
    int frame = 0;
    for (auto _ : state) {
        ReadWhole(clip, frame * clip.frameLen, clip.scratch.data());
        const uint8_t* y = clip.scratch.data();
        const uint8_t* u = y + clip.Plane();
        const uint8_t* v = u + clip.Chroma();
        convert(clip, y, u, v, out.data());
        benchmark::DoNotOptimize(out.data());
        frame = (frame + 1) % kFrames;
    }
    SetBytes(state, clip);
}

void YuvRead444(benchmark::State& state, const char* res)
{
    YuvRead(state, res, [](const Clip& clip, const uint8_t* y, const uint8_t* u, const uint8_t* v, uint8_t* out) {
        const int w = clip.width;
        libyuv::I420ToI444(y, w, u, w / 2, v, w / 2, out, w, out + clip.Plane(), w, out + 2 * clip.Plane(), w, w,
                           clip.height);
    });
}

// ---- ReadFrameYUV420 vs pread + I420Copy ----

void LumoRead420(benchmark::State& state, const char* res)
{
    LumoRead(state, res, &lumo::YUVReader::ReadFrameYUV420);
}

void YuvRead420(benchmark::State& state, const char* res)
{
    YuvRead(state, res, [](const Clip& clip, const uint8_t* y, const uint8_t* u, const uint8_t* v, uint8_t* out) {
        const int w = clip.width;
        const int cw = w / 2;
        uint8_t* outU = out + clip.Plane();
        libyuv::I420Copy(y, w, u, cw, v, cw, out, w, outU, cw, outU + clip.Chroma(), cw, w, clip.height);
    });
}

// ---- ReadFrameRGB24 vs pread + I420ToRAW (RAW is R,G,B in memory) ----

void LumoReadRgb(benchmark::State& state, const char* res)
{
    LumoRead(state, res, &lumo::YUVReader::ReadFrameRGB24);
}

void YuvReadRgb(benchmark::State& state, const char* res)
{
    YuvRead(state, res, [](const Clip& clip, const uint8_t* y, const uint8_t* u, const uint8_t* v, uint8_t* out) {
        const int w = clip.width;
        libyuv::I420ToRAW(y, w, u, w / 2, v, w / 2, out, 3 * w, w, clip.height);
    });
}

// ---- Frame444To420 vs I444ToI420 ----

void LumoTo420(benchmark::State& state, const char* res)
{
    Clip& clip = Clips().at(res);
    lumo::YUVReader receiver;
    unsigned char* dst = nullptr;
    for (auto _ : state) {
        dst = receiver.Frame444To420(clip.yuv444.data(), dst, clip.width, clip.height);
        benchmark::DoNotOptimize(dst);
    }
    std::free(dst);
    SetBytes(state, clip);
}

void YuvTo420(benchmark::State& state, const char* res)
{
    Clip& clip = Clips().at(res);
    const int w = clip.width;
    const int cw = w / 2;
    const uint8_t* src = clip.yuv444.data();
    std::vector<uint8_t> out(clip.Plane() + 2 * clip.Chroma());
    for (auto _ : state) {
        libyuv::I444ToI420(src, w, src + clip.Plane(), w, src + 2 * clip.Plane(), w, out.data(), w,
                           out.data() + clip.Plane(), cw, out.data() + clip.Plane() + clip.Chroma(),
                           cw, w, clip.height);
        benchmark::DoNotOptimize(out.data());
    }
    SetBytes(state, clip);
}

// ---- CallPSNR vs ComputeSumSquareErrorPlane on the three planes ----

void LumoPsnr(benchmark::State& state, const char* res)
{
    Clip& clip = Clips().at(res);
    lumo::YUVReader receiver;
    for (auto _ : state) {
        double psnr[3] = {0, 0, 0};
        double mse[3] = {0, 0, 0};
        receiver.CallPSNR(psnr, clip.i420A.data(), clip.i420B.data(), clip.width, clip.height, mse);
        benchmark::DoNotOptimize(psnr);
        benchmark::DoNotOptimize(mse);
    }
    SetBytes(state, clip);
}

void YuvPsnr(benchmark::State& state, const char* res)
{
    Clip& clip = Clips().at(res);
    const int w = clip.width;
    const int cw = w / 2;
    const int ch = clip.height / 2;
    const uint8_t* a = clip.i420A.data();
    const uint8_t* b = clip.i420B.data();
    const size_t offsets[3] = {0, clip.Plane(), clip.Plane() + clip.Chroma()};
    for (auto _ : state) {
        uint64_t sse[3];
        sse[0] = libyuv::ComputeSumSquareErrorPlane(a, w, b, w, w, clip.height);
        for (int p = 1; p < 3; ++p) {
            sse[p] =
                libyuv::ComputeSumSquareErrorPlane(a + offsets[p], cw, b + offsets[p], cw, cw, ch);
        }
        benchmark::DoNotOptimize(sse);
    }
    SetBytes(state, clip);
}

// ---- CallSsimIqa (11x11 Gaussian, every position) vs CalcFrameSsim (8x8) ----

void LumoSsim(benchmark::State& state, const char* res)
{
    Clip& clip = Clips().at(res);
    lumo::YUVReader receiver;
    for (auto _ : state) {
        double s = receiver.CallSsimIqa(clip.i420A.data(), clip.i420B.data(), clip.width,
                                        clip.height, lumo::COLOR_SPACE_FULL_RANGE);
        benchmark::DoNotOptimize(s);
    }
    SetBytes(state, clip);
}

// The library may spread SSIM over all cores; this variant holds it to the
// calling thread, for a like-for-like figure.
void LumoSsimOneThread(benchmark::State& state, const char* res)
{
    const int saved = lumo::SetMaxThreads(1);
    LumoSsim(state, res);
    lumo::SetMaxThreads(saved);
}

void YuvSsim(benchmark::State& state, const char* res)
{
    Clip& clip = Clips().at(res);
    for (auto _ : state) {
        double s = libyuv::CalcFrameSsim(clip.i420A.data(), clip.width, clip.i420B.data(),
                                         clip.width, clip.width, clip.height);
        benchmark::DoNotOptimize(s);
    }
    SetBytes(state, clip);
}

struct Pair {
    const char* call;
    const char* reference;
    double goal;
    void (*lumo)(benchmark::State&, const char*);
    void (*libyuv)(benchmark::State&, const char*);
};

const Pair kPairs[] = {
    {"ReadFrameYUV444", "pread+I420ToI444", 1.0, LumoRead444, YuvRead444},
    {"ReadFrameYUV420", "pread+I420Copy", 1.0, LumoRead420, YuvRead420},
    {"ReadFrameRGB24", "pread+I420ToRAW", 1.0, LumoReadRgb, YuvReadRgb},
    {"Frame444To420", "I444ToI420", 1.0, LumoTo420, YuvTo420},
    {"CallPSNR", "ComputeSumSquareErrorPlane x3", 1.2, LumoPsnr, YuvPsnr},
    {"CallSsimIqa", "CalcFrameSsim", 1.0, LumoSsim, YuvSsim},
    {"CallSsimIqa-1t", "CalcFrameSsim (LumoYuv on one thread)", 1.0, LumoSsimOneThread, YuvSsim},
};

std::string Name(const char* side, const char* call, const char* res)
{
    return std::string(side) + "/" + call + "/" + res;
}

// Keeps each benchmark's time per iteration for the closing table: the
// fastest repetition when there are several (least disturbed by other load
// on the machine), else the single run.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                continue;
            }
            const std::string& name = run.run_name.function_name;
            const double ms = run.GetAdjustedRealTime(); // every benchmark uses ms
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "min") {
                millis[name] = ms;
                fromMin.insert(name);
            } else if (run.run_type == Run::RT_Iteration && fromMin.count(name) == 0) {
                millis[name] = ms;
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void PrintRatios() const
    {
        std::printf("\n%-16s %-6s %10s %10s %7s %5s  reference\n", "call", "size", "lumo ms",
                    "libyuv ms", "ratio", "goal");
        for (const Pair& p : kPairs) {
            for (const Resolution& r : kResolutions) {
                const auto a = millis.find(Name("lumo", p.call, r.label));
                const auto b = millis.find(Name("libyuv", p.call, r.label));
                if (a == millis.end() || b == millis.end()) {
                    continue;
                }
                const double ratio = a->second / b->second;
                std::printf("%-16s %-6s %10.3f %10.3f %7.3f %5.1f%s %s\n", p.call, r.label,
                            a->second, b->second, ratio, p.goal, ratio <= p.goal ? " " : "!",
                            p.reference);
            }
        }
    }

private:
    std::map<std::string, double> millis;
    std::set<std::string> fromMin;
};

double Fastest(const std::vector<double>& v)
{
    return *std::min_element(v.begin(), v.end());
}

} // namespace

int main(int argc, char** argv)
{
    PrepareClips();
    for (const Pair& p : kPairs) {
        for (const Resolution& r : kResolutions) {
            // Each side in turn, five short repetitions, the fastest kept.
            for (auto [side, fn] : {std::pair{"lumo", p.lumo}, std::pair{"libyuv", p.libyuv}}) {
                benchmark::RegisterBenchmark(Name(side, p.call, r.label).c_str(), fn, r.label)
                    ->Unit(benchmark::kMillisecond)
                    ->UseRealTime()
                    ->MinTime(0.2)
                    ->Repetitions(5)
                    ->ComputeStatistics("min", Fastest)
                    ->ReportAggregatesOnly(true);
            }
        }
    }
    // The repetitions of all benchmarks run in random order, so a change of
    // load on a shared machine falls on both sides of a ratio alike.
    std::vector<char*> args(argv, argv + argc);
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    args.insert(args.begin() + 1, interleave);
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    benchmark::Shutdown();
    std::error_code ignored;
    fs::remove_all(WorkDir(), ignored);
    return 0;
}
