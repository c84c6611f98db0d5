#include "workers/OpenFileConvThread.h"

#include "lumo/YUVType.h"

#include "TempDir.h"
#include "TestFifo.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <fstream>
#include <limits>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include <sys/resource.h>

namespace {

// One signal as it reached the user-interface thread.
struct Event {
    std::string name;
    double number = 0.0;
    int code = 0;
    QString yuvPath;
    QString typeName;
    int width = 0;
    int height = 0;
};

struct Signals {
    std::vector<Event> events;
    bool timedOut = false;
    qint64 elapsedMs = 0;

    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (const Event& e : events) {
            names.push_back(e.name);
        }
        return names;
    }
    std::vector<float> Progress() const
    {
        std::vector<float> values;
        for (const Event& e : events) {
            if (e.name == "progress") {
                values.push_back(static_cast<float>(e.number));
            }
        }
        return values;
    }
    const Event& Last() const { return events.back(); }
};

// Counts the pauses of the main decoding loop and still takes them.
class CountingThread : public OpenFileConvThread {
public:
    using OpenFileConvThread::OpenFileConvThread;
    std::atomic<int> pauses{0};

protected:
    void PauseBeforeProgress() override
    {
        pauses++;
        OpenFileConvThread::PauseBeforeProgress();
    }
};

// Starts the thread and collects its signals, in emission order, until the
// thread has finished and a local event loop has seen it end. The signals
// are recorded on the conversion thread under a lock of the test's own, so
// a ThreadSanitizer build sees every hand-over (it cannot see through Qt's
// uninstrumented event queue).
Signals Collect(OpenFileConvThread& thread, int limitMs = 60000)
{
    Signals run;
    std::mutex lock;
    QEventLoop loop;
    auto add = [&run, &lock](const std::string& name, const std::function<void(Event&)>& fill) {
        Event event;
        event.name = name;
        fill(event);
        std::lock_guard<std::mutex> guard(lock);
        run.events.push_back(event);
    };
    QObject::connect(
        &thread, &OpenFileConvThread::OnStart, &thread,
        [&](double duration) { add("start", [&](Event& e) { e.number = duration; }); }, Qt::DirectConnection);
    QObject::connect(
        &thread, &OpenFileConvThread::OnProgress, &thread,
        [&](float progress) { add("progress", [&](Event& e) { e.number = progress; }); }, Qt::DirectConnection);
    QObject::connect(
        &thread, &OpenFileConvThread::OnError, &thread,
        [&](int code) { add("error", [&](Event& e) { e.code = code; }); }, Qt::DirectConnection);
    QObject::connect(
        &thread, &OpenFileConvThread::OnFinish, &thread,
        [&](QString yuvPath, QString typeName, int width, int height) {
            add("finish", [&](Event& e) {
                e.yuvPath = yuvPath;
                e.typeName = typeName;
                e.width = width;
                e.height = height;
            });
        },
        Qt::DirectConnection);
    QObject::connect(&thread, SIGNAL(finished()), &loop, SLOT(quit()), Qt::QueuedConnection);
    QTimer::singleShot(limitMs, &loop, [&] {
        run.timedOut = true;
        loop.quit();
    });
    QElapsedTimer clock;
    clock.start();
    thread.start();
    loop.exec();
    run.elapsedMs = clock.elapsed();
    if (run.timedOut) {
        ADD_FAILURE() << "the conversion did not end within " << limitMs << " ms";
    }
    thread.wait();
    std::lock_guard<std::mutex> guard(lock);
    return run;
}

// Lowers this process's file size limit for the life of the object, so
// that writes past it fail as on a full disk (EFBIG, with the signal that
// would end the process ignored).
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &saved);
        previousHandler = signal(SIGXFSZ, SIG_IGN);
        rlimit lowered = saved;
        lowered.rlim_cur = bytes;
        EXPECT_EQ(0, setrlimit(RLIMIT_FSIZE, &lowered));
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &saved);
        signal(SIGXFSZ, previousHandler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit saved{};
    sighandler_t previousHandler = SIG_DFL;
};

QString I420Name()
{
    return QString::fromStdString(lumo::YUVType::YUV_TYPE_I420.idName);
}

std::string Cut(const std::string& bytes, size_t from, size_t count)
{
    return bytes.substr(from, count);
}

