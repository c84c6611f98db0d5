// The histogram chart: its integer colour formulas, the luma bin divided by
// 3, the scale that never shrinks back, and what it draws.
#include "analysis/ColorChart.h"

#include "ViewTestSupport.h"

#include <gtest/gtest.h>

#include <QImage>

#include <cmath>
#include <vector>

namespace {

// A 4:4:4 frame of w x h with the same sample everywhere.
struct Planes {
    std::vector<unsigned char> y, u, v;
    Planes(int w, int h, int ys, int us, int vs)
        : y(static_cast<size_t>(w * h), static_cast<unsigned char>(ys)),
          u(static_cast<size_t>(w * h), static_cast<unsigned char>(us)),
          v(static_cast<size_t>(w * h), static_cast<unsigned char>(vs))
    {
    }
};

void Feed(ColorChart& chart, int w, int h, Planes& p)
{
    EXPECT_EQ(0, chart.SetYUVData(w, h, p.y.data(), 0, p.u.data(), -1, p.v.data(), 12345));
}

// The only bin holding anything, -1 when none or several do.
int Spike(const int* bins)
{
    int spike = -1;
    for (int i = 0; i < 256; i++) {
        if (bins[i] != 0) {
            if (spike >= 0) {
                return -1;
            }
            spike = i;
        }
    }
    return spike;
}

int Total(const int* bins)
{
    int total = 0;
    for (int i = 0; i < 256; i++) {
        total += bins[i];
    }
    return total;
}

} // namespace

TEST(ColorChart, IsOneHundredPixelsHighWithEveryCurveOnAndNoMaximum)
{
    ColorChart chart;
    EXPECT_EQ(100, chart.minimumHeight());
    EXPECT_EQ(100, chart.maximumHeight());
    EXPECT_EQ(0, chart.GetMaximum());
    for (int curve = 0; curve < 6; curve++) {
        EXPECT_EQ(0, Total(chart.GetBins(curve))) << curve;
    }
}

TEST(ColorChart, UniformGreyGivesSingleSpikesAndTheLumaBinDividedByThree)
{
    ColorChart chart;
    Planes grey(8, 4, 128, 128, 128);
    Feed(chart, 8, 4, grey);
    // (298 * 128 + 411 * 128 - 57344) >> 8 = 130 and so on.
    EXPECT_EQ(130, Spike(chart.GetBins(3)));
    EXPECT_EQ(128, Spike(chart.GetBins(4)));
    EXPECT_EQ(130, Spike(chart.GetBins(5)));
    // trunc(0.299 * 130 + 0.587 * 128 + 0.114 * 130) = 128, / 3 = 42.
    EXPECT_EQ(42, Spike(chart.GetBins(0)));
    EXPECT_EQ(32, chart.GetBins(0)[42]);
    EXPECT_EQ(32, chart.GetMaximum());
}

TEST(ColorChart, OutOfRangeResultsWrapInsteadOfClamping)
{
    ColorChart chart;
    Planes white(2, 2, 255, 255, 255);
    Feed(chart, 2, 2, white);
    // R = (298 * 255 + 411 * 255 - 57344) >> 8 = 482, & 255 = 226.
    EXPECT_EQ(226, Spike(chart.GetBins(3)));
    // G = (298 * 255 - 101 * 255 - 211 * 255 + 34739) >> 8 = 121.
    EXPECT_EQ(121, Spike(chart.GetBins(4)));
    // B = (298 * 255 + 519 * 255 - 71117) >> 8 = 536, & 255 = 24.
    EXPECT_EQ(24, Spike(chart.GetBins(5)));
    // trunc(0.299 * 226 + 0.587 * 121 + 0.114 * 24) = 141, / 3 = 47.
    EXPECT_EQ(47, Spike(chart.GetBins(0)));

    Planes black(2, 2, 0, 0, 0);
    Feed(chart, 2, 2, black);
    // An arithmetic shift of -57344 is -224, whose low 8 bits are 32.
    EXPECT_EQ(32, Spike(chart.GetBins(3)));
    EXPECT_EQ(135, Spike(chart.GetBins(4)));
    // -71117 >> 8 = -278, & 255 = 234.
    EXPECT_EQ(234, Spike(chart.GetBins(5)));
}

