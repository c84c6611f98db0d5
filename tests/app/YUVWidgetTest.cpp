#include "views/RulerView.h"
#include "views/YUVShowView.h"
#include "views/YUVWidget.h"

#include "KestColorSpace/KestColorSpace.h"
#include "KestColorSpace/KestColorSpaceMat.h"

#include "TempDir.h"
#include "ViewTestSupport.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

using view_test::Yuv;

namespace {

struct Rect {
    float x0, y0, x1, y1;
};

// A 4:2:0 frame from a luma and a chroma function (chroma at half size).
std::vector<uint8_t> Picture420(int w, int h, const std::function<int(int, int)>& luma,
                                const std::function<Yuv(int, int)>& chroma)
{
    const int cw = w / 2;
    const int ch = h / 2;
    std::vector<uint8_t> frame(static_cast<size_t>(w) * h + 2 * static_cast<size_t>(cw) * ch);
    for (int y = 0; y < h; y++) {
        for (int x = 0; x < w; x++) {
            frame[static_cast<size_t>(y) * w + x] = static_cast<uint8_t>(luma(x, y));
        }
    }
    uint8_t* u = frame.data() + static_cast<size_t>(w) * h;
    uint8_t* v = u + static_cast<size_t>(cw) * ch;
    for (int y = 0; y < ch; y++) {
        for (int x = 0; x < cw; x++) {
            const Yuv c = chroma(x, y);
            u[static_cast<size_t>(y) * cw + x] = static_cast<uint8_t>(c.u);
            v[static_cast<size_t>(y) * cw + x] = static_cast<uint8_t>(c.v);
        }
    }
    return frame;
}

// Video-range colour bars over the top two thirds, a luma ramp below.
std::vector<uint8_t> ColourBars(int w, int h)
{
    static const Yuv bars[] = {{180, 128, 128}, {168, 44, 136}, {145, 147, 44}, {133, 63, 52},
                               {63, 193, 204},  {51, 109, 212}, {28, 212, 120}, {16, 128, 128}};
    auto inBars = [h](int y) { return y < h * 2 / 3; };
    return Picture420(
        w, h,
        [&](int x, int y) { return inBars(y) ? bars[x * 8 / w].y : 16 + x * 219 / (w - 1); },
        [&](int x, int y) { return inBars(2 * y) ? bars[2 * x * 8 / w] : Yuv{0, 128, 128}; });
}

Kest::KestColorSpace Bt709()
{
    Kest::KestColorSpaceMat* table = Kest::KestColorSpaceMat::GetInstance();
    Kest::KestColorSpace cs;
    cs.AddEatrix(table->mat_BT709_YUV_RGB);
    cs.AddEatrix(table->mat_BT709_RGB_XYZ);
    cs.AddEatrix(!table->mat_BT709_RGB_XYZ);
    return cs;
}

bool IsRed(const QColor& c)
{
    return c.red() > 200 && c.green() < 60 && c.blue() < 60;
}

view_test::Recording PaintOf(RulerView* ruler)
{
    view_test::RecordingDevice device(ruler->width(), ruler->height());
    QPainter painter(&device);
    ruler->PaintRuler(&painter);
    painter.end();
    return device.recording;
}

std::map<int, QString> Labels(RulerView* ruler, bool vertical)
{
    std::map<int, QString> labels;
    for (const view_test::Recording::Text& t : PaintOf(ruler).texts) {
        labels[qRound(vertical ? t.at.y() : t.at.x())] = t.text;
    }
    return labels;
}

class YUVWidgetTest : public ::testing::Test {
protected:

    // A widget whose view is 800 x 800 beside 40-pixel rulers, painted once.
    void Open(const std::vector<uint8_t>& frames, int w, int h)
    {
        path = dir.File("frames.yuv");
        view_test::WriteFile(path, frames);
        reader = lumo::YUVReader(path, w, h, view_test::Layout("I420"));
        widget = std::make_unique<YUVWidget>(reader);
        view = widget->findChild<YUVShowView*>();
        ASSERT_NE(nullptr, view);
        for (RulerView* ruler : widget->findChildren<RulerView*>()) {
            if (ruler->minimumHeight() == 40 && ruler->maximumWidth() == 40) {
                corner = ruler;
            } else if (ruler->maximumHeight() == 40) {
                horizontal = ruler;
            } else {
                vertical = ruler;
            }
        }
        ASSERT_NE(nullptr, corner);
        ASSERT_NE(nullptr, horizontal);
        ASSERT_NE(nullptr, vertical);
        QObject::connect(view, &YUVShowView::updataRuler, [this](int, int, int, int) { paints++; });
        QObject::connect(widget.get(), &YUVWidget::signalsUpdateRect,
                         [this](float x0, float y0, float x1, float y1) { relayed.push_back({x0, y0, x1, y1}); });
        widget->resize(840, 840);
        ASSERT_TRUE(view_test::ShowAndExpose(*widget));
        ASSERT_TRUE(view_test::WaitUntil([this] { return paints > 0; }));
        ASSERT_TRUE(view_test::IsCore33(view->context())) << "the view needs OpenGL 3.3 core";
        ASSERT_EQ(QSize(800, 800), view->size());
    }