class ConversionTest : public ::testing::Test {
protected:
    // Runs ffmpeg with args and the output file last; false when it failed.
    bool Ffmpeg(const QStringList& args, const std::string& output)
    {
        const QString program = QStandardPaths::findExecutable("ffmpeg");
        if (program.isEmpty()) {
            return false;
        }
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(program, QStringList{"-hide_banner", "-loglevel", "error", "-nostdin", "-y"} + args +
                                   QStringList{QString::fromStdString(output)});
        return process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit &&
               process.exitCode() == 0;
    }

    // Makes a media file and fails the test when ffmpeg cannot.
    std::string Make(const std::string& name, const QStringList& args)
    {
        const std::string path = dir.File(name);
        EXPECT_TRUE(Ffmpeg(args, path)) << "ffmpeg could not make " << name;
        return path;
    }

    // What ffmpeg decodes the file to, in the given raw pixel format.
    std::string Decoded(const std::string& path, const QString& pixelFormat = "yuv420p")
    {
        const std::string raw = path + "." + pixelFormat.toStdString() + ".raw";
        EXPECT_TRUE(Ffmpeg({"-i", QString::fromStdString(path), "-f", "rawvideo", "-pix_fmt", pixelFormat}, raw));
        return lumo_test::ReadWholeFile(raw);
    }

    std::string WriteFile(const std::string& name, const std::string& bytes)
    {
        const std::string path = dir.File(name);
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    Signals Convert(const std::string& input, const std::string& output)
    {
        OpenFileConvThread thread(QString::fromStdString(input), QString::fromStdString(output), nullptr);
        return Collect(thread);
    }

    std::string Output() const { return dir.File("out.yuv"); }

    static bool Exists(const std::string& path) { return std::filesystem::exists(path); }

    // 10 pictures of 64 x 48 at 25 per second (0.4 s), H.264 without
    // B-frames in MP4.
    std::string SmallH264(const std::string& name = "small.mp4", const QString& frames = "10")
    {
        return Make(name, {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25", "-frames:v", frames, "-c:v", "libx264",
                           "-preset", "ultrafast", "-pix_fmt", "yuv420p"});
    }

    std::string Ffv1(const std::string& name, const QString& size, const QString& pixelFormat,
                     const QString& source = "testsrc2")
    {
        return Make(name, {"-f", "lavfi", "-i", source + "=s=" + size + ":r=25", "-frames:v", "5", "-c:v", "ffv1",
                           "-pix_fmt", pixelFormat});
    }

    // A raw H.264 stream (no container) of lossless pictures.
    std::string LosslessH264(const std::string& name, const QString& size, const QString& frames,
                             const QString& pixelFormat)
    {
        return Make(name, {"-f", "lavfi", "-i", "testsrc2=s=" + size + ":r=25", "-frames:v", frames, "-c:v",
                           "libx264", "-preset", "ultrafast", "-qp", "0", "-pix_fmt", pixelFormat});
    }

    // 10 intra-only pictures of 64 x 48 with noise, so that every picture
    // takes about the same room and a cut file keeps the pictures before
    // the cut.
    std::string NoisyIntra(const std::string& name, const QStringList& extra = {})
    {
        return Make(name, QStringList{"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25", "-frames:v", "10", "-vf",
                                      "noise=alls=60:allf=t", "-c:v", "libx264", "-preset", "ultrafast", "-g", "1"} +
                              extra);
    }

    void ExpectOnlyError(const Signals& run, int code)
    {
        ASSERT_EQ(std::vector<std::string>{"error"}, run.Names());
        EXPECT_EQ(code, run.Last().code);
        EXPECT_FALSE(Exists(Output()));
    }

    lumo_test::TempDir dir;
};

} // namespace

TEST(PictureProgress, IsPtsInSecondsOverDuration)
{
    const Kest::KestAVRational tb(1, 12800);
    EXPECT_EQ(0.5f, OpenFileConvThread::PictureProgress(512, tb, 0.08));
    EXPECT_EQ(0.25f, OpenFileConvThread::PictureProgress(1, Kest::KestAVRational(1, 4), 1.0));
    EXPECT_EQ(0.75f, OpenFileConvThread::PictureProgress(3, Kest::KestAVRational(1, 4), 1.0));
}

