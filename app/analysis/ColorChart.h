#ifndef LUMO_ANALYSIS_COLORCHART_H
#define LUMO_ANALYSIS_COLORCHART_H

#include <QColor>
#include <QWidget>

class QPainter;

// 256-bin histograms of one frame, 100 pixels high: a luma value and R, G, B
// computed from the frame's 4:4:4 samples in integer arithmetic, each drawn
// as a filled curve in its own colour. The vertical scale follows the
// largest bin ever seen by the chart and never shrinks back. The U and V
// curves exist but are never filled.
class ColorChart : public QWidget {
    Q_OBJECT

public:
    explicit ColorChart(QWidget* parent = nullptr);
    ~ColorChart() override;

    // Recomputes the histograms from the three width x height planes; the
    // lengths are not used. No repaint. Returns 0.
    int SetYUVData(int width, int height, unsigned char* y, int yLen, unsigned char* u, int uLen,
                   unsigned char* v, int vLen);
    // Which curves are drawn (non-zero: drawn), Y, U, V, R, G, B. Returns 0.
    int SetVisible(int y, int u, int v, int r, int g, int b);
    // Draws one curve. Returns 0.
    int RenderLine(int width, int height, QColor color, int* bins, QPainter* painter);

    // The bins of a curve, 0 Y, 1 U, 2 V, 3 R, 4 G, 5 B (256 counts), and
    // the largest count seen so far.
    const int* GetBins(int curve) const;
    int GetMaximum() const;
    // The six visibility flags, Y, U, V, R, G, B.
    const int* GetVisible() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int maximum;
    int* yBins;
    int* uBins;
    int* vBins;
    int* rBins;
    int* gBins;
    int* bBins;
    int visible[6];
};

#endif
