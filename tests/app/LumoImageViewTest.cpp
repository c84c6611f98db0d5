// The analysis window: what it shows when it opens, how its controls reach
// the views and charts, the second file, and the comparisons it runs.
#include "analysis/ColorChart.h"
#include "analysis/LumoImageView.h"
#include "analysis/SnapshotThread.h"
#include "analysis/VideoCtrBar.h"
#include "analysis/VideoTimeLine.h"
#include "views/YUVShowView.h"
#include "views/YUVWidget.h"

#include "KestColorSpace/KestColorSpace.h"

#include "AnalysisTestSupport.h"
#include "OnlineTestService.h"
#include "SettingsScope.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTimer>
#include <QtTest/QTest>

#include <cmath>
#include <cstring>

using analysis_test::LibBuffer;

namespace {

const QString kPlaceholder = "【SSIM -】【MSE Y: -, U: -, V: -】【PSNR Y: -, U: -, V: -】";

// The label text of a comparison of frame of a and b, computed here with
// the library.
QString ExpectedResult(const lumo::YUVReader& a, const lumo::YUVReader& b, int frame, lumo::COLOR_SPACE cs)
{
    LibBuffer first = analysis_test::Read420(a, frame);
    LibBuffer second = analysis_test::Read420(b, frame);
    double psnr[3] = {0, 0, 0};
    double mse[3] = {0, 0, 0};
    const lumo::YUVReader receiver;
    receiver.CallPSNR(psnr, first.get(), second.get(), a.width, a.height, mse);
    const double ssim = receiver.CallSsimIqa(first.get(), second.get(), a.width, a.height, cs);
    return QString("【SSIM %1】【MSE Y: %2, U: %3, V: %4】【PSNR Y: %5, U: %6, V: %7】")
        .arg(ssim)
        .arg(mse[0])
        .arg(mse[1])
        .arg(mse[2])
        .arg(psnr[0])
        .arg(psnr[1])
        .arg(psnr[2]);
}

// The histogram bins a chart makes of frame of a file.
std::vector<int> ChartBins(const lumo::YUVReader& reader, int frame, int curve)
{
    LibBuffer full = analysis_test::Read444(reader, frame);
    ColorChart chart;
    const int plane = reader.width * reader.height;
    chart.SetYUVData(reader.width, reader.height, full.get(), plane, full.get() + plane, plane,
                     full.get() + 2 * plane, plane);
    return std::vector<int>(chart.GetBins(curve), chart.GetBins(curve) + 256);
}

std::vector<int> Bins(ColorChart* chart, int curve)
{
    return std::vector<int>(chart->GetBins(curve), chart->GetBins(curve) + 256);
}

// Counts the paint events a widget receives.
class PaintCounter : public QObject {
public:
    bool eventFilter(QObject*, QEvent* event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }

    int paints = 0;
};

class LumoImageViewTest : public lumo_test::ServiceSuite {
protected:
    void SetUp() override
    {
        StoreSession("a-token", "ann@example.com");
        // Frame f: a ramp shifted by f; the second file adds a pattern of
        // small errors, and its luma runs outside 16..235 here and there.
        first = analysis_test::WriteI420(dir.File("first.yuv"), 64, 48, 6, [](int f, int x, int y) {
            return (x * 4 + y * 2 + f * 9) % 256;
        });
        second = analysis_test::WriteI420(dir.File("second.yuv"), 64, 48, 6, [](int f, int x, int y) {
            return std::min(255, (x * 4 + y * 2 + f * 9) % 256 + (x * 7 + y * 3 + f) % 11);
        });
    }

    void TearDown() override
    {
        if (window) {
            window->close();
            WaitForComparisons();
            window.reset();
        }
        view_test::FlushEvents();
    }

    void Open()
    {
        window = std::make_unique<LumoImageView>(first);
        window->resize(1100, 800);
        window->SetSecondFileChooser([this](QWidget* parent, SecondFileChoice& choice) {
            chooserParent = parent;
            chooserCalls++;
            choice = nextChoice;
            return acceptChoice;
        });
    }

    void OpenShown()
    {
        Open();
        ASSERT_TRUE(view_test::ShowAndExpose(*window));
    }

