#include "views/RulerView.h"

#include <QFont>
#include <QPainter>

namespace {

QFont LabelFont()
{
    QFont font("宋体");
    font.setPointSize(7);
    return font;
}

} // namespace

RulerView::RulerView(int min, int max, int type, QWidget* parent)
    : QWidget(parent), max(max), min(min), startPos(0), endPos(0), type(type)
{
    if (type == TYPE_HORIZONTAL) {
        setFixedHeight(THICKNESS);
    } else if (type == TYPE_VERTICAL) {
        setFixedWidth(THICKNESS);
    } else if (type == TYPE_CORNER) {
        setFixedSize(THICKNESS, THICKNESS);
    }
    endPos = type == TYPE_VERTICAL ? height() : width();
}

void RulerView::setMin(int min)
{
    this->min = min;
}

void RulerView::setMax(int max)
{
    this->max = max;
}

void RulerView::setPos(int start, int end)
{
    startPos = start;
    endPos = end;
    update();
}

void RulerView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    PaintRuler(&painter);
}

void RulerView::PaintRuler(QPainter* painter)
{
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setRenderHint(QPainter::TextAntialiasing);
    painter->fillRect(rect(), Qt::white);
    if (type != TYPE_HORIZONTAL && type != TYPE_VERTICAL) {
        return;
    }
    painter->setFont(LabelFont());
    DrawLabel(startPos, min, painter);
    DrawLabel(endPos, max, painter);
    drawMark(startPos, endPos, min, max, painter);
}

void RulerView::drawMark(int a, int b, int va, int vb, QPainter* painter)
{
    if (b - a < 7) {
        return;
    }
    // Single precision and truncation: labels need not be round numbers.
    const int m = static_cast<int>(a + (b - a) * 0.5f);
    const int vm = static_cast<int>(va + (vb - va) * 0.5f);
    if (b - a > 100) {
        DrawLabel(m, vm, painter);
    } else if (type == TYPE_VERTICAL) {
        painter->drawLine(THICKNESS, m, 25, m);
    } else {
        painter->drawLine(m, THICKNESS, m, 25);
    }
    drawMark(a, m, va, vm, painter);
    drawMark(m, b, vm, vb, painter);
}

void RulerView::DrawLabel(int position, int value, QPainter* painter)
{
    painter->setFont(LabelFont());
    if (type == TYPE_VERTICAL) {
        painter->drawText(0, position + 2, QString::number(value));
        painter->drawLine(THICKNESS, position, 20, position);
    } else {
        painter->drawText(position, 10, QString::number(value));
        painter->drawLine(position, THICKNESS, position, 20);
    }
}
