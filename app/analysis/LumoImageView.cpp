#include "analysis/LumoImageView.h"

#include "analysis/ColorChart.h"
#include "analysis/DescribeReaders.h"
#include "analysis/IQAThread.h"
#include "analysis/VideoCtrBar.h"
#include "shell/OpenFileDialog.h"
#include "views/YUVWidget.h"

#include "KestColorSpace/KestColorSpace.h"
#include "lumo/YUVTypeInstance.h"

#include "ui_LumoImageView.h"

#include <QButtonGroup>
#include <QCloseEvent>
#include <QDebug>
#include <QThread>
#include <QTimer>

#include <cstdlib>

namespace {

const char* const kPlaceholder = "【SSIM -】【MSE Y: -, U: -, V: -】【PSNR Y: -, U: -, V: -】";

// Frame 0 of a file as 4:4:4 (malloc'ed) when it can be read, else null.
unsigned char* ReadFrame444(const lumo::YUVReader& reader, long offset)
{
    int status = 0;
    unsigned char* frame = reader.ReadFrameYUV444(nullptr, &status, offset);
    if (frame != nullptr && status < 0) {
        free(frame);
        return nullptr;
    }
    return frame;
}

// A 4:4:4 frame of the reader's size into the chart.
void ShowInChart(ColorChart* chart, const lumo::YUVReader& reader, unsigned char* frame)
{
    const int plane = reader.width * reader.height;
    chart->SetYUVData(reader.width, reader.height, frame, plane, frame + plane, plane, frame + 2 * static_cast<long>(plane),
                      plane);
}

// The open-file dialog, run modally over the window. It stays alive with
// the window: a media conversion it started may still be running.
bool RunOpenFileDialog(QWidget* parent, SecondFileChoice& choice)
{
    auto* dialog = new OpenFileDialog(parent);
    if (dialog->exec() != 1 || dialog->GetPaths().isEmpty()) {
        return false;
    }
    choice.paths = dialog->GetPaths();
    choice.typeIndex = dialog->GetTypeIndex();
    choice.width = dialog->GetWidth();
    choice.height = dialog->GetHeight();
    return true;
}

} // namespace

LumoImageView::LumoImageView(lumo::YUVReader& reader, QWidget* parent)
    : QMainWindow(parent),
      chart(nullptr),
      chart2(nullptr),
      view(nullptr),
      view2(nullptr),
      ctrBar(nullptr),
      rangeGroup(nullptr),
      colorRange(1),
      frame420(nullptr),
      frame420second(nullptr),
      ui(new Ui_LumoImageView()),
      chooser(RunOpenFileDialog),
      pendingFrame(-1),
      secondFileGeneration(0),
      comparisonGeneration(0),
      closed(false)
{
    ui->setupUi(this);
    this->reader = reader;
    setWindowTitle(QString::fromStdString(this->reader.path));

    ctrBar = new VideoCtrBar(this->reader, this);
    ui->video_time_line_layout->addWidget(ctrBar);
    ctrBar->setPsnr(kPlaceholder);

    view = new YUVWidget(this->reader, this);
    ui->image_show_layout->addWidget(view);
    chart = new ColorChart(this);
    ui->color_chart_layout->addWidget(chart);

    if (unsigned char* first = ReadFrame444(this->reader, 0)) {
        ShowInChart(chart, this->reader, first);
        free(first);
    }

    ui->color_rect_checkbox_y->setChecked(true);
    ui->color_rect_checkbox_r->setChecked(true);
    ui->color_rect_checkbox_g->setChecked(true);
    ui->color_rect_checkbox_b->setChecked(true);
    onColorRectCheckbox(1);
    connect(ui->color_rect_checkbox_y, SIGNAL(stateChanged(int)), this, SLOT(onColorRectCheckbox(int)));
    connect(ui->color_rect_checkbox_r, SIGNAL(stateChanged(int)), this, SLOT(onColorRectCheckbox(int)));
    connect(ui->color_rect_checkbox_g, SIGNAL(stateChanged(int)), this, SLOT(onColorRectCheckbox(int)));
    connect(ui->color_rect_checkbox_b, SIGNAL(stateChanged(int)), this, SLOT(onColorRectCheckbox(int)));
    ui->channel_checkbox_y->setChecked(true);
    ui->channel_checkbox_u->setChecked(true);
    ui->channel_checkbox_v->setChecked(true);
    onChannelCheckbox();
    connect(ui->channel_checkbox_y, SIGNAL(stateChanged(int)), this, SLOT(onChannelCheckbox()));
    connect(ui->channel_checkbox_u, SIGNAL(stateChanged(int)), this, SLOT(onChannelCheckbox()));
    connect(ui->channel_checkbox_v, SIGNAL(stateChanged(int)), this, SLOT(onChannelCheckbox()));

    connect(ctrBar, SIGNAL(onFrameCtrRefresh(int, int)), this, SLOT(onFrameCtrRefresh(int, int)));
    connect(ctrBar, SIGNAL(onOpen2ndFile()), this, SLOT(onOpen2ndFile()));
    connect(ctrBar, SIGNAL(onClose2ndFile()), this, SLOT(onClose2ndFile()));

    rangeGroup = new QButtonGroup(this);
    ui->VideoRange->setChecked(true);
    colorRange = 2;
    rangeGroup->addButton(ui->VideoRange, 2);
    rangeGroup->addButton(ui->FullRange, 1);
    connect(rangeGroup, SIGNAL(buttonClicked(int)), this, SLOT(onColorRangeChange(int)));
    view->SetColorRange(2);

    for (QComboBox* box : {ui->input_color_space, ui->output_color_space}) {
        box->addItem("BT709", 0);
        box->addItem("BT2020", 1);
        connect(box, SIGNAL(currentIndexChanged(int)), this, SLOT(YUVCurrentIndexChanged(int)));
    }
    YUVCurrentIndexChanged(0);

    connect(ctrBar, SIGNAL(onDrawCheckBoxChange(int)), this, SLOT(onDrawCheckBoxChange(int)));
    connect(view, SIGNAL(signalsUpdateRect(float, float, float, float)), this,
            SLOT(onDrawRect(float, float, float, float)));

    ui->gamma_spin_box->setRange(0.0, 10.0);
    ui->gamma_spin_box->setValue(1.0);
    ui->gamma_spin_box->setSingleStep(0.1);
    connect(ui->gamma_spin_box, SIGNAL(valueChanged(double)), this, SLOT(onGammaValueChanged(double)));
}