    // Chooses the file through the window's "Open 2nd YUV".
    void OpenSecond(const lumo::YUVReader& reader, int typeIndex = 0)
    {
        nextChoice.paths = QStringList{QString::fromStdString(reader.path)};
        nextChoice.typeIndex = typeIndex;
        nextChoice.width = reader.width;
        nextChoice.height = reader.height;
        acceptChoice = true;
        QTest::mouseClick(Child<QPushButton>("open2"), Qt::LeftButton);
    }

    template <typename T>
    T* Child(const char* name)
    {
        T* child = window->findChild<T*>(name);
        EXPECT_NE(nullptr, child) << name;
        return child;
    }

    QString Result() { return Child<QLabel>("psnr_label")->text(); }

    // A click on the button's indicator, where a radio button takes clicks.
    void ClickRadio(const char* name)
    {
        QRadioButton* button = Child<QRadioButton>(name);
        QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, QPoint(8, button->height() / 2));
    }

    static YUVShowView* ShowView(YUVWidget* widget)
    {
        return widget == nullptr ? nullptr : widget->findChild<YUVShowView*>();
    }

    // Double-clicks frame on the first timeline.
    void Select(int frame)
    {
        VideoTimeLine* timeline = window->GetCtrBar()->GetTimeLine();
        QTest::mouseDClick(timeline, Qt::LeftButton, Qt::NoModifier,
                           QPoint(frame * 50 + 25 - timeline->GetOffset(), 40));
    }

    bool WaitForComparisons(int limitMs = 60000)
    {
        if (!window) {
            return true;
        }
        return view_test::WaitUntil([&] { return !window->IsComparing(); }, limitMs);
    }

    bool WaitForResult(const QString& expected, int limitMs = 60000)
    {
        return view_test::WaitUntil([&] { return Result() == expected && !window->IsComparing(); }, limitMs);
    }

    // The events about this test's files, once count of them are stored.
    std::vector<QJsonObject> Events(size_t count)
    {
        return service->WaitForEventsMentioning(QString::fromStdString(first.path), count);
    }

    lumo_test::TempDir dir;
    lumo::YUVReader first;
    lumo::YUVReader second;
    std::unique_ptr<LumoImageView> window;
    SecondFileChoice nextChoice;
    bool acceptChoice = false;
    QWidget* chooserParent = nullptr;
    int chooserCalls = 0;
};


} // namespace

TEST_F(LumoImageViewTest, FormHasEveryControlAndLayoutByName)
{
    Open();
    const std::vector<std::pair<const char*, QString>> boxes = {
        {"channel_checkbox_y", "Y"},   {"channel_checkbox_u", "U"},   {"channel_checkbox_v", "V"},
        {"color_rect_checkbox_y", "Y"}, {"color_rect_checkbox_r", "R"}, {"color_rect_checkbox_g", "G"},
        {"color_rect_checkbox_b", "B"}};
    for (const auto& box : boxes) {
        EXPECT_EQ(box.second, Child<QCheckBox>(box.first)->text()) << box.first;
    }
    EXPECT_EQ("Video Range", Child<QRadioButton>("VideoRange")->text());
    EXPECT_EQ("Full Range", Child<QRadioButton>("FullRange")->text());
    const std::vector<std::pair<const char*, QString>> labels = {
        {"label_2", "Range"}, {"label_3", "ColorSpace"}, {"label_5", "输入色彩空间"}, {"label_4", "输出色彩空间"},
        {"label", "Gamma:"}};
    for (const auto& label : labels) {
        EXPECT_EQ(label.second, Child<QLabel>(label.first)->text()) << label.first;
    }
    for (const char* name : {"line", "line_2", "line_3", "line_4"}) {
        EXPECT_NE(nullptr, Child<QFrame>(name)) << name;
    }
    EXPECT_NE(nullptr, Child<QWidget>("centralwidget"));
    for (const char* name : {"verticalLayout_3", "video_time_line_layout", "verticalLayout", "GammaOpt",
                             "verticalLayout_2", "verticalLayout_4"}) {
        EXPECT_NE(nullptr, window->findChild<QVBoxLayout*>(name)) << name;
    }
    for (const char* name : {"horizontalLayout", "image_show_layout", "color_chart_layout"}) {
        EXPECT_NE(nullptr, window->findChild<QHBoxLayout*>(name)) << name;
    }
    // The bar in the top layout, the view and the chart in theirs.
    EXPECT_EQ(1, window->findChild<QVBoxLayout*>("video_time_line_layout")->count());
    EXPECT_EQ(1, window->findChild<QHBoxLayout*>("image_show_layout")->count());
    EXPECT_EQ(1, window->findChild<QHBoxLayout*>("color_chart_layout")->count());
    EXPECT_EQ(QString::fromStdString(first.path), window->windowTitle());
}

