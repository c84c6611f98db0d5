#ifndef KEST_CORE_KESTLOGBEAN_H
#define KEST_CORE_KESTLOGBEAN_H

#include "core/KestString.h"

namespace Kest {

// One log record, stamped with the local time at construction.
class KestLogBean {
public:
    KestLogBean(int level, const KestString& log, const KestString& file, const KestString& function, int line);
    KestLogBean(const KestLogBean& other) = default;
    KestLogBean& operator=(const KestLogBean& other) = default;

    int GetLevel() const;
    const KestString& GetLog() const;
    const KestString& GetFile() const;
    const KestString& GetFunction() const;
    int GetLine() const;
    const KestString& GetTimeStr() const;

private:
    int level;
    KestString log;
    KestString file;
    KestString function;
    int line;
    KestString timeStr;
};

} // namespace Kest

#endif