LumoImageView::~LumoImageView()
{
    // A comparison still running works on copies of its own and deletes
    // itself when done; its result has nowhere to go.
    free(frame420);
    free(frame420second);
    delete ui;
}

QString LumoImageView::formatYuvReadersInfoForLog()
{
    return DescribeReaders(reader, reader2);
}

void LumoImageView::SetSecondFileChooser(SecondFileChooser chooser)
{
    this->chooser = std::move(chooser);
}

VideoCtrBar* LumoImageView::GetCtrBar() const
{
    return ctrBar;
}

YUVWidget* LumoImageView::GetView() const
{
    return view;
}

YUVWidget* LumoImageView::Get2ndView() const
{
    return view2;
}

ColorChart* LumoImageView::GetChart() const
{
    return chart;
}

ColorChart* LumoImageView::Get2ndChart() const
{
    return chart2;
}

bool LumoImageView::IsComparing() const
{
    return !comparison.isNull();
}

void LumoImageView::onFrameCtrRefresh(int frame, int analyse)
{
    view->DrawFrame(frame);
    if (view2 != nullptr) {
        view2->DrawFrame(frame);
    }
    if (analyse == 0) {
        return;
    }
    unsigned char* first = ReadFrame444(reader, static_cast<long>(frame * reader.GetFrameLen()));
    if (first == nullptr) {
        return;
    }
    ShowInChart(chart, reader, first);
    if (view2 != nullptr) {
        int status = 0;
        unsigned char* second =
            reader2.ReadFrameYUV444(nullptr, &status, static_cast<long>(frame * reader2.GetFrameLen()));
        if (second != nullptr && reader2.width == reader.width && reader2.height == reader.height) {
            if (comparison.isNull()) {
                StartComparison(first, second);
            } else {
                pendingFrame = frame;
            }
            ShowInChart(chart2, reader2, second);
        }
        free(second);
    }
    free(first);
}

