#include "core/KestLog.h"

#include "core/KestLogBean.h"
#include "core/KestLogParam.h"
#include "core/KestLogThread.h"
#include "core/KestRunnable.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

using Kest::KestLogBean;
using Kest::KestLogThread;

void kest_log_log(const char* file, const char* function, int line, int level, const char* format, ...)
{
    char buffer[4096] = {0};
    if (format != nullptr) {
        va_list args;
        va_start(args, format);
        vsnprintf(buffer, sizeof(buffer), format, args);
        va_end(args);
    }
    KestLogThread* log = KestLogThread::GetInstance();
    if (log != nullptr) {
        log->PutLog(new KestLogBean(level, buffer, file, function, line));
    }
}

int kest_log_set_level(int level)
{
    KestLogThread* log = KestLogThread::GetInstance();
    return log != nullptr ? log->SetLevel(level) : -1;
}

int kest_log_param(int levelFlag, int timeFlag, int fileFlag, int lineFlag, int funcFlag)
{
    Kest::KestLogParam param;
    param.levelFlag = levelFlag;
    param.timeFlag = timeFlag;
    param.fileFlag = fileFlag;
    param.lineFlag = lineFlag;
    param.funcFlag = funcFlag;
    KestLogThread* log = KestLogThread::GetInstance();
    return log != nullptr ? log->SetParam(param) : -1;
}

int kest_log_path(const char* path)
{
    KestLogThread* log = KestLogThread::GetInstance();
    return log != nullptr ? log->SetPath(path) : -1;
}

int* kest_log_thread(int flag)
{
    KestLogThread::kest_log_thread_flag = flag;
    return &KestLogThread::kest_log_thread_flag;
}

int kest_log_clear(void)
{
    class ClearKestRunnable : public Kest::KestRunnable {
    public:
        explicit ClearKestRunnable(KestLogThread* log) : log(log) {}
        int Run() override { return log->Clear(); }

    private:
        KestLogThread* log;
    };

    KestLogThread* log = KestLogThread::GetInstance();
    if (log == nullptr) {
        return -1;
    }
    // The event-loop handshake has room for one caller at a time: a second
    // one stopping the loop early would leave the first waiting for ever.
    static std::mutex clearMutex;
    std::lock_guard<std::mutex> lock(clearMutex);
    ClearKestRunnable clear(log);
    log->PushEvent(&clear);
    log->StartEventLoop();
    log->StopEventLoop();
    return 0;
}