TEST(PictureProgress, DividesInDoubleThenNarrowsToFloat)
{
    EXPECT_EQ(static_cast<float>(1.0 / 3.0), OpenFileConvThread::PictureProgress(1, Kest::KestAVRational(1, 1), 3.0));
    EXPECT_EQ(static_cast<float>(0.1 / 0.7),
              OpenFileConvThread::PictureProgress(1, Kest::KestAVRational(1, 10), 0.7));
}

TEST(PictureProgress, ClampsToOneAtAndBeyondTheDuration)
{
    const Kest::KestAVRational tb(1, 1000);
    EXPECT_EQ(1.0f, OpenFileConvThread::PictureProgress(400, tb, 0.4));
    EXPECT_EQ(1.0f, OpenFileConvThread::PictureProgress(5000, tb, 0.4));
}

TEST(PictureProgress, ClampsToZeroForNegativeAndZeroPts)
{
    const Kest::KestAVRational tb(1, 1000);
    EXPECT_EQ(0.0f, OpenFileConvThread::PictureProgress(-40, tb, 0.4));
    const float zero = OpenFileConvThread::PictureProgress(0, tb, 0.4);
    EXPECT_EQ(0.0f, zero);
    EXPECT_FALSE(std::signbit(zero));
}

TEST(PictureProgress, ZeroDurationGivesOneForPositivePts)
{
    EXPECT_EQ(1.0f, OpenFileConvThread::PictureProgress(1, Kest::KestAVRational(1, 1000), 0.0));
}

TEST(PictureProgress, ZeroDurationAndZeroPtsPassNaNThrough)
{
    EXPECT_TRUE(std::isnan(OpenFileConvThread::PictureProgress(0, Kest::KestAVRational(1, 1000), 0.0)));
}

TEST(PictureProgress, ZeroDurationAndNegativePtsGiveZero)
{
    EXPECT_EQ(0.0f, OpenFileConvThread::PictureProgress(-1, Kest::KestAVRational(1, 1000), 0.0));
}

TEST(PictureProgress, UnknownDurationGivesZero)
{
    const double unknown = static_cast<double>(std::numeric_limits<int64_t>::min()) / 1000.0;
    EXPECT_EQ(0.0f, OpenFileConvThread::PictureProgress(400, Kest::KestAVRational(1, 1000), unknown));
}

TEST_F(ConversionTest, TenFullHdPicturesBecomeTenI420Pictures)
{
    const std::string input = Make("full-hd.mp4", {"-f", "lavfi", "-i", "testsrc2=s=1920x1080:r=25", "-frames:v",
                                                   "10", "-c:v", "libx264", "-preset", "ultrafast", "-pix_fmt",
                                                   "yuv420p"});
    const Signals run = Convert(input, Output());

    std::vector<std::string> names = {"start"};
    names.insert(names.end(), 10, "progress");
    names.push_back("finish");
    ASSERT_EQ(names, run.Names());
    EXPECT_DOUBLE_EQ(0.4, run.events.front().number);
    const std::vector<float> progress = run.Progress();
    for (int i = 0; i < 10; i++) {
        EXPECT_FLOAT_EQ(i / 10.0f, progress[i]) << i;
    }
    const Event& finish = run.Last();
    EXPECT_EQ(QString::fromStdString(Output()), finish.yuvPath);
    EXPECT_EQ(I420Name(), finish.typeName);
    EXPECT_EQ(1920, finish.width);
    EXPECT_EQ(1080, finish.height);

    const std::string written = lumo_test::ReadWholeFile(Output());
    EXPECT_EQ(10u * 3110400u, written.size());
    EXPECT_TRUE(written == Decoded(input)) << "differs from ffmpeg's decoding";
}

TEST_F(ConversionTest, StartCarriesTheVideoStreamsDurationNotTheContainers)
{
    // 0.4 s of video beside 1 s of audio.
    const std::string input = Make("av.mp4", {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25", "-f", "lavfi", "-i",
                                              "sine=sample_rate=8000", "-frames:v", "10", "-t", "1", "-c:v",
                                              "libx264", "-preset", "ultrafast", "-c:a", "aac"});
    const Signals run = Convert(input, Output());
    ASSERT_FALSE(run.events.empty());
    EXPECT_EQ("start", run.events.front().name);
    EXPECT_DOUBLE_EQ(0.4, run.events.front().number);
    EXPECT_EQ(10u, run.Progress().size());
    EXPECT_EQ("finish", run.Last().name);
    EXPECT_EQ(10u * 4608u, lumo_test::ReadWholeFile(Output()).size());
}

