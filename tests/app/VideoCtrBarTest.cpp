// The playback bar: its form, Play and Pause, the position that loops over
// the shorter file, selection from the timelines, and the usage events it
// reports to a real lumo-service.
#include "analysis/VideoCtrBar.h"
#include "analysis/VideoTimeLine.h"

#include "AnalysisTestSupport.h"
#include "OnlineTestService.h"
#include "SettingsScope.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTimer>
#include <QtTest/QTest>

#include <map>

namespace {

class VideoCtrBarTest : public lumo_test::ServiceSuite {
protected:
    void SetUp() override
    {
        StoreSession("a-token", "ann@example.com");
        first = analysis_test::WriteFlat(dir.File("first.yuv"), 16, 8, 10);
        second = analysis_test::WriteFlat(dir.File("second.yuv"), 16, 8, 4);
        bar = std::make_unique<VideoCtrBar>(first);
        bar->resize(900, 130);
    }
    void TearDown() override
    {
        bar->Stop();
        bar->ClearCache();
        if (bar->Get2ndTimeLine() != nullptr) {
            bar->Get2ndTimeLine()->ClearCache();
        }
    }

    template <typename T>
    T* Child(const char* name)
    {
        T* child = bar->findChild<T*>(name);
        EXPECT_NE(nullptr, child) << name;
        return child;
    }

    QTimer* Timer() { return bar->findChild<QTimer*>(); }

    // The frames of the next count refreshes, with their analyse flags.
    std::vector<std::pair<int, int>> Refreshes(int count)
    {
        QSignalSpy refreshes(bar.get(), SIGNAL(onFrameCtrRefresh(int, int)));
        EXPECT_TRUE(view_test::WaitUntil([&] { return refreshes.count() >= count; }, 10000));
        std::vector<std::pair<int, int>> frames;
        for (int i = 0; i < count && i < refreshes.count(); i++) {
            frames.emplace_back(refreshes[i][0].toInt(), refreshes[i][1].toInt());
        }
        return frames;
    }

    // The events about this test's files, once count of them are stored.
    std::vector<QJsonObject> Events(size_t count)
    {
        return service->WaitForEventsMentioning(QString::fromStdString(first.path), count);
    }

    QString Description() const
    {
        return QString("[read1 file=%1; size=16x8; type=I420 (YUV 4:2:0 planar)]")
            .arg(QString::fromStdString(first.path));
    }
    QString BothDescription() const
    {
        return Description() +
               QString(" + [read2 file=%1; size=16x8; type=I420 (YUV 4:2:0 planar)]")
                   .arg(QString::fromStdString(second.path));
    }

    lumo_test::TempDir dir;
    lumo::YUVReader first;
    lumo::YUVReader second;
    std::unique_ptr<VideoCtrBar> bar;
};


const QString kUser = "[user_email]ann@example.com; [info] ";

} // namespace

TEST_F(VideoCtrBarTest, FormCarriesItsButtonsLabelsAndLayouts)
{
    EXPECT_EQ("Form", bar->windowTitle());
    EXPECT_EQ("Open 2nd YUV", Child<QPushButton>("open2")->text());
    EXPECT_EQ("Close 2nd YUV", Child<QPushButton>("close2")->text());
    EXPECT_FALSE(Child<QPushButton>("close2")->isEnabled());
    EXPECT_EQ("Play", Child<QPushButton>("ctr_btn")->text());
    EXPECT_EQ("Draw ROI Rect", Child<QCheckBox>("drawCheckBox")->text());
    EXPECT_FALSE(Child<QCheckBox>("drawCheckBox")->isChecked());
    QSpinBox* fps = Child<QSpinBox>("ctr_fps_spin");
    EXPECT_EQ(25, fps->value());
    EXPECT_EQ(0, fps->minimum());
    EXPECT_EQ(99, fps->maximum());
    for (const char* name : {"ssim_label", "psnr_label"}) {
        QLabel* label = Child<QLabel>(name);
        EXPECT_EQ("-", label->text());
        EXPECT_TRUE(label->alignment().testFlag(Qt::AlignRight));
        EXPECT_TRUE(label->alignment().testFlag(Qt::AlignVCenter));
    }
    for (const char* name : {"horizontalLayout", "time_line_layout", "horizontalLayout_2"}) {
        EXPECT_NE(nullptr, bar->findChild<QHBoxLayout*>(name)) << name;
    }
    for (const char* name : {"verticalLayout", "verticalLayout_2"}) {
        EXPECT_NE(nullptr, bar->findChild<QVBoxLayout*>(name)) << name;
    }
    ASSERT_NE(nullptr, Timer());
    EXPECT_EQ(40, Timer()->interval());
    EXPECT_FALSE(Timer()->isActive());
    ASSERT_NE(nullptr, bar->GetTimeLine());
    EXPECT_EQ(nullptr, bar->Get2ndTimeLine());
    EXPECT_EQ(1, bar->findChild<QHBoxLayout*>("time_line_layout")->count());
}

