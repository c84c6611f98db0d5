// lumo-iqa run as a program: arguments, exit codes, the three output
// formats, and agreement with the library and with FFmpeg's psnr filter.

#include "TestFifo.h"
#include "TextLines.h"
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
#include <sstream>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace lumo_yuv_test;
using lumo::YUVReader;

namespace {

struct ToolRun {
    int exit = -1;
    std::string out;
    std::string err;
};

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
    // Runs the tool (or another program) with stdout and stderr captured.
    ToolRun Exec(const std::string& program, const std::vector<std::string>& args)
    {
        const std::string out = dir.File("stdout.txt");
        const std::string err = dir.File("stderr.txt");
        const pid_t pid = fork();
        if (pid == 0) {
            const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (o < 0 || e < 0 || dup2(o, 1) < 0 || dup2(e, 2) < 0) {
                _exit(126);
            }
            std::vector<char*> argv{const_cast<char*>(program.c_str())};
            for (const std::string& a : args) {
                argv.push_back(const_cast<char*>(a.c_str()));
            }
            argv.push_back(nullptr);
            execvp(argv[0], argv.data());
            _exit(127);
        }
        ToolRun run;
        int status = 0;
        if (pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) {
            run.exit = WEXITSTATUS(status);
        }
        run.out = lumo_test::ReadWholeFile(out);
        run.err = lumo_test::ReadWholeFile(err);
        return run;
    }

    ToolRun Iqa(const std::vector<std::string>& args) { return Exec(LUMO_IQA_PATH, args); }

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
    void Direct(int f, double mse[3], double psnr[3], double& ssim, lumo::COLOR_SPACE cs)
    {
        const YUVReader a(pathA, width, height, lumo::YUVType::YUV_TYPE_I420);
        const YUVReader b(pathB, width, height, lumo::YUVType::YUV_TYPE_I420);
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

} // namespace
