#include "analysis/ColorChart.h"

#include <QPainter>
#include <QPainterPath>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kBins = 256;
constexpr int kHeight = 100;

const QColor kCurveColors[6] = {QColor(0, 0, 0),   QColor(0, 0, 127), QColor(127, 0, 0),
                                QColor(255, 0, 0), QColor(0, 255, 0), QColor(0, 0, 255)};

} // namespace

ColorChart::ColorChart(QWidget* parent)
    : QWidget(parent),
      maximum(0),
      yBins(static_cast<int*>(calloc(kBins, sizeof(int)))),
      uBins(static_cast<int*>(calloc(kBins, sizeof(int)))),
      vBins(static_cast<int*>(calloc(kBins, sizeof(int)))),
      rBins(static_cast<int*>(calloc(kBins, sizeof(int)))),
      gBins(static_cast<int*>(calloc(kBins, sizeof(int)))),
      bBins(static_cast<int*>(calloc(kBins, sizeof(int)))),
      visible{1, 1, 1, 1, 1, 1}
{
    setMinimumHeight(kHeight);
    setMaximumHeight(kHeight);
}

ColorChart::~ColorChart()
{
    free(yBins);
    free(uBins);
    free(vBins);
    free(rBins);
    free(gBins);
    free(bBins);
}

int ColorChart::SetYUVData(int width, int height, unsigned char* y, int, unsigned char* u, int, unsigned char* v,
                           int)
{
    int* all[6] = {yBins, uBins, vBins, rBins, gBins, bBins};
    for (int* bins : all) {
        memset(bins, 0, kBins * sizeof(int));
    }
    const int64_t pixels = static_cast<int64_t>(width) * height;
    for (int64_t p = 0; p < pixels; p++) {
        const int Y = y[p];
        const int U = u[p];
        const int V = v[p];
        // Out-of-range results wrap to their low 8 bits instead of clamping.
        const int r = ((298 * Y + 411 * V - 57344) >> 8) & 255;
        const int g = ((298 * Y - 101 * U - 211 * V + 34739) >> 8) & 255;
        const int b = ((298 * Y + 519 * U - 71117) >> 8) & 255;
        // The luma bin is a third of the luma value: the curve covers bins
        // 0 to 85 only.
        const int l = (static_cast<int>(0.299 * r + 0.587 * g + 0.114 * b) & 255) / 3;
        yBins[l]++;
        rBins[r]++;
        gBins[g]++;
        bBins[b]++;
    }
    for (int i = 0; i < kBins; i++) {
        for (int* bins : all) {
            if (bins[i] > maximum) {
                maximum = bins[i];
            }
        }
    }
    return 0;
}

int ColorChart::SetVisible(int y, int u, int v, int r, int g, int b)
{
    visible[0] = y;
    visible[1] = u;
    visible[2] = v;
    visible[3] = r;
    visible[4] = g;
    visible[5] = b;
    update();
    return 0;
}

const int* ColorChart::GetBins(int curve) const
{
    const int* all[6] = {yBins, uBins, vBins, rBins, gBins, bBins};
    return curve >= 0 && curve < 6 ? all[curve] : nullptr;
}

int ColorChart::GetMaximum() const
{
    return maximum;
}

const int* ColorChart::GetVisible() const
{
    return visible;
}

void ColorChart::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    const int w = width();
    const int h = height();
    int* all[6] = {yBins, uBins, vBins, rBins, gBins, bBins};
    for (int curve = 0; curve < 6; curve++) {
        if (visible[curve] != 0) {
            RenderLine(w, h, kCurveColors[curve], all[curve], &painter);
        }
    }
}

int ColorChart::RenderLine(int width, int height, QColor color, int* bins, QPainter* painter)
{
    painter->setPen(QColor(color.red(), color.green(), color.blue(), 255));
    painter->setBrush(QBrush(QColor(color.red(), color.green(), color.blue(), 50), Qt::SolidPattern));
    // Before any frame every bin is 0: a flat curve rather than 0 / 0.
    const float scale = maximum > 0 ? static_cast<float>(height - 10) / static_cast<float>(maximum) : 0.0f;
    const float step = static_cast<float>(width) * 0.00390625f;
    QPainterPath path(QPointF(0, height));
    for (int i = 0; i < kBins; i++) {
        path.lineTo(static_cast<int>(static_cast<float>(i) * step), height - bins[i] * scale);
    }
    path.lineTo(width, height - bins[kBins - 1] * scale);
    path.lineTo(width, height);
    path.lineTo(0, height);
    painter->drawPath(path);
    return 0;
}
