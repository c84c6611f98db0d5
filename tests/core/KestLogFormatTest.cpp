#include "core/KestLogBean.h"
#include "core/KestLogParam.h"
#include "core/KestLogThread.h"

#include "DefaultLogLine.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <string>

using namespace Kest;

namespace {

// A writer of its own, never started, so PrintLog runs on the test's thread.
class LogFormat : public ::testing::Test {
protected:
    void SetUp() override { writer.SetPath(dir.File("log.txt").c_str()); }

    std::string Print(KestLogBean& bean)
    {
        std::remove(dir.File("log.txt").c_str());
        writer.PrintLog(&bean);
        return lumo_test::ReadWholeFile(dir.File("log.txt"));
    }

    lumo_test::TempDir dir;
    KestLogThread writer;
};

} // namespace

TEST_F(LogFormat, EverySwitchCombination)
{
    KestLogBean bean(5, "Open Decoder Fail\n", "KestLib/Lib/KestAV/KestAVDecoder", "Init", 104);
    for (int mask = 0; mask < 32; mask++) {
        KestLogParam param;
        param.levelFlag = mask & 1;
        param.timeFlag = (mask >> 1) & 1;
        param.fileFlag = (mask >> 2) & 1;
        param.lineFlag = (mask >> 3) & 1;
        param.funcFlag = (mask >> 4) & 1;
        writer.SetParam(param);

        std::string expected;
        if (param.levelFlag) {
            expected += "[ 5] ";
        }
        if (param.timeFlag) {
            expected += std::string("[") + bean.GetTimeStr().CStr() + "] ";
        }
        if (param.fileFlag) {
            expected += "[KestLib/Lib/KestAV/KestAVDecoder(104)] ";
        }
        if (param.funcFlag) {
            expected += "[Init] ";
        }
        expected += "Open Decoder Fail\n";
        EXPECT_EQ(expected, Print(bean)) << "switch mask " << mask;
    }
}

TEST_F(LogFormat, DefaultsPrintEveryPiece)
{
    KestLogBean bean(5, "Open Decoder Fail\n", "KestLib/Lib/KestAV/KestAVDecoder", "Init", 104);
    const std::string line = Print(bean);
    EXPECT_TRUE(std::regex_match(line, DefaultDecoderFailLine()))
        << line;
}

TEST_F(LogFormat, AllSwitchesOffWritesOnlyTheMessage)
{
    KestLogParam param;
    param.levelFlag = param.timeFlag = param.fileFlag = param.lineFlag = param.funcFlag = 0;
    writer.SetParam(param);
    KestLogBean bean(5, "just this", "file.cpp", "fn", 1);
    EXPECT_EQ("just this", Print(bean));
}

TEST_F(LogFormat, LevelIsPaddedToTwoColumns)
{
    KestLogParam param;
    param.timeFlag = param.fileFlag = param.funcFlag = 0;
    writer.SetParam(param);
    KestLogBean five(5, "m", "f", "g", 1);
    EXPECT_EQ("[ 5] m", Print(five));
    KestLogBean twelve(12, "m", "f", "g", 1);
    EXPECT_EQ("[12] m", Print(twelve));
}

TEST_F(LogFormat, NoLineEndIsAdded)
{
    KestLogParam param;
    param.levelFlag = param.timeFlag = param.fileFlag = param.funcFlag = 0;
    writer.SetParam(param);
    KestLogBean a(5, "a", "f", "g", 1);
    KestLogBean b(5, "b\n", "f", "g", 1);
    std::remove(dir.File("log.txt").c_str());
    writer.PrintLog(&a);
    writer.PrintLog(&b);
    EXPECT_EQ("ab\n", lumo_test::ReadWholeFile(dir.File("log.txt")));
}

TEST_F(LogFormat, FileIsAppendedLineByLine)
{
    KestLogParam param;
    param.levelFlag = param.timeFlag = param.fileFlag = param.funcFlag = 0;
    writer.SetParam(param);
    {
        FILE* f = fopen(dir.File("log.txt").c_str(), "w");
        fputs("existing\n", f);
        fclose(f);
    }
    KestLogBean bean(5, "added\n", "f", "g", 1);
    writer.PrintLog(&bean);
    EXPECT_EQ("existing\nadded\n", lumo_test::ReadWholeFile(dir.File("log.txt")));
}

TEST_F(LogFormat, UnopenableFileDropsTheLine)
{
    writer.SetPath(dir.File("missing-folder/log.txt").c_str());
    KestLogBean bean(5, "lost\n", "f", "g", 1);
    EXPECT_EQ(0, writer.PrintLog(&bean));
    EXPECT_FALSE(std::filesystem::exists(dir.File("missing-folder/log.txt")));
}

TEST_F(LogFormat, EmptyPathWritesToStandardOutput)
{
    KestLogParam param;
    param.levelFlag = param.timeFlag = param.fileFlag = param.funcFlag = 0;
    writer.SetParam(param);
    writer.SetPath("");
    KestLogBean bean(5, "to stdout\n", "f", "g", 1);
    ::testing::internal::CaptureStdout();
    writer.PrintLog(&bean);
    EXPECT_EQ("to stdout\n", ::testing::internal::GetCapturedStdout());
}

TEST_F(LogFormat, NullBeanIsIgnored)
{
    EXPECT_EQ(-1, writer.PrintLog(nullptr));
    EXPECT_EQ(-1, writer.PutLog(nullptr));
}

TEST(KestLogBean, FieldsAndTimeStamp)
{
    KestLogBean bean(3, "msg", "a.cpp", "Fn", 77);
    EXPECT_EQ(3, bean.GetLevel());
    EXPECT_STREQ("msg", bean.GetLog().CStr());
    EXPECT_STREQ("a.cpp", bean.GetFile().CStr());
    EXPECT_STREQ("Fn", bean.GetFunction().CStr());
    EXPECT_EQ(77, bean.GetLine());
    EXPECT_TRUE(std::regex_match(bean.GetTimeStr().CStr(), std::regex(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2})")));

    KestLogBean copy(bean);
    EXPECT_EQ(77, copy.GetLine());
    EXPECT_STREQ("msg", copy.GetLog().CStr());
    EXPECT_TRUE(copy.GetTimeStr() == bean.GetTimeStr());
}

TEST(KestLogParam, DefaultsAreAllOn)
{
    KestLogParam param;
    EXPECT_EQ(1, param.levelFlag);
    EXPECT_EQ(1, param.timeFlag);
    EXPECT_EQ(1, param.fileFlag);
    EXPECT_EQ(1, param.lineFlag);
    EXPECT_EQ(1, param.funcFlag);
}
