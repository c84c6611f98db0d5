#include "analysis/VideoTimeLine.h"

#include "analysis/SnapshotThread.h"

#include <QDebug>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>

namespace {

constexpr int kHeight = 80;
constexpr int kCacheSize = 100;
// Frames this large in either direction get a thumbnail every fifth frame.
constexpr int kLargeFrame = 1279;
constexpr int kLargeFrameStep = 5;

} // namespace

VideoTimeLine::VideoTimeLine(lumo::YUVReader& reader, QWidget* parent)
    : QWidget(parent),
      reader(reader),
      cellWidth(50),
      pressed(0),
      lastX(-1),
      lastY(-1),
      offset(0),
      cache(kCacheSize),
      activeFrame(0),
      snapshotThread(nullptr)
{
    setMinimumHeight(kHeight);
    setMaximumHeight(kHeight);
    snapshotThread = new SnapshotThread(&cache, this->reader, cellWidth, this);
    connect(snapshotThread, SIGNAL(GetImageSuccess()), this, SLOT(GetImageSuccess()));
}

VideoTimeLine::~VideoTimeLine()
{
    snapshotThread->StopAllTask();
}

int VideoTimeLine::SetActiveFrameIndex(int index, int scroll)
{
    if (scroll != 0) {
        offset = (index - 1) * cellWidth;
    }
    activeFrame = index;
    update();
    return 0;
}

void VideoTimeLine::ClearCache()
{
    qDebug() << "ClearCache";
    snapshotThread->StopAllTask();
}

int VideoTimeLine::GetActiveFrameIndex() const
{
    return activeFrame;
}

int VideoTimeLine::GetOffset() const
{
    return offset;
}

SnapshotThread* VideoTimeLine::GetSnapshotThread() const
{
    return snapshotThread;
}

Kest::KestLRUMap<int, QImage>& VideoTimeLine::GetCache()
{
    return cache;
}

void VideoTimeLine::GetImageSuccess()
{
    update();
}

void VideoTimeLine::paintEvent(QPaintEvent*)
{
    if (!snapshotThread->isRunning()) {
        qDebug() << "Snapshot Thread Start";
        snapshotThread->start();
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.fillRect(rect(), QColor(255, 255, 255, 255));
    QFont font("宋体");
    font.setPointSize(12);
    painter.setFont(font);

    const int first = std::max(0, offset / cellWidth);
    int end = first + width() / cellWidth + 3;
    const int frames = reader.GetFrameCount();
    if (end >= frames) {
        end = frames;
    }
    const bool large = reader.height > kLargeFrame || reader.width > kLargeFrame;
    const int thumbnailHeight =
        static_cast<int>(static_cast<double>(reader.height) / static_cast<double>(reader.width) * cellWidth);
    for (int i = first; i < end; i++) {
        const int x = i * cellWidth - offset;
        if ((!large || i % kLargeFrameStep == 0) && x >= -5 - cellWidth && x <= width()) {
            QImage thumbnail;
            const int found = cache.Get(i, &thumbnail);
            if (found == 1) {
                painter.drawImage(QRect(x, kHeight - thumbnailHeight, cellWidth, thumbnailHeight), thumbnail,
                                  thumbnail.rect());
            } else if (found < 0) {
                snapshotThread->PushTask(i);
            }
        }
        painter.drawLine(x, 0, x, kHeight);
        if (i == activeFrame) {
            // Left in force for the rest of the pass: the separators right of
            // the active frame come out 2 pixels wide.
            painter.setPen(QPen(QBrush(QColor(0, 0, 0, 255)), 2.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
            painter.setBrush(QBrush(QColor(255, 160, 90, 127), Qt::SolidPattern));
            painter.drawRect(x, 0, cellWidth, kHeight);
        }
        painter.drawText(QPointF(i * cellWidth + 3 - offset, 15.0), QString::number(i));
    }
}

void VideoTimeLine::mousePressEvent(QMouseEvent*)
{
    pressed = 1;
}

void VideoTimeLine::mouseMoveEvent(QMouseEvent* event)
{
    if (pressed == 0) {
        return;
    }
    const int x = qRound(event->localPos().x());
    const int y = qRound(event->localPos().y());
    if (lastX == -1) {
        lastX = x;
        lastY = y;
        return;
    }
    offset += lastX - x;
    lastX = x;
    lastY = y;
    update();
}

void VideoTimeLine::mouseReleaseEvent(QMouseEvent*)
{
    pressed = 0;
    lastX = -1;
    lastY = -1;
}

void VideoTimeLine::mouseDoubleClickEvent(QMouseEvent* event)
{
    const int frame = (qRound(event->localPos().x()) + offset) / cellWidth;
    update();
    emit onSelectFrame(frame, 1);
}