TEST_F(LumoImageViewTest, OpensOnFrameZeroWithEveryBoxCheckedVideoRangeBT709AndGammaOne)
{
    Open();
    EXPECT_EQ(ChartBins(first, 0, 3), Bins(window->GetChart(), 3));
    EXPECT_EQ(ChartBins(first, 0, 0), Bins(window->GetChart(), 0));
    EXPECT_EQ(kPlaceholder, Result());
    for (const char* name : {"channel_checkbox_y", "channel_checkbox_u", "channel_checkbox_v", "color_rect_checkbox_y",
                             "color_rect_checkbox_r", "color_rect_checkbox_g", "color_rect_checkbox_b"}) {
        EXPECT_TRUE(Child<QCheckBox>(name)->isChecked()) << name;
    }
    EXPECT_TRUE(Child<QRadioButton>("VideoRange")->isChecked());
    EXPECT_FALSE(Child<QRadioButton>("FullRange")->isChecked());
    for (const char* name : {"input_color_space", "output_color_space"}) {
        QComboBox* box = Child<QComboBox>(name);
        ASSERT_EQ(2, box->count());
        EXPECT_EQ("BT709", box->itemText(0));
        EXPECT_EQ(0, box->itemData(0).toInt());
        EXPECT_EQ("BT2020", box->itemText(1));
        EXPECT_EQ(1, box->itemData(1).toInt());
        EXPECT_EQ("BT709", box->currentText());
    }
    QDoubleSpinBox* gamma = Child<QDoubleSpinBox>("gamma_spin_box");
    EXPECT_EQ(1.0, gamma->value());
    EXPECT_EQ(0.0, gamma->minimum());
    EXPECT_EQ(10.0, gamma->maximum());
    EXPECT_DOUBLE_EQ(0.1, gamma->singleStep());

    YUVShowView* view = ShowView(window->GetView());
    ASSERT_NE(nullptr, view);
    int y = 0, u = 0, v = 0;
    view->GetVisible(y, u, v);
    EXPECT_EQ(2, y);
    EXPECT_EQ(2, u);
    EXPECT_EQ(2, v);
    EXPECT_EQ(2, view->GetColorRange());
    EXPECT_EQ(1.0f, view->GetGamma());
    // The chart shows luma and R, G, B; U and V stay off.
    const int* visible = window->GetChart()->GetVisible();
    EXPECT_EQ((std::vector<int>{2, 0, 0, 2, 2, 2}), std::vector<int>(visible, visible + 6));
    Kest::Eatrix3x3<float> expected;
    Kest::KestColorSpace::ForSpaces(0, 0).GetMat(expected);
    const Kest::Eatrix3x3<float> got = view->GetColorMat();
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++) {
            EXPECT_EQ(expected(i, j), got(i, j)) << i << "," << j;
        }
    }
}

