// The thumbnail worker: its request limit, what it renders into the cache,
// and how it is stopped.
#include "analysis/SnapshotThread.h"

#include "AnalysisTestSupport.h"
#include "TempDir.h"

#include <gtest/gtest.h>


namespace {

class SnapshotThreadTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        if (thread) {
            thread->StopAllTask();
        }
    }

    void Make(int w, int h, int frames)
    {
        reader = analysis_test::WriteFlat(dir.File("clip.yuv"), w, h, frames);
        thread = std::make_unique<SnapshotThread>(&cache, reader, 50);
    }

    lumo_test::TempDir dir;
    lumo::YUVReader reader;
    Kest::KestLRUMap<int, QImage> cache{100};
    std::unique_ptr<SnapshotThread> thread;
};

} // namespace

TEST_F(SnapshotThreadTest, AtMostFiveRequestsWaitAndDuplicatesCount)
{
    Make(16, 8, 3);
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(0, thread->PushTask(i % 2));
    }
    EXPECT_EQ(-1, thread->PushTask(2));
    EXPECT_EQ(5, thread->PendingTasks());
}

TEST_F(SnapshotThreadTest, RendersAThumbnailOfTheFrameAtTheCellWidth)
{
    Make(200, 100, 3);
    const auto done = view_test::CountQueued(thread.get(), &SnapshotThread::GetImageSuccess);
    thread->PushTask(2);
    thread->start();
    ASSERT_TRUE(view_test::WaitUntil([&] { return *done >= 1; }, 10000));
    QImage thumbnail;
    ASSERT_EQ(1, cache.Get(2, &thumbnail));
    EXPECT_EQ(QSize(50, 25), thumbnail.size());
    // Frame 2 is a flat luma of 30 in video range: dark grey.
    const QColor pixel = thumbnail.pixelColor(25, 12);
    EXPECT_NEAR(pixel.red(), pixel.green(), 1);
    EXPECT_NEAR(pixel.green(), pixel.blue(), 1);
    EXPECT_NEAR(16, pixel.red(), 3);
}

TEST_F(SnapshotThreadTest, AnOddWidthFrameIsNotSkewed)
{
    // A frame of 101 columns: its rows are 303 bytes, not a multiple of 4.
    reader = analysis_test::WriteI420(dir.File("odd.yuv"), 101, 40, 1, [](int, int x, int) { return x < 50 ? 16 : 235; });
    thread = std::make_unique<SnapshotThread>(&cache, reader, 50);
    const auto done = view_test::CountQueued(thread.get(), &SnapshotThread::GetImageSuccess);
    thread->PushTask(0);
    thread->start();
    ASSERT_TRUE(view_test::WaitUntil([&] { return *done >= 1; }, 10000));
    QImage thumbnail;
    ASSERT_EQ(1, cache.Get(0, &thumbnail));
    for (int y = 0; y < thumbnail.height(); y++) {
        EXPECT_LT(thumbnail.pixelColor(5, y).red(), 40) << y;
        EXPECT_GT(thumbnail.pixelColor(45, y).red(), 200) << y;
    }
}

TEST_F(SnapshotThreadTest, AnUnreadableFrameLeavesNoEntryButIsStillReported)
{
    analysis_test::DebugCapture debug;
    Make(16, 8, 3);
    const auto done = view_test::CountQueued(thread.get(), &SnapshotThread::GetImageSuccess);
    thread->PushTask(7);
    thread->start();
    ASSERT_TRUE(view_test::WaitUntil([&] { return *done >= 1; }, 10000));
    // The worker writes its last line after the signal has gone out.
    ASSERT_TRUE(view_test::WaitUntil([&] { return debug.Count("End Send") == 1; }));
    EXPECT_FALSE(cache.Contains(7));
    EXPECT_TRUE(debug.Contains("ReadFrameRGB24 Fail"));
    EXPECT_EQ(1, debug.Count("Send"));
}

TEST_F(SnapshotThreadTest, NegativeIndexesAndCachedFramesAreSkippedSilently)
{
    Make(16, 8, 3);
    QImage* cached = new QImage(50, 25, QImage::Format_RGB888);
    cache.Put(1, cached);
    const auto done = view_test::CountQueued(thread.get(), &SnapshotThread::GetImageSuccess);
    thread->PushTask(-3);
    thread->PushTask(1);
    thread->PushTask(0);
    thread->start();
    // Only the last request makes a thumbnail and a report.
    ASSERT_TRUE(view_test::WaitUntil([&] { return *done >= 1; }, 10000));
    view_test::FlushEvents();
    EXPECT_EQ(1, *done);
    EXPECT_TRUE(cache.Contains(0));
    EXPECT_FALSE(cache.Contains(-3));
    // The cached frame was looked up, not rendered again.
    EXPECT_EQ(1, cache.Hits(1));
}

TEST_F(SnapshotThreadTest, StopAllTaskStopsTheWorkerAndKeepsTheRequests)
{
    Make(16, 8, 3);
    thread->start();
    ASSERT_TRUE(thread->isRunning());
    EXPECT_EQ(0, thread->StopAllTask());
    EXPECT_FALSE(thread->isRunning());
    thread->PushTask(0);
    thread->PushTask(1);
    EXPECT_EQ(2, thread->PendingTasks());
    // It can run again after a stop.
    const auto done = view_test::CountQueued(thread.get(), &SnapshotThread::GetImageSuccess);
    thread->start();
    ASSERT_TRUE(view_test::WaitUntil([&] { return *done == 2; }));
    EXPECT_EQ(0, thread->PendingTasks());
}
