#include "shell/OpenFileDialog.h"

#include "online/LogManager.h"
#include "workers/OpenFileConvThread.h"

#include "core/KestTime.h"
#include "lumo/YUVTypeInstance.h"

#include "ui_OpenFileDialog.h"

#include <QButtonGroup>
#include <QDebug>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QRadioButton>
#include <QSettings>

#include <cmath>
#include <exception>

namespace {

const char* const kTitle = "选择文件类型并打开";
const char* const kDialogError = "ERROR:[function]OpenFileDialog::OpenFileClickListener;[child function]fileDialog->"
                                 "exec() [child function] fileDialog->selectedFiles()";

void Warn(const QString& text)
{
    QMessageBox::about(nullptr, "警告", text);
}

} // namespace

OpenFileDialog::OpenFileDialog(QWidget* parent)
    : QDialog(parent), ui(new Ui_OpenFileDialog()), typeGroup(nullptr), typeIndex(-1), width(0), height(0),
      logManager(std::make_unique<LogManager>()), converting(false)
{
    ui->setupUi(this);
    setWindowTitle(kTitle);
    typeGroup = new QButtonGroup(this);
    ui->open_file_path_label->setText(pathLabelText);

    lumo::YUVTypeInstance* registry = lumo::YUVTypeInstance::GetInstance();
    for (int index = 0; index < registry->GetSize(); index++) {
        auto* button = new QRadioButton(this);
        typeGroup->addButton(button, index);
        lumo::YUVType type;
        if (registry->GetType(type, index) != 0) {
            continue;
        }
        qDebug() << "===> idx: " << index << " name: " << QString::fromStdString(type.name);
        button->setText(QString::fromStdString(type.name));
        ui->yuv_type_list_layout->addWidget(button);
    }

    connect(ui->open_file_btn, SIGNAL(clicked()), this, SLOT(OpenFileClickListener()));
    connect(ui->open_file_video, SIGNAL(clicked()), this, SLOT(OpenMediaClickListener()));
    connect(ui->open_file_image, SIGNAL(clicked()), this, SLOT(OpenMediaClickListener()));
    connect(ui->open_file_ok, SIGNAL(clicked()), this, SLOT(OkClickListener()));
    connect(ui->open_file_cancel, SIGNAL(clicked()), this, SLOT(CancelClickListener()));
}

OpenFileDialog::~OpenFileDialog()
{
    // A conversion cannot be stopped; its thread, a child of the dialog,
    // must have ended before it is deleted with it.
    for (OpenFileConvThread* thread : findChildren<OpenFileConvThread*>()) {
        thread->wait();
    }
    delete ui;
}

QString OpenFileDialog::OpenPath()
{
    return QSettings("MediaLumo", "YUVLumo").value("CACHE_LAST_OPEN", "/").toString();
}

void OpenFileDialog::SavePath(QString dir)
{
    QSettings("MediaLumo", "YUVLumo").setValue("CACHE_LAST_OPEN", dir);
}

QStringList OpenFileDialog::GetPaths() const
{
    return paths;
}

int OpenFileDialog::GetTypeIndex() const
{
    return typeIndex;
}

int OpenFileDialog::GetWidth() const
{
    return width;
}

int OpenFileDialog::GetHeight() const
{
    return height;
}

QStringList OpenFileDialog::ChooseFiles()
{
    QStringList chosen;
    try {
        QFileDialog fileDialog(this, kTitle, OpenPath(), "Image(*.*)");
        fileDialog.setFileMode(QFileDialog::ExistingFiles);
        fileDialog.setViewMode(QFileDialog::Detail);
        if (fileDialog.exec()) {
            chosen = fileDialog.selectedFiles();
        }
    } catch (const std::exception&) {
        logManager->RecordError("OpenFileDialog", "OpenFile", "OpenFileBtnClick", kDialogError);
    }
    return chosen;
}

void OpenFileDialog::OpenFileClickListener()
{
    for (const QString& file : ChooseFiles()) {
        const QFileInfo info(file);
        SavePath(info.absolutePath());
        pathLabelText += info.fileName() + ";";
        ui->open_file_path_label->setText(pathLabelText);
        paths.append(file);
    }
}

