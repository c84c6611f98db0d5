#include "shell/YUVListItem.h"

#include "analysis/LumoImageView.h"
#include "core/KestSanitizerJoin.h"

#include "ui_YUVListItem.h"

#include <QImage>
#include <QLabel>
#include <QPixmap>
#include <QSemaphore>
#include <QThread>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int kThumbnails = 10;
constexpr int kThumbnailHeight = 100;
// Frames of more than 64 Mpixel (8192 x 8192) get a placeholder: one such
// frame takes over 192 MB as RGB and seconds to read and scale.
constexpr qint64 kMostThumbnailPixels = 8192LL * 8192;
// Thumbnail frames read at the same time over all entries, so that a long
// list of large files at start takes the memory of two frames, not of all.
constexpr int kConcurrentReads = 2;
// How long a waiting thumbnail thread sleeps before it looks whether its
// entry is going away.
constexpr int kTurnPollMs = 20;
// The widest place a thumbnail holds before its picture is there.
constexpr int kMostPlaceWidth = 1000;

QSemaphore& ReadTurns()
{
    static QSemaphore turns(kConcurrentReads);
    return turns;
}

// Frame frame of the file scaled to the thumbnail height; a null image when
// it cannot be read.
QImage ReadThumbnail(const lumo::YUVReader& reader, int frame)
{
    int status = 0;
    unsigned char* rgb = reader.ReadFrameRGB24(nullptr, &status, static_cast<long>(frame * reader.GetFrameLen()));
    QImage thumbnail;
    if (status >= 1 && rgb != nullptr) {
        const QImage image(rgb, reader.width, reader.height, 3 * reader.width, QImage::Format_RGB888);
        thumbnail = image.scaledToHeight(kThumbnailHeight, Qt::SmoothTransformation);
    }
    free(rgb);
    return thumbnail;
}

// A framed place in the row, as wide as the thumbnail will be.
QLabel* NewPlace(const lumo::YUVReader& reader, QWidget* parent)
{
    auto* place = new QLabel(parent);
    const double width = static_cast<double>(kThumbnailHeight) * reader.width / reader.height;
    place->setFixedSize(std::clamp(static_cast<int>(width + 0.5), 1, kMostPlaceWidth), kThumbnailHeight);
    place->setFrameShape(QFrame::Box);
    place->setAlignment(Qt::AlignCenter);
    return place;
}

} // namespace

YUVListItem::YUVListItem(int index, QWidget* parent)
    : QWidget(parent), ui(new Ui_YUVListItem()), index(index), stopThumbnails(false)
{
    ui->setupUi(this);
    connect(ui->show_detail_btn, SIGNAL(clicked()), this, SLOT(onDetailClick()));
    connect(ui->close_yuv_btn, SIGNAL(clicked()), this, SLOT(onCloseClick()));
}

YUVListItem::~YUVListItem()
{
    StopThumbnails();
    delete ui;
}

int YUVListItem::SetYuvReader(lumo::YUVReader& reader)
{
    StopThumbnails();
    this->reader = reader;
    if (this->reader.type == lumo::YUVType::YUV_TYPE_UNKNOW) {
        return -1;
    }
    const int frames = this->reader.GetFrameCount();
    SetPath(QString::fromStdString(this->reader.type.name) + "        " + QString::number(frames) + "帧" +
            "        " + QString::fromStdString(this->reader.path));
    const int shown = std::min(frames, kThumbnails);
    const bool tooLarge = static_cast<qint64>(this->reader.width) * this->reader.height > kMostThumbnailPixels;
    for (int i = 0; i < shown; i++) {
        QLabel* place = NewPlace(this->reader, this);
        if (tooLarge) {
            place->setText(QString("画面过大\n%1x%2").arg(this->reader.width).arg(this->reader.height));
        }
        ui->small_image_layout->addWidget(place);
        thumbnails.append(place);
    }
    ui->small_image_layout->addStretch();
    if (!tooLarge && shown > 0) {
        StartThumbnails(shown);
    }
    return 0;
}

void YUVListItem::StartThumbnails(int count)
{
    const lumo::YUVReader source = reader;
    thumbnailThread.reset(QThread::create([this, source, count] {
        for (int i = 0; i < count && WaitForReadTurn(); i++) {
            const QImage image = ReadThumbnail(source, i);
            ReadTurns().release();
            // Shown on the entry's own thread; a call still waiting there
            // when the entry goes is dropped with it.
            QMetaObject::invokeMethod(this, [this, i, image] { ShowThumbnail(i, image); }, Qt::QueuedConnection);
        }
        Kest::KestMarkWorkDone(this);
    }));
    thumbnailThread->start();
}

void YUVListItem::StopThumbnails()
{
    if (thumbnailThread) {
        stopThumbnails = true;
        thumbnailThread->wait();
        Kest::KestMarkJoined(this);
        thumbnailThread.reset();
        stopThumbnails = false;
    }
}

bool YUVListItem::WaitForReadTurn()
{
    while (!ReadTurns().tryAcquire(1, kTurnPollMs)) {
        if (stopThumbnails) {
            return false;
        }
    }
    if (stopThumbnails) {
        ReadTurns().release();
        return false;
    }
    return true;
}

void YUVListItem::ShowThumbnail(int frame, const QImage& image)
{
    QLabel* place = thumbnails.value(frame);
    if (place == nullptr) {
        return;
    }
    if (image.isNull()) {
        thumbnails[frame] = nullptr;
        delete place;
        return;
    }
    place->setFrameShape(QFrame::NoFrame);
    place->setFixedSize(image.size());
    place->setPixmap(QPixmap::fromImage(image));
}

int YUVListItem::SetPath(QString text)
{
    path = text;
    ui->image_path_label->setText(text);
    return 0;
}

int YUVListItem::GetIndex() const
{
    return index;
}

QString YUVListItem::GetPath() const
{
    return path;
}

void YUVListItem::onDetailClick()
{
    auto* view = new LumoImageView(reader, nullptr);
    view->show();
}

void YUVListItem::onCloseClick()
{
    emit OnItemCloseClick(index, this);
}
