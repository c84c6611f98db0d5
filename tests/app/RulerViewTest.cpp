#include "views/RulerView.h"

#include "ViewTestSupport.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

using view_test::Recording;
using view_test::RecordingDevice;

namespace {

Recording Paint(RulerView& ruler)
{
    RecordingDevice device(ruler.width(), ruler.height());
    QPainter painter(&device);
    ruler.PaintRuler(&painter);
    painter.end();
    return device.recording;
}

// Label text by position along the ruler.
std::map<int, QString> Labels(const Recording& r, bool vertical)
{
    std::map<int, QString> labels;
    for (const Recording::Text& t : r.texts) {
        labels[qRound(vertical ? t.at.y() : t.at.x())] = t.text;
    }
    return labels;
}

// Ticks by position along the ruler, with the inner end of each.
std::map<int, int> Ticks(const Recording& r, bool vertical)
{
    std::map<int, int> ticks;
    for (const QLineF& line : r.lines) {
        if (vertical) {
            EXPECT_EQ(line.y1(), line.y2());
            EXPECT_EQ(40, line.x1());
            ticks[qRound(line.y1())] = qRound(line.x2());
        } else {
            EXPECT_EQ(line.x1(), line.x2());
            EXPECT_EQ(40, line.y1());
            ticks[qRound(line.x1())] = qRound(line.y2());
        }
    }
    return ticks;
}

// Counts paint events.
class CountingRuler : public RulerView {
public:
    using RulerView::RulerView;
    int paints = 0;

protected:
    void paintEvent(QPaintEvent* event) override
    {
        paints++;
        RulerView::paintEvent(event);
    }
};

} // namespace

TEST(RulerView, TypeFixesTheThickness)
{
    RulerView horizontal(0, 10, RulerView::TYPE_HORIZONTAL);
    RulerView vertical(0, 10, RulerView::TYPE_VERTICAL);
    RulerView corner(0, 0, RulerView::TYPE_CORNER);
    EXPECT_EQ(40, horizontal.minimumHeight());
    EXPECT_EQ(40, horizontal.maximumHeight());
    EXPECT_EQ(40, vertical.minimumWidth());
    EXPECT_EQ(40, vertical.maximumWidth());
    EXPECT_EQ(QSize(40, 40), corner.minimumSize());
    EXPECT_EQ(QSize(40, 40), corner.maximumSize());
}

TEST(RulerView, FullHdWidthAt800PixelsIsLabelledEvery100Pixels)
{
    RulerView ruler(0, 1920, RulerView::TYPE_HORIZONTAL);
    ruler.resize(800, 40);
    ruler.setPos(0, 800);
    const Recording r = Paint(ruler);

    const std::map<int, QString> expected = {{0, "0"},      {100, "240"},  {200, "480"},  {300, "720"},  {400, "960"},
                                             {500, "1200"}, {600, "1440"}, {700, "1680"}, {800, "1920"}};
    EXPECT_EQ(expected, Labels(r, false));
    for (const Recording::Text& t : r.texts) {
        EXPECT_EQ(10, t.at.y()) << t.text.toStdString();
        EXPECT_EQ("宋体", t.font.family().toStdString());
        EXPECT_EQ(7, t.font.pointSize());
    }

    const std::map<int, int> ticks = Ticks(r, false);
    // A long tick under every label, a short one everywhere else.
    for (const auto& label : expected) {
        ASSERT_EQ(1u, ticks.count(label.first)) << label.first;
        EXPECT_EQ(20, ticks.at(label.first)) << label.first;
    }
    int shortTicks = 0;
    for (const auto& tick : ticks) {
        if (expected.count(tick.first) == 0) {
            EXPECT_EQ(25, tick.second) << tick.first;
            shortTicks++;
        }
    }
    // Per 100 pixels: the middle, two quarters, and four of each 25-pixel
    // span (its middle, then 6, 6 + 12 and 6 + 12 + 3 apart), down to spans
    // of 7 pixels.
    EXPECT_EQ(8 * 19, shortTicks);
    EXPECT_EQ(r.lines.size(), ticks.size());
    for (int x : {50, 150, 250, 750, 25, 75, 12, 6, 18, 21, 112, 787}) {
        EXPECT_EQ(1u, ticks.count(x)) << x;
    }
    for (int x : {3, 9, 24, 790}) {
        EXPECT_EQ(0u, ticks.count(x)) << x;
    }
}

TEST(RulerView, PaintsWhiteWithAntialiasing)
{
    RulerView ruler(0, 1920, RulerView::TYPE_HORIZONTAL);
    ruler.resize(800, 40);
    const Recording r = Paint(ruler);
    ASSERT_FALSE(r.rects.empty());
    EXPECT_EQ(QRectF(0, 0, 800, 40), r.rects.front());
    EXPECT_TRUE(r.hints.testFlag(QPainter::Antialiasing));
    EXPECT_TRUE(r.hints.testFlag(QPainter::TextAntialiasing));
}

