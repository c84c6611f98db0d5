// lumo-iqa run as a program: arguments, exit codes, the three output
// formats, and agreement with the library and with FFmpeg's psnr filter.

#include "Spawn.h"
#include "TestFifo.h"
#include "TextLines.h"
#include "Y4MTestSupport.h"
#include "YuvTestSupport.h"

#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace lumo_yuv_test;
using lumo::YUVReader;

namespace {

struct ToolRun {
    int exit = -1;   // -1: ended by a signal
    int signal = 0;
    long maxRssKb = 0;
    std::string out;
    std::string err;
};

std::string Fixed(double v)
{
    if (std::isinf(v)) {
        return v > 0 ? "inf" : "-inf";
    }
    char text[64];
    std::snprintf(text, sizeof(text), "%.6f", v);
    return text;
}

std::vector<std::string> Split(const std::string& line, char sep)
{
    std::vector<std::string> fields;
    std::string field;
    std::istringstream in(line);
    if (sep == ' ') {
        while (in >> field) {
            fields.push_back(field);
        }
        return fields;
    }
    while (std::getline(in, field, sep)) {
        fields.push_back(field);
    }
    return fields;
}

class LumoIqaTest : public ::testing::Test {
protected:
    // Runs the tool (or another program) with stdout and stderr captured;
    // stdout goes to outPath when given.
    ToolRun Exec(const std::string& program, const std::vector<std::string>& args,
                 const std::string& outPath = "")
    {
        const std::string out = outPath.empty() ? dir.File("stdout.txt") : outPath;
        const pid_t pid = Start(program, args, out, -1);
        ToolRun run = Finish(pid);
        run.out = outPath.empty() ? lumo_test::ReadWholeFile(out) : std::string();
        return run;
    }

    // The tool writing its report into stdoutFd (a pipe the test holds);
    // whileRunning runs once it has started, the pipe's write end closed.
    ToolRun IqaInto(int stdoutFd, const std::vector<std::string>& args,
                    const std::function<void()>& whileRunning)
    {
        const pid_t pid = Start(LUMO_IQA_PATH, args, "", stdoutFd);
        close(stdoutFd);
        whileRunning();
        return Finish(pid);
    }

    pid_t Start(const std::string& program, const std::vector<std::string>& args,
                const std::string& outPath, int stdoutFd)
    {
        lumo_test::SpawnOptions options;
        options.argv = {program};
        options.argv.insert(options.argv.end(), args.begin(), args.end());
        options.stdoutPath = outPath;
        options.stdoutFd = stdoutFd;
        options.stderrPath = dir.File("stderr.txt");
        options.searchPath = true;
        return lumo_test::Spawn(options);
    }

    // Waits for the program; its exit, peak memory and standard error.
    ToolRun Finish(pid_t pid)
    {
        ToolRun run;
        int status = 0;
        struct rusage usage {};
        if (pid > 0 && wait4(pid, &status, 0, &usage) == pid) {
            run.maxRssKb = usage.ru_maxrss;
            if (WIFEXITED(status)) {
                run.exit = WEXITSTATUS(status);
            } else if (WIFSIGNALED(status)) {
                run.signal = WTERMSIG(status);
            }
        }
        run.err = lumo_test::ReadWholeFile(dir.File("stderr.txt"));
        return run;
    }

    ToolRun Iqa(const std::vector<std::string>& args) { return Exec(LUMO_IQA_PATH, args); }

    // The tool under a virtual memory limit (KiB), through the shell.
    ToolRun IqaLimited(long kb, const std::vector<std::string>& args)
    {
        std::string command = "ulimit -v " + std::to_string(kb) + " && exec \"$0\"";
        for (size_t i = 0; i < args.size(); ++i) {
            command += " \"$" + std::to_string(i + 1) + "\"";
        }
        std::vector<std::string> shellArgs{"-c", command, LUMO_IQA_PATH};
        shellArgs.insert(shellArgs.end(), args.begin(), args.end());
        return Exec("/bin/sh", shellArgs);
    }

    // An I420 pair: b is a noisy copy of a, one frame exactly equal.
    void MakePair(int w, int h, int frames, int equalFrame = -1)
    {
        width = w;
        height = h;
        const size_t len = static_cast<size_t>(w) * h + 2 * static_cast<size_t>(w / 2) * (h / 2);
        Bytes a;
        Bytes b;
        std::uniform_int_distribution<int> noise(-4, 4);
        for (int f = 0; f < frames; ++f) {
            const Bytes frame = RandomBytes(len, rng);
            a.insert(a.end(), frame.begin(), frame.end());
            for (uint8_t s : frame) {
                b.push_back(
                    f == equalFrame ? s : static_cast<uint8_t>(std::clamp(s + noise(rng), 0, 255)));
            }
        }
        pathA = dir.File("a.yuv");
        pathB = dir.File("b.yuv");
        WriteFile(pathA, a);
        WriteFile(pathB, b);
    }

    std::string Size() const { return std::to_string(width) + "x" + std::to_string(height); }

    // What the library itself says about frame f of the pair.
    void Direct(int f, double mse[3], double psnr[3], double& ssim, lumo::COLOR_SPACE cs,
                const lumo::YUVType& type = lumo::YUVType::YUV_TYPE_I420)
    {
        const YUVReader a(pathA, width, height, type);
        const YUVReader b(pathB, width, height, type);
        int status = 0;
        LibBuffer fa(a.ReadFrameYUV444(nullptr, &status, f * a.GetFrameLen()));
        LibBuffer fb(b.ReadFrameYUV444(nullptr, &status, f * b.GetFrameLen()));
        LibBuffer qa(a.Frame444To420(fa.get(), nullptr, width, height));
        LibBuffer qb(a.Frame444To420(fb.get(), nullptr, width, height));
        a.CallPSNR(psnr, qa.get(), qb.get(), width, height, mse);
        ssim = a.CallSsimIqa(qa.get(), qb.get(), width, height, cs);
    }