TEST_F(ConversionTest, PacketsOfOtherVideoStreamsAreSkipped)
{
    // Two video streams the one decoder could read: 5 and 3 pictures.
    const std::string input = Make("two-videos.mkv", {"-f", "lavfi", "-t", "0.2", "-i", "testsrc2=s=64x48:r=25",
                                                      "-f", "lavfi", "-t", "0.12", "-i", "testsrc=s=64x48:r=25",
                                                      "-map", "0:v", "-map", "1:v", "-c:v", "libx264", "-preset",
                                                      "ultrafast", "-pix_fmt", "yuv420p"});
    const Signals run = Convert(input, Output());
    ASSERT_EQ("finish", run.Last().name);
    const size_t pictures = run.Progress().size();
    EXPECT_TRUE(pictures == 5 || pictures == 3) << pictures << " pictures";
    EXPECT_EQ(pictures * 4608u, lumo_test::ReadWholeFile(Output()).size());
}

TEST_F(ConversionTest, LogsTheDurationOnTheDebugStream)
{
    static std::mutex mutex;
    static QStringList lines;
    lines.clear();
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&,
                                                                const QString& message) {
        if (type == QtDebugMsg) {
            std::lock_guard<std::mutex> lock(mutex);
            lines.append(message);
        }
    });
    const Signals run = Convert(SmallH264(), Output());
    qInstallMessageHandler(previous);

    EXPECT_EQ("finish", run.Last().name);
    std::lock_guard<std::mutex> lock(mutex);
    ASSERT_EQ(1, lines.size());
    EXPECT_TRUE(lines.first().contains("0.4")) << lines.first().toStdString();
}

TEST_F(ConversionTest, LosslessSourceIsByteIdenticalToFfmpeg)
{
    const std::string input = Ffv1("lossless.mkv", "64x48", "yuv420p");
    const Signals run = Convert(input, Output());
    ASSERT_EQ("finish", run.Last().name);
    EXPECT_EQ(64, run.Last().width);
    EXPECT_EQ(48, run.Last().height);
    const std::string expected = Decoded(input);
    EXPECT_EQ(5u * 4608u, expected.size());
    EXPECT_TRUE(lumo_test::ReadWholeFile(Output()) == expected);
}

TEST_F(ConversionTest, UnknownStreamDurationStartsHugelyNegativeAndReportsZeroProgress)
{
    // Matroska leaves the stream's own duration unknown.
    const Signals run = Convert(Ffv1("unknown.mkv", "32x32", "yuv420p"), Output());
    ASSERT_EQ("start", run.events.front().name);
    EXPECT_DOUBLE_EQ(static_cast<double>(std::numeric_limits<int64_t>::min()) / 1000.0, run.events.front().number);
    EXPECT_EQ(std::vector<float>(5, 0.0f), run.Progress());
    EXPECT_EQ("finish", run.Last().name);
}

TEST_F(ConversionTest, NonAsciiPathsAreConvertedAsUtf8)
{
    const std::string input = SmallH264("视频.mp4");
    const std::string output = dir.File("输出.yuv");
    const Signals run = Convert(input, output);
    ASSERT_EQ("finish", run.Last().name);
    EXPECT_EQ(QString::fromStdString(output), run.Last().yuvPath);
    EXPECT_EQ(10u * 4608u, lumo_test::ReadWholeFile(output).size());
}

TEST_F(ConversionTest, ExistingOutputIsTruncated)
{
    WriteFile("out.yuv", std::string(100000, 'x'));
    const Signals run = Convert(SmallH264(), Output());
    ASSERT_EQ("finish", run.Last().name);
    EXPECT_EQ(10u * 4608u, lumo_test::ReadWholeFile(Output()).size());
}

TEST_F(ConversionTest, MissingFileIsMinusOne)
{
    ExpectOnlyError(Convert(dir.File("missing.mp4"), Output()), -1);
}

TEST_F(ConversionTest, TextFileIsMinusOne)
{
    ExpectOnlyError(Convert(WriteFile("notes.txt", "plain words, not media at all\n"), Output()), -1);
}

TEST_F(ConversionTest, EmptyFileIsMinusOne)
{
    ExpectOnlyError(Convert(WriteFile("empty.mp4", ""), Output()), -1);
}