TEST_F(VideoCtrBarTest, PlayTicksEveryThousandOverFpsMillisecondsAndPauses)
{
    QPushButton* play = Child<QPushButton>("ctr_btn");
    const std::pair<int, int> rates[] = {{25, 40}, {7, 142}, {30, 33}, {99, 10}, {1, 1000}};
    for (const auto& rate : rates) {
        Child<QSpinBox>("ctr_fps_spin")->setValue(rate.first);
        QTest::mouseClick(play, Qt::LeftButton);
        EXPECT_TRUE(Timer()->isActive()) << rate.first;
        EXPECT_EQ(rate.second, Timer()->interval()) << rate.first;
        EXPECT_EQ("Pause", play->text());
        QTest::mouseClick(play, Qt::LeftButton);
        EXPECT_FALSE(Timer()->isActive());
        EXPECT_EQ("Play", play->text());
    }
}

TEST_F(VideoCtrBarTest, PlayAndPauseAreReportedWithTheFileAndTheRate)
{
    Child<QSpinBox>("ctr_fps_spin")->setValue(30);
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    // The two posts travel side by side and may be stored in either order.
    const std::vector<QJsonObject> events = Events(2);
    ASSERT_EQ(2u, events.size());
    std::map<QString, QString> infoByAction;
    for (const QJsonObject& event : events) {
        infoByAction[event.value("action").toString()] = event.value("info").toString();
    }
    EXPECT_EQ(kUser + Description() + " + [fps:30]", infoByAction["LumoImageViewPlayStartClick"]);
    EXPECT_EQ(kUser + "file:" + Description(), infoByAction["LumoImageViewPlayStopClick"]);
    for (const QJsonObject& event : events) {
        EXPECT_EQ("LumoImageView", event.value("page").toString());
        EXPECT_EQ("LumoImageViewBlock", event.value("block").toString());
    }
}

TEST_F(VideoCtrBarTest, PlayWithTheSpinBoxAtZeroChangesNothing)
{
    QSpinBox* fps = Child<QSpinBox>("ctr_fps_spin");
    fps->setValue(0);
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    EXPECT_FALSE(Timer()->isActive());
    EXPECT_EQ(40, Timer()->interval());
    EXPECT_EQ("Play", Child<QPushButton>("ctr_btn")->text());
    // Nothing was reported either: the next event is the one made now.
    fps->setValue(5);
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    const std::vector<QJsonObject> events = Events(1);
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ(kUser + Description() + " + [fps:5]", events[0].value("info").toString());
}

TEST_F(VideoCtrBarTest, StopOnAStoppedBarStillSetsPlay)
{
    QPushButton* play = Child<QPushButton>("ctr_btn");
    play->setText("something else");
    bar->Stop();
    EXPECT_EQ("Play", play->text());
    EXPECT_FALSE(Timer()->isActive());
}

