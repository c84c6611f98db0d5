#ifndef LUMO_ANALYSIS_SNAPSHOTTHREAD_H
#define LUMO_ANALYSIS_SNAPSHOTTHREAD_H

#include "core/KestLRUMap.h"
#include "lumo/YUVReader.h"

#include <QImage>
#include <QList>
#include <QThread>

#include <atomic>
#include <mutex>

// Renders a timeline's thumbnails off the user-interface thread: it polls
// its task list every millisecond, reads each requested frame as RGB, scales
// it to the thumbnail width and puts it into the timeline's cache. At most 5
// requests wait at a time.
class SnapshotThread : public QThread {
    Q_OBJECT

public:
    // cache belongs to the caller and must outlive the thread's work.
    SnapshotThread(Kest::KestLRUMap<int, QImage>* cache, lumo::YUVReader& reader, int width,
                   QObject* parent = nullptr);

    // Queues a frame index: 0, or -1 when 5 requests already wait (the
    // request is dropped; the next paint asks again). Duplicates are kept.
    int PushTask(int index);
    // Stops the worker and waits for it; the task list is kept. Returns 0.
    int StopAllTask();
    // Requests waiting now.
    int PendingTasks();

signals:
    // After each processed request, whether a thumbnail came of it or not.
    void GetImageSuccess();

protected:
    void run() override;

private:
    // The thumbnail of one frame into the cache, unless it is there already.
    void Render(int index);

    Kest::KestLRUMap<int, QImage>* cache;
    lumo::YUVReader reader;
    int width;
    std::mutex taskMutex;
    QList<int> tasks;
    std::atomic<int> stopFlag;
};

#endif