TEST_F(ConversionTest, ContainerWithoutStreamsIsMinusTwo)
{
    // An FFmpeg metadata file opens as a container with no streams.
    ExpectOnlyError(Convert(WriteFile("chapters.ffmeta", ";FFMETADATA1\ntitle=none\n"), Output()), -2);
}

TEST_F(ConversionTest, AudioOnlyIsMinusThree)
{
    const std::string input = Make("audio.m4a", {"-f", "lavfi", "-i", "sine=sample_rate=8000", "-t", "0.3", "-c:a",
                                                 "aac"});
    ExpectOnlyError(Convert(input, Output()), -3);
}

TEST_F(ConversionTest, VideoWithoutADecoderIsMinusFour)
{
    std::string bytes = lumo_test::ReadWholeFile(SmallH264());
    for (size_t at = bytes.find("avc1"); at != std::string::npos; at = bytes.find("avc1", at)) {
        bytes.replace(at, 4, "zzzz");
    }
    ExpectOnlyError(Convert(WriteFile("unknown-codec.mp4", bytes), Output()), -4);
}

TEST_F(ConversionTest, UncreatableOutputIsMinusSixAfterStart)
{
    const std::string output = dir.File("no-such-folder/out.yuv");
    const Signals run = Convert(SmallH264(), output);
    ASSERT_EQ((std::vector<std::string>{"start", "error"}), run.Names());
    EXPECT_EQ(-6, run.Last().code);
    EXPECT_FALSE(Exists(output));
}

TEST_F(ConversionTest, FullDiskIsMinusSevenAndNoFinish)
{
    // Writes to /dev/full fail as on a full disk; the device itself must
    // survive the clean-up of the partial output.
    const Signals run = Convert(SmallH264(), "/dev/full");
    ASSERT_FALSE(run.events.empty());
    EXPECT_EQ("start", run.events.front().name);
    EXPECT_EQ("error", run.Last().name);
    EXPECT_EQ(-7, run.Last().code);
    const std::vector<std::string> names = run.Names();
    EXPECT_EQ(1, std::count(names.begin(), names.end(), "error"));
    EXPECT_EQ(0, std::count(names.begin(), names.end(), "finish"));
    EXPECT_TRUE(Exists("/dev/full"));
}

TEST_F(ConversionTest, WriteBeyondTheFileSizeLimitIsMinusSevenAndRemovesThePartialOutput)
{
    const std::string input = SmallH264();
    // 10 pictures of 4608 bytes against a limit of 10000: the third picture
    // cannot be written.
    const FileSizeLimit limit(10000);
    const Signals run = Convert(input, Output());
    EXPECT_EQ("error", run.Last().name);
    EXPECT_EQ(-7, run.Last().code);
    const std::vector<std::string> names = run.Names();
    EXPECT_EQ(1, std::count(names.begin(), names.end(), "error"));
    EXPECT_EQ(0, std::count(names.begin(), names.end(), "finish"));
    EXPECT_FALSE(Exists(Output()));
}

TEST_F(ConversionTest, FailureOfTheLastBufferedBytesAtCloseIsMinusSeven)
{
    // One 16 x 16 picture (384 bytes) stays in the write buffer until the
    // file is closed, where the limit of 100 bytes stops it.
    const std::string input = LosslessH264("one.h264", "16x16", "1", "yuv420p");
    const FileSizeLimit limit(100);
    const Signals run = Convert(input, Output());
    ASSERT_EQ((std::vector<std::string>{"start", "progress", "error"}), run.Names());
    EXPECT_EQ(-7, run.Last().code);
    EXPECT_FALSE(Exists(Output()));
}

TEST_F(ConversionTest, FifoIsMinusOneWithoutWaitingForAWriter)
{
    lumo_test::TestFifo fifo(dir.File("pipe.mp4"));
    ASSERT_TRUE(fifo.Made());
    Signals run;
    // The conversion's own thread would hang in FFmpeg's open; the local
    // event loop of Collect runs on this helper thread meanwhile.
    EXPECT_TRUE(fifo.ReturnsWithin([&] { run = Convert(fifo.Path(), Output()); }, std::chrono::seconds(10)));
    ExpectOnlyError(run, -1);
}

TEST_F(ConversionTest, DirectoryIsMinusOne)
{
    ExpectOnlyError(Convert(dir.Path(), Output()), -1);
}

