// The quality worker: what it computes, in which order it reports, and that
// it works on copies of its frames.
#include "analysis/IQAThread.h"

#include "AnalysisTestSupport.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QThread>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

using analysis_test::LibBuffer;

// Under AddressSanitizer a refused allocation must come back as null, as it
// does from the C library, instead of stopping the test.
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1:detect_leaks=0";
}

namespace {

struct Result {
    double ssim, mseY, mseU, mseV, psnrY, psnrU, psnrV;
};

Result ResultOf(const QList<QVariant>& arguments)
{
    return {arguments[0].toDouble(), arguments[1].toDouble(), arguments[2].toDouble(), arguments[3].toDouble(),
            arguments[4].toDouble(), arguments[5].toDouble(), arguments[6].toDouble()};
}

class IQAThreadTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        // Frame 0 a luma ramp, frame 1 the same ramp with noise.
        reader = analysis_test::WriteI420(dir.File("pair.yuv"), 64, 48, 2, [](int f, int x, int y) {
            const int base = (x * 3 + y * 2) % 220 + 16;
            return f == 0 ? base : std::min(255, base + ((x * 7 + y * 13) % 9));
        });
        first = analysis_test::Read420(reader, 0);
        second = analysis_test::Read420(reader, 1);
        ASSERT_TRUE(first && second);
    }

    lumo_test::TempDir dir;
    lumo::YUVReader reader;
    LibBuffer first;
    LibBuffer second;
};

} // namespace

TEST_F(IQAThreadTest, ReportsSsimThenMseThenPsnrOfYUV)
{
    IQAThread worker;
    QSignalSpy started(&worker, SIGNAL(workStart()));
    QSignalSpy finished(&worker, SIGNAL(workFinished(double, double, double, double, double, double, double)));
    ASSERT_EQ(0, worker.setInput(first.get(), second.get(), 64, 48, lumo::COLOR_SPACE_VIDEO_RANGE));
    worker.start1();
    EXPECT_EQ(1, started.count());
    ASSERT_EQ(1, finished.count());
    const Result got = ResultOf(finished.takeFirst());

    double psnr[3] = {0, 0, 0};
    double mse[3] = {0, 0, 0};
    const lumo::YUVReader receiver;
    receiver.CallPSNR(psnr, first.get(), second.get(), 64, 48, mse);
    const double ssim = receiver.CallSsimIqa(first.get(), second.get(), 64, 48, lumo::COLOR_SPACE_VIDEO_RANGE);
    EXPECT_EQ(ssim, got.ssim);
    EXPECT_EQ(mse[0], got.mseY);
    EXPECT_EQ(mse[1], got.mseU);
    EXPECT_EQ(mse[2], got.mseV);
    EXPECT_EQ(psnr[0], got.psnrY);
    EXPECT_EQ(psnr[1], got.psnrU);
    EXPECT_EQ(psnr[2], got.psnrV);
    EXPECT_GT(got.mseY, 0.0);
    EXPECT_LT(got.ssim, 1.0);
}

TEST_F(IQAThreadTest, IdenticalFramesGiveZeroMseInfinitePsnrAndSsimOne)
{
    IQAThread worker;
    QSignalSpy finished(&worker, SIGNAL(workFinished(double, double, double, double, double, double, double)));
    worker.setInput(first.get(), first.get(), 64, 48, lumo::COLOR_SPACE_FULL_RANGE);
    worker.start1();
    ASSERT_EQ(1, finished.count());
    const Result got = ResultOf(finished.takeFirst());
    EXPECT_EQ(0.0, got.mseY);
    EXPECT_EQ(0.0, got.mseU);
    EXPECT_EQ(0.0, got.mseV);
    EXPECT_TRUE(std::isinf(got.psnrY));
    EXPECT_TRUE(std::isinf(got.psnrU));
    EXPECT_TRUE(std::isinf(got.psnrV));
    EXPECT_EQ(1.0, got.ssim);
    // As the window prints them.
    EXPECT_EQ("1 0 inf", QString("%1 %2 %3").arg(got.ssim).arg(got.mseY).arg(got.psnrY));
}

TEST_F(IQAThreadTest, TheRangeReachesTheSsim)
{
    // Luma outside 16..235 counts in full range and is clamped in video
    // range, so the two SSIMs differ.
    lumo::YUVReader wide = analysis_test::WriteI420(dir.File("wide.yuv"), 32, 32, 2, [](int f, int x, int y) {
        return f == 0 ? (x * 8 + y) % 256 : (x * 8 + y * 3 + 40) % 256;
    });
    LibBuffer a = analysis_test::Read420(wide, 0);
    LibBuffer b = analysis_test::Read420(wide, 1);
    double ssim[3] = {0, 0, 0};
    for (int cs = 0; cs < 3; cs++) {
        IQAThread worker;
        QSignalSpy finished(&worker, SIGNAL(workFinished(double, double, double, double, double, double, double)));
        worker.setInput(a.get(), b.get(), 32, 32, static_cast<lumo::COLOR_SPACE>(cs));
        worker.start1();
        ASSERT_EQ(1, finished.count());
        ssim[cs] = ResultOf(finished.takeFirst()).ssim;
    }
    EXPECT_EQ(ssim[0], ssim[1]);
    EXPECT_NE(ssim[1], ssim[2]);
}

