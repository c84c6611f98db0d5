#include "core/KestThread.h"

#include "core/KestTime.h"

namespace Kest {

KestThread::KestThread() : stopFlag(0), eventLoopFlag(0), eventLoopRunning(0), worker(nullptr) {}

KestThread::~KestThread()
{
    Stop();
    std::lock_guard<std::mutex> lock(runnablesMutex);
    while (!runnables.empty()) {
        runnables.pop();
    }
}

int KestThread::BeforeStop()
{
    return 0;
}

int KestThread::Start()
{
    if (worker != nullptr) {
        return -1;
    }
    stopFlag = 0;
    worker = new std::thread([this] { Run(); });
    return 0;
}

int KestThread::Stop()
{
    if (worker == nullptr) {
        return -1;
    }
    stopFlag = 1;
    wakeCondition.notify_one();
    BeforeStop();
    worker->join();
    delete worker;
    worker = nullptr;
    stopFlag = 0;
    return 0;
}

int KestThread::PushEvent(KestRunnable* runnable)
{
    std::lock_guard<std::mutex> lock(runnablesMutex);
    runnables.push(runnable);
    return 0;
}

int KestThread::EventLoop()
{
    if (eventLoopFlag == 0) {
        return -1;
    }
    eventLoopRunning = 1;
    for (;;) {
        KestRunnable* runnable = nullptr;
        {
            std::lock_guard<std::mutex> lock(runnablesMutex);
            if (runnables.empty()) {
                break;
            }
            runnable = runnables.front();
            runnables.pop();
        }
        if (runnable != nullptr) {
            runnable->Run();
        }
    }
    while (eventLoopFlag != 0) {
        KestTime::KestSleepMilliseconds(1);
    }
    eventLoopRunning = 0;
    return 0;
}

int KestThread::StartEventLoop()
{
    eventLoopFlag = 1;
    // Spare the worker the rest of its timed wait.
    wakeCondition.notify_one();
    while (eventLoopRunning != 1) {
        KestTime::KestSleepMilliseconds(1);
    }
    return 0;
}

int KestThread::StopEventLoop()
{
    eventLoopFlag = 0;
    while (eventLoopRunning != 0) {
        KestTime::KestSleepMilliseconds(1);
    }
    return 0;
}

} // namespace Kest