TEST_F(ConversionTest, Yuv422IsMinusFiveAfterTheFirstPicture)
{
    const Signals run = Convert(Ffv1("422.mkv", "32x32", "yuv422p"), Output());
    ASSERT_EQ((std::vector<std::string>{"start", "progress", "error"}), run.Names());
    EXPECT_EQ(-5, run.Last().code);
    ASSERT_TRUE(Exists(Output()));
    EXPECT_EQ(0u, lumo_test::ReadWholeFile(Output()).size());
}

TEST_F(ConversionTest, Yuv444IsMinusFiveAfterTheFirstPicture)
{
    const Signals run = Convert(Ffv1("444.mkv", "32x32", "yuv444p"), Output());
    ASSERT_EQ((std::vector<std::string>{"start", "progress", "error"}), run.Names());
    EXPECT_EQ(-5, run.Last().code);
    ASSERT_TRUE(Exists(Output()));
    EXPECT_EQ(0u, lumo_test::ReadWholeFile(Output()).size());
}

TEST_F(ConversionTest, FormatChangeMidStreamLeavesThePicturesBeforeIt)
{
    const std::string first = LosslessH264("first.h264", "64x48", "3", "yuv420p");
    const std::string second = LosslessH264("second.h264", "64x48", "2", "yuv422p");
    const std::string input =
        WriteFile("mixed.h264", lumo_test::ReadWholeFile(first) + lumo_test::ReadWholeFile(second));
    const Signals run = Convert(input, Output());

    ASSERT_EQ((std::vector<std::string>{"start", "progress", "progress", "progress", "progress", "error"}),
              run.Names());
    EXPECT_EQ(-5, run.Last().code);
    EXPECT_TRUE(lumo_test::ReadWholeFile(Output()) == Decoded(first));
}

TEST_F(ConversionTest, StillPngIsMinusFive)
{
    const std::string input = Make("still.png", {"-f", "lavfi", "-i", "testsrc2=s=32x32", "-frames:v", "1"});
    const Signals run = Convert(input, Output());
    ASSERT_EQ((std::vector<std::string>{"start", "progress", "error"}), run.Names());
    EXPECT_EQ(-5, run.Last().code);
    EXPECT_EQ(0u, lumo_test::ReadWholeFile(Output()).size());
}

TEST_F(ConversionTest, FullRangeJpegIsWrittenWithoutRangeConversion)
{
    const std::string input = Make("photo.jpg", {"-f", "lavfi", "-i", "testsrc2=s=64x48", "-frames:v", "1",
                                                 "-pix_fmt", "yuvj420p"});
    const Signals run = Convert(input, Output());
    ASSERT_EQ((std::vector<std::string>{"start", "progress", "finish"}), run.Names());
    EXPECT_EQ(I420Name(), run.Last().typeName);
    EXPECT_EQ(64, run.Last().width);
    const std::string written = lumo_test::ReadWholeFile(Output());
    EXPECT_TRUE(written == Decoded(input, "yuvj420p"));
    EXPECT_FALSE(written == Decoded(input, "yuv420p")) << "the range was converted";
}

TEST_F(ConversionTest, OddSizesLoseTheLastChromaColumnAndRow)
{
    // 5 x 3: 15 luma bytes and 2 x 1 of each chroma plane; ffmpeg itself
    // keeps 3 x 2.
    const std::string input = Ffv1("odd.mkv", "5x3", "yuv420p", "testsrc");
    const Signals run = Convert(input, Output());
    ASSERT_EQ("finish", run.Last().name);
    EXPECT_EQ(5, run.Last().width);
    EXPECT_EQ(3, run.Last().height);

    const std::string written = lumo_test::ReadWholeFile(Output());
    const std::string full = Decoded(input);
    ASSERT_EQ(5u * 27u, full.size());
    ASSERT_EQ(5u * 19u, written.size());
    for (size_t p = 0; p < 5; p++) {
        const std::string ours = Cut(written, p * 19, 19);
        const std::string theirs = Cut(full, p * 27, 27);
        EXPECT_EQ(Cut(theirs, 0, 15), Cut(ours, 0, 15)) << "luma of picture " << p;
        EXPECT_EQ(Cut(theirs, 15, 2), Cut(ours, 15, 2)) << "U of picture " << p;
        EXPECT_EQ(Cut(theirs, 21, 2), Cut(ours, 17, 2)) << "V of picture " << p;
    }
}

