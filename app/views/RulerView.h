#ifndef LUMO_VIEWS_RULERVIEW_H
#define LUMO_VIEWS_RULERVIEW_H

#include <QWidget>

class QPainter;

// A pixel ruler beside the frame view: min is shown at the start position and
// max at the end position (widget pixels), with the values between them
// interpolated by recursive bisection.
class RulerView : public QWidget {
    Q_OBJECT

public:
    static constexpr int TYPE_HORIZONTAL = 1;
    static constexpr int TYPE_VERTICAL = 2;
    static constexpr int TYPE_CORNER = 3;
    // Thickness of a ruler in pixels.
    static constexpr int THICKNESS = 40;

    RulerView(int min, int max, int type, QWidget* parent = nullptr);

    void setMin(int min);
    void setMax(int max);
    // Stores the positions of min and max and repaints.
    void setPos(int start, int end);

    // Everything paintEvent draws, onto any painter.
    void PaintRuler(QPainter* painter);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void drawMark(int a, int b, int va, int vb, QPainter* painter);
    void DrawLabel(int position, int value, QPainter* painter);

    int max;
    int min;
    int startPos;
    int endPos;
    int type;
};

#endif
