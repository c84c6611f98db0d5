#include "analysis/VideoCtrBar.h"

#include "analysis/DescribeReaders.h"
#include "analysis/VideoTimeLine.h"

#include "ui_VideoCtrBar.h"

#include <QDebug>
#include <QTimer>

namespace {

constexpr int kFirstInterval = 40;
constexpr int kDefaultFps = 25;

} // namespace

VideoCtrBar::VideoCtrBar(lumo::YUVReader& reader, QWidget* parent)
    : QWidget(parent),
      timer(nullptr),
      currentFrame(0),
      frameCount(-1),
      frameCount2(-1),
      timeLine(nullptr),
      timeLine2(nullptr),
      ui(new Ui_VideoCtrBar())
{
    ui->setupUi(this);
    this->reader = reader;
    frameCount = this->reader.GetFrameCount();
    timeLine = new VideoTimeLine(this->reader, this);
    ui->time_line_layout->addWidget(timeLine);
    timer = new QTimer(this);
    timer->setInterval(kFirstInterval);
    ui->drawCheckBox->setChecked(false);

    connect(ui->ctr_btn, SIGNAL(clicked()), this, SLOT(onCtrBtnClick()));
    connect(timer, SIGNAL(timeout()), this, SLOT(onFrameTimeout()));
    connect(ui->open2, SIGNAL(clicked()), this, SLOT(onOpen2BtnClick()));
    connect(ui->close2, SIGNAL(clicked()), this, SLOT(onClose2BtnClick()));
    connect(ui->drawCheckBox, SIGNAL(stateChanged(int)), this, SLOT(onDrawCheckBoxSelect(int)));
    connect(timeLine, SIGNAL(onSelectFrame(int, int)), this, SLOT(onSelectFrame(int, int)));

    ui->ctr_fps_spin->setValue(kDefaultFps);
    setCloseBtnState(false);
}

VideoCtrBar::~VideoCtrBar()
{
    delete ui;
}

void VideoCtrBar::setPsnr(QString text)
{
    ui->psnr_label->setText(text);
}

void VideoCtrBar::setCloseBtnState(bool enabled)
{
    ui->close2->setEnabled(enabled);
}

void VideoCtrBar::Add2ndTimeLine(lumo::YUVReader& reader)
{
    reader2 = reader;
    frameCount2 = reader2.GetFrameCount();
    timeLine2 = new VideoTimeLine(reader2, this);
    ui->time_line_layout->addWidget(timeLine2);
    connect(timeLine2, SIGNAL(onSelectFrame(int, int)), this, SLOT(onSelectFrame(int, int)));
    logManager.RecordOpen2ndFile(formatYuvReadersInfoForLog());
}

void VideoCtrBar::Remove2ndTimeLine()
{
    if (timeLine2 == nullptr) {
        return;
    }
    ui->time_line_layout->removeWidget(timeLine2);
    timeLine2->close();
    // Gone for good: its thumbnail worker stops with it.
    timeLine2->deleteLater();
    timeLine2 = nullptr;
    frameCount2 = -1;
}

void VideoCtrBar::Stop()
{
    timer->stop();
    ui->ctr_btn->setText("Play");
}

void VideoCtrBar::ClearCache()
{
    timeLine->ClearCache();
}

QString VideoCtrBar::formatYuvReadersInfoForLog()
{
    return DescribeReaders(reader, reader2);
}

VideoTimeLine* VideoCtrBar::GetTimeLine() const
{
    return timeLine;
}

VideoTimeLine* VideoCtrBar::Get2ndTimeLine() const
{
    return timeLine2;
}

void VideoCtrBar::onCtrBtnClick()
{
    const QString description = formatYuvReadersInfoForLog();
    if (!timer->isActive()) {
        const int fps = ui->ctr_fps_spin->value();
        if (fps <= 0) {
            return;
        }
        timer->setInterval(1000 / fps);
        timer->start();
        ui->ctr_btn->setText("Pause");
        logManager.RecordStartPlay(description, fps);
        return;
    }
    timer->stop();
    ui->ctr_btn->setText("Play");
    logManager.RecordStopPlay(description);
}

void VideoCtrBar::onFrameTimeout()
{
    emit onFrameCtrRefresh(currentFrame, 0);
    timeLine->SetActiveFrameIndex(currentFrame, 1);
    if (timeLine2 != nullptr) {
        timeLine2->SetActiveFrameIndex(currentFrame, 1);
    }
    currentFrame++;
    if (currentFrame >= frameCount || (timeLine2 != nullptr && currentFrame >= frameCount2)) {
        currentFrame = 0;
    }
}

void VideoCtrBar::onOpen2BtnClick()
{
    emit onOpen2ndFile();
}

void VideoCtrBar::onClose2BtnClick()
{
    emit onClose2ndFile();
}

void VideoCtrBar::onDrawCheckBoxSelect(int state)
{
    qDebug() << "onDrawCheckBoxSelect : " << state;
    emit onDrawCheckBoxChange(state);
}

void VideoCtrBar::onSelectFrame(int frame, int analyse)
{
    currentFrame = frame;
    emit onFrameCtrRefresh(frame, analyse);
    if (frame < frameCount) {
        timeLine->SetActiveFrameIndex(frame, 0);
    }
    if (timeLine2 != nullptr && frame < frameCount2) {
        timeLine2->SetActiveFrameIndex(frame, 0);
    }
}

void VideoCtrBar::onSettingCtrBtnClick() {}