TEST(ColorChart, LumaNeverReachesBinsAbove85)
{
    ColorChart chart;
    std::vector<unsigned char> y(256 * 256), u(256 * 256), v(256 * 256);
    for (int i = 0; i < 256 * 256; i++) {
        y[static_cast<size_t>(i)] = static_cast<unsigned char>(i & 255);
        u[static_cast<size_t>(i)] = static_cast<unsigned char>(i >> 8);
        v[static_cast<size_t>(i)] = static_cast<unsigned char>((i * 7) & 255);
    }
    chart.SetYUVData(256, 256, y.data(), 0, u.data(), 0, v.data(), 0);
    const int* luma = chart.GetBins(0);
    for (int i = 86; i < 256; i++) {
        EXPECT_EQ(0, luma[i]) << i;
    }
    EXPECT_EQ(256 * 256, Total(luma));
}

TEST(ColorChart, UAndVBinsAreClearedAndNeverFilled)
{
    ColorChart chart;
    Planes grey(4, 4, 90, 30, 200);
    Feed(chart, 4, 4, grey);
    EXPECT_EQ(0, Total(chart.GetBins(1)));
    EXPECT_EQ(0, Total(chart.GetBins(2)));
}

TEST(ColorChart, EveryUpdateStartsFromEmptyBins)
{
    ColorChart chart;
    Planes first(4, 4, 128, 128, 128);
    Planes second(4, 4, 60, 128, 128);
    Feed(chart, 4, 4, first);
    Feed(chart, 4, 4, second);
    EXPECT_EQ(16, Total(chart.GetBins(3)));
    EXPECT_EQ(0, chart.GetBins(3)[130]);
}

TEST(ColorChart, MaximumIsNeverLowered)
{
    ColorChart chart;
    Planes busy(16, 16, 128, 128, 128);
    Feed(chart, 16, 16, busy);
    EXPECT_EQ(256, chart.GetMaximum());
    Planes small(2, 2, 128, 128, 128);
    Feed(chart, 2, 2, small);
    EXPECT_EQ(256, chart.GetMaximum());
    EXPECT_EQ(4, chart.GetBins(3)[130]);
}

TEST(ColorChart, SetYUVDataDoesNotRepaintButSetVisibleDoes)
{
    struct CountingChart : ColorChart {
        int paints = 0;
        void paintEvent(QPaintEvent* event) override
        {
            paints++;
            ColorChart::paintEvent(event);
        }
    } chart;
    chart.resize(256, 100);
    ASSERT_TRUE(view_test::ShowAndExpose(chart));
    ASSERT_TRUE(view_test::WaitUntil([&] { return chart.paints > 0; }));
    view_test::FlushEvents();
    const int before = chart.paints;
    Planes grey(4, 4, 128, 128, 128);
    Feed(chart, 4, 4, grey);
    view_test::FlushEvents();
    EXPECT_EQ(before, chart.paints);
    EXPECT_EQ(0, chart.SetVisible(1, 0, 0, 1, 1, 1));
    view_test::FlushEvents();
    EXPECT_EQ(before + 1, chart.paints);
}

