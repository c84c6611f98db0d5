// Start-up of YUV Lumo, in milliseconds of wall-clock time:
//   SplashShown           from starting the YUVLumo program until the X server
//                         maps its splash window (without a window manager a
//                         mapped window is exposed at once): loading the
//                         libraries, QApplication, the surface format, the
//                         style and the splash window, as a user waits for it;
//   MainWindowWithFiles   a MainWindow built and shown, until exposed, with 20
//                         listed 1080p I420 files of ten frames each in the
//                         settings store: the list read, and the ten
//                         thumbnails of every entry read and scaled.
// The settings store is a temporary folder, the files are made here, and a
// real lumo-service answers the main window's version query. Run on a
// display: scripts/with-display build/bench/bench_startup

#include "settings/YuvReaderParse.h"
#include "shell/MainWindow.h"

#include "BackgroundProcess.h"
#include "KestGL/KestGLSurfaceFormat.h"
#include "LumoServiceProcess.h"
#include "X11Windows.h"
#include "lumo/YUVReader.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QSettings>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QWindow>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr int kFiles = 20;
constexpr int kFrames = 10;
constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

QTemporaryDir* scratch = nullptr;

// Ten frames of a luma ramp moving with the frame and the file, over
// chroma that differs per file.
std::string WriteClip(int file)
{
    const std::string path = scratch->filePath(QString("clip-%1.yuv").arg(file)).toStdString();
    std::ofstream out(path, std::ios::binary);
    const size_t luma = static_cast<size_t>(kWidth) * kHeight;
    const size_t chroma = static_cast<size_t>(kWidth / 2) * (kHeight / 2);
    std::vector<uint8_t> frame(luma + 2 * chroma);
    for (int f = 0; f < kFrames; f++) {
        for (int y = 0; y < kHeight; y++) {
            for (int x = 0; x < kWidth; x++) {
                frame[static_cast<size_t>(y) * kWidth + x] = static_cast<uint8_t>(16 + (x + y + 37 * f) % 220);
            }
        }
        std::fill(frame.begin() + static_cast<long>(luma), frame.begin() + static_cast<long>(luma + chroma),
                  static_cast<uint8_t>(64 + 6 * file));
        std::fill(frame.begin() + static_cast<long>(luma + chroma), frame.end(), static_cast<uint8_t>(192 - 6 * file));
        out.write(reinterpret_cast<const char*>(frame.data()), static_cast<std::streamsize>(frame.size()));
    }
    return path;
}

// The files listed in the settings store the way the main window lists
// them, made once.
bool ListFiles()
{
    static const bool listed = [] {
        YuvReaderParse list;
        for (int i = 0; i < kFiles; i++) {
            lumo::YUVReader reader(WriteClip(i), kWidth, kHeight, lumo::YUVType::YUV_TYPE_I420);
            list.AddReader(reader);
        }
        list.SaveToFile();
        YuvReaderParse check;
        check.ReadFromFile();
        return check.GetSize() == kFiles;
    }();
    return listed;
}

void SplashShown(benchmark::State& state)
{
    lumo_test::X11Windows windows;
    if (!windows.Connected()) {
        state.SkipWithError("no X display");
        return;
    }
    std::map<std::string, std::string> environment = lumo_test::CurrentEnvironment();
    environment["HOME"] = scratch->path().toStdString();
    for (auto _ : state) {
        windows.DiscardEvents();
        lumo_test::BackgroundProcess app;
        const auto start = std::chrono::steady_clock::now();
        if (!app.Start({LUMO_APP_PATH}, environment, scratch->filePath("app.out").toStdString())) {
            state.SkipWithError("cannot start YUVLumo");
            return;
        }
        std::chrono::steady_clock::time_point shown;
        if (!windows.WaitForMap(app.Pid(), std::chrono::seconds(60), shown)) {
            state.SkipWithError("YUVLumo showed no window");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(shown - start).count());
        app.Signal(SIGKILL);
        app.Wait(std::chrono::seconds(30));
    }
}

void MainWindowWithFiles(benchmark::State& state)
{
    if (!ListFiles()) {
        state.SkipWithError("the file list did not survive the settings store");
        return;
    }
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        auto* window = new MainWindow(nullptr);
        window->show();
        while (window->windowHandle() == nullptr || !window->windowHandle()->isExposed()) {
            if (timer.elapsed() > 60000) {
                state.SkipWithError("the main window was never exposed");
                delete window;
                return;
            }
            QApplication::processEvents(QEventLoop::AllEvents, 20);
        }
        state.SetIterationTime(static_cast<double>(timer.nsecsElapsed()) / 1e9);
        const int items = window->GetItems().size();
        window->close();
        delete window;
        QApplication::processEvents();
        if (items != kFiles) {
            state.SkipWithError("the main window did not list every file");
            return;
        }
    }
}

// The windows' debug lines (the file list, the service's answers) would
// bury the figures; warnings still show.
QtMessageHandler standardHandler = nullptr;

void QuietDebug(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type != QtDebugMsg) {
        standardHandler(type, context, message);
    }
}

BENCHMARK(SplashShown)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(10);
BENCHMARK(MainWindowWithFiles)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        fprintf(stderr, "no X display: run under scripts/with-display\n");
        return 1;
    }
    QTemporaryDir dir;
    if (!dir.isValid()) {
        fprintf(stderr, "cannot create a temporary folder\n");
        return 1;
    }
    scratch = &dir;
    // The settings store of this program and of the YUVLumo it starts.
    qputenv("XDG_CONFIG_HOME", dir.path().toUtf8());
    for (QSettings::Format format : {QSettings::NativeFormat, QSettings::IniFormat}) {
        QSettings::setPath(format, QSettings::UserScope, dir.path());
        QSettings::setPath(format, QSettings::SystemScope, dir.path());
    }
    lumo_test::LumoServiceProcess service(LUMO_SERVICE_PATH, dir.filePath("service").toStdString(),
                                          dir.filePath("service.log").toStdString());
    if (!service.Start()) {
        fprintf(stderr, "lumo-service did not start: %s\n", service.Announcement().c_str());
        return 1;
    }
    qputenv("YUVLUMO_SERVICE_URL", QByteArray::fromStdString(service.BaseUrl()));
    qputenv("YUVLUMO_SERVICE_CA", QByteArray::fromStdString(service.CertPath()));

    standardHandler = qInstallMessageHandler(QuietDebug);
    // As the application's main() sets itself up.
    QApplication app(argc, argv);
    Kest::KestGLSurfaceFormat::UseCoreFormat();
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