TEST_F(VideoCtrBarTest, PlaybackShowsEachFrameWithoutAnalysingAndLoops)
{
    Child<QSpinBox>("ctr_fps_spin")->setValue(99);
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    const auto frames = Refreshes(12);
    bar->Stop();
    const std::vector<std::pair<int, int>> expected = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0},
                                                       {6, 0}, {7, 0}, {8, 0}, {9, 0}, {0, 0}, {1, 0}};
    EXPECT_EQ(expected, frames);
}

TEST_F(VideoCtrBarTest, WithASecondFilePlaybackLoopsOnTheShorterOne)
{
    bar->Add2ndTimeLine(second);
    ASSERT_NE(nullptr, bar->Get2ndTimeLine());
    EXPECT_EQ(2, bar->findChild<QHBoxLayout*>("time_line_layout")->count());
    Child<QSpinBox>("ctr_fps_spin")->setValue(99);
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    const auto frames = Refreshes(6);
    bar->Stop();
    const std::vector<std::pair<int, int>> expected = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {0, 0}, {1, 0}};
    EXPECT_EQ(expected, frames);
    // Both timelines follow, scrolled to the frame.
    EXPECT_EQ(bar->GetTimeLine()->GetActiveFrameIndex(), bar->Get2ndTimeLine()->GetActiveFrameIndex());
    EXPECT_EQ((bar->GetTimeLine()->GetActiveFrameIndex() - 1) * 50, bar->GetTimeLine()->GetOffset());
}

TEST_F(VideoCtrBarTest, AfterTheSecondFileIsClosedPlaybackRunsOverTheWholeFirstFile)
{
    bar->Add2ndTimeLine(second);
    bar->Remove2ndTimeLine();
    EXPECT_EQ(nullptr, bar->Get2ndTimeLine());
    EXPECT_EQ(1, bar->findChild<QHBoxLayout*>("time_line_layout")->count());
    Child<QSpinBox>("ctr_fps_spin")->setValue(99);
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    const auto frames = Refreshes(7);
    bar->Stop();
    for (int i = 0; i < 7; i++) {
        EXPECT_EQ(i, frames[static_cast<size_t>(i)].first);
    }
}

TEST_F(VideoCtrBarTest, TheSpinBoxIsReadOnlyWhenPlaybackStarts)
{
    Child<QSpinBox>("ctr_fps_spin")->setValue(20);
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    Child<QSpinBox>("ctr_fps_spin")->setValue(50);
    EXPECT_EQ(50, Timer()->interval());
    bar->Stop();
}

TEST_F(VideoCtrBarTest, ASelectedFrameIsShownAnalysedHighlightedAndPlayedFrom)
{
    bar->Add2ndTimeLine(second);
    ASSERT_TRUE(view_test::ShowAndExpose(*bar));
    VideoTimeLine* timeline = bar->GetTimeLine();
    QSignalSpy refreshes(bar.get(), SIGNAL(onFrameCtrRefresh(int, int)));
    // Frame 3 on the first timeline.
    QTest::mouseDClick(timeline, Qt::LeftButton, Qt::NoModifier, QPoint(170, 40));
    ASSERT_EQ(1, refreshes.count());
    EXPECT_EQ((QList<QVariant>{3, 1}), refreshes.takeFirst());
    EXPECT_EQ(3, timeline->GetActiveFrameIndex());
    EXPECT_EQ(3, bar->Get2ndTimeLine()->GetActiveFrameIndex());
    EXPECT_EQ(0, timeline->GetOffset());
    // The next tick shows the selected frame again, then moves on.
    bar->onFrameTimeout();
    bar->onFrameTimeout();
    ASSERT_EQ(2, refreshes.count());
    EXPECT_EQ((QList<QVariant>{3, 0}), refreshes[0]);
    EXPECT_EQ((QList<QVariant>{0, 0}), refreshes[1]);
}

