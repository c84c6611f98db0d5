// Media conversion throughput in pictures per second: OpenFileConvThread
// beside the ffmpeg command decoding the same 1080p H.264 clip to raw
// YUV420P. The conversion's 1 ms pause per picture is part of its figure.
#include "workers/OpenFileConvThread.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>

namespace {

const int kPictures = 120;

QString clip;
QString outputDir;

// Seconds spent and pictures produced by each contender, for the ratio.
struct Tally {
    double seconds = 0.0;
    double pictures = 0.0;
    double Rate() const { return seconds > 0.0 ? pictures / seconds : 0.0; }
};
Tally conversion;
Tally ffmpeg;

bool RunFfmpeg(const QStringList& args)
{
    const QString program = QStandardPaths::findExecutable("ffmpeg");
    if (program.isEmpty()) {
        return false;
    }
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, QStringList{"-hide_banner", "-loglevel", "error", "-nostdin", "-y"} + args);
    return process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// Runs one conversion to its end in a local event loop, as the dialog
// would receive it; whether it finished.
bool Convert(const QString& output)
{
    OpenFileConvThread thread(clip, output, nullptr);
    QObject receiver;
    QEventLoop loop;
    bool finished = false;
    QObject::connect(
        &thread, &OpenFileConvThread::OnFinish, &receiver, [&finished] { finished = true; }, Qt::QueuedConnection);
    QObject::connect(&thread, &QThread::finished, &loop, &QEventLoop::quit, Qt::QueuedConnection);
    thread.start();
    loop.exec();
    thread.wait();
    return finished;
}

template <typename Body>
void Measure(benchmark::State& state, Tally& tally, const QString& output, Body body)
{
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const bool ok = body();
        tally.seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        tally.pictures += kPictures;
        if (!ok) {
            state.SkipWithError("the run failed");
            break;
        }
        state.PauseTiming();
        QFile::remove(output);
        state.ResumeTiming();
    }
    state.counters["pictures/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * kPictures, benchmark::Counter::kIsRate);
}

void ConversionThread(benchmark::State& state)
{
    const QString output = outputDir + "/conversion.yuv";
    Measure(state, conversion, output, [&output] { return Convert(output); });
}

void FfmpegCommand(benchmark::State& state)
{
    const QString output = outputDir + "/ffmpeg.yuv";
    Measure(state, ffmpeg, output, [&output] {
        return RunFfmpeg({"-threads", "4", "-i", clip, "-f", "rawvideo", "-pix_fmt", "yuv420p", output});
    });
}

} // namespace

BENCHMARK(ConversionThread)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FfmpegCommand)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);

    QTemporaryDir dir;
    if (!dir.isValid()) {
        fprintf(stderr, "cannot create a temporary folder\n");
        return 1;
    }
    outputDir = dir.path();
    clip = dir.filePath("clip.mp4");
    fprintf(stderr, "making a %d-picture 1080p H.264 clip...\n", kPictures);
    if (!RunFfmpeg({"-f", "lavfi", "-i", "testsrc2=s=1920x1080:r=25", "-frames:v", QString::number(kPictures),
                    "-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p", clip})) {
        fprintf(stderr, "ffmpeg could not make the clip\n");
        return 1;
    }

    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (conversion.Rate() > 0.0 && ffmpeg.Rate() > 0.0) {
        printf("conversion %.1f pictures/s, ffmpeg -threads 4 %.1f pictures/s, ratio %.2f\n", conversion.Rate(),
               ffmpeg.Rate(), conversion.Rate() / ffmpeg.Rate());
    }
    return 0;
}