    void ExpectOneLineError(const ToolRun& run, int code, const std::string& mentions)
    {
        EXPECT_EQ(run.exit, code) << run.err;
        EXPECT_TRUE(run.out.empty()) << run.out;
        const auto lines = lumo_test::SplitLines(run.err);
        ASSERT_EQ(lines.size(), 1u) << run.err;
        EXPECT_EQ(lines[0].rfind("lumo-iqa: ", 0), 0u) << lines[0];
        EXPECT_NE(lines[0].find(mentions), std::string::npos) << lines[0];
    }

    lumo_test::TempDir dir;
    std::mt19937 rng{41};
    int width = 0;
    int height = 0;
    std::string pathA;
    std::string pathB;
};

TEST_F(LumoIqaTest, BadArgumentsExitTwo)
{
    MakePair(16, 8, 2);
    ExpectOneLineError(Iqa({}), 2, "two files");
    // a.yuv says nothing about its size.
    ExpectOneLineError(Iqa({"--layout", "I420", pathA, pathB}), 2, "--size");
    ExpectOneLineError(Iqa({"--size", "16x", "--layout", "I420", pathA, pathB}), 2, "16x");
    ExpectOneLineError(Iqa({"--size", "0x8", "--layout", "I420", pathA, pathB}), 2, "0x8");
    ExpectOneLineError(Iqa({"--size", "16x8x2", "--layout", "I420", pathA, pathB}), 2, "16x8x2");
    ExpectOneLineError(Iqa({"--size", "2000000x8", "--layout", "I420", pathA, pathB}), 2, "--size");
    ExpectOneLineError(Iqa({"--size", "16x8", "--layout", "i420", pathA, pathB}), 2, "'i420'");
    ExpectOneLineError(Iqa({"--size", "16x8", "--layout", "I420", "--range", "tv", pathA, pathB}),
                       2, "'tv'");
    ExpectOneLineError(Iqa({"--size", "16x8", "--layout", "I420", "--frames", "0", pathA, pathB}),
                       2, "--frames");
    ExpectOneLineError(Iqa({"--size", "16x8", "--layout", "I420", "--frames", "-3", pathA, pathB}),
                       2, "-3");
    ExpectOneLineError(Iqa({"--size", "16x8", "--layout", "I420", "--format", "xml", pathA, pathB}),
                       2, "'xml'");
    ExpectOneLineError(Iqa({"--size", "16x8", "--layout", "I420", "--loud", pathA, pathB}), 2,
                       "--loud");
    ExpectOneLineError(Iqa({"--size", "16x8", "--layout", "I420", pathA}), 2, "two files");
    ExpectOneLineError(Iqa({"--size", "16x8", "--layout", "I420", pathA, pathB, pathA}), 2,
                       "two files");
    ExpectOneLineError(Iqa({"--size", "16x8", "--layout", "I420", pathA, pathB, "--format"}), 2,
                       "--format");
    ExpectOneLineError(Iqa({"--size", "15x8", "--layout", "YUYV", pathA, pathB}), 2, "15x8");
}

TEST_F(LumoIqaTest, UnreadableInputExitsThree)
{
    MakePair(16, 8, 2);
    const std::string missing = dir.File("missing.yuv");
    ExpectOneLineError(Iqa({"--size", "16x8", "--layout", "I420", missing, pathB}), 3,
                       "missing.yuv");
    ExpectOneLineError(Iqa({"--size", "16x8", "--layout", "I420", pathA, missing}), 3,
                       "missing.yuv");
    ExpectOneLineError(Iqa({"--size", "16x8", "--layout", "I420", dir.Path(), pathB}), 3,
                       dir.Path());
    // Both files hold less than one frame of this size.
    ExpectOneLineError(Iqa({"--size", "64x64", "--layout", "I420", pathA, pathB}), 3, "no whole");
}

TEST_F(LumoIqaTest, FifoInputExitsThreeWithoutWaitingForAWriter)
{
    MakePair(16, 8, 2);
    lumo_test::TestFifo fifo(dir.File("pipe.yuv"));
    ASSERT_TRUE(fifo.Made());
    ToolRun run;
    EXPECT_TRUE(fifo.ReturnsWithin([&] { run = Iqa({"--size", "16x8", "--layout", "I420", fifo.Path(), pathB}); },
                                   std::chrono::seconds(20)));
    ExpectOneLineError(run, 3, "pipe.yuv");
}

TEST_F(LumoIqaTest, HelpGoesToStandardOutput)
{
    const ToolRun run = Iqa({"--help"});
    EXPECT_EQ(run.exit, 0);
    EXPECT_NE(run.out.find("usage: lumo-iqa"), std::string::npos);
    EXPECT_NE(run.out.find("P010"), std::string::npos);
    EXPECT_TRUE(run.err.empty());
}

TEST_F(LumoIqaTest, TextReportMatchesTheLibrary)
{
    MakePair(48, 30, 5, 2);
    const ToolRun run = Iqa({"--size", Size(), "--layout", "I420", pathA, pathB});
    ASSERT_EQ(run.exit, 0) << run.err;
    const auto lines = lumo_test::SplitLines(run.out);
    ASSERT_EQ(lines.size(), 2u + 5u + 2u) << run.out;
    EXPECT_EQ(lines[0].rfind("# ", 0), 0u);
    EXPECT_EQ(Split(lines[1], ' '),
              (std::vector<std::string>{"frame", "mse_y", "mse_u", "mse_v", "psnr_y", "psnr_u",
                                        "psnr_v", "ssim"}));
    double sumMse[3] = {0, 0, 0};
    for (int f = 0; f < 5; ++f) {
        const auto fields = Split(lines[static_cast<size_t>(2 + f)], ' ');
        ASSERT_EQ(fields.size(), 8u);
        EXPECT_EQ(fields[0], std::to_string(f));
        double mse[3];
        double psnr[3];
        double ssim = 0;
        Direct(f, mse, psnr, ssim, lumo::COLOR_SPACE_FULL_RANGE);
        for (int p = 0; p < 3; ++p) {
            EXPECT_NEAR(std::stod(fields[static_cast<size_t>(1 + p)]), mse[p], 1e-6);
            sumMse[p] += mse[p];
            if (f == 2) {
                EXPECT_EQ(fields[static_cast<size_t>(4 + p)], "inf");
            } else {
                EXPECT_NEAR(std::stod(fields[static_cast<size_t>(4 + p)]), psnr[p], 1e-6);
            }
        }
        EXPECT_NEAR(std::stod(fields[7]), ssim, 1e-6);
    }
    const auto avgMse = Split(lines[7], ' ');
    const auto avgPsnr = Split(lines[8], ' ');
    ASSERT_EQ(avgMse.size(), 8u);
    ASSERT_EQ(avgPsnr.size(), 8u);
    EXPECT_EQ(avgMse[0], "avg_mse");
    EXPECT_EQ(avgPsnr[0], "avg_psnr");
    for (int p = 0; p < 3; ++p) {
        const double mean = sumMse[p] / 5;
        EXPECT_NEAR(std::stod(avgMse[static_cast<size_t>(1 + p)]), mean, 1e-6);
        EXPECT_NEAR(std::stod(avgMse[static_cast<size_t>(4 + p)]), 10 * std::log10(65025 / mean),
                    1e-6);
        // One frame is infinite, so the mean of frame PSNR is too.
        EXPECT_EQ(avgPsnr[static_cast<size_t>(4 + p)], "inf");
    }
}

TEST_F(LumoIqaTest, CsvIsOneTable)
{
    MakePair(20, 10, 3);
    const ToolRun run =
        Iqa({"--size", Size(), "--layout", "I420", "--format", "csv", pathA, pathB});
    ASSERT_EQ(run.exit, 0) << run.err;
    const auto lines = lumo_test::SplitLines(run.out);
    ASSERT_EQ(lines.size(), 1u + 3u + 2u);
    EXPECT_EQ(lines[0], "frame,mse_y,mse_u,mse_v,psnr_y,psnr_u,psnr_v,ssim");
    double sumPsnr = 0;
    for (size_t i = 1; i < lines.size(); ++i) {
        const auto fields = Split(lines[i], ',');
        ASSERT_EQ(fields.size(), 8u) << lines[i];
        for (size_t k = 1; k < 8; ++k) {
            size_t used = 0;
            std::stod(fields[k], &used);
            EXPECT_EQ(used, fields[k].size()) << lines[i];
        }
        if (i <= 3) {
            EXPECT_EQ(fields[0], std::to_string(i - 1));
            sumPsnr += std::stod(fields[4]);
        }
    }
    EXPECT_EQ(Split(lines[4], ',')[0], "avg_mse");
    EXPECT_EQ(Split(lines[5], ',')[0], "avg_psnr");
    EXPECT_NEAR(std::stod(Split(lines[5], ',')[4]), sumPsnr / 3, 1e-5);
}

TEST_F(LumoIqaTest, JsonIsValidAndInfinityIsNull)
{
    MakePair(24, 16, 3, 1);
    const ToolRun run = Iqa({"--size", Size(), "--layout", "I420", "--format", "json", "--range",
                             "video", pathA, pathB});
    ASSERT_EQ(run.exit, 0) << run.err;
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(run.out), &error);
    ASSERT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString() << "\n"
                                                     << run.out;
    const QJsonObject root = doc.object();
    EXPECT_EQ(root["width"].toInt(), 24);
    EXPECT_EQ(root["height"].toInt(), 16);
    EXPECT_EQ(root["layout"].toString(), "I420");
    EXPECT_EQ(root["range"].toString(), "video");
    EXPECT_EQ(root["a"].toString().toStdString(), pathA);
    const QJsonArray frames = root["frames"].toArray();
    ASSERT_EQ(frames.size(), 3);
    for (int f = 0; f < 3; ++f) {
        const QJsonObject frame = frames[f].toObject();
        EXPECT_EQ(frame["frame"].toInt(), f);
        double mse[3];
        double psnr[3];
        double ssim = 0;
        Direct(f, mse, psnr, ssim, lumo::COLOR_SPACE_VIDEO_RANGE);
        const char* planes[] = {"y", "u", "v"};
        for (int p = 0; p < 3; ++p) {
            const QJsonValue value = frame["psnr"].toObject()[planes[p]];
            if (f == 1) {
                EXPECT_TRUE(value.isNull());
            } else {
                EXPECT_NEAR(value.toDouble(), psnr[p], 1e-6);
            }
            EXPECT_NEAR(frame["mse"].toObject()[planes[p]].toDouble(), mse[p], 1e-6);
        }
        EXPECT_NEAR(frame["ssim"].toDouble(), ssim, 1e-6);
    }
    const QJsonObject average = root["average"].toObject();
    EXPECT_TRUE(average["mean_psnr"].toObject()["y"].isNull());
    EXPECT_TRUE(average["psnr_of_mean_mse"].toObject()["y"].isDouble());
    EXPECT_TRUE(average["ssim"].isDouble());
}

