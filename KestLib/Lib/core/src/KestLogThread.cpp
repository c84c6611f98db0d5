#include "core/KestLogThread.h"

#include <chrono>
#include <cstdio>
#include <mutex>

namespace Kest {

std::atomic<KestLogThread*> KestLogThread::instance{nullptr};
int KestLogThread::kest_log_thread_flag = 1;
KestLogThread::GarbageCollector KestLogThread::garbageCollector;

namespace {

// Both are constant-initialised, so they exist before any static
// initialiser can log and until the exit clean-up has run.
std::mutex creationMutex;

// Set once the process-exit clean-up has run: no writer is made after it.
std::atomic<bool> collected{false};

} // namespace

KestLogThread::GarbageCollector::~GarbageCollector()
{
    std::lock_guard<std::mutex> lock(creationMutex);
    collected = true;
    KestLogThread* log = instance.exchange(nullptr);
    if (log != nullptr) {
        log->Stop();
        delete log;
    }
}

KestLogThread* KestLogThread::GetInstance()
{
    KestLogThread* log = instance.load(std::memory_order_acquire);
    if (log != nullptr) {
        return log;
    }
    // Creating it under a lock costs nothing after the first call and keeps
    // two threads that log first at the same moment from making two writers.
    std::lock_guard<std::mutex> lock(creationMutex);
    log = instance.load(std::memory_order_acquire);
    if (log == nullptr && !collected) {
        log = new KestLogThread();
        if (kest_log_thread_flag != 0) {
            log->Start();
        }
        instance.store(log, std::memory_order_release);
    }
    return log;
}

KestLogThread::KestLogThread() : minLevel(5)
{
    logQueue.AddObserver(this);
}

KestLogThread::~KestLogThread()
{
    // The worker runs this object's Run(): stop it while the members exist.
    Stop();
    logQueue.RemoveObserver(this);
    KestLogBean* bean = nullptr;
    while (logQueue.FrontPop(bean) == 0) {
        delete bean;
    }
}

int KestLogThread::PutLog(KestLogBean* bean)
{
    if (bean == nullptr) {
        return -1;
    }
    if (kest_log_thread_flag != 0) {
        logQueue.Push(bean);
        return 0;
    }
    PrintLog(bean);
    delete bean;
    return 0;
}

int KestLogThread::PrintLog(KestLogBean* bean)
{
    if (bean == nullptr) {
        return -1;
    }
    KestLogParam lineParam;
    KestString linePath;
    {
        std::lock_guard<std::mutex> lock(settingsMutex);
        lineParam = param;
        linePath = path;
    }
    KestString text;
    if (lineParam.levelFlag) {
        char level[32] = {0};
        snprintf(level, sizeof(level), "[%2d] ", bean->GetLevel());
        text += level;
    }
    if (lineParam.timeFlag) {
        text += KestString("[") + bean->GetTimeStr() + "] ";
    }
    if (lineParam.fileFlag) {
        text += KestString("[") + bean->GetFile() + "(" + KestString::Number(bean->GetLine(), "%d") + ")" + "] ";
    }
    if (lineParam.funcFlag) {
        text += KestString("[") + bean->GetFunction() + "] ";
    }
    text += bean->GetLog();

    if (linePath.IsEmpty() || linePath.Length() == 0) {
        printf("%s", text.CStr());
        fflush(stdout);
        fflush(stderr);
        return 0;
    }
    FILE* file = fopen(linePath.CStr(), "at+");
    if (file == nullptr) {
        return 0;
    }
    fputs(text.CStr(), file);
    fflush(file);
    fclose(file);
    return 0;
}

int KestLogThread::Clear()
{
    KestLogBean* bean = nullptr;
    while (logQueue.FrontPop(bean) == 0) {
        if (bean != nullptr && bean->GetLevel() >= minLevel) {
            PrintLog(bean);
        }
        delete bean;
    }
    return 0;
}

int KestLogThread::SetLevel(int level)
{
    minLevel = level;
    return 0;
}

int KestLogThread::SetParam(KestLogParam& newParam)
{
    std::lock_guard<std::mutex> lock(settingsMutex);
    param = newParam;
    return 0;
}

int KestLogThread::SetPath(const KestString& newPath)
{
    std::lock_guard<std::mutex> lock(settingsMutex);
    // KestString assignment ignores an empty source; clear first so an empty
    // path really switches back to standard output.
    path.ClearStr();
    path = newPath;
    return 0;
}

int KestLogThread::Update()
{
    wakeCondition.notify_one();
    return 0;
}

int KestLogThread::BeforeStop()
{
    return 0;
}

int KestLogThread::Run()
{
    for (;;) {
        if (stopFlag != 0) {
            Clear();
            return 0;
        }
        EventLoop();
        if (logQueue.Size() == 0 && stopFlag == 0) {
            std::unique_lock<std::mutex> lock(wakeMutex);
            wakeCondition.wait_for(lock, std::chrono::milliseconds(500));
        }
        Clear();
    }
}

} // namespace Kest
