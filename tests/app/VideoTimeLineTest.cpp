// The thumbnail timeline: which cells it paints, which thumbnails it asks
// for, the active cell and its pen, scrolling and selection.
#include "analysis/SnapshotThread.h"
#include "analysis/VideoTimeLine.h"

#include "AnalysisTestSupport.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QtTest/QTest>

#include <set>

namespace {

class VideoTimeLineTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        if (timeline) {
            timeline->ClearCache();
        }
    }

    void Make(int w, int h, int frames, int widgetWidth = 800)
    {
        reader = analysis_test::WriteFlat(dir.File("clip.yuv"), w, h, frames);
        timeline = std::make_unique<VideoTimeLine>(reader);
        timeline->resize(widgetWidth, 80);
    }

    // The timeline's paint event drawn onto a recording device (lines,
    // rectangles, texts and images as they were asked for).
    view_test::Recording Paint()
    {
        view_test::RecordingDevice device(timeline->width(), 80);
        timeline->render(&device, QPoint(), QRegion(), QWidget::DrawChildren);
        return device.recording;
    }

    static std::vector<QString> Numbers(const view_test::Recording& r)
    {
        std::vector<QString> numbers;
        for (const auto& t : r.texts) {
            numbers.push_back(t.text);
        }
        return numbers;
    }

    // Paints until the cache holds count thumbnails (the worker takes five
    // requests at a time).
    bool FillCache(int count)
    {
        return view_test::WaitUntil(
            [&] {
                Paint();
                return timeline->GetCache().Size() >= count;
            },
            30000);
    }

    std::set<int> CachedFrames(int frames)
    {
        std::set<int> cached;
        for (int i = 0; i < frames; i++) {
            if (timeline->GetCache().Contains(i)) {
                cached.insert(i);
            }
        }
        return cached;
    }

    lumo_test::TempDir dir;
    lumo::YUVReader reader;
    std::unique_ptr<VideoTimeLine> timeline;
};

} // namespace

TEST_F(VideoTimeLineTest, IsEightyPixelsHigh)
{
    Make(16, 8, 3);
    EXPECT_EQ(80, timeline->minimumHeight());
    EXPECT_EQ(80, timeline->maximumHeight());
    EXPECT_EQ(0, timeline->GetActiveFrameIndex());
    EXPECT_EQ(0, timeline->GetOffset());
}

TEST_F(VideoTimeLineTest, AFileOfThreeFramesPaintsCellsZeroToTwoOnlyWhateverTheWidth)
{
    for (int width : {50, 800, 3000}) {
        Make(16, 8, 3, width);
        const view_test::Recording r = Paint();
        EXPECT_EQ((std::vector<QString>{"0", "1", "2"}), Numbers(r)) << width;
        ASSERT_EQ(3u, r.lines.size());
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(QLineF(i * 50, 0, i * 50, 80), r.lines[static_cast<size_t>(i)]);
            EXPECT_EQ(QPointF(i * 50 + 3, 15), r.texts[static_cast<size_t>(i)].at);
        }
        timeline->ClearCache();
    }
}

TEST_F(VideoTimeLineTest, NumbersAreInSimSunTwelvePointOnWhite)
{
    Make(16, 8, 2);
    const view_test::Recording r = Paint();
    ASSERT_FALSE(r.texts.empty());
    EXPECT_EQ("宋体", r.texts[0].font.family());
    EXPECT_EQ(12, r.texts[0].font.pointSize());
    ASSERT_FALSE(r.rects.empty());
    EXPECT_EQ(QRectF(0, 0, 800, 80), r.rects[0]);
    EXPECT_EQ(QColor(255, 255, 255, 255), r.rectBrushes[0].color());
    const view_test::Recording played = view_test::RecordPaint(*timeline);
    EXPECT_TRUE(played.hints.testFlag(QPainter::Antialiasing));
    EXPECT_TRUE(played.hints.testFlag(QPainter::TextAntialiasing));
}

TEST_F(VideoTimeLineTest, OnlyTheVisibleCellsAndThreeMoreArePainted)
{
    Make(16, 8, 100, 400);
    timeline->SetActiveFrameIndex(21, 1);
    // Offset 1000: cells 20 to 20 + 8 + 3 - 1.
    const std::vector<QString> numbers = Numbers(Paint());
    ASSERT_EQ(11u, numbers.size());
    EXPECT_EQ("20", numbers.front());
    EXPECT_EQ("30", numbers.back());
}