TEST_F(LumoIqaTest, JsonEscapesPaths)
{
    MakePair(16, 8, 1);
    const std::string odd = dir.File("we\"ird\\name.yuv");
    std::rename(pathA.c_str(), odd.c_str());
    const ToolRun run = Iqa({"--size", Size(), "--layout", "I420", "--format", "json", odd, pathB});
    ASSERT_EQ(run.exit, 0) << run.err;
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(run.out), &error);
    ASSERT_EQ(error.error, QJsonParseError::NoError) << run.out;
    EXPECT_EQ(doc.object()["a"].toString().toStdString(), odd);
}

TEST_F(LumoIqaTest, FramesOptionAndUnequalLengths)
{
    MakePair(16, 8, 6);
    ToolRun run = Iqa(
        {"--size", Size(), "--layout", "I420", "--format", "csv", "--frames", "4", pathA, pathB});
    ASSERT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(lumo_test::SplitLines(run.out).size(), 1u + 4u + 2u);
    // B cut to 3 frames and a bit: the common 3 are compared, with a note.
    const int64_t len = YUVReader(pathB, 16, 8, lumo::YUVType::YUV_TYPE_I420).GetFrameLen();
    std::filesystem::resize_file(pathB, static_cast<uintmax_t>(3 * len + 5));
    run = Iqa({"--size", Size(), "--layout", "I420", "--format", "csv", pathA, pathB});
    ASSERT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(lumo_test::SplitLines(run.out).size(), 1u + 3u + 2u);
    EXPECT_NE(run.err.find("comparing the first 3"), std::string::npos) << run.err;
}

