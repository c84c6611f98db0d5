#include "core/KestLogBean.h"

#include <cstdio>
#include <ctime>

namespace Kest {

KestLogBean::KestLogBean(int level, const KestString& log, const KestString& file, const KestString& function,
                         int line)
    : level(5), log(log), file(file), function(function), line(line)
{
    this->level = level;
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    char buffer[64] = {0};
    snprintf(buffer, sizeof(buffer), "%d-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900, local.tm_mon + 1,
             local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    timeStr = KestString(buffer);
}

int KestLogBean::GetLevel() const
{
    return level;
}

const KestString& KestLogBean::GetLog() const
{
    return log;
}

const KestString& KestLogBean::GetFile() const
{
    return file;
}

const KestString& KestLogBean::GetFunction() const
{
    return function;
}

int KestLogBean::GetLine() const
{
    return line;
}

const KestString& KestLogBean::GetTimeStr() const
{
    return timeStr;
}

} // namespace Kest