TEST_F(LumoImageViewTest, ControlsReachEveryView)
{
    OpenShown();
    OpenSecond(second);
    ASSERT_NE(nullptr, window->Get2ndView());
    for (YUVShowView* view : {ShowView(window->GetView()), ShowView(window->Get2ndView())}) {
        ASSERT_NE(nullptr, view);
    }
    Child<QCheckBox>("channel_checkbox_u")->setChecked(false);
    Child<QDoubleSpinBox>("gamma_spin_box")->setValue(2.2);
    Child<QComboBox>("input_color_space")->setCurrentIndex(1);
    Child<QComboBox>("output_color_space")->setCurrentIndex(1);
    Child<QCheckBox>("drawCheckBox")->setChecked(true);
    Kest::Eatrix3x3<float> expected;
    Kest::KestColorSpace::ForSpaces(1, 1).GetMat(expected);
    for (YUVShowView* view : {ShowView(window->GetView()), ShowView(window->Get2ndView())}) {
        int y = 0, u = 0, v = 0;
        view->GetVisible(y, u, v);
        EXPECT_EQ(2, y);
        EXPECT_EQ(0, u);
        EXPECT_EQ(2, v);
        EXPECT_FLOAT_EQ(2.2f, view->GetGamma());
        EXPECT_EQ(YUV_SHOW_MODE_RECT, view->GetMode());
        const Kest::Eatrix3x3<float> got = view->GetColorMat();
        EXPECT_EQ(expected(0, 2), got(0, 2));
        EXPECT_EQ(expected(2, 1), got(2, 1));
    }
    Child<QCheckBox>("drawCheckBox")->setChecked(false);
    EXPECT_EQ(YUV_SHOW_MODE_MOVE, ShowView(window->GetView())->GetMode());
    EXPECT_EQ(YUV_SHOW_MODE_MOVE, ShowView(window->Get2ndView())->GetMode());
}

TEST_F(LumoImageViewTest, ChartBoxesSwitchLumaAndRGBButNeverUAndV)
{
    OpenShown();
    OpenSecond(second);
    Child<QCheckBox>("color_rect_checkbox_r")->setChecked(false);
    Child<QCheckBox>("color_rect_checkbox_y")->setChecked(false);
    for (ColorChart* chart : {window->GetChart(), window->Get2ndChart()}) {
        const int* visible = chart->GetVisible();
        EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 2, 2}), std::vector<int>(visible, visible + 6));
    }
}

TEST_F(LumoImageViewTest, FullRangeSetsRangeOneOnBothViewsAndTheNextComparisonUsesIt)
{
    OpenShown();
    OpenSecond(second);
    ClickRadio("FullRange");
    EXPECT_EQ(1, ShowView(window->GetView())->GetColorRange());
    EXPECT_EQ(1, ShowView(window->Get2ndView())->GetColorRange());
    Select(2);
    const QString full = ExpectedResult(first, second, 2, lumo::COLOR_SPACE_FULL_RANGE);
    ASSERT_NE(full, ExpectedResult(first, second, 2, lumo::COLOR_SPACE_VIDEO_RANGE));
    EXPECT_TRUE(WaitForResult(full)) << Result().toStdString();
    ClickRadio("VideoRange");
    EXPECT_EQ(2, ShowView(window->Get2ndView())->GetColorRange());
    Select(2);
    EXPECT_TRUE(WaitForResult(ExpectedResult(first, second, 2, lumo::COLOR_SPACE_VIDEO_RANGE)))
        << Result().toStdString();
}

TEST_F(LumoImageViewTest, SelectingAFrameDrawsItUpdatesTheChartsAndShowsTheComparison)
{
    OpenShown();
    OpenSecond(second);
    EXPECT_EQ(ChartBins(second, 0, 3), Bins(window->Get2ndChart(), 3));
    Select(4);
    EXPECT_EQ(4 * first.GetFrameLen(), ShowView(window->GetView())->GetFrameOffset());
    EXPECT_EQ(4 * second.GetFrameLen(), ShowView(window->Get2ndView())->GetFrameOffset());
    EXPECT_EQ(ChartBins(first, 4, 3), Bins(window->GetChart(), 3));
    EXPECT_EQ(ChartBins(second, 4, 4), Bins(window->Get2ndChart(), 4));
    EXPECT_TRUE(WaitForResult(ExpectedResult(first, second, 4, lumo::COLOR_SPACE_VIDEO_RANGE)))
        << Result().toStdString();
}