TEST_F(VideoTimeLineTest, TheActiveCellIsFilledAndItsPenStaysForTheRestOfThePass)
{
    Make(16, 8, 4);
    timeline->SetActiveFrameIndex(1, 0);
    const view_test::Recording r = Paint();
    ASSERT_EQ(2u, r.rects.size());
    EXPECT_EQ(QRectF(50, 0, 50, 80), r.rects[1]);
    EXPECT_EQ(QColor(255, 160, 90, 127), r.rectBrushes[1].color());
    EXPECT_EQ(Qt::SolidPattern, r.rectBrushes[1].style());
    const QPen active = r.rectPens[1];
    EXPECT_EQ(QColor(0, 0, 0, 255), active.color());
    EXPECT_EQ(2.0, active.widthF());
    EXPECT_EQ(Qt::SolidLine, active.style());
    EXPECT_EQ(Qt::SquareCap, active.capStyle());
    EXPECT_EQ(Qt::BevelJoin, active.joinStyle());
    // The separators of cells 0 and 1 come before it; 2 and 3 after, in
    // its 2-pixel pen.
    ASSERT_EQ(4u, r.linePens.size());
    EXPECT_LT(r.linePens[0].widthF(), 2.0);
    EXPECT_LT(r.linePens[1].widthF(), 2.0);
    EXPECT_EQ(2.0, r.linePens[2].widthF());
    EXPECT_EQ(2.0, r.linePens[3].widthF());
}

TEST_F(VideoTimeLineTest, SetActiveFrameIndexScrollsOnlyWhenAsked)
{
    Make(16, 8, 20);
    EXPECT_EQ(0, timeline->SetActiveFrameIndex(0, 1));
    EXPECT_EQ(-50, timeline->GetOffset());
    EXPECT_EQ(0, timeline->SetActiveFrameIndex(7, 1));
    EXPECT_EQ(300, timeline->GetOffset());
    EXPECT_EQ(0, timeline->SetActiveFrameIndex(2, 0));
    EXPECT_EQ(300, timeline->GetOffset());
    EXPECT_EQ(2, timeline->GetActiveFrameIndex());
}

TEST_F(VideoTimeLineTest, AnOffsetOfMinusFiftyLeavesOneEmptyCellAtTheLeft)
{
    Make(16, 8, 3);
    timeline->SetActiveFrameIndex(0, 1);
    const view_test::Recording r = Paint();
    ASSERT_EQ(3u, r.lines.size());
    EXPECT_EQ(50, r.lines[0].x1());
    EXPECT_EQ(QPointF(53, 15), r.texts[0].at);
}

TEST_F(VideoTimeLineTest, ThumbnailsSitAtTheBottomOfTheirCells)
{
    Make(200, 100, 3);
    ASSERT_TRUE(FillCache(3));
    const view_test::Recording r = Paint();
    ASSERT_EQ(3u, r.images.size());
    // trunc(100 / 200 * 50) = 25 rows, standing on the bottom edge.
    for (size_t i = 0; i < 3; i++) {
        EXPECT_EQ(QRectF(50.0 * i, 55, 50, 25), r.images[i].target);
        EXPECT_EQ(QSize(50, 25), r.images[i].size);
    }
}

TEST_F(VideoTimeLineTest, WideFramesGetAThumbnailEveryFifthFrame)
{
    Make(1280, 400, 12);
    ASSERT_TRUE(FillCache(3));
    // Let the worker finish whatever else it might have been asked.
    timeline->ClearCache();
    EXPECT_EQ((std::set<int>{0, 5, 10}), CachedFrames(12));
    EXPECT_EQ(3u, Paint().images.size());
    // Every cell is still numbered.
    EXPECT_EQ(12u, Numbers(Paint()).size());
    timeline->ClearCache();
}

TEST_F(VideoTimeLineTest, TallFramesGetAThumbnailEveryFifthFrame)
{
    Make(8, 1280, 7);
    ASSERT_TRUE(FillCache(2));
    timeline->ClearCache();
    EXPECT_EQ((std::set<int>{0, 5}), CachedFrames(7));
}

TEST_F(VideoTimeLineTest, A1279By720FileGetsAThumbnailInEveryCell)
{
    Make(1279, 720, 8, 400);
    ASSERT_TRUE(FillCache(8));
    EXPECT_EQ((std::set<int>{0, 1, 2, 3, 4, 5, 6, 7}), CachedFrames(8));
}

