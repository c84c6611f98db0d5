#ifndef LUMO_VIEWS_YUVWIDGET_H
#define LUMO_VIEWS_YUVWIDGET_H

#include "views/YUVShowMode.h"

#include "KestColorSpace/KestColorSpace.h"
#include "lumo/YUVReader.h"

#include <QWidget>

#include <memory>

namespace Ui {
class YUVWidget;
}
class RulerView;
class YUVShowView;

// One frame view with a ruler above, a ruler at its left and an empty corner.
// The rulers follow the frame's on-screen extent; the setters go to the view.
class YUVWidget : public QWidget {
    Q_OBJECT

public:
    YUVWidget(lumo::YUVReader& reader, QWidget* parent = nullptr);
    ~YUVWidget() override;

    // By frame number; the view takes byte offsets.
    int DrawFrame(int frameIndex);
    int SetVisible(int y, int u, int v);
    int SetColorRange(int range);
    int SetColorSpace(Kest::KestColorSpace& cs);
    int SetGamma(float gamma);
    int SetRect(float x0, float y0, float x1, float y1);
    int SetMode(YUVShowMode mode);
    YUVShowMode GetMode() const;

signals:
    void signalsUpdateRect(float x0, float y0, float x1, float y1);

public slots:
    void updataRuler(int left, int right, int top, int bottom);
    void updateRect(float x0, float y0, float x1, float y1);

private:
    std::unique_ptr<Ui::YUVWidget> ui;
    lumo::YUVReader reader;
    YUVShowView* view;
    RulerView* hRuler;
    RulerView* vRuler;
    RulerView* cornerRuler;
    int colorRange;
};

#endif