TEST_F(LumoIqaTest, OtherLayoutsAreReadAsTheyAre)
{
    // Two identical NV12 files: every PSNR infinite, SSIM exactly 1.
    width = 18;
    height = 10;
    const lumo::YUVType nv12 = lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName("NV12");
    pathA = dir.File("n.yuv");
    WriteFile(
        pathA,
        RandomBytes(static_cast<size_t>(2 * YUVReader(pathA, 18, 10, nv12).GetFrameLen()), rng));
    const ToolRun run =
        Iqa({"--size", Size(), "--layout", "NV12", "--format", "csv", pathA, pathA});
    ASSERT_EQ(run.exit, 0) << run.err;
    const auto lines = lumo_test::SplitLines(run.out);
    ASSERT_EQ(lines.size(), 5u);
    for (size_t i = 1; i < lines.size(); ++i) {
        const auto fields = Split(lines[i], ',');
        EXPECT_EQ(fields[4], "inf");
        EXPECT_EQ(fields[7], "1.000000");
    }
}

TEST_F(LumoIqaTest, PsnrAgreesWithFfmpeg)
{
    if (std::system("command -v ffmpeg > /dev/null 2>&1") != 0) {
        GTEST_SKIP() << "no ffmpeg command here";
    }
    MakePair(64, 48, 4);
    const ToolRun ours =
        Iqa({"--size", Size(), "--layout", "I420", "--format", "csv", pathA, pathB});
    ASSERT_EQ(ours.exit, 0) << ours.err;
    const auto avg = Split(lumo_test::SplitLines(ours.out)[5], ',');
    ASSERT_EQ(avg[0], "avg_mse");
    const ToolRun ff =
        Exec("ffmpeg",
             {"-hide_banner", "-nostdin", "-f",     "rawvideo", "-pix_fmt", "yuv420p", "-s", Size(),
              "-i",           pathA,      "-f",     "rawvideo", "-pix_fmt", "yuv420p", "-s", Size(),
              "-i",           pathB,      "-lavfi", "psnr",     "-f",       "null",    "-"});
    ASSERT_EQ(ff.exit, 0) << ff.err;
    const size_t at = ff.err.find("PSNR y:");
    ASSERT_NE(at, std::string::npos) << ff.err;
    double y = 0;
    double u = 0;
    double v = 0;
    ASSERT_EQ(std::sscanf(ff.err.c_str() + at, "PSNR y:%lf u:%lf v:%lf", &y, &u, &v), 3) << ff.err;
    EXPECT_NEAR(std::stod(avg[4]), y, 0.01);
    EXPECT_NEAR(std::stod(avg[5]), u, 0.01);
    EXPECT_NEAR(std::stod(avg[6]), v, 0.01);
}

// The CSV the tool should print, computed the way it always was: each
// frame read to 4:4:4, halved to 4:2:0 and scored, the averages added up in
// frame order.
std::vector<std::string> ThroughThe444Route(const std::string& pathA, const std::string& pathB,
                                            int w, int h, const lumo::YUVType& type, int frames)
{
    const YUVReader a(pathA, w, h, type);
    const YUVReader b(pathB, w, h, type);
    std::vector<std::string> lines{"frame,mse_y,mse_u,mse_v,psnr_y,psnr_u,psnr_v,ssim"};
    double meanMse[3] = {0, 0, 0};
    double meanPsnr[3] = {0, 0, 0};
    double meanSsim = 0;
    const double n = frames;
    for (int f = 0; f < frames; ++f) {
        int status = 0;
        LibBuffer fa(a.ReadFrameYUV444(nullptr, &status, f * a.GetFrameLen()));
        LibBuffer fb(b.ReadFrameYUV444(nullptr, &status, f * b.GetFrameLen()));
        LibBuffer qa(a.Frame444To420(fa.get(), nullptr, w, h));
        LibBuffer qb(a.Frame444To420(fb.get(), nullptr, w, h));
        double mse[3];
        double psnr[3];
        a.CallPSNR(psnr, qa.get(), qb.get(), w, h, mse);
        const double ssim = a.CallSsimIqa(qa.get(), qb.get(), w, h, lumo::COLOR_SPACE_FULL_RANGE);
        std::string line = std::to_string(f);
        for (double v : {mse[0], mse[1], mse[2], psnr[0], psnr[1], psnr[2], ssim}) {
            line += "," + Fixed(v);
        }
        lines.push_back(line);
        for (int p = 0; p < 3; ++p) {
            meanMse[p] += mse[p] / n;
            meanPsnr[p] += psnr[p] / n;
        }
        meanSsim += ssim / n;
    }
    std::string avgMse = "avg_mse";
    std::string avgPsnr = "avg_psnr";
    for (int p = 0; p < 3; ++p) {
        avgMse += "," + Fixed(meanMse[p]);
        avgPsnr += "," + Fixed(meanMse[p]);
    }
    for (int p = 0; p < 3; ++p) {
        avgMse += "," + Fixed(meanMse[p] == 0 ? INFINITY : 10.0 * std::log10(255.0 * 255.0 / meanMse[p]));
        avgPsnr += "," + Fixed(meanPsnr[p]);
    }
    lines.push_back(avgMse + "," + Fixed(meanSsim));
    lines.push_back(avgPsnr + "," + Fixed(meanSsim));
    return lines;
}

