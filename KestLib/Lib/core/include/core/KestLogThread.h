#ifndef KEST_CORE_KESTLOGTHREAD_H
#define KEST_CORE_KESTLOGTHREAD_H

#include "core/KestLogBean.h"
#include "core/KestLogParam.h"
#include "core/KestObserver.h"
#include "core/KestObserverQueue.h"
#include "core/KestString.h"
#include "core/KestThread.h"

#include <atomic>
#include <mutex>

namespace Kest {

// The process-wide log writer. Records are handed over through a locked
// queue and formatted and written on the single worker thread, so lines from
// different threads never interleave. The settings may change at any time
// from any thread: each line is written with a snapshot of them taken under
// their lock.
class KestLogThread : public KestThread, public KestObserver {
public:
    // The singleton, created on first use; its worker is started then when
    // the thread switch is on. Null once the process-exit clean-up has run:
    // a line logged from a later static destructor is dropped.
    static KestLogThread* GetInstance();
    // The switch read when the singleton is created: non-zero runs the worker.
    static int kest_log_thread_flag;

    KestLogThread();
    ~KestLogThread() override;

    // Takes ownership of bean. With the thread switch on it is queued for the
    // worker; off, it is printed at once (without the level filter) and deleted.
    int PutLog(KestLogBean* bean);
    // Formats and writes one line.
    int PrintLog(KestLogBean* bean);
    // Prints every pending record at or above the minimum level; deletes all.
    int Clear();

    int SetLevel(int level);
    int SetParam(KestLogParam& param);
    int SetPath(const KestString& path);

    int Update() override;
    int BeforeStop() override;

protected:
    int Run() override;

private:
    class GarbageCollector {
    public:
        ~GarbageCollector();
    };

    static std::atomic<KestLogThread*> instance;
    static GarbageCollector garbageCollector;

    KestObserverQueue<KestLogBean*> logQueue;
    std::atomic<int> minLevel;
    // Guards param and path.
    std::mutex settingsMutex;
    KestLogParam param;
    KestString path;
};

} // namespace Kest

#endif