TEST_F(LumoImageViewTest, PlayingNeverUpdatesTheChartsOrTheResult)
{
    OpenShown();
    OpenSecond(second);
    const std::vector<int> before = Bins(window->GetChart(), 3);
    const std::vector<int> before2 = Bins(window->Get2ndChart(), 3);
    Child<QSpinBox>("ctr_fps_spin")->setValue(99);
    QSignalSpy refreshes(window->GetCtrBar(), SIGNAL(onFrameCtrRefresh(int, int)));
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    ASSERT_TRUE(view_test::WaitUntil([&] { return refreshes.count() >= 8; }));
    window->GetCtrBar()->Stop();
    view_test::FlushEvents();
    EXPECT_FALSE(window->IsComparing());
    EXPECT_EQ(before, Bins(window->GetChart(), 3));
    EXPECT_EQ(before2, Bins(window->Get2ndChart(), 3));
    EXPECT_EQ(kPlaceholder, Result());
    // The views did follow.
    const int last = refreshes.last()[0].toInt();
    EXPECT_EQ(last * first.GetFrameLen(), ShowView(window->GetView())->GetFrameOffset());
}

TEST_F(LumoImageViewTest, OpeningASecondFileAndCancellingClosesThePreviousOne)
{
    OpenShown();
    OpenSecond(second);
    Select(1);
    ASSERT_TRUE(WaitForResult(ExpectedResult(first, second, 1, lumo::COLOR_SPACE_VIDEO_RANGE)));
    EXPECT_TRUE(Child<QPushButton>("close2")->isEnabled());
    acceptChoice = false;
    QTest::mouseClick(Child<QPushButton>("open2"), Qt::LeftButton);
    EXPECT_EQ(2, chooserCalls);
    EXPECT_EQ(window.get(), chooserParent);
    EXPECT_EQ(nullptr, window->Get2ndView());
    EXPECT_EQ(nullptr, window->Get2ndChart());
    EXPECT_EQ(nullptr, window->GetCtrBar()->Get2ndTimeLine());
    EXPECT_FALSE(Child<QPushButton>("close2")->isEnabled());
    EXPECT_EQ(kPlaceholder, Result());
    view_test::FlushEvents();
    EXPECT_EQ(1, window->findChild<QHBoxLayout*>("image_show_layout")->count());
    EXPECT_EQ(1, window->findChild<QHBoxLayout*>("color_chart_layout")->count());
}

TEST_F(LumoImageViewTest, AcceptedButEmptyChoiceOpensNothing)
{
    OpenShown();
    nextChoice = SecondFileChoice();
    acceptChoice = true;
    QTest::mouseClick(Child<QPushButton>("open2"), Qt::LeftButton);
    EXPECT_EQ(nullptr, window->Get2ndView());
}

TEST_F(LumoImageViewTest, CloseTheSecondFileRestoresTheSingleFileWindow)
{
    analysis_test::DebugCapture debug;
    OpenShown();
    OpenSecond(second);
    Select(2);
    ASSERT_TRUE(WaitForResult(ExpectedResult(first, second, 2, lumo::COLOR_SPACE_VIDEO_RANGE)));
    QTest::mouseClick(Child<QPushButton>("close2"), Qt::LeftButton);
    EXPECT_TRUE(debug.Contains("onClose2ndFile click"));
    EXPECT_EQ(nullptr, window->Get2ndView());
    EXPECT_EQ(kPlaceholder, Result());
    EXPECT_FALSE(Child<QPushButton>("close2")->isEnabled());
    // Selections now compare nothing.
    Select(3);
    view_test::FlushEvents();
    EXPECT_FALSE(window->IsComparing());
    EXPECT_EQ(kPlaceholder, Result());
}

TEST_F(LumoImageViewTest, ASecondFileOfAnotherSizeIsShownAndSteppedButNeverCompared)
{
    OpenShown();
    const lumo::YUVReader other = analysis_test::WriteFlat(dir.File("other.yuv"), 32, 24, 6);
    OpenSecond(other);
    ASSERT_NE(nullptr, window->Get2ndView());
    ASSERT_NE(nullptr, window->GetCtrBar()->Get2ndTimeLine());
    const std::vector<int> frameZero = ChartBins(other, 0, 3);
    EXPECT_EQ(frameZero, Bins(window->Get2ndChart(), 3));
    for (int frame : {1, 3, 5}) {
        Select(frame);
        view_test::FlushEvents();
        EXPECT_FALSE(window->IsComparing());
        EXPECT_EQ(frame * other.GetFrameLen(), ShowView(window->Get2ndView())->GetFrameOffset());
    }
    EXPECT_EQ(kPlaceholder, Result());
    EXPECT_EQ(frameZero, Bins(window->Get2ndChart(), 3));
}