TEST_F(LumoIqaTest, EveryPrintedNumberEqualsThe444Route)
{
    for (const char* id : {"I420", "YV12", "NV12", "NV21", "I422", "NV61", "YUYV", "UYVY", "I444",
                           "NV24", "GRAY", "I420P10", "I422P10", "I444P10", "P010"}) {
        const lumo::YUVType type = lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(id);
        for (auto [w, h] : {std::pair{38, 21}, {67, 35}}) {
            if (YUVReader("x", w, h, type).GetFrameLen() == 0) {
                continue; // packed 4:2:2 needs an even width
            }
            SCOPED_TRACE(std::string(id) + " " + std::to_string(w) + "x" + std::to_string(h));
            const size_t len = static_cast<size_t>(YUVReader("x", w, h, type).GetFrameLen());
            pathA = dir.File("a.yuv");
            pathB = dir.File("b.yuv");
            Bytes a = RandomBytes(5 * len, rng);
            Bytes b(a);
            std::uniform_int_distribution<int> noise(-5, 5);
            for (auto& byte : b) {
                byte = static_cast<uint8_t>(std::clamp(byte + noise(rng), 0, 255));
            }
            WriteFile(pathA, a);
            WriteFile(pathB, b);
            const ToolRun run = Iqa({"--size", std::to_string(w) + "x" + std::to_string(h),
                                     "--layout", id, "--format", "csv", pathA, pathB});
            ASSERT_EQ(run.exit, 0) << run.err;
            EXPECT_EQ(lumo_test::SplitLines(run.out), ThroughThe444Route(pathA, pathB, w, h, type, 5));
        }
    }
}

TEST_F(LumoIqaTest, ManyBatchesOnSeveralThreadsKeepFrameOrder)
{
    // Enough small frames for many batches on every core.
    MakePair(16, 8, 20000);
    const ToolRun run = Iqa({"--size", Size(), "--layout", "I420", "--format", "csv", pathA, pathB});
    ASSERT_EQ(run.exit, 0) << run.err;
    const auto lines = lumo_test::SplitLines(run.out);
    ASSERT_EQ(lines.size(), 1u + 20000u + 2u);
    const auto expected = ThroughThe444Route(pathA, pathB, 16, 8, lumo::YUVType::YUV_TYPE_I420, 20000);
    EXPECT_EQ(lines, expected);
}

TEST_F(LumoIqaTest, Y4MInputTakesSizeAndLayoutFromItsHeader)
{
    MakePair(24, 16, 3, 1);
    const size_t len = 24 * 16 * 3 / 2;
    const std::string y4mA = dir.File("a.y4m");
    const std::string y4mB = dir.File("b.y4m");
    for (const auto& [from, to] : {std::pair{pathA, y4mA}, {pathB, y4mB}}) {
        const std::string raw = lumo_test::ReadWholeFile(from);
        std::vector<Bytes> frames;
        for (size_t at = 0; at < raw.size(); at += len) {
            frames.emplace_back(raw.begin() + static_cast<long>(at), raw.begin() + static_cast<long>(at + len));
        }
        WriteFile(to, MakeY4M("YUV4MPEG2 W24 H16 F25:1 Ip A1:1 C420jpeg", frames));
    }
    const ToolRun raw = Iqa({"--size", Size(), "--layout", "I420", "--format", "csv", pathA, pathB});
    ASSERT_EQ(raw.exit, 0) << raw.err;
    const ToolRun y4m = Iqa({"--format", "csv", y4mA, y4mB});
    ASSERT_EQ(y4m.exit, 0) << y4m.err;
    EXPECT_EQ(y4m.out, raw.out);
    EXPECT_TRUE(y4m.err.empty()) << y4m.err;

    // A raw file beside a Y4M stream takes the stream's size and layout,
    // and says so.
    const std::string plain = dir.File("decoded.yuv");
    std::filesystem::copy_file(pathB, plain);
    const ToolRun mixed = Iqa({"--format", "csv", y4mA, plain});
    ASSERT_EQ(mixed.exit, 0) << mixed.err;
    EXPECT_EQ(mixed.out, raw.out);
    const auto notes = lumo_test::SplitLines(mixed.err);
    ASSERT_EQ(notes.size(), 1u) << mixed.err;
    EXPECT_NE(notes[0].find("24x16 I420"), std::string::npos) << notes[0];
    EXPECT_NE(notes[0].find("decoded.yuv"), std::string::npos) << notes[0];
}

TEST_F(LumoIqaTest, BadY4MHeadersExitThreeNamingTheProblem)
{
    MakePair(8, 4, 1);
    const std::string bad = dir.File("bad.y4m");
    WriteFile(bad, MakeY4M("YUV4MPEG2 W8 H4 C411", {Bytes(48, 0)}));
    ExpectOneLineError(Iqa({bad, pathB}), 3, "colorspace");
    WriteFile(bad, MakeY4M("YUV4MPEG2 W8", {Bytes(48, 0)}));
    ExpectOneLineError(Iqa({"--size", "8x4", pathA, bad}), 3, "height");
    // A size that differs from the other input's.
    WriteFile(bad, MakeY4M("YUV4MPEG2 W16 H4", {Bytes(96, 0)}));
    ExpectOneLineError(Iqa({"--size", "8x4", "--layout", "I420", pathA, bad}), 3, "differ in size");
}