TEST_F(IQAThreadTest, WorksOnCopiesMadeBySetInput)
{
    IQAThread expected;
    QSignalSpy reference(&expected, SIGNAL(workFinished(double, double, double, double, double, double, double)));
    expected.setInput(first.get(), second.get(), 64, 48, lumo::COLOR_SPACE_VIDEO_RANGE);
    expected.start1();

    IQAThread worker;
    QSignalSpy finished(&worker, SIGNAL(workFinished(double, double, double, double, double, double, double)));
    worker.setInput(first.get(), second.get(), 64, 48, lumo::COLOR_SPACE_VIDEO_RANGE);
    // The caller's buffers are rewritten and freed before the work runs.
    const size_t bytes = 64 * 48 * 3 / 2;
    memset(first.get(), 0, bytes);
    memset(second.get(), 255, bytes);
    first.reset();
    second.reset();
    worker.start1();
    ASSERT_EQ(1, finished.count());
    ASSERT_EQ(1, reference.count());
    EXPECT_EQ(reference.takeFirst(), finished.takeFirst());
}

TEST_F(IQAThreadTest, ANullFrameEmitsNothingAndLeavesTheThreadRunning)
{
    analysis_test::DebugCapture debug;
    QThread thread;
    auto* worker = new IQAThread();
    QSignalSpy finished(worker, SIGNAL(workFinished(double, double, double, double, double, double, double)));
    QSignalSpy started(worker, SIGNAL(workStart()));
    worker->setInput(first.get(), nullptr, 64, 48, lumo::COLOR_SPACE_VIDEO_RANGE);
    worker->moveToThread(&thread);
    QObject::connect(&thread, SIGNAL(started()), worker, SLOT(start1()));
    QObject::connect(worker, SIGNAL(workFinished(double, double, double, double, double, double, double)),
                     &thread, SLOT(quit()));
    thread.start();
    ASSERT_TRUE(view_test::WaitUntil([&] { return debug.Contains("---------->m_yuv is nullptr"); }));
    view_test::FlushEvents();
    EXPECT_EQ(1, started.count());
    EXPECT_EQ(0, finished.count());
    EXPECT_TRUE(thread.isRunning());
    thread.quit();
    ASSERT_TRUE(thread.wait(10000));
    delete worker;
}

TEST_F(IQAThreadTest, ResultCrossesToTheWindowThreadQueued)
{
    QThread thread;
    auto* worker = new IQAThread();
    worker->setInput(first.get(), second.get(), 64, 48, lumo::COLOR_SPACE_VIDEO_RANGE);
    worker->moveToThread(&thread);
    QObject receiver;
    Qt::HANDLE resultThread = nullptr;
    int results = 0;
    QObject::connect(&thread, SIGNAL(started()), worker, SLOT(start1()));
    QObject::connect(worker, &IQAThread::workFinished, &receiver,
                     [&](double, double, double, double, double, double, double) {
                         resultThread = QThread::currentThreadId();
                         results++;
                     });
    QObject::connect(worker, SIGNAL(workFinished(double, double, double, double, double, double, double)), worker,
                     SLOT(deleteLater()));
    QObject::connect(worker, SIGNAL(workFinished(double, double, double, double, double, double, double)),
                     &thread, SLOT(quit()));
    thread.start();
    ASSERT_TRUE(view_test::WaitUntil([&] { return results == 1; }));
    EXPECT_EQ(QThread::currentThreadId(), resultThread);
    // The quit request is itself queued to this thread.
    ASSERT_TRUE(view_test::WaitUntil([&] { return thread.isFinished(); }));
}

TEST_F(IQAThreadTest, AStopAskedOfItsThreadEndsItWithoutAResult)
{
    QThread thread;
    auto* worker = new IQAThread();
    ASSERT_EQ(0, worker->setInput(first.get(), second.get(), 64, 48, lumo::COLOR_SPACE_VIDEO_RANGE));
    worker->moveToThread(&thread);
    // Asked just before the work begins, as by a window closing then.
    QObject::connect(&thread, &QThread::started, worker, [&thread] { thread.requestInterruption(); });
    QObject::connect(&thread, SIGNAL(started()), worker, SLOT(start1()));
    const auto finished = view_test::CountQueued(worker, &IQAThread::workFinished);
    const auto cancelled = view_test::CountQueued(worker, &IQAThread::workCancelled);
    QObject::connect(worker, SIGNAL(workCancelled()), worker, SLOT(deleteLater()));
    QObject::connect(worker, SIGNAL(workCancelled()), &thread, SLOT(quit()));
    thread.start();
    ASSERT_TRUE(view_test::WaitUntil([&] { return thread.isFinished(); }));
    view_test::FlushEvents();
    EXPECT_EQ(1, *cancelled);
    EXPECT_EQ(0, *finished);
}

TEST_F(IQAThreadTest, AFrameTooLargeToCopyIsRefused)
{
    IQAThread worker;
    unsigned char byte = 0;
    const int huge = std::numeric_limits<int>::max();
    EXPECT_EQ(-1, worker.setInput(&byte, &byte, huge, huge, lumo::COLOR_SPACE_VIDEO_RANGE));
    QSignalSpy finished(&worker, SIGNAL(workFinished(double, double, double, double, double, double, double)));
    worker.start1();
    EXPECT_EQ(0, finished.count());
}