TEST_F(LumoImageViewTest, ASecondFileGetsTheFirstViewsSettings)
{
    OpenShown();
    ClickRadio("FullRange");
    Child<QComboBox>("output_color_space")->setCurrentIndex(1);
    Child<QCheckBox>("channel_checkbox_v")->setChecked(false);
    Child<QCheckBox>("drawCheckBox")->setChecked(true);
    OpenSecond(second);
    YUVShowView* view = ShowView(window->Get2ndView());
    ASSERT_NE(nullptr, view);
    EXPECT_EQ(1, view->GetColorRange());
    EXPECT_EQ(YUV_SHOW_MODE_RECT, view->GetMode());
    int y = 0, u = 0, v = 0;
    view->GetVisible(y, u, v);
    EXPECT_EQ(0, v);
    Kest::Eatrix3x3<float> expected;
    Kest::KestColorSpace::ForSpaces(0, 1).GetMat(expected);
    EXPECT_EQ(expected(1, 1), view->GetColorMat()(1, 1));
    EXPECT_EQ("widgetColor2nd", window->Get2ndChart()->objectName());
    EXPECT_EQ("#widgetColor2nd{border-left: 3px solid #000000;}", window->Get2ndChart()->styleSheet());
}

TEST_F(LumoImageViewTest, AnUnreadableSecondFileIsShownWithoutTimelineOrMirroring)
{
    OpenShown();
    // Shorter than one frame.
    const std::string broken = dir.File("broken.yuv");
    view_test::WriteFile(broken, std::vector<uint8_t>(100, 50));
    OpenSecond(lumo::YUVReader(broken, 64, 48, view_test::Layout("I420")));
    ASSERT_NE(nullptr, window->Get2ndView());
    EXPECT_EQ(nullptr, window->GetCtrBar()->Get2ndTimeLine());
    // A rectangle on the second view stays there.
    YUVShowView* secondView = ShowView(window->Get2ndView());
    secondView->SetMode(YUV_SHOW_MODE_RECT);
    emit window->Get2ndView()->signalsUpdateRect(0.1f, -0.1f, 0.5f, -0.5f);
    float x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    ShowView(window->GetView())->GetRect(x0, y0, x1, y1);
    EXPECT_EQ(0.0f, x1);
}

TEST_F(LumoImageViewTest, SeveralChosenFilesEachReplaceThePreviousAndStayInTheLayout)
{
    OpenShown();
    const lumo::YUVReader third = analysis_test::WriteFlat(dir.File("third.yuv"), 64, 48, 6);
    nextChoice.paths = QStringList{QString::fromStdString(second.path), QString::fromStdString(third.path)};
    nextChoice.typeIndex = 0;
    nextChoice.width = 64;
    nextChoice.height = 48;
    acceptChoice = true;
    QTest::mouseClick(Child<QPushButton>("open2"), Qt::LeftButton);
    EXPECT_EQ(3, window->findChild<QHBoxLayout*>("image_show_layout")->count());
    EXPECT_EQ(3, window->findChild<QHBoxLayout*>("color_chart_layout")->count());
    Select(2);
    EXPECT_TRUE(WaitForResult(ExpectedResult(first, third, 2, lumo::COLOR_SPACE_VIDEO_RANGE)))
        << Result().toStdString();
}