TEST_F(LumoIqaTest, AY4MFrameWithoutItsFrameLineEndsWithExitThree)
{
    const std::string path = dir.File("broken.y4m");
    Bytes stream = MakeY4M("YUV4MPEG2 W8 H4", {Bytes(48, 1), Bytes(48, 2), Bytes(48, 3)});
    stream[stream.size() - 48 - 6] = 'G';
    WriteFile(path, stream);
    const ToolRun run = Iqa({"--format", "csv", path, path});
    EXPECT_EQ(run.exit, 3) << run.err;
    const auto lines = lumo_test::SplitLines(run.err);
    ASSERT_EQ(lines.size(), 1u) << run.err;
    EXPECT_NE(lines[0].find("FRAME"), std::string::npos) << lines[0];
}

TEST_F(LumoIqaTest, SizeAndLayoutComeFromTheFileName)
{
    MakePair(18, 10, 2);
    const ToolRun explicitRun =
        Iqa({"--size", "18x10", "--layout", "NV12", "--format", "csv", pathA, pathB});
    ASSERT_EQ(explicitRun.exit, 0) << explicitRun.err;
    const std::string a = dir.File("ref_18x10_nv12.yuv");
    const std::string b = dir.File("test_nv12_18x10.yuv");
    std::filesystem::copy_file(pathA, a);
    std::filesystem::copy_file(pathB, b);
    const ToolRun guessed = Iqa({"--format", "csv", a, b});
    ASSERT_EQ(guessed.exit, 0) << guessed.err;
    EXPECT_EQ(guessed.out, explicitRun.out);
    const auto notes = lumo_test::SplitLines(guessed.err);
    ASSERT_EQ(notes.size(), 2u) << guessed.err;
    for (const std::string& note : notes) {
        EXPECT_EQ(note.rfind("lumo-iqa: note: ", 0), 0u) << note;
        EXPECT_NE(note.find("18x10 NV12"), std::string::npos) << note;
        EXPECT_NE(note.find("file name"), std::string::npos) << note;
    }
    // A size alone means I420, and the note says it was assumed.
    const std::string sized = dir.File("clip_18x10.yuv");
    std::filesystem::copy_file(pathA, sized);
    const ToolRun assumed = Iqa({"--format", "csv", sized, sized});
    ASSERT_EQ(assumed.exit, 0) << assumed.err;
    EXPECT_NE(assumed.err.find("I420 assumed"), std::string::npos) << assumed.err;
    // Options win over the name.
    const ToolRun overridden = Iqa({"--size", "18x10", "--layout", "NV12", "--format", "csv", sized, sized});
    ASSERT_EQ(overridden.exit, 0) << overridden.err;
    EXPECT_TRUE(overridden.err.empty()) << overridden.err;
}

TEST_F(LumoIqaTest, NothingToGuessExitsTwoSayingHowToGiveTheSize)
{
    MakePair(16, 8, 1);
    const ToolRun run = Iqa({pathA, pathB});
    ExpectOneLineError(run, 2, "--size WxH");
    EXPECT_NE(run.err.find("a.yuv"), std::string::npos);
}

TEST_F(LumoIqaTest, PerPlaneSsimAddsUAndV)
{
    MakePair(40, 26, 3);
    const ToolRun run = Iqa({"--size", Size(), "--layout", "I420", "--format", "csv",
                             "--per-plane-ssim", "--range", "video", pathA, pathB});
    ASSERT_EQ(run.exit, 0) << run.err;
    const auto lines = lumo_test::SplitLines(run.out);
    ASSERT_EQ(lines.size(), 1u + 3u + 2u);
    EXPECT_EQ(lines[0], "frame,mse_y,mse_u,mse_v,psnr_y,psnr_u,psnr_v,ssim,ssim_u,ssim_v");
    double mean[3] = {0, 0, 0};
    for (int f = 0; f < 3; ++f) {
        const YUVReader a(pathA, width, height, lumo::YUVType::YUV_TYPE_I420);
        int status = 0;
        LibBuffer fa(a.ReadFrameYUV420(nullptr, &status, f * a.GetFrameLen()));
        LibBuffer fb(YUVReader(pathB, width, height, lumo::YUVType::YUV_TYPE_I420)
                         .ReadFrameYUV420(nullptr, &status, f * a.GetFrameLen()));
        double ssim[3];
        a.CallSsimPlanes(ssim, fa.get(), fb.get(), width, height, lumo::COLOR_SPACE_VIDEO_RANGE);
        const auto fields = Split(lines[static_cast<size_t>(1 + f)], ',');
        ASSERT_EQ(fields.size(), 10u);
        for (int p = 0; p < 3; ++p) {
            EXPECT_EQ(fields[static_cast<size_t>(7 + p)], Fixed(ssim[p])) << p;
            mean[p] += ssim[p] / 3;
        }
    }
    const auto avg = Split(lines[4], ',');
    ASSERT_EQ(avg.size(), 10u);
    for (int p = 0; p < 3; ++p) {
        EXPECT_EQ(avg[static_cast<size_t>(7 + p)], Fixed(mean[p]));
    }
    // The text table and JSON carry them too.
    const ToolRun text = Iqa({"--size", Size(), "--layout", "I420", "--per-plane-ssim", pathA, pathB});
    ASSERT_EQ(text.exit, 0) << text.err;
    EXPECT_EQ(Split(lumo_test::SplitLines(text.out)[1], ' ').back(), "ssim_v");
    const ToolRun json = Iqa({"--size", Size(), "--layout", "I420", "--format", "json",
                              "--per-plane-ssim", pathA, pathB});
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(json.out));
    EXPECT_TRUE(doc.object()["frames"].toArray()[0].toObject()["ssim_u"].isDouble()) << json.out;
    EXPECT_TRUE(doc.object()["average"].toObject()["ssim_v"].isDouble()) << json.out;
}