void LumoImageView::StartComparison(unsigned char* first444, unsigned char* second444)
{
    const int width = reader.width;
    const int height = reader.height;
    frame420 = reader.Frame444To420(first444, frame420, width, height);
    frame420second = reader.Frame444To420(second444, frame420second, width, height);
    if (frame420 == nullptr || frame420second == nullptr) {
        qDebug() << "LumoImageView: no memory for the frames to compare";
        return;
    }
    const lumo::COLOR_SPACE cs = colorRange == 2   ? lumo::COLOR_SPACE_VIDEO_RANGE
                                 : colorRange == 1 ? lumo::COLOR_SPACE_FULL_RANGE
                                                   : lumo::COLOR_SPACE_DEFAULT;
    auto* thread = new QThread();
    auto* worker = new IQAThread();
    if (worker->setInput(frame420, frame420second, width, height, cs) != 0) {
        qDebug() << "LumoImageView: no memory for the frames to compare";
        delete worker;
        delete thread;
        return;
    }
    worker->moveToThread(thread);
    connect(thread, SIGNAL(started()), worker, SLOT(start1()));
    connect(worker, SIGNAL(workStart()), this, SLOT(workStart()));
    connect(worker, SIGNAL(workFinished(double, double, double, double, double, double, double)), this,
            SLOT(workFinished(double, double, double, double, double, double, double)));
    connect(worker, SIGNAL(workFinished(double, double, double, double, double, double, double)), worker,
            SLOT(deleteLater()));
    connect(worker, SIGNAL(workFinished(double, double, double, double, double, double, double)), thread,
            SLOT(quit()));
    connect(worker, SIGNAL(workCancelled()), this, SLOT(workCancelled()));
    connect(worker, SIGNAL(workCancelled()), worker, SLOT(deleteLater()));
    connect(worker, SIGNAL(workCancelled()), thread, SLOT(quit()));
    connect(thread, SIGNAL(finished()), thread, SLOT(deleteLater()));
    comparison = thread;
    comparisonGeneration = secondFileGeneration;
    thread->start();
}

void LumoImageView::StartComparisonOfFrame(int frame)
{
    if (view2 == nullptr || reader2.width != reader.width || reader2.height != reader.height) {
        return;
    }
    unsigned char* first = ReadFrame444(reader, static_cast<long>(frame * reader.GetFrameLen()));
    unsigned char* second = ReadFrame444(reader2, static_cast<long>(frame * reader2.GetFrameLen()));
    if (first != nullptr && second != nullptr) {
        StartComparison(first, second);
    }
    free(first);
    free(second);
}

void LumoImageView::workStart()
{
    qDebug() << "LumoImageView::workStart";
}

void LumoImageView::workFinished(double ssim, double mseY, double mseU, double mseV, double psnrY, double psnrU,
                                 double psnrV)
{
    qDebug() << "LumoImageView::workFinished";
    qDebug() << "Y-PSNR :" << psnrY << ", U-PSNR :" << psnrU << ", V-PSNR : " << psnrV;
    qDebug() << "Y-MSE :" << mseY << ", U-MSE :" << mseU << ", V-MSE : " << mseV;
    qDebug() << "SSIM_GRAY :" << ssim;
    comparison.clear();
    const bool current = !closed && comparisonGeneration == secondFileGeneration;
    if (current) {
        ctrBar->setPsnr(QString("【SSIM %1】【MSE Y: %2, U: %3, V: %4】【PSNR Y: %5, U: %6, V: %7】")
                            .arg(ssim)
                            .arg(mseY)
                            .arg(mseU)
                            .arg(mseV)
                            .arg(psnrY)
                            .arg(psnrU)
                            .arg(psnrV));
    }
    free(frame420);
    free(frame420second);
    frame420 = nullptr;
    frame420second = nullptr;
    if (current) {
        logManager.RecordIQAInfo(formatYuvReadersInfoForLog(), ssim, psnrY, psnrU, psnrV);
    }
    // Closing a file or the window drops the waiting frame, so one still
    // waiting was chosen for the files open now, whoever's result this is.
    if (pendingFrame >= 0) {
        const int frame = pendingFrame;
        pendingFrame = -1;
        StartComparisonOfFrame(frame);
    }
}

void LumoImageView::workCancelled()
{
    comparison.clear();
}

void LumoImageView::onOpen2ndFile()
{
    qDebug() << "onOpen2ndFile click";
    // Before any dialog: a cancelled choice leaves no second file.
    close2ndFile();
    SecondFileChoice choice;
    if (!chooser(this, choice) || choice.paths.isEmpty()) {
        return;
    }
    for (const QString& path : choice.paths) {
        lumo::YUVType type;
        lumo::YUVTypeInstance::GetInstance()->GetType(type, choice.typeIndex);
        reader2 = lumo::YUVReader(path.toUtf8().toStdString(), choice.width, choice.height, type);

        view2 = new YUVWidget(reader2, this);
        ui->image_show_layout->addWidget(view2);
        ctrBar->setCloseBtnState(true);
        onChannelCheckbox();
        onColorRangeChange(1);

        chart2 = new ColorChart(this);
        chart2->setObjectName("widgetColor2nd");
        chart2->setStyleSheet("#widgetColor2nd{border-left: 3px solid #000000;}");
        ui->color_chart_layout->addWidget(chart2);

        unsigned char* first = ReadFrame444(reader2, 0);
        if (first == nullptr) {
            continue;
        }
        ShowInChart(chart2, reader2, first);
        free(first);
        ctrBar->Add2ndTimeLine(reader2);
        connect(view2, SIGNAL(signalsUpdateRect(float, float, float, float)), this,
                SLOT(onDrawRect2nd(float, float, float, float)));
        view2->SetMode(view->GetMode());
        ApplyColorSpace(view2);
        view2->SetColorRange(colorRange);
    }
}

