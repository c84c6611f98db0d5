#include "core/KestLog.h"
#include "core/KestLogBean.h"
#include "core/KestLogThread.h"

#include "ChildProcess.h"
#include "DefaultLogLine.h"
#include "TempDir.h"
#include "TextLines.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace Kest;
using lumo_test::ReadWholeFile;

namespace {

// Points the process-wide log at a file of its own with only the message
// printed, and puts the defaults back afterwards.
class SingletonLog : public ::testing::Test {
protected:
    void SetUp() override
    {
        path = dir.File("log.txt");
        kest_log_path(path.c_str());
        kest_log_param(0, 0, 0, 0, 0);
        kest_log_set_level(5);
    }
    void TearDown() override
    {
        kest_log_clear();
        kest_log_path("");
        kest_log_param(1, 1, 1, 1, 1);
        kest_log_set_level(5);
    }

    lumo_test::TempDir dir;
    std::string path;
};

// Checks that the lines are exactly "T<t> <i>" for every thread t and every
// i below count, each thread's in increasing order.
void ExpectCompleteAndOrdered(const std::vector<std::string>& lines, int threads, int count)
{
    ASSERT_EQ(static_cast<size_t>(threads) * count, lines.size());
    std::vector<int> next(threads, 0);
    const std::regex shape(R"(T(\d+) (\d+))");
    for (const std::string& line : lines) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(line, m, shape)) << "mangled line: " << line;
        const int t = std::stoi(m[1]);
        ASSERT_LT(t, threads);
        ASSERT_EQ(next[t], std::stoi(m[2])) << "thread " << t << " out of order";
        next[t]++;
    }
}

// Checks that the lines of several files are together exactly "T<t> <i>"
// for every thread t and every i below count, each file holding each
// thread's lines in increasing order.
void ExpectCompleteAcrossFiles(const std::vector<std::string>& paths, int threads, int count)
{
    std::vector<std::vector<int>> seen(threads, std::vector<int>(count, 0));
    const std::regex shape(R"(T(\d+) (\d+))");
    for (const std::string& file : paths) {
        std::vector<int> last(threads, -1);
        for (const std::string& line : lumo_test::SplitLines(ReadWholeFile(file))) {
            std::smatch m;
            ASSERT_TRUE(std::regex_match(line, m, shape)) << "mangled line: " << line;
            const int t = std::stoi(m[1]);
            const int i = std::stoi(m[2]);
            ASSERT_LT(t, threads);
            ASSERT_LT(i, count);
            ASSERT_LT(last[t], i) << "thread " << t << " out of order in " << file;
            last[t] = i;
            seen[t][i]++;
        }
    }
    for (int t = 0; t < threads; t++) {
        for (int i = 0; i < count; i++) {
            ASSERT_EQ(1, seen[t][i]) << "line T" << t << " " << i;
        }
    }
}

std::string Helper()
{
    return KEST_LOG_HELPER;
}

} // namespace

TEST_F(SingletonLog, SingletonIsOneObject)
{
    EXPECT_EQ(KestLogThread::GetInstance(), KestLogThread::GetInstance());
}

TEST_F(SingletonLog, ClearPrintsEverythingPendingAtOnce)
{
    for (int i = 0; i < 50; i++) {
        kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "T0 %d\n", i);
    }
    EXPECT_EQ(0, kest_log_clear());
    ExpectCompleteAndOrdered(lumo_test::SplitLines(ReadWholeFile(path)), 1, 50);
}

TEST_F(SingletonLog, LongMessageIsCutAt4095Characters)
{
    const std::string message(5000, 'm');
    kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "%s", message.c_str());
    kest_log_clear();
    EXPECT_EQ(std::string(4095, 'm'), ReadWholeFile(path));
}

TEST_F(SingletonLog, WorkerDropsRecordsBelowTheMinimumLevel)
{
    kest_log_log(__FILE__, __FUNCTION__, __LINE__, 4, "level four\n");
    kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "level five\n");
    kest_log_log(__FILE__, __FUNCTION__, __LINE__, 6, "level six\n");
    kest_log_clear();
    EXPECT_EQ("level five\nlevel six\n", ReadWholeFile(path));
}

TEST_F(SingletonLog, RaisedMinimumLevelFiltersMore)
{
    kest_log_set_level(6);
    kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "five\n");
    kest_log_log(__FILE__, __FUNCTION__, __LINE__, 6, "six\n");
    kest_log_clear();
    EXPECT_EQ("six\n", ReadWholeFile(path));
}

TEST_F(SingletonLog, WorkerWritesWithoutAnExplicitClear)
{
    kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "soon\n");
    // The worker wakes on the push, or at the latest after its 500 ms wait.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (ReadWholeFile(path).empty() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ("soon\n", ReadWholeFile(path));
}

TEST_F(SingletonLog, FullLineFormatThroughTheFrontEnd)
{
    kest_log_param(1, 1, 1, 1, 1);
    kest_log_log("KestLib/Lib/KestAV/KestAVDecoder", "Init", 104, 5, "Open Decoder Fail\n");
    kest_log_clear();
    const std::string line = ReadWholeFile(path);
    EXPECT_TRUE(std::regex_match(line, DefaultDecoderFailLine()))
        << line;
}