TEST_F(LumoImageViewTest, ARectangleDrawnOnEitherViewAppearsOnTheOther)
{
    OpenShown();
    OpenSecond(second);
    Child<QCheckBox>("drawCheckBox")->setChecked(true);
    YUVShowView* firstView = ShowView(window->GetView());
    YUVShowView* secondView = ShowView(window->Get2ndView());
    ASSERT_TRUE(view_test::WaitUntil([&] { return firstView->isValid() && secondView->isValid(); }));
    firstView->grabFramebuffer();
    secondView->grabFramebuffer();
    const QPoint centre(firstView->size().width() / 2, firstView->size().height() / 2);
    view_test::SendMouse(*firstView, QEvent::MouseButtonPress, centre);
    view_test::SendMouse(*firstView, QEvent::MouseMove, centre + QPoint(20, 10));
    view_test::SendMouse(*firstView, QEvent::MouseButtonRelease, centre + QPoint(20, 10));
    float a[4] = {0, 0, 0, 0};
    float b[4] = {0, 0, 0, 0};
    firstView->GetRect(a[0], a[1], a[2], a[3]);
    secondView->GetRect(b[0], b[1], b[2], b[3]);
    EXPECT_GT(a[2], a[0]);
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ(a[i], b[i]) << i;
    }
    // And back from the second view.
    const QPoint corner(secondView->size().width() / 4, secondView->size().height() / 2);
    view_test::SendMouse(*secondView, QEvent::MouseButtonPress, corner);
    view_test::SendMouse(*secondView, QEvent::MouseButtonRelease, corner + QPoint(30, 5));
    secondView->GetRect(b[0], b[1], b[2], b[3]);
    firstView->GetRect(a[0], a[1], a[2], a[3]);
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ(b[i], a[i]) << i;
    }
    EXPECT_LT(a[0], 0.5f);
}

TEST_F(LumoImageViewTest, ClosingTheWindowStopsPlaybackAndTheThumbnailWorker)
{
    OpenShown();
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    QTimer* timer = window->GetCtrBar()->findChild<QTimer*>();
    ASSERT_TRUE(timer->isActive());
    ASSERT_TRUE(view_test::WaitUntil([&] { return window->GetCtrBar()->GetTimeLine()->GetSnapshotThread()->isRunning(); }));
    window->close();
    EXPECT_FALSE(timer->isActive());
    EXPECT_EQ("Play", Child<QPushButton>("ctr_btn")->text());
    EXPECT_FALSE(window->GetCtrBar()->GetTimeLine()->GetSnapshotThread()->isRunning());
}

TEST_F(LumoImageViewTest, AResultIsReportedWithBothFilesAndItsNumbers)
{
    OpenShown();
    OpenSecond(second);
    Select(3);
    const QString expected = ExpectedResult(first, second, 3, lumo::COLOR_SPACE_VIDEO_RANGE);
    ASSERT_TRUE(WaitForResult(expected));
    const std::vector<QJsonObject> events = Events(2);
    ASSERT_EQ(2u, events.size());
    const QString files = QString("[read1 file=%1; size=64x48; type=I420 (YUV 4:2:0 planar)] + "
                                  "[read2 file=%2; size=64x48; type=I420 (YUV 4:2:0 planar)]")
                              .arg(QString::fromStdString(first.path), QString::fromStdString(second.path));
    EXPECT_EQ(files, window->formatYuvReadersInfoForLog());
    QStringList actions;
    QString info;
    for (const QJsonObject& event : events) {
        actions.append(event.value("action").toString());
        if (actions.last() == "LumoImageViewIQAClick") {
            info = event.value("info").toString();
        }
    }
    actions.sort();
    EXPECT_EQ((QStringList{"LumoImageViewIQAClick", "LumoImageViewOpen2ndClick"}), actions);
    EXPECT_TRUE(info.startsWith("[user_email]ann@example.com; [info] " + files + " + [ssim="))
        << info.toStdString();
}

TEST_F(LumoImageViewTest, TwoHundredRapidSelectionsEndWithTheLastFramesResult)
{
    OpenShown();
    OpenSecond(second);
    int last = 0;
    for (int click = 0; click < 200; click++) {
        last = (click * 7 + 3) % 6;
        Select(last);
        if (click % 10 == 9) {
            QCoreApplication::processEvents();
        }
    }
    const QString expected = ExpectedResult(first, second, last, lumo::COLOR_SPACE_VIDEO_RANGE);
    EXPECT_TRUE(WaitForResult(expected)) << Result().toStdString() << " / " << expected.toStdString();
    view_test::FlushEvents();
    EXPECT_EQ(expected, Result());
}