TEST(RulerView, VerticalRulerWritesBesideItsTicks)
{
    RulerView ruler(0, 1080, RulerView::TYPE_VERTICAL);
    ruler.resize(40, 800);
    ruler.setPos(175, 625);
    const Recording r = Paint(ruler);
    // Text 2 pixels below each labelled position.
    const std::map<int, QString> expected = {{177, "0"},   {233, "135"}, {289, "270"}, {345, "405"}, {402, "540"},
                                             {458, "675"}, {514, "810"}, {570, "945"}, {627, "1080"}};
    EXPECT_EQ(expected, Labels(r, true));
    for (const Recording::Text& t : r.texts) {
        EXPECT_EQ(0, t.at.x());
    }
    const std::map<int, int> ticks = Ticks(r, true);
    EXPECT_EQ(20, ticks.at(175));
    EXPECT_EQ(20, ticks.at(400));
    EXPECT_EQ(20, ticks.at(625));
    EXPECT_EQ(25, ticks.at(203));
}

TEST(RulerView, CornerIsOnlyWhite)
{
    RulerView corner(0, 0, RulerView::TYPE_CORNER);
    const Recording r = Paint(corner);
    EXPECT_EQ(1u, r.rects.size());
    EXPECT_TRUE(r.texts.empty());
    EXPECT_TRUE(r.lines.empty());
}

TEST(RulerView, ZeroLengthShowsBothEndsAndNoTicks)
{
    RulerView ruler(0, 1920, RulerView::TYPE_HORIZONTAL);
    ruler.resize(800, 40);
    ruler.setPos(400, 400);
    const Recording r = Paint(ruler);
    ASSERT_EQ(2u, r.texts.size());
    EXPECT_EQ("0", r.texts[0].text);
    EXPECT_EQ("1920", r.texts[1].text);
    EXPECT_EQ(400, r.texts[0].at.x());
    EXPECT_EQ(400, r.texts[1].at.x());
    EXPECT_EQ(2u, r.lines.size());
}

TEST(RulerView, PositionsOffTheRulerAreDrawnAsComputed)
{
    RulerView ruler(0, 1920, RulerView::TYPE_HORIZONTAL);
    ruler.resize(800, 40);
    ruler.setPos(-200, 600);
    const std::map<int, QString> labels = Labels(Paint(ruler), false);
    EXPECT_EQ("0", labels.at(-200));
    EXPECT_EQ("480", labels.at(0));
    EXPECT_EQ("960", labels.at(200));
    EXPECT_EQ("1920", labels.at(600));
}

TEST(RulerView, EndsDefaultToTheWidgetsLength)
{
    RulerView horizontal(0, 1920, RulerView::TYPE_HORIZONTAL);
    const int width = horizontal.width();
    horizontal.resize(width + 100, 40);
    EXPECT_EQ("1920", Labels(Paint(horizontal), false).at(width));

    RulerView vertical(0, 1080, RulerView::TYPE_VERTICAL);
    const int height = vertical.height();
    EXPECT_EQ("1080", Labels(Paint(vertical), true).at(height + 2));
}

TEST(RulerView, SetMinAndSetMaxChangeTheEndLabels)
{
    RulerView ruler(0, 1920, RulerView::TYPE_HORIZONTAL);
    ruler.resize(800, 40);
    ruler.setPos(0, 800);
    ruler.setMin(100);
    ruler.setMax(500);
    const std::map<int, QString> labels = Labels(Paint(ruler), false);
    EXPECT_EQ("100", labels.at(0));
    EXPECT_EQ("300", labels.at(400));
    EXPECT_EQ("500", labels.at(800));
}

TEST(RulerView, OnlySetPosRepaints)
{
    CountingRuler ruler(0, 1920, RulerView::TYPE_HORIZONTAL);
    ruler.resize(800, 40);
    ASSERT_TRUE(view_test::ShowAndExpose(ruler));
    ASSERT_TRUE(view_test::WaitUntil([&] { return ruler.paints > 0; }));
    view_test::FlushEvents();
    const int before = ruler.paints;
    ruler.setMin(5);
    ruler.setMax(50);
    view_test::FlushEvents();
    EXPECT_EQ(before, ruler.paints);
    // The same flush delivers the repaint that setPos asks for.
    ruler.setPos(10, 700);
    view_test::FlushEvents();
    EXPECT_EQ(before + 1, ruler.paints);
}

TEST(RulerView, WidgetShowsLongAndShortTicksOnWhite)
{
    RulerView ruler(0, 1920, RulerView::TYPE_HORIZONTAL);
    ruler.resize(800, 40);
    ruler.setPos(0, 800);
    const QImage image = ruler.grab().toImage();
    auto dark = [&](int x, int y) {
        return qGray(image.pixel(x * image.width() / 800, y * image.height() / 40)) < 200;
    };
    // Long tick at 300 (a label), short tick at 350, nothing between the
    // ticks at 331 and 337 nor below the labels.
    EXPECT_TRUE(dark(300, 22) || dark(299, 22));
    EXPECT_TRUE(dark(350, 30) || dark(349, 30));
    EXPECT_FALSE(dark(350, 22) || dark(349, 22));
    EXPECT_FALSE(dark(334, 35));
    EXPECT_FALSE(dark(300, 15));
}
