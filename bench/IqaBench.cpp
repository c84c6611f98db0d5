// lumo-iqa beside FFmpeg's psnr and ssim filters on the pairs users score:
// 60 frames of 1080p (testsrc2 and an x264 CRF 35 copy) and 3,000 QCIF
// frames made the same way, raw I420 files in the page cache. Each side runs
// three times per pair; the closing table gives the median wall times and
// their ratio (lumo-iqa / FFmpeg; the goal is at most 0.5), with the load
// average seen before and after, since other work on the machine moves
// both figures.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

struct Pair {
    const char* name;
    int width;
    int height;
    int frames;
    QString ref;
    QString test;

    QString Size() const { return QString("%1x%2").arg(width).arg(height); }
};

Pair pairs[] = {{"1080p x 60", 1920, 1080, 60, {}, {}}, {"QCIF x 3000", 176, 144, 3000, {}, {}}};

// Wall seconds of every run, by side and pair.
std::map<std::string, std::vector<double>> seconds;

bool Run(const QString& program, const QStringList& args)
{
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, args);
    return process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

QString Ffmpeg()
{
    return QStandardPaths::findExecutable("ffmpeg");
}

QStringList RawInput(const Pair& p, const QString& path)
{
    return {"-f", "rawvideo", "-pix_fmt", "yuv420p", "-s", p.Size(), "-i", path};
}

bool MakePair(Pair& p, const QString& dir)
{
    const QString stem = dir + "/" + QString::number(p.width);
    p.ref = stem + "-ref.yuv";
    p.test = stem + "-crf35.yuv";
    const QString encoded = stem + "-crf35.mp4";
    const QStringList quiet{"-hide_banner", "-loglevel", "error", "-nostdin", "-y"};
    return Run(Ffmpeg(), quiet + QStringList{"-f", "lavfi", "-i",
                                             QString("testsrc2=s=%1:r=25").arg(p.Size()),
                                             "-frames:v", QString::number(p.frames), "-pix_fmt",
                                             "yuv420p", "-f", "rawvideo", p.ref}) &&
           Run(Ffmpeg(), quiet + RawInput(p, p.ref) +
                             QStringList{"-c:v", "libx264", "-crf", "35", "-preset", "veryfast",
                                         encoded}) &&
           Run(Ffmpeg(), quiet + QStringList{"-i", encoded, "-f", "rawvideo", "-pix_fmt",
                                             "yuv420p", p.test});
}

template <typename Body>
void Measure(benchmark::State& state, const std::string& key, Body body)
{
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const bool ok = body();
        seconds[key].push_back(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        if (!ok) {
            state.SkipWithError("the run failed");
            break;
        }
    }
}

void LumoIqa(benchmark::State& state, const Pair* p)
{
    Measure(state, std::string("lumo ") + p->name, [p] {
        return Run(LUMO_IQA_PATH, {"--size", p->Size(), "--layout", "I420", "--format", "csv",
                                   p->ref, p->test});
    });
}

void FfmpegFilters(benchmark::State& state, const Pair* p)
{
    Measure(state, std::string("ffmpeg ") + p->name, [p] {
        return Run(Ffmpeg(), QStringList{"-hide_banner", "-nostdin"} + RawInput(*p, p->ref) +
                                 RawInput(*p, p->test) +
                                 QStringList{"-lavfi", "[0][1]psnr;[0][1]ssim", "-f", "null", "-"});
    });
}

double Median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0.0 : v[v.size() / 2];
}

std::string LoadAverage()
{
    QFile file("/proc/loadavg");
    if (!file.open(QIODevice::ReadOnly)) {
        return "?";
    }
    return file.readLine().simplified().split(' ').mid(0, 3).join(' ').toStdString();
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    // Runs of both sides alternate in random order, so a change of load on
    // a shared machine falls on both alike.
    std::vector<char*> args(argv, argv + argc);
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    args.insert(args.begin() + 1, interleave);
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    if (Ffmpeg().isEmpty()) {
        std::fprintf(stderr, "no ffmpeg command here\n");
        return 1;
    }
    QTemporaryDir dir;
    if (!dir.isValid()) {
        std::fprintf(stderr, "cannot create a temporary folder\n");
        return 1;
    }
    for (Pair& p : pairs) {
        std::fprintf(stderr, "making the %s pair...\n", p.name);
        if (!MakePair(p, dir.path())) {
            std::fprintf(stderr, "ffmpeg could not make the %s pair\n", p.name);
            return 1;
        }
        // One untimed run of each reads the files into the page cache.
        Run(LUMO_IQA_PATH, {"--size", p.Size(), "--layout", "I420", p.ref, p.test});
        benchmark::RegisterBenchmark((std::string("lumo-iqa/") + p.name).c_str(), LumoIqa, &p)
            ->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond)->UseRealTime();
        benchmark::RegisterBenchmark((std::string("ffmpeg-psnr-ssim/") + p.name).c_str(),
                                     FfmpegFilters, &p)
            ->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond)->UseRealTime();
    }
    const std::string loadBefore = LoadAverage();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::printf("\n%-12s %12s %12s %7s %5s\n", "pair", "lumo-iqa s", "ffmpeg s", "ratio", "goal");
    for (const Pair& p : pairs) {
        const auto lumo = seconds.find(std::string("lumo ") + p.name);
        const auto ff = seconds.find(std::string("ffmpeg ") + p.name);
        if (lumo == seconds.end() || ff == seconds.end()) {
            continue;
        }
        const double ratio = Median(lumo->second) / Median(ff->second);
        std::printf("%-12s %12.3f %12.3f %7.3f %5.1f%s\n", p.name, Median(lumo->second),
                    Median(ff->second), ratio, 0.5, ratio <= 0.5 ? "" : "!");
    }
    std::printf("medians of 3 runs each; load average %s before, %s after\n", loadBefore.c_str(),
                LoadAverage().c_str());
    return 0;
}