TEST_F(SingletonLog, EmptyPathGoesBackToStandardOutput)
{
    kest_log_path("");
    ::testing::internal::CaptureStdout();
    kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "on stdout\n");
    kest_log_clear();
    EXPECT_EQ("on stdout\n", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ("", ReadWholeFile(path));
}

TEST_F(SingletonLog, NullFormatLogsAnEmptyMessage)
{
    kest_log_param(1, 0, 0, 0, 0);
    kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, nullptr);
    kest_log_clear();
    EXPECT_EQ("[ 5] ", ReadWholeFile(path));
}

TEST_F(SingletonLog, ThreadSwitchReturnsItsAddress)
{
    int* flag = kest_log_thread(1);
    ASSERT_NE(nullptr, flag);
    EXPECT_EQ(1, *flag);
    EXPECT_EQ(flag, kest_log_thread(1));
}

TEST_F(SingletonLog, FourThreadsNeverInterleaveAndLoseNothing)
{
    constexpr int kThreads = 4;
    constexpr int kLines = 25000;
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; t++) {
        workers.emplace_back([t] {
            for (int i = 0; i < kLines; i++) {
                kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "T%d %d\n", t, i);
            }
        });
    }
    for (auto& worker : workers) {
        worker.join();
    }
    kest_log_clear();
    ExpectCompleteAndOrdered(lumo_test::SplitLines(ReadWholeFile(path)), kThreads, kLines);
}

TEST_F(SingletonLog, SettingsChangingWhileFourThreadsLogLoseNoLine)
{
    constexpr int kThreads = 4;
    constexpr int kLines = 5000;
    // Lines written before the first change go to the fixture's file.
    const std::vector<std::string> paths = {dir.File("a.txt"), dir.File("b.txt"), path};
    std::atomic<int> running{kThreads};
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; t++) {
        workers.emplace_back([t, &running] {
            for (int i = 0; i < kLines; i++) {
                kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "T%d %d\n", t, i);
            }
            running--;
        });
    }
    // The worker opens the path of each line while the path, the switches
    // and the level keep changing under it.
    for (int change = 0; running > 0 || change < 200; change++) {
        kest_log_path(paths[change % 2].c_str());
        kest_log_param(0, 0, 0, change % 2, 0);
        kest_log_set_level(change % 2 == 0 ? 5 : 4);
        std::this_thread::yield();
    }
    for (auto& worker : workers) {
        worker.join();
    }
    kest_log_clear();
    ExpectCompleteAcrossFiles(paths, kThreads, kLines);
}

TEST_F(SingletonLog, SeveralThreadsClearingAtOnceAllReturnAndLoseNothing)
{
    constexpr int kThreads = 4;
    constexpr int kLines = 300;
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; t++) {
        workers.emplace_back([t] {
            for (int i = 0; i < kLines; i++) {
                kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "T%d %d\n", t, i);
                EXPECT_EQ(0, kest_log_clear());
            }
        });
    }
    for (auto& worker : workers) {
        worker.join();
    }
    ExpectCompleteAndOrdered(lumo_test::SplitLines(ReadWholeFile(path)), kThreads, kLines);
}

TEST(KestLogDirect, SwitchOffPrintsOnTheCallersThreadWithoutFilter)
{
    lumo_test::TempDir dir;
    KestLogThread writer;
    writer.SetPath(dir.File("direct.txt").c_str());
    KestLogParam param;
    param.levelFlag = param.timeFlag = param.fileFlag = param.funcFlag = 0;
    writer.SetParam(param);

    kest_log_thread(0);
    writer.PutLog(new KestLogBean(4, "below the minimum\n", "f", "g", 1));
    kest_log_thread(1);
    EXPECT_EQ("below the minimum\n", ReadWholeFile(dir.File("direct.txt")));
}

TEST(KestLogProcess, SwitchOffBeforeTheFirstCallPrintsDirectly)
{
    lumo_test::TempDir dir;
    const auto result = lumo_test::RunChild({Helper(), "direct", dir.File("direct.txt")}, std::chrono::seconds(20));
    ASSERT_FALSE(result.timedOut);
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ("direct level 4\n", ReadWholeFile(dir.File("direct.txt")));
}

TEST(KestLogProcess, RecordsQueuedAtExitArePrintedByTheFinalDrain)
{
    lumo_test::TempDir dir;
    const std::string path = dir.File("drain.txt");
    const auto result = lumo_test::RunChild({Helper(), "exit-drain", path, "4", "5000"}, std::chrono::seconds(60));
    ASSERT_FALSE(result.timedOut);
    EXPECT_EQ(0, result.exitCode);
    ExpectCompleteAndOrdered(lumo_test::SplitLines(ReadWholeFile(path)), 4, 5000);
}

TEST(KestLogProcess, ClearWithoutARunningWorkerWaitsForever)
{
    const auto result = lumo_test::RunChild({Helper(), "clear-without-worker"}, std::chrono::milliseconds(1500));
    EXPECT_TRUE(result.timedOut);
}