TEST_F(LumoImageViewTest, AFrameChosenWhileAClosedFilesComparisonRunsIsComparedWithTheNewFile)
{
    OpenShown();
    OpenSecond(second);
    Select(1);
    const lumo::YUVReader third = analysis_test::WriteI420(dir.File("third.yuv"), 64, 48, 6, [](int f, int x, int y) {
        return (x * 3 + y * 5 + f * 11) % 256;
    });
    QTest::mouseClick(Child<QPushButton>("close2"), Qt::LeftButton);
    OpenSecond(third);
    // Nothing has run the event loop: the comparison of the closed file has
    // not come back, so this choice has to wait for it.
    ASSERT_TRUE(window->IsComparing());
    Select(4);
    EXPECT_TRUE(WaitForResult(ExpectedResult(first, third, 4, lumo::COLOR_SPACE_VIDEO_RANGE), 10000))
        << Result().toStdString();
}

TEST_F(LumoImageViewTest, NoResultLandsAfterTheWindowIsClosed)
{
    analysis_test::DebugCapture debug;
    OpenShown();
    OpenSecond(second);
    Select(2);
    Select(3);
    QPointer<QLabel> result = Child<QLabel>("psnr_label");
    window->close();
    // Finished or cancelled, the comparison ends without showing anything:
    // the label goes with the rest of the closed window's contents.
    ASSERT_TRUE(WaitForComparisons());
    view_test::FlushEvents();
    EXPECT_TRUE(result.isNull());
    EXPECT_TRUE(debug.Contains("LumoImageView::workFinished") || debug.Contains("IQAThread: cancelled"));
    EXPECT_EQ(1, debug.Count("IQAThread::start1"));
}

TEST_F(LumoImageViewTest, DeletingTheWindowDuringAComparisonIsSafe)
{
    analysis_test::DebugCapture debug;
    OpenShown();
    OpenSecond(second);
    Select(4);
    ASSERT_TRUE(window->IsComparing());
    window.reset();
    // The worker finishes on its own copies and cleans up after itself.
    ASSERT_TRUE(view_test::WaitUntil([&] { return debug.Count("IQAThread::start1") == 1 && debug.Contains("SSIM_GRAY"); }));
    view_test::FlushEvents();
    EXPECT_FALSE(debug.Contains("LumoImageView::workFinished"));
}

TEST_F(LumoImageViewTest, PlayingAFileThatCannotBeReadPaintsOncePerTickAndSaysWhyOnce)
{
    analysis_test::DebugCapture debug;
    lumo::YUVReader gone(dir.File("gone.yuv"), 64, 48, view_test::Layout("I420"));
    window = std::make_unique<LumoImageView>(gone);
    window->resize(1100, 800);
    ASSERT_TRUE(view_test::ShowAndExpose(*window));
    YUVShowView* view = ShowView(window->GetView());
    ASSERT_TRUE(view_test::WaitUntil([&] { return !view->GetReadFailure().isEmpty(); }));
    EXPECT_EQ("Cannot read frame 0: the file is missing", view->GetReadFailure().toStdString());
    PaintCounter counter;
    view->installEventFilter(&counter);
    Child<QSpinBox>("ctr_fps_spin")->setValue(50);
    QSignalSpy ticks(window->GetCtrBar(), SIGNAL(onFrameCtrRefresh(int, int)));
    QTest::mouseClick(Child<QPushButton>("ctr_btn"), Qt::LeftButton);
    ASSERT_TRUE(view_test::WaitUntil([&] { return ticks.count() >= 50; }));
    window->GetCtrBar()->Stop();
    view_test::FlushEvents();
    // One paint, so one read, for each tick at most; the failure is said
    // once, and the timeline, with no frame to show, reads nothing.
    EXPECT_LE(counter.paints, ticks.count() + 1);
    EXPECT_GT(counter.paints, 0);
    EXPECT_EQ(1, debug.Lines().filter("YUVShowView:").size()) << debug.Lines().join("\n").toStdString();
    EXPECT_FALSE(debug.Contains("ReadFrameRGB24 Fail"));
    EXPECT_EQ("Cannot read frame 0: the file is missing", view->GetReadFailure().toStdString());
}