void OpenFileDialog::OpenMediaClickListener()
{
    qDebug() << "OpenMediaClickListener!";
    const QStringList chosen = ChooseFiles();
    if (chosen.isEmpty()) {
        return;
    }
    // Only the last file chosen is converted.
    const QString input = chosen.last();
    SavePath(QFileInfo(input).absolutePath());
    QString output;
    do {
        output = input + "." + QString::number(Kest::KestTime::GetTime()) + ".yuv";
    } while (QFileInfo::exists(output));

    SetConverting(true);
    auto* thread = new OpenFileConvThread(input, output, this);
    connect(thread, SIGNAL(OnStart(double)), this, SLOT(ReadThread_OnStart(double)));
    connect(thread, SIGNAL(OnProgress(float)), this, SLOT(ReadThread_OnProgress(float)));
    connect(thread, SIGNAL(OnError(int)), this, SLOT(ReadThread_OnError(int)));
    connect(thread, SIGNAL(OnFinish(QString, QString, int, int)), this,
            SLOT(ReadThread_OnFinish(QString, QString, int, int)));
    thread->start(QThread::InheritPriority);
}

void OpenFileDialog::SetConverting(bool on)
{
    converting = on;
    for (QPushButton* button :
         {ui->open_file_btn, ui->open_file_video, ui->open_file_image, ui->open_file_cancel, ui->open_file_ok}) {
        button->setEnabled(!on);
    }
}

void OpenFileDialog::ReadThread_OnStart(double duration)
{
    qDebug() << "ReadThread_OnStart: " << duration;
}

void OpenFileDialog::ReadThread_OnProgress(float fraction)
{
    qDebug() << "ReadThread_OnProgress: " << fraction;
    // A stream of no length reports NaN for its first picture.
    const int percent = std::isfinite(fraction) ? static_cast<int>(fraction * 100) : 0;
    ui->open_file_path_label->setText(QString::number(percent) + "%");
}

void OpenFileDialog::ReadThread_OnError(int code)
{
    qDebug() << "ReadThread_OnError: " << code;
    ui->open_file_path_label->setText(code == OpenFileConvThread::ERROR_FORMAT ? "仅支持 YUV420P 的文件或图片"
                                                                               : "打开失败");
    ui->width_spin_box->setValue(0);
    ui->height_spin_box->setValue(0);
    SetConverting(false);
}

void OpenFileDialog::ReadThread_OnFinish(QString yuvPath, QString typeIdName, int width, int height)
{
    qDebug() << "ReadThread_OnFinish: " << width << "--" << height;
    ui->open_file_path_label->setText(yuvPath);
    ui->width_spin_box->setValue(width);
    ui->height_spin_box->setValue(height);
    const lumo::YUVType type =
        lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(typeIdName.toUtf8().toStdString());
    if (QAbstractButton* button = typeGroup->button(type.index)) {
        button->setChecked(true);
    }
    SetConverting(false);
    paths.append(yuvPath);
    ui->open_file_path_label->setText(paths.join(";"));
}

void OpenFileDialog::OkClickListener()
{
    width = ui->width_spin_box->value();
    height = ui->height_spin_box->value();
    if (paths.isEmpty()) {
        Warn("未选择任何文件");
        return;
    }
    if (typeGroup->checkedId() < 0) {
        Warn("未选择任何 YUV 类型");
        return;
    }
    if (width < 1) {
        Warn("请输入图像宽度");
        return;
    }
    if (height < 1) {
        Warn("请输入图像高度");
        return;
    }
    typeIndex = typeGroup->checkedId();
    QString joined;
    for (const QString& path : paths) {
        joined = QString("%1|%2").arg(joined, path);
    }
    qDebug() << joined;
    const QString typeText = typeGroup->checkedButton()->text();
    qDebug() << "checkedId:" << typeIndex << "," << typeText;
    qDebug() << "width:" << width << ",height:" << height;
    logManager->RecordOpenFile(width, height, typeText, joined);
    accept();
}

void OpenFileDialog::CancelClickListener()
{
    reject();
}

void OpenFileDialog::reject()
{
    if (converting) {
        return;
    }
    QDialog::reject();
}

void OpenFileDialog::workStart()
{
    qDebug() << "OpenFileDialog::workStart";
    setWindowTitle("媒体转换中,请稍等...(打开时长与媒体时长呈正相关");
}

void OpenFileDialog::workFinished(int width, int height, int index)
{
    qDebug() << "OpenFileDialog::workFinished";
    ui->width_spin_box->setValue(width);
    ui->height_spin_box->setValue(height);
    if (QAbstractButton* button = typeGroup->button(index)) {
        button->setChecked(true);
    }
    setWindowTitle(kTitle);
}
