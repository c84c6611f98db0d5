#include "views/YUVWidget.h"

#include "views/RulerView.h"
#include "views/YUVShowView.h"

#include "ui_YUVWidget.h"

YUVWidget::YUVWidget(lumo::YUVReader& reader, QWidget* parent)
    : QWidget(parent), ui(std::make_unique<Ui::YUVWidget>()), reader(reader), colorRange(1)
{
    ui->setupUi(this);
    view = new YUVShowView(QString::fromStdString(reader.path), reader.width, reader.height, reader.type, this);
    hRuler = new RulerView(0, reader.width, RulerView::TYPE_HORIZONTAL, this);
    vRuler = new RulerView(0, reader.height, RulerView::TYPE_VERTICAL, this);
    cornerRuler = new RulerView(0, 0, RulerView::TYPE_CORNER, this);
    ui->cell_ruler_layout->addWidget(cornerRuler);
    ui->h_ruler_layout->addWidget(hRuler);
    ui->v_ruler_layout->addWidget(vRuler);
    ui->yuv_show_layout->addWidget(view);
    connect(view, SIGNAL(updataRuler(int, int, int, int)), this, SLOT(updataRuler(int, int, int, int)));
    connect(view, SIGNAL(updateRect(float, float, float, float)), this, SLOT(updateRect(float, float, float, float)));
}

YUVWidget::~YUVWidget() = default;

int YUVWidget::DrawFrame(int frameIndex)
{
    return view->LoadFrame(static_cast<long>(frameIndex * reader.GetFrameLen()));
}

int YUVWidget::SetVisible(int y, int u, int v)
{
    return view->SetVisible(y, u, v);
}

int YUVWidget::SetColorRange(int range)
{
    colorRange = range;
    return view->SetColorRange(range);
}

int YUVWidget::SetColorSpace(Kest::KestColorSpace& cs)
{
    return view->SetColorSpace(cs);
}

int YUVWidget::SetGamma(float gamma)
{
    return view->SetGamma(gamma);
}

int YUVWidget::SetRect(float x0, float y0, float x1, float y1)
{
    return view->SetRect(x0, y0, x1, y1);
}

int YUVWidget::SetMode(YUVShowMode mode)
{
    return view->SetMode(mode);
}

YUVShowMode YUVWidget::GetMode() const
{
    return view->GetMode();
}

void YUVWidget::updataRuler(int left, int right, int top, int bottom)
{
    hRuler->setPos(left, right);
    vRuler->setPos(top, bottom);
}

void YUVWidget::updateRect(float x0, float y0, float x1, float y1)
{
    emit signalsUpdateRect(x0, y0, x1, y1);
}
