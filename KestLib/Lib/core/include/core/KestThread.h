#ifndef KEST_CORE_KESTTHREAD_H
#define KEST_CORE_KESTTHREAD_H

#include "core/KestRunnable.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <queue>
#include <thread>

namespace Kest {

// A worker thread with a stop flag, a wake-up condition and a queue of
// runnables that its body runs inside EventLoop(). A derived class that
// overrides Run() must call Stop() in its own destructor, before its members
// go away under a running worker.
class KestThread {
public:
    KestThread();
    KestThread(const KestThread&) = delete;
    KestThread& operator=(const KestThread&) = delete;

    // The worker's body.
    virtual int Run() = 0;
    // Called by Stop() after the stop flag is set, before joining.
    virtual int BeforeStop();
    virtual ~KestThread();

    // -1 if already started.
    int Start();
    // -1 if not started; otherwise sets the stop flag, wakes and joins the worker.
    int Stop();

    // Queues a runnable (not owned) for the next event loop; any thread may
    // push.
    int PushEvent(KestRunnable* runnable);

    // Called by the worker: -1 unless an event loop was requested; otherwise
    // runs every queued runnable and stays until StopEventLoop().
    int EventLoop();
    // Called by another thread: requests the event loop and waits until the
    // worker is in it. Waits forever if no worker enters it.
    int StartEventLoop();
    // Ends the event loop and waits until the worker has left it.
    int StopEventLoop();

protected:
    std::atomic<int> stopFlag;
    std::atomic<int> eventLoopFlag;
    std::atomic<int> eventLoopRunning;
    std::condition_variable wakeCondition;
    std::mutex wakeMutex;
    std::thread* worker;
    // Guards runnables.
    std::mutex runnablesMutex;
    std::queue<KestRunnable*> runnables;
};

} // namespace Kest

#endif
