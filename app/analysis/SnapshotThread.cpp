#include "analysis/SnapshotThread.h"

#include "core/KestSanitizerJoin.h"
#include "core/KestTime.h"

#include <QDebug>

#include <cstdlib>

namespace {

// Waiting requests beyond this are dropped.
constexpr int kMostTasks = 5;

} // namespace

SnapshotThread::SnapshotThread(Kest::KestLRUMap<int, QImage>* cache, lumo::YUVReader& reader, int width,
                               QObject* parent)
    : QThread(parent), cache(cache), reader(reader), width(width), stopFlag(0)
{
}

int SnapshotThread::PushTask(int index)
{
    std::lock_guard<std::mutex> lock(taskMutex);
    if (tasks.size() >= kMostTasks) {
        return -1;
    }
    tasks.append(index);
    return 0;
}

int SnapshotThread::StopAllTask()
{
    stopFlag.store(1);
    wait();
    Kest::KestMarkJoined(this);
    stopFlag.store(0);
    return 0;
}

int SnapshotThread::PendingTasks()
{
    std::lock_guard<std::mutex> lock(taskMutex);
    return tasks.size();
}

void SnapshotThread::run()
{
    while (stopFlag.load() == 0) {
        Kest::KestTime::KestSleepMilliseconds(1);
        int index = -1;
        {
            std::lock_guard<std::mutex> lock(taskMutex);
            if (tasks.isEmpty()) {
                continue;
            }
            index = tasks.takeFirst();
        }
        if (index < 0) {
            continue;
        }
        // A thumbnail already there (a duplicate request) is only counted.
        if (cache->Get(index, nullptr) == 1) {
            continue;
        }
        Render(index);
        qDebug() << "Send";
        emit GetImageSuccess();
        qDebug() << "End Send";
    }
    Kest::KestMarkWorkDone(this);
}

void SnapshotThread::Render(int index)
{
    int status = 0;
    unsigned char* rgb =
        reader.ReadFrameRGB24(nullptr, &status, static_cast<long>(index * reader.GetFrameLen()));
    if (rgb == nullptr || status < 1) {
        qDebug() << "ReadFrameRGB24 Fail";
        free(rgb);
        return;
    }
    {
        const QImage frame(rgb, reader.width, reader.height, 3 * reader.width, QImage::Format_RGB888);
        QImage* thumbnail = new QImage(frame.scaledToWidth(width, Qt::FastTransformation));
        cache->Put(index, thumbnail);
    }
    free(rgb);
}