TEST_F(LumoIqaTest, SummaryOnlyPrintsOnlyTheAverages)
{
    MakePair(20, 12, 4);
    const std::vector<std::string> common{"--size", Size(), "--layout", "I420"};
    auto with = [&](std::vector<std::string> extra) {
        std::vector<std::string> args(common);
        args.insert(args.end(), extra.begin(), extra.end());
        args.push_back(pathA);
        args.push_back(pathB);
        return Iqa(args);
    };
    const auto full = lumo_test::SplitLines(with({"--format", "csv"}).out);
    const auto csv = lumo_test::SplitLines(with({"--format", "csv", "--summary-only"}).out);
    ASSERT_EQ(csv.size(), 3u);
    EXPECT_EQ(csv[0], full[0]);
    EXPECT_EQ(csv[1], full[full.size() - 2]);
    EXPECT_EQ(csv[2], full[full.size() - 1]);
    const auto text = lumo_test::SplitLines(with({"--summary-only"}).out);
    ASSERT_EQ(text.size(), 4u);
    EXPECT_NE(text[0].find("4 frames"), std::string::npos) << text[0];
    EXPECT_EQ(text[2].rfind("avg_mse", 0), 0u);
    const ToolRun json = with({"--format", "json", "--summary-only"});
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(json.out), &error);
    ASSERT_EQ(error.error, QJsonParseError::NoError) << json.out;
    EXPECT_FALSE(doc.object().contains("frames"));
    EXPECT_EQ(doc.object()["frame_count"].toInt(), 4);
    EXPECT_EQ(Fixed(doc.object()["average"].toObject()["ssim"].toDouble()), Split(csv[1], ',')[7]);
}

TEST_F(LumoIqaTest, JsonStaysValidForPathsThatAreNotUtf8)
{
    MakePair(16, 8, 1);
    const std::string odd = dir.File(std::string("bad\xff\xfe_\xe2\x82_line\nbreak_\xc3\xa9.yuv"));
    std::rename(pathA.c_str(), odd.c_str());
    const ToolRun run = Iqa({"--size", Size(), "--layout", "I420", "--format", "json", odd, pathB});
    ASSERT_EQ(run.exit, 0) << run.err;
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(run.out), &error);
    ASSERT_EQ(error.error, QJsonParseError::NoError) << run.out;
    // Invalid bytes read as U+FFFD, valid UTF-8 (the e acute) as itself.
    const QString a = doc.object()["a"].toString();
    EXPECT_TRUE(a.endsWith(QString::fromUtf8("bad\xef\xbf\xbd\xef\xbf\xbd_\xef\xbf\xbd\xef\xbf\xbd_line\nbreak_\xc3\xa9.yuv")))
        << a.toStdString();
}

TEST_F(LumoIqaTest, TextHeaderAndMessagesStayOneLineForANewlineInAPath)
{
    MakePair(16, 8, 2);
    const std::string odd = dir.File("two\nlines\\x.yuv");
    std::rename(pathA.c_str(), odd.c_str());
    const ToolRun run = Iqa({"--size", Size(), "--layout", "I420", odd, pathB});
    ASSERT_EQ(run.exit, 0) << run.err;
    const auto lines = lumo_test::SplitLines(run.out);
    ASSERT_EQ(lines.size(), 2u + 2u + 2u) << run.out;
    EXPECT_NE(lines[0].find("two\\nlines\\\\x.yuv"), std::string::npos) << lines[0];
    // An error naming the path is one line too.
    const std::string missing = dir.File("gone\nfile.yuv");
    ExpectOneLineError(Iqa({"--size", Size(), "--layout", "I420", missing, pathB}), 3, "gone\\nfile");
}

TEST_F(LumoIqaTest, HelpThatCannotBeWrittenExitsOne)
{
    const ToolRun run = Exec(LUMO_IQA_PATH, {"--help"}, "/dev/full");
    EXPECT_EQ(run.exit, 1) << run.err;
    EXPECT_NE(run.err.find("writing"), std::string::npos) << run.err;
    MakePair(16, 8, 2);
    const ToolRun report = Exec(LUMO_IQA_PATH, {"--size", Size(), "--layout", "I420", pathA, pathB}, "/dev/full");
    EXPECT_EQ(report.exit, 1) << report.err;
    // A long report notices the failure while it runs and stops there.
    MakePair(16, 8, 50000);
    const ToolRun longReport =
        Exec(LUMO_IQA_PATH, {"--size", Size(), "--layout", "I420", pathA, pathB}, "/dev/full");
    EXPECT_EQ(longReport.exit, 1) << longReport.err;
    const auto lines = lumo_test::SplitLines(longReport.err);
    ASSERT_EQ(lines.size(), 1u) << longReport.err;
    EXPECT_NE(lines[0].find("writing the report failed"), std::string::npos) << lines[0];
}

// lumo-iqa ... | head -c 10: a reader that goes away makes the report one
// that could not be written, exit 1 with its line, not death by SIGPIPE.
TEST_F(LumoIqaTest, AReaderThatGoesAwayIsExitOneNotSigpipe)
{
    MakePair(16, 8, 50000);
    const std::vector<std::string> report{"--size", Size(), "--layout", "I420", pathA, pathB};
    for (const std::vector<std::string>& args : {std::vector<std::string>{"--help"}, report}) {
        int fds[2];
        ASSERT_EQ(pipe2(fds, O_CLOEXEC), 0);
        close(fds[0]); // gone before the first byte
        const ToolRun run = IqaInto(fds[1], args, [] {});
        EXPECT_EQ(run.signal, 0) << args[0];
        ExpectOneLineError(run, 1, "writing");
    }
    // Ten bytes read, then gone while the long report is being written.
    int fds[2];
    ASSERT_EQ(pipe2(fds, O_CLOEXEC), 0);
    const ToolRun run = IqaInto(fds[1], report, [&] {
        char head[10];
        size_t got = 0;
        while (got < sizeof(head)) {
            const ssize_t n = read(fds[0], head + got, sizeof(head) - got);
            if (n <= 0) {
                break;
            }
            got += static_cast<size_t>(n);
        }
        EXPECT_EQ(got, sizeof(head));
        close(fds[0]);
    });
    EXPECT_EQ(run.signal, 0);
    ExpectOneLineError(run, 1, "writing the report failed");
}