    // The view painted now, in widget pixels (the frame buffer holds device
    // pixels).
    QImage Frame()
    {
        QImage image = view->grabFramebuffer();
        if (view->devicePixelRatioF() != 1.0) {
            image = image.scaled(view->size(), Qt::IgnoreAspectRatio, Qt::FastTransformation);
        }
        return image;
    }

    QColor Centre() { return Frame().pixelColor(400, 400); }

    void Mouse(QEvent::Type type, int x, int y)
    {
        const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, QPointF(x, y), view->mapToGlobal(QPoint(x, y)), button, held, Qt::NoModifier);
        QApplication::sendEvent(view, &event);
    }

    lumo_test::TempDir dir;
    std::string path;
    lumo::YUVReader reader;
    std::unique_ptr<YUVWidget> widget;
    YUVShowView* view = nullptr;
    RulerView* horizontal = nullptr;
    RulerView* vertical = nullptr;
    RulerView* corner = nullptr;
    int paints = 0;
    std::vector<Rect> relayed;
};

std::vector<uint8_t> Grey420(int w, int h, int luma)
{
    return view_test::Frame420(w, h, [luma](int, int) { return luma; }, 128, 128);
}

} // namespace

TEST_F(YUVWidgetTest, FormPutsTheRulersAboveAndLeftOfTheView)
{
    Open(Grey420(64, 36, 100), 64, 36);
    EXPECT_EQ("YUVWidget", widget->objectName());
    const char* layouts[] = {"cell_ruler_layout", "h_ruler_layout", "v_ruler_layout", "yuv_show_layout"};
    QWidget* inside[] = {corner, horizontal, vertical, view};
    for (int i = 0; i < 4; i++) {
        QLayout* layout = widget->findChild<QLayout*>(layouts[i]);
        ASSERT_NE(nullptr, layout) << layouts[i];
        EXPECT_GE(layout->indexOf(inside[i]), 0) << layouts[i];
    }
    EXPECT_EQ(QRect(0, 0, 40, 40), corner->geometry());
    EXPECT_EQ(QRect(40, 0, 800, 40), horizontal->geometry());
    EXPECT_EQ(QRect(0, 40, 40, 800), vertical->geometry());
    EXPECT_EQ(QRect(40, 40, 800, 800), view->geometry());
}