TEST_F(VideoCtrBarTest, ASelectionBeyondAFileIsPassedOnButHighlightsNothingThere)
{
    bar->Add2ndTimeLine(second);
    QSignalSpy refreshes(bar.get(), SIGNAL(onFrameCtrRefresh(int, int)));
    bar->onSelectFrame(6, 1);
    EXPECT_EQ((QList<QVariant>{6, 1}), refreshes.takeFirst());
    EXPECT_EQ(6, bar->GetTimeLine()->GetActiveFrameIndex());
    EXPECT_EQ(0, bar->Get2ndTimeLine()->GetActiveFrameIndex());
    bar->onSelectFrame(40, 1);
    EXPECT_EQ((QList<QVariant>{40, 1}), refreshes.takeFirst());
    EXPECT_EQ(6, bar->GetTimeLine()->GetActiveFrameIndex());
}

TEST_F(VideoCtrBarTest, TheSecondTimelinesSelectionReachesTheBar)
{
    bar->Add2ndTimeLine(second);
    ASSERT_TRUE(view_test::ShowAndExpose(*bar));
    QSignalSpy refreshes(bar.get(), SIGNAL(onFrameCtrRefresh(int, int)));
    QTest::mouseDClick(bar->Get2ndTimeLine(), Qt::LeftButton, Qt::NoModifier, QPoint(60, 40));
    ASSERT_EQ(1, refreshes.count());
    EXPECT_EQ((QList<QVariant>{1, 1}), refreshes.takeFirst());
}

TEST_F(VideoCtrBarTest, ButtonsAndTheDrawBoxOnlyPassTheRequestOn)
{
    analysis_test::DebugCapture debug;
    ASSERT_TRUE(view_test::ShowAndExpose(*bar));
    QSignalSpy open(bar.get(), SIGNAL(onOpen2ndFile()));
    QSignalSpy close(bar.get(), SIGNAL(onClose2ndFile()));
    QSignalSpy draw(bar.get(), SIGNAL(onDrawCheckBoxChange(int)));
    QTest::mouseClick(Child<QPushButton>("open2"), Qt::LeftButton);
    EXPECT_EQ(1, open.count());
    bar->setCloseBtnState(true);
    EXPECT_TRUE(Child<QPushButton>("close2")->isEnabled());
    QTest::mouseClick(Child<QPushButton>("close2"), Qt::LeftButton);
    EXPECT_EQ(1, close.count());
    Child<QCheckBox>("drawCheckBox")->setChecked(true);
    Child<QCheckBox>("drawCheckBox")->setChecked(false);
    ASSERT_EQ(2, draw.count());
    EXPECT_EQ(2, draw[0][0].toInt());
    EXPECT_EQ(0, draw[1][0].toInt());
    EXPECT_TRUE(debug.Contains("onDrawCheckBoxSelect :  2"));
}

TEST_F(VideoCtrBarTest, TheResultGoesToThePsnrLabelOnly)
{
    bar->setPsnr("【SSIM 1】");
    EXPECT_EQ("【SSIM 1】", Child<QLabel>("psnr_label")->text());
    EXPECT_EQ("-", Child<QLabel>("ssim_label")->text());
}

TEST_F(VideoCtrBarTest, DescribesItsFilesAndReportsTheSecond)
{
    EXPECT_EQ(Description(), bar->formatYuvReadersInfoForLog());
    bar->Add2ndTimeLine(second);
    EXPECT_EQ(BothDescription(), bar->formatYuvReadersInfoForLog());
    const std::vector<QJsonObject> events = Events(1);
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ("LumoImageViewOpen2ndClick", events[0].value("action").toString());
    EXPECT_EQ(kUser + BothDescription(), events[0].value("info").toString());
}

TEST_F(VideoCtrBarTest, PlaybackIsNotReportedWhenSignedOut)
{
    analysis_test::DebugCapture debug;
    QSettings("MediaLumo", "YUVLumo").setValue("TOKEN", "");
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    EXPECT_FALSE(debug.Contains("record log post_data="));
    QSettings("MediaLumo", "YUVLumo").setValue("TOKEN", "a-token");
    bar->Add2ndTimeLine(second);
    const std::vector<QJsonObject> events = Events(1);
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ("LumoImageViewOpen2ndClick", events[0].value("action").toString());
}
