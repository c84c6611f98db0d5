// yuv-view FILE W H LAYOUT: shows one raw YUV file in a frame view with
// rulers. The wheel zooms, a drag pans or, with "Rectangle" ticked, draws the
// region of interest.

#include "KestGL/KestGLSurfaceFormat.h"
#include "views/YUVWidget.h"

#include "KestColorSpace/KestColorSpace.h"
#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSpinBox>
#include <QStyleFactory>
#include <QSurfaceFormat>
#include <QVBoxLayout>
#include <QWidget>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int Usage(const char* message)
{
    fprintf(stderr, "yuv-view: %s\nusage: yuv-view FILE WIDTH HEIGHT LAYOUT   (LAYOUT: I420, NV12, I444, ...)\n",
            message);
    return 2;
}

QComboBox* Choice(const QStringList& items, QWidget* parent)
{
    auto* box = new QComboBox(parent);
    box->addItems(items);
    return box;
}

} // namespace

int main(int argc, char** argv)
{
    Kest::KestGLSurfaceFormat::UseCoreFormat();
    QApplication app(argc, argv);
    QApplication::setStyle(QStyleFactory::create("Fusion"));

    if (argc != 5) {
        return Usage("expected four arguments");
    }
    const int width = atoi(argv[2]);
    const int height = atoi(argv[3]);
    if (width <= 0 || height <= 0) {
        return Usage("width and height must be positive");
    }
    const lumo::YUVType type = lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(argv[4]);
    if (type == lumo::YUVType::YUV_TYPE_UNKNOW) {
        return Usage("unknown layout");
    }
    lumo::YUVReader reader(argv[1], width, height, type);
    const int frames = reader.GetFrameCount();
    if (frames < 1) {
        return Usage("the file holds no whole frame of that size and layout");
    }

    QWidget window;
    window.setWindowTitle(QString("yuv-view - %1").arg(QString::fromUtf8(argv[1])));
    auto* frameView = new YUVWidget(reader, &window);

    auto* frame = new QSpinBox(&window);
    frame->setRange(0, frames - 1);
    frame->setPrefix("frame ");
    auto* range = Choice({"full range", "video range"}, &window);
    auto* input = Choice({"BT709", "BT2020"}, &window);
    auto* output = Choice({"BT709", "BT2020"}, &window);
    auto* gamma = new QDoubleSpinBox(&window);
    gamma->setRange(0.1, 5.0);
    gamma->setSingleStep(0.1);
    gamma->setValue(1.0);
    gamma->setPrefix("gamma ");
    auto* showY = new QCheckBox("Y", &window);
    auto* showU = new QCheckBox("U", &window);
    auto* showV = new QCheckBox("V", &window);
    auto* rectMode = new QCheckBox("Rectangle", &window);
    auto* rect = new QLabel(&window);

    auto* controls = new QHBoxLayout;
    for (QWidget* control : std::initializer_list<QWidget*>{frame, range, input, output, gamma, showY, showU, showV,
                                                             rectMode, rect}) {
        controls->addWidget(control);
    }
    controls->addStretch();
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(frameView, 1);
    layout->addLayout(controls);

    auto colourSpace = [=] {
        Kest::KestColorSpace cs = Kest::KestColorSpace::ForSpaces(input->currentIndex(), output->currentIndex());
        frameView->SetColorSpace(cs);
    };
    auto previews = [=] { frameView->SetVisible(showY->isChecked(), showU->isChecked(), showV->isChecked()); };
    QObject::connect(frame, QOverload<int>::of(&QSpinBox::valueChanged), [=](int n) { frameView->DrawFrame(n); });
    QObject::connect(range, QOverload<int>::of(&QComboBox::currentIndexChanged),
                     [=](int index) { frameView->SetColorRange(index + 1); });
    QObject::connect(input, QOverload<int>::of(&QComboBox::currentIndexChanged), colourSpace);
    QObject::connect(output, QOverload<int>::of(&QComboBox::currentIndexChanged), colourSpace);
    QObject::connect(gamma, QOverload<double>::of(&QDoubleSpinBox::valueChanged),
                     [=](double g) { frameView->SetGamma(static_cast<float>(g)); });
    for (QCheckBox* box : {showY, showU, showV}) {
        QObject::connect(box, &QCheckBox::toggled, previews);
    }
    QObject::connect(rectMode, &QCheckBox::toggled,
                     [=](bool on) { frameView->SetMode(on ? YUV_SHOW_MODE_RECT : YUV_SHOW_MODE_MOVE); });
    QObject::connect(frameView, &YUVWidget::signalsUpdateRect, [=](float x0, float y0, float x1, float y1) {
        auto number = [](float value) { return QString::number(value, 'f', 3); };
        rect->setText(QString("(%1, %2) - (%3, %4)").arg(number(x0), number(y0), number(x1), number(y1)));
    });
    colourSpace();

    window.resize(960, 720);
    window.show();
    return app.exec();
}