void LumoImageView::onClose2ndFile()
{
    qDebug() << "onClose2ndFile click";
    close2ndFile();
}

void LumoImageView::close2ndFile()
{
    if (view2 != nullptr) {
        ui->image_show_layout->removeWidget(view2);
        view2->close();
        view2->deleteLater();
        ui->color_chart_layout->removeWidget(chart2);
        chart2->close();
        chart2->deleteLater();
        view2 = nullptr;
        chart2 = nullptr;
        ctrBar->Remove2ndTimeLine();
        // A comparison of the file just closed is no longer wanted.
        secondFileGeneration++;
        pendingFrame = -1;
    }
    ctrBar->setCloseBtnState(false);
    ctrBar->setPsnr(kPlaceholder);
}

void LumoImageView::onChannelCheckbox()
{
    const int y = ui->channel_checkbox_y->checkState();
    const int u = ui->channel_checkbox_u->checkState();
    const int v = ui->channel_checkbox_v->checkState();
    view->SetVisible(y, u, v);
    if (view2 != nullptr) {
        view2->SetVisible(y, u, v);
    }
}

void LumoImageView::onColorRectCheckbox(int state)
{
    const int y = ui->color_rect_checkbox_y->checkState();
    const int r = ui->color_rect_checkbox_r->checkState();
    const int g = ui->color_rect_checkbox_g->checkState();
    const int b = ui->color_rect_checkbox_b->checkState();
    // The U and V curves cannot be switched on from here.
    chart->SetVisible(y, 0, 0, r, g, b);
    if (chart2 != nullptr) {
        chart2->SetVisible(y, 0, 0, r, g, b);
    }
    qDebug() << "onColorRectCheckbox" << state;
}

void LumoImageView::onColorRangeChange(int)
{
    // The checked button decides, whatever the argument says.
    colorRange = rangeGroup->checkedId();
    view->SetColorRange(colorRange);
    if (view2 != nullptr) {
        view2->SetColorRange(colorRange);
    }
}

void LumoImageView::YUVCurrentIndexChanged(int)
{
    ApplyColorSpace(view);
    if (view2 != nullptr) {
        ApplyColorSpace(view2);
    }
}

void LumoImageView::ApplyColorSpace(YUVWidget* target)
{
    Kest::KestColorSpace cs = Kest::KestColorSpace::ForSpaces(ui->input_color_space->currentIndex(),
                                                              ui->output_color_space->currentIndex());
    target->SetColorSpace(cs);
}

void LumoImageView::onGammaValueChanged(double value)
{
    qDebug() << "onGammaValueChanged" << value;
    view->SetGamma(static_cast<float>(value));
    if (view2 != nullptr) {
        view2->SetGamma(static_cast<float>(value));
    }
}

void LumoImageView::onDrawCheckBoxChange(int state)
{
    qDebug() << "onDrawCheckBoxChange " << state;
    const YUVShowMode mode = state < 1 ? YUV_SHOW_MODE_MOVE : YUV_SHOW_MODE_RECT;
    view->SetMode(mode);
    if (view2 != nullptr) {
        view2->SetMode(mode);
    }
}

void LumoImageView::onDrawRect(float x0, float y0, float x1, float y1)
{
    if (view2 != nullptr) {
        view2->SetRect(x0, y0, x1, y1);
    }
}

void LumoImageView::onDrawRect2nd(float x0, float y0, float x1, float y1)
{
    view->SetRect(x0, y0, x1, y1);
}

void LumoImageView::closeEvent(QCloseEvent* event)
{
    if (!closed) {
        ctrBar->Stop();
        ctrBar->ClearCache();
        closed = true;
        pendingFrame = -1;
        if (!comparison.isNull()) {
            comparison->requestInterruption();
        }
        // A running comparison works on copies of its own.
        free(frame420);
        free(frame420second);
        frame420 = nullptr;
        frame420second = nullptr;
    }
    // Later, not here: the close may come from one of the contents' own
    // handlers, still running.
    QTimer::singleShot(0, this, SLOT(ReleaseContents()));
    QMainWindow::closeEvent(event);
}

void LumoImageView::ReleaseContents()
{
    // The timelines stop their workers and the views release their GL
    // objects as they go.
    delete centralWidget();
    chart = nullptr;
    chart2 = nullptr;
    view = nullptr;
    view2 = nullptr;
    ctrBar = nullptr;
    if (isHidden()) {
        destroy();
    }
}