TEST_F(VideoTimeLineTest, DraggingScrollsWithoutBounds)
{
    Make(16, 8, 5);
    ASSERT_TRUE(view_test::ShowAndExpose(*timeline));
    view_test::SendMouse(*timeline, QEvent::MouseButtonPress, QPointF(300, 40));
    // The first move only records where the drag is.
    view_test::SendMouse(*timeline, QEvent::MouseMove, QPointF(300, 40));
    EXPECT_EQ(0, timeline->GetOffset());
    view_test::SendMouse(*timeline, QEvent::MouseMove, QPointF(200, 40));
    EXPECT_EQ(100, timeline->GetOffset());
    // Past the start: a negative offset; positions are rounded, halves up.
    view_test::SendMouse(*timeline, QEvent::MouseMove, QPointF(699.5, 40));
    EXPECT_EQ(-400, timeline->GetOffset());
    view_test::SendMouse(*timeline, QEvent::MouseButtonRelease, QPointF(700, 40));
    // A move without a press does nothing; after the release a new drag
    // starts afresh.
    view_test::SendMouse(*timeline, QEvent::MouseMove, QPointF(10, 40));
    EXPECT_EQ(-400, timeline->GetOffset());
    view_test::SendMouse(*timeline, QEvent::MouseButtonPress, QPointF(100, 40));
    view_test::SendMouse(*timeline, QEvent::MouseMove, QPointF(100, 40));
    view_test::SendMouse(*timeline, QEvent::MouseMove, QPointF(150, 40));
    EXPECT_EQ(-450, timeline->GetOffset());
    view_test::SendMouse(*timeline, QEvent::MouseButtonRelease, QPointF(150, 40));
}

TEST_F(VideoTimeLineTest, DoubleClickSelectsTheFrameUnderThePointer)
{
    Make(16, 8, 20);
    ASSERT_TRUE(view_test::ShowAndExpose(*timeline));
    QSignalSpy selected(timeline.get(), SIGNAL(onSelectFrame(int, int)));
    QTest::mouseDClick(timeline.get(), Qt::LeftButton, Qt::NoModifier, QPoint(120, 40));
    ASSERT_EQ(1, selected.count());
    EXPECT_EQ((QList<QVariant>{2, 1}), selected.takeFirst());
    timeline->SetActiveFrameIndex(7, 1);
    QTest::mouseDClick(timeline.get(), Qt::LeftButton, Qt::NoModifier, QPoint(49, 40));
    EXPECT_EQ((QList<QVariant>{6, 1}), selected.takeFirst());
}

TEST_F(VideoTimeLineTest, ADoubleClickBeyondTheLastCellEmitsAFramePastTheEnd)
{
    Make(16, 8, 3);
    ASSERT_TRUE(view_test::ShowAndExpose(*timeline));
    QSignalSpy selected(timeline.get(), SIGNAL(onSelectFrame(int, int)));
    QTest::mouseDClick(timeline.get(), Qt::LeftButton, Qt::NoModifier, QPoint(420, 40));
    ASSERT_EQ(1, selected.count());
    EXPECT_EQ((QList<QVariant>{8, 1}), selected.takeFirst());
}

TEST_F(VideoTimeLineTest, ClearCacheStopsTheWorkerAndKeepsCacheAndRequests)
{
    analysis_test::DebugCapture debug;
    Make(16, 8, 3);
    SnapshotThread* worker = timeline->GetSnapshotThread();
    // Requests made while the worker is stopped stay through ClearCache.
    worker->PushTask(1);
    worker->PushTask(2);
    timeline->ClearCache();
    EXPECT_TRUE(debug.Contains("ClearCache"));
    EXPECT_EQ(2, worker->PendingTasks());
    // The first paint starts the worker, which serves them.
    ASSERT_TRUE(FillCache(3));
    EXPECT_TRUE(debug.Contains("Snapshot Thread Start"));
    EXPECT_TRUE(worker->isRunning());
    timeline->ClearCache();
    EXPECT_FALSE(worker->isRunning());
    // The thumbnails stay.
    EXPECT_EQ(3, timeline->GetCache().Size());
    EXPECT_EQ(3u, Paint().images.size());
    // And that paint started it again.
    EXPECT_TRUE(worker->isRunning());
}

TEST_F(VideoTimeLineTest, AThumbnailArrivingRepaintsTheTimeline)
{
    struct CountingTimeLine : VideoTimeLine {
        using VideoTimeLine::VideoTimeLine;
        int paints = 0;
        void paintEvent(QPaintEvent* event) override
        {
            paints++;
            VideoTimeLine::paintEvent(event);
        }
    };
    reader = analysis_test::WriteFlat(dir.File("clip.yuv"), 32, 16, 2);
    CountingTimeLine counting(reader);
    counting.resize(400, 80);
    // Each arrival, seen on this thread, must be followed by a paint.
    int paintsAtArrival = -1;
    QObject::connect(counting.GetSnapshotThread(), &SnapshotThread::GetImageSuccess, &counting,
                     [&] { paintsAtArrival = counting.paints; });
    ASSERT_TRUE(view_test::ShowAndExpose(counting));
    ASSERT_TRUE(view_test::WaitUntil([&] { return counting.GetCache().Size() == 2 && paintsAtArrival >= 0; }));
    ASSERT_TRUE(view_test::WaitUntil([&] { return counting.paints > paintsAtArrival; }));
    counting.ClearCache();
}
