#include "core/KestTime.h"

#include <chrono>
#include <ctime>
#include <thread>

namespace Kest {

int64_t KestTime::GetTime()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

KestString KestTime::TimeFormat()
{
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    char buffer[64] = {0};
    strftime(buffer, sizeof(buffer), "%Y-%m-%d %H:%M:%S", &local);
    return KestString(buffer);
}

int KestTime::KestSleepMilliseconds(int ms)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    return 0;
}

} // namespace Kest