TEST_F(ConversionTest, SizeChangesAreWrittenAtTheirOwnSize)
{
    const std::string first = LosslessH264("big.h264", "64x48", "3", "yuv420p");
    const std::string second = LosslessH264("small.h264", "32x32", "2", "yuv420p");
    const std::string input =
        WriteFile("resized.h264", lumo_test::ReadWholeFile(first) + lumo_test::ReadWholeFile(second));
    const Signals run = Convert(input, Output());
    ASSERT_EQ("finish", run.Last().name);
    EXPECT_EQ(5u, run.Progress().size());
    EXPECT_EQ(32, run.Last().width);
    EXPECT_EQ(32, run.Last().height);
    const std::string expected = Decoded(first) + Decoded(second);
    EXPECT_EQ(3u * 4608u + 2u * 1536u, expected.size());
    EXPECT_TRUE(lumo_test::ReadWholeFile(Output()) == expected);
}

TEST_F(ConversionTest, PausesOnlyOnTheMainPath)
{
    CountingThread thread(QString::fromStdString(SmallH264("twenty.mp4", "20")), QString::fromStdString(Output()),
                          nullptr);
    const Signals run = Collect(thread);
    ASSERT_EQ("finish", run.Last().name);
    const int pictures = static_cast<int>(run.Progress().size());
    EXPECT_EQ(20, pictures);
    // The decoder's threads hold the last pictures back until the drain.
    EXPECT_GT(thread.pauses, 0);
    EXPECT_LT(thread.pauses, pictures);
    EXPECT_GE(run.elapsedMs, thread.pauses.load());
}

TEST_F(ConversionTest, SinglePictureComesOutOfTheDrainWithoutAPause)
{
    // The PNG decoder's threads hold a lone picture back until the drain.
    const std::string input = Make("single.png", {"-f", "lavfi", "-i", "testsrc2=s=32x32", "-frames:v", "1"});
    CountingThread thread(QString::fromStdString(input), QString::fromStdString(Output()), nullptr);
    const Signals run = Collect(thread);
    ASSERT_EQ((std::vector<std::string>{"start", "progress", "error"}), run.Names());
    EXPECT_EQ(0, thread.pauses);
}

TEST_F(ConversionTest, TruncatedH264GivesAShorterOutput)
{
    const std::string whole = lumo_test::ReadWholeFile(NoisyIntra("whole.h264"));
    const Signals run = Convert(WriteFile("cut.h264", whole.substr(0, whole.size() / 2)), Output());
    ASSERT_EQ("finish", run.Last().name);
    const size_t size = lumo_test::ReadWholeFile(Output()).size();
    EXPECT_EQ(0u, size % 4608u);
    EXPECT_GT(size, 0u);
    EXPECT_LT(size, 10u * 4608u);
}

TEST_F(ConversionTest, TruncatedMp4WithoutItsIndexIsMinusOne)
{
    const std::string whole = lumo_test::ReadWholeFile(SmallH264());
    // The index sits at the end; the first half has none.
    ExpectOnlyError(Convert(WriteFile("cut.mp4", whole.substr(0, whole.size() / 2)), Output()), -1);
}

TEST_F(ConversionTest, ReadErrorMidFileEndsLikeTheEndOfTheFile)
{
    // The index comes first, so the cut only loses pictures.
    const std::string whole = lumo_test::ReadWholeFile(NoisyIntra("faststart.mp4", {"-movflags", "+faststart"}));
    const Signals run = Convert(WriteFile("cut.mp4", whole.substr(0, whole.size() * 2 / 3)), Output());
    ASSERT_EQ("finish", run.Last().name);
    EXPECT_EQ(64, run.Last().width);
    const size_t size = lumo_test::ReadWholeFile(Output()).size();
    EXPECT_EQ(0u, size % 4608u);
    EXPECT_GT(size, 0u);
    EXPECT_LT(size, 10u * 4608u);
}

TEST_F(ConversionTest, RandomBytesEndInOneErrorOrAFinish)
{
    std::mt19937 random(20261115);
    std::string bytes(64 * 1024, '\0');
    for (char& c : bytes) {
        c = static_cast<char>(random());
    }
    const Signals run = Convert(WriteFile("noise.mp4", bytes), Output());
    ASSERT_FALSE(run.events.empty());
    int ends = 0;
    for (const Event& e : run.events) {
        ends += e.name == "error" || e.name == "finish";
    }
    EXPECT_EQ(1, ends);
    EXPECT_TRUE(run.Last().name == "error" || run.Last().name == "finish");
}
