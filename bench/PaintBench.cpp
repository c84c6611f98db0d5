// The frame view's paintGL on 1080p and 2160p I420 frames under the X
// display's OpenGL (Mesa llvmpipe under Xvfb), and its three parts:
//   FrameRead  a fresh reader and ReadFrameYUV444, as paintGL does it;
//   Upload     the three planes into red-channel textures, GPU finished;
//   Draw       paintGL when the frame cannot be read: clear, frame, rectangle
//              sides, with the last frame's textures in place;
//   PaintGL    the whole of it.
// The view is 1280 x 720. Times are wall-clock: llvmpipe renders on its own
// threads. Run on a display: scripts/with-display build/bench/bench_paint.

#include "KestGL/KestGLSurfaceFormat.h"
#include "views/YUVShowView.h"

#include "KestGL/KestGLTexture.h"
#include "lumo/YUVReader.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QOpenGLContext>
#include <QOpenGLFunctions_3_3_Core>
#include <QSurfaceFormat>
#include <QTemporaryDir>
#include <QWindow>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

// paintGL is protected; the benchmark calls it directly.
class BenchView : public YUVShowView {
public:
    using YUVShowView::YUVShowView;
    void Paint()
    {
        makeCurrent();
        paintGL();
    }
};

struct Clip {
    int width;
    int height;
    std::string path;
    std::unique_ptr<BenchView> view;
};

std::map<int, Clip> clips;

// Two frames of colour bars over a luma ramp.
std::string WriteClip(const QTemporaryDir& dir, int width, int height)
{
    const std::string path = dir.filePath(QString("clip-%1.yuv").arg(height)).toStdString();
    std::ofstream out(path, std::ios::binary);
    const size_t luma = static_cast<size_t>(width) * height;
    const size_t chroma = static_cast<size_t>(width / 2) * (height / 2);
    std::vector<uint8_t> frame(luma + 2 * chroma);
    for (int f = 0; f < 2; f++) {
        for (int y = 0; y < height; y++) {
            for (int x = 0; x < width; x++) {
                frame[static_cast<size_t>(y) * width + x] = static_cast<uint8_t>(16 + (x * 8 / width + f) * 27);
            }
        }
        for (size_t i = 0; i < chroma; i++) {
            frame[luma + i] = static_cast<uint8_t>(64 + (i * 7) % 128);
            frame[luma + chroma + i] = static_cast<uint8_t>(192 - (i * 5) % 128);
        }
        out.write(reinterpret_cast<const char*>(frame.data()), static_cast<std::streamsize>(frame.size()));
    }
    return path;
}

bool WaitForPaint(QWidget& widget)
{
    widget.show();
    QElapsedTimer timer;
    timer.start();
    while (widget.windowHandle() == nullptr || !widget.windowHandle()->isExposed()) {
        if (timer.elapsed() > 10000) {
            return false;
        }
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    QApplication::processEvents();
    return true;
}

void FrameRead(benchmark::State& state)
{
    const Clip& clip = clips.at(static_cast<int>(state.range(0)));
    const lumo::YUVType i420 = lumo::YUVType::YUV_TYPE_I420;
    for (auto _ : state) {
        lumo::YUVReader reader(clip.path, clip.width, clip.height, i420);
        int status = 0;
        unsigned char* frame = reader.ReadFrameYUV444(nullptr, &status, 0);
        benchmark::DoNotOptimize(frame);
        free(frame);
    }
}

void Upload(benchmark::State& state)
{
    Clip& clip = clips.at(static_cast<int>(state.range(0)));
    clip.view->makeCurrent();
    auto* gl = clip.view->context()->versionFunctions<QOpenGLFunctions_3_3_Core>();
    std::vector<unsigned char> planes(3 * static_cast<size_t>(clip.width) * clip.height, 128);
    const size_t plane = static_cast<size_t>(clip.width) * clip.height;
    Kest::KestGLTexture y(gl);
    Kest::KestGLTexture u(gl);
    Kest::KestGLTexture v(gl);
    for (auto _ : state) {
        y.SetDataRedChannel(planes.data(), clip.width, clip.height);
        u.SetDataRedChannel(planes.data() + plane, clip.width, clip.height);
        v.SetDataRedChannel(planes.data() + 2 * plane, clip.width, clip.height);
        gl->glFinish();
    }
}

void Draw(benchmark::State& state)
{
    Clip& clip = clips.at(static_cast<int>(state.range(0)));
    clip.view->LoadFrame(0);
    clip.view->Paint();
    // Past the end of the file: the read fails at once and the last frame's
    // textures are drawn.
    clip.view->LoadFrame(1L << 40);
    for (auto _ : state) {
        clip.view->Paint();
    }
    clip.view->LoadFrame(0);
}

void PaintGL(benchmark::State& state)
{
    Clip& clip = clips.at(static_cast<int>(state.range(0)));
    clip.view->LoadFrame(0);
    for (auto _ : state) {
        clip.view->Paint();
    }
}

void Sizes(benchmark::internal::Benchmark* b)
{
    b->ArgName("height")->Arg(1080)->Arg(2160)->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(FrameRead)->Apply(Sizes);
BENCHMARK(Upload)->Apply(Sizes);
BENCHMARK(Draw)->Apply(Sizes);
BENCHMARK(PaintGL)->Apply(Sizes);

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        fprintf(stderr, "no X display: run under scripts/with-display\n");
        return 1;
    }
    Kest::KestGLSurfaceFormat::UseCoreFormat();
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);

    QTemporaryDir dir;
    if (!dir.isValid()) {
        fprintf(stderr, "cannot create a temporary folder\n");
        return 1;
    }
    for (int height : {1080, 2160}) {
        Clip& clip = clips[height];
        clip.width = height * 16 / 9;
        clip.height = height;
        clip.path = WriteClip(dir, clip.width, clip.height);
        clip.view = std::make_unique<BenchView>(QString::fromStdString(clip.path), clip.width, clip.height,
                                                lumo::YUVType::YUV_TYPE_I420);
        clip.view->resize(1280, 720);
        if (!WaitForPaint(*clip.view) || clip.view->context() == nullptr) {
            fprintf(stderr, "no OpenGL view\n");
            return 1;
        }
        const QSurfaceFormat got = clip.view->context()->format();
        if (got.profile() != QSurfaceFormat::CoreProfile || got.version() < qMakePair(3, 3)) {
            fprintf(stderr, "OpenGL %d.%d is below 3.3 core\n", got.majorVersion(), got.minorVersion());
            return 1;
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    clips.clear();
    return 0;
}