TEST(ColorChart, DrawsTheVisibleCurvesInOrderAndColour)
{
    ColorChart chart;
    chart.resize(512, 100);
    Planes grey(4, 4, 128, 128, 128);
    Feed(chart, 4, 4, grey);
    const view_test::Recording r = view_test::RecordPaint(chart);
    EXPECT_TRUE(r.hints.testFlag(QPainter::Antialiasing));
    EXPECT_TRUE(r.hints.testFlag(QPainter::TextAntialiasing));
    ASSERT_EQ(6u, r.paths.size());
    const QColor colours[6] = {QColor(0, 0, 0),   QColor(0, 0, 127), QColor(127, 0, 0),
                               QColor(255, 0, 0), QColor(0, 255, 0), QColor(0, 0, 255)};
    for (size_t i = 0; i < 6; i++) {
        EXPECT_EQ(colours[i], r.pathPens[i].color()) << i;
        QColor fill = colours[i];
        fill.setAlpha(50);
        EXPECT_EQ(fill, r.pathBrushes[i].color()) << i;
        EXPECT_EQ(Qt::SolidPattern, r.pathBrushes[i].style()) << i;
    }
    // The red curve: from (0, 100) along the bins, its spike at bin 130 of
    // 16 counts, the maximum, is h - 10 = 90 pixels high at x = 130 * 2;
    // then to the right edge and back along the bottom. (A path drops a
    // point equal to the one before it.)
    const QPainterPath& red = r.paths[3];
    ASSERT_EQ(258, red.elementCount());
    EXPECT_EQ(QPointF(0, 100), QPointF(red.elementAt(0)));
    for (int bin = 1; bin < 256; bin++) {
        EXPECT_EQ(QPointF(bin * 2, bin == 130 ? 10 : 100), QPointF(red.elementAt(bin))) << bin;
    }
    EXPECT_EQ(QPointF(512, 100), QPointF(red.elementAt(256)));
    EXPECT_EQ(QPointF(0, 100), QPointF(red.elementAt(257)));
}

TEST(ColorChart, OnlySwitchedOnCurvesAreDrawn)
{
    ColorChart chart;
    chart.resize(256, 100);
    Planes grey(4, 4, 128, 128, 128);
    Feed(chart, 4, 4, grey);
    chart.SetVisible(0, 0, 0, 0, 1, 0);
    const view_test::Recording r = view_test::RecordPaint(chart);
    ASSERT_EQ(1u, r.paths.size());
    EXPECT_EQ(QColor(0, 255, 0), r.pathPens[0].color());
}

TEST(ColorChart, WithEveryCurveOffOnlyTheBackgroundShows)
{
    ColorChart chart;
    chart.resize(256, 100);
    Planes grey(4, 4, 128, 128, 128);
    Feed(chart, 4, 4, grey);
    chart.SetVisible(0, 0, 0, 0, 0, 0);
    const QImage image = chart.grab().toImage();
    const QRgb background = image.pixel(0, 0);
    for (int y = 0; y < image.height(); y += 3) {
        for (int x = 0; x < image.width(); x += 3) {
            ASSERT_EQ(background, image.pixel(x, y)) << x << ", " << y;
        }
    }
}

TEST(ColorChart, UAndVCurvesStayFlatAtTheBottomWhenSwitchedOn)
{
    ColorChart chart;
    chart.resize(256, 100);
    Planes grey(4, 4, 128, 128, 128);
    Feed(chart, 4, 4, grey);
    chart.SetVisible(0, 1, 1, 0, 0, 0);
    const view_test::Recording r = view_test::RecordPaint(chart);
    ASSERT_EQ(2u, r.paths.size());
    for (const QPainterPath& path : r.paths) {
        for (int i = 0; i < path.elementCount(); i++) {
            EXPECT_EQ(100, QPointF(path.elementAt(i)).y());
        }
    }
}

TEST(ColorChart, AFlatFrameAfterABusyOneIsDrawnAgainstTheEarlierMaximum)
{
    ColorChart chart;
    chart.resize(256, 100);
    Planes busy(16, 16, 128, 128, 128);
    Feed(chart, 16, 16, busy);
    Planes flat(8, 8, 128, 128, 128);
    Feed(chart, 8, 8, flat);
    chart.SetVisible(0, 0, 0, 1, 0, 0);
    const view_test::Recording r = view_test::RecordPaint(chart);
    ASSERT_EQ(1u, r.paths.size());
    // 64 counts against a maximum of 256: a quarter of 90 pixels.
    EXPECT_FLOAT_EQ(100 - 90.0f * 64 / 256, QPointF(r.paths[0].elementAt(130)).y());
}