TEST_F(YUVWidgetTest, RulersFollowTheFramesExtent)
{
    Open(Grey420(1920, 1080, 100), 1920, 1080);
    Frame();
    const std::map<int, QString> expected = {{0, "0"},      {100, "240"},  {200, "480"},  {300, "720"},  {400, "960"},
                                             {500, "1200"}, {600, "1440"}, {700, "1680"}, {800, "1920"}};
    EXPECT_EQ(expected, Labels(horizontal, false));
    std::map<int, QString> side = Labels(vertical, true);
    EXPECT_EQ("0", side.at(175 + 2));
    EXPECT_EQ("1080", side.at(625 + 2));

    // One notch later the frame runs from -4 to 804 and 172 to 627.
    QWheelEvent wheel(QPointF(400, 400), view->mapToGlobal(QPoint(400, 400)), QPoint(), QPoint(0, 120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(view, &wheel);
    Frame();
    const std::map<int, QString> zoomed = Labels(horizontal, false);
    EXPECT_EQ("0", zoomed.at(-4));
    EXPECT_EQ("1920", zoomed.at(804));
    side = Labels(vertical, true);
    EXPECT_EQ("0", side.at(172 + 2));
    EXPECT_EQ("1080", side.at(627 + 2));
}

TEST_F(YUVWidgetTest, CornerStaysEmpty)
{
    Open(Grey420(64, 36, 100), 64, 36);
    const view_test::Recording r = PaintOf(corner);
    EXPECT_TRUE(r.texts.empty());
    EXPECT_TRUE(r.lines.empty());
}

TEST_F(YUVWidgetTest, DrawFrameTakesFrameNumbers)
{
    std::vector<uint8_t> frames;
    for (int luma : {20, 120, 220}) {
        const std::vector<uint8_t> frame = Grey420(64, 36, luma);
        frames.insert(frames.end(), frame.begin(), frame.end());
    }
    Open(frames, 64, 36);
    EXPECT_NEAR(20, Centre().red(), 1);
    EXPECT_EQ(0, widget->DrawFrame(2));
    EXPECT_NEAR(220, Centre().red(), 1);
    EXPECT_EQ(0, widget->DrawFrame(1));
    EXPECT_NEAR(120, Centre().red(), 1);
}

TEST_F(YUVWidgetTest, SettingsReachTheView)
{
    Open(Grey420(64, 36, 235), 64, 36);
    Kest::KestColorSpace cs = Bt709();
    EXPECT_EQ(0, widget->SetColorSpace(cs));
    EXPECT_EQ(0, widget->SetColorRange(2));
    EXPECT_EQ(255, Centre().red());
    EXPECT_EQ(0, widget->SetColorRange(1));
    EXPECT_NEAR(235, Centre().red(), 1);
    EXPECT_EQ(0, widget->SetGamma(2.2f));
    EXPECT_NEAR(std::lround(std::pow(235 / 255.0, 2.2) * 255), Centre().red(), 2);
    widget->SetGamma(1.0f);

    // The Y preview shows the raw plane over the white background.
    EXPECT_EQ(0, widget->SetVisible(1, 0, 0));
    QImage image = Frame();
    EXPECT_NEAR(235, image.pixelColor(20, 80).red(), 1);
    EXPECT_NEAR(235, image.pixelColor(20, 80).blue(), 1);
    widget->SetVisible(0, 0, 0);
    EXPECT_EQ(255, Frame().pixelColor(20, 80).blue());

    // The left side of the rectangle lies on x = 200.
    EXPECT_EQ(0, widget->SetRect(0.25f, -0.25f, 0.75f, -0.75f));
    image = Frame();
    EXPECT_TRUE(IsRed(image.pixelColor(199, 400)) || IsRed(image.pixelColor(200, 400)));

    EXPECT_EQ(YUV_SHOW_MODE_MOVE, widget->GetMode());
    EXPECT_EQ(0, widget->SetMode(YUV_SHOW_MODE_RECT));
    EXPECT_EQ(YUV_SHOW_MODE_RECT, widget->GetMode());
    EXPECT_EQ(YUV_SHOW_MODE_RECT, view->GetMode());
}

TEST_F(YUVWidgetTest, RectangleSignalIsRelayed)
{
    Open(Grey420(64, 36, 100), 64, 36);
    std::vector<Rect> direct;
    QObject::connect(view, &YUVShowView::updateRect,
                     [&](float x0, float y0, float x1, float y1) { direct.push_back({x0, y0, x1, y1}); });
    widget->SetMode(YUV_SHOW_MODE_RECT);
    Mouse(QEvent::MouseButtonPress, 200, 300);
    Mouse(QEvent::MouseMove, 500, 500);
    Mouse(QEvent::MouseButtonRelease, 900, 500);
    ASSERT_EQ(3u, relayed.size());
    ASSERT_EQ(3u, direct.size());
    for (size_t i = 0; i < 3; i++) {
        EXPECT_EQ(direct[i].x0, relayed[i].x0);
        EXPECT_EQ(direct[i].y0, relayed[i].y0);
        EXPECT_EQ(direct[i].x1, relayed[i].x1);
        EXPECT_EQ(direct[i].y1, relayed[i].y1);
    }
    EXPECT_FLOAT_EQ(0.25f, relayed[0].x0);
    EXPECT_FLOAT_EQ(1.0f, relayed[2].x1);
}

TEST_F(YUVWidgetTest, ScreenshotOfTheDemoView)
{
    Open(ColourBars(1920, 1080), 1920, 1080);
    Kest::KestColorSpace cs = Bt709();
    widget->SetColorSpace(cs);
    widget->SetColorRange(2);
    widget->SetVisible(1, 1, 1);
    widget->SetMode(YUV_SHOW_MODE_RECT);
    Mouse(QEvent::MouseButtonPress, 480, 260);
    Mouse(QEvent::MouseMove, 700, 420);
    Mouse(QEvent::MouseButtonRelease, 760, 560);
    Frame();
    // The rulers repaint for the new frame position.
    view_test::FlushEvents();
    const QImage shot = widget->grab().toImage().scaled(widget->size(), Qt::IgnoreAspectRatio, Qt::FastTransformation);
    const std::string file = std::string(LUMO_BINARY_DIR) + "/frame-view.png";
    ASSERT_TRUE(shot.save(QString::fromStdString(file))) << file;

    // The view's picture is in the shot: a magenta bar, the rectangle's red
    // top side, the ruler's white above.
    const QColor bar = shot.pixelColor(40 + 450, 40 + 200);
    EXPECT_GT(bar.red(), 150);
    EXPECT_LT(bar.green(), 30);
    EXPECT_GT(bar.blue(), 150);
    const QColor ruler = shot.pixelColor(40 + 30, 5);
    EXPECT_EQ(255, ruler.red());
    EXPECT_EQ(255, ruler.green());
    int reds = 0;
    for (int x = 40 + 480; x < 40 + 760; x++) {
        bool red = false;
        for (int y = 40 + 259; y <= 40 + 261; y++) {
            red = red || IsRed(shot.pixelColor(x, y));
        }
        reds += red ? 1 : 0;
    }
    EXPECT_GT(reds, 200);
}