TEST_F(LumoIqaTest, AnUnreadableInputSaysWhy)
{
    MakePair(16, 8, 2);
    auto why = [&](const std::string& input, const std::string& reason) {
        SCOPED_TRACE(input);
        ExpectOneLineError(Iqa({"--size", Size(), "--layout", "I420", input, pathB}), 3,
                           "cannot read '" + input + "': " + reason);
    };
    why(dir.File("missing.yuv"), "No such file or directory");
    why(dir.Path(), "Is a directory");
    lumo_test::TestFifo fifo(dir.File("pipe.yuv"));
    ASSERT_TRUE(fifo.Made());
    EXPECT_TRUE(fifo.ReturnsWithin([&] { why(fifo.Path(), "a FIFO (named pipe), not a regular file"); },
                                   std::chrono::seconds(20)));
    why("/dev/null", "not a regular file");
    why(pathA + "/below", "Not a directory");
    // Mode bits do not stop root.
    if (geteuid() != 0) {
        ASSERT_EQ(chmod(pathA.c_str(), 0), 0);
        why(pathA, "Permission denied");
    }
}

// The tool reads at most two batches (about 1 MB of I420, at most 4096
// frames each) per core ahead of the rows it has written. When its first
// bytes reach the pipe it is still writing the first batch's rows (far more
// than a pipe holds), so a file cut short beyond those batches fails
// mid-run.
TEST_F(LumoIqaTest, AFileThatShrinksMidRunSaysWhereItEnded)
{
    const int64_t frameBytes = 16 * 8 * 3 / 2;
    const int64_t batch = 4096;
    const int64_t cores = std::max<int64_t>(1, std::thread::hardware_concurrency());
    const int64_t kept = (2 * cores + 3) * batch;
    const std::string path = dir.File("shrinking.yuv");
    WriteFile(path, Bytes());
    std::filesystem::resize_file(path, static_cast<uintmax_t>((kept + 2 * batch) * frameBytes));
    int fds[2];
    ASSERT_EQ(pipe2(fds, O_CLOEXEC), 0);
    const ToolRun run = IqaInto(fds[1], {"--size", "16x8", "--layout", "I420", "--format", "csv", path, path}, [&] {
        pollfd ready{fds[0], POLLIN, 0};
        EXPECT_EQ(poll(&ready, 1, 60000), 1);
        std::filesystem::resize_file(path, static_cast<uintmax_t>(kept * frameBytes));
        char drain[65536];
        while (read(fds[0], drain, sizeof(drain)) > 0) {
        }
        close(fds[0]);
    });
    ExpectOneLineError(run, 3, "'" + path + "' ended before frame " + std::to_string(kept));
}

TEST_F(LumoIqaTest, HelpListsTheExitCodes)
{
    const ToolRun run = Iqa({"--help"});
    EXPECT_NE(run.out.find("4 out of memory"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("--per-plane-ssim"), std::string::npos);
    EXPECT_NE(run.out.find("--summary-only"), std::string::npos);
}

// A file of millions of one-pixel frames: the rows are streamed, so memory
// stays that of a short file (a score per frame held at once would be
// hundreds of megabytes).
TEST_F(LumoIqaTest, HugeFrameCountsStreamInBoundedMemory)
{
    auto peakKb = [this](int frames) {
        const std::string path = dir.File("tiny_frames_" + std::to_string(frames) + ".yuv");
        WriteFile(path, Bytes());
        std::filesystem::resize_file(path, static_cast<uintmax_t>(frames));
        const ToolRun run = Iqa({"--size", "1x1", "--layout", "GRAY", "--format", "csv",
                                 "--summary-only", path, path});
        EXPECT_EQ(run.exit, 0) << run.err;
        const auto lines = lumo_test::SplitLines(run.out);
        EXPECT_EQ(lines.size(), 3u) << run.out;
        if (lines.size() == 3) {
            EXPECT_EQ(lines[1], "avg_mse,0.000000,0.000000,0.000000,inf,inf,inf,1.000000");
        }
        return run.maxRssKb;
    };
    const long shortFile = peakKb(50000);
    const long longFile = peakKb(6000000);
    EXPECT_LT(longFile, shortFile + 16 * 1024) << longFile << " KiB against " << shortFile;
}

TEST_F(LumoIqaTest, OutOfMemoryIsExitFourWithOneLineAndNeverACrash)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizer runtimes reserve more address space than any limit here allows";
#else
    MakePair(176, 144, 40);
    const std::vector<std::string> args{"--size", Size(), "--layout", "I420", "--format", "csv", pathA, pathB};
    const ToolRun free = Iqa(args);
    ASSERT_EQ(free.exit, 0) << free.err;
    int outOfMemory = 0;
    int done = 0;
    for (long kb = 6000; kb <= 40000; kb += 2000) {
        SCOPED_TRACE(kb);
        const ToolRun run = IqaLimited(kb, args);
        EXPECT_EQ(run.signal, 0) << run.err;
        if (run.exit == 127) {
            continue; // the loader could not map the program: it never ran
        }
        ASSERT_TRUE(run.exit == 0 || run.exit == 4) << run.exit << " " << run.err;
        if (run.exit == 0) {
            EXPECT_EQ(run.out, free.out);
            ++done;
            continue;
        }
        ++outOfMemory;
        const auto lines = lumo_test::SplitLines(run.err);
        ASSERT_EQ(lines.size(), 1u) << run.err;
        EXPECT_EQ(lines[0].rfind("lumo-iqa: ", 0), 0u) << lines[0];
        EXPECT_NE(lines[0].find("out of memory"), std::string::npos) << lines[0];
    }
    EXPECT_GT(outOfMemory, 0);
    EXPECT_GT(done, 0);
#endif
}

} // namespace
