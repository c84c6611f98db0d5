#ifndef KEST_CORE_KESTTIME_H
#define KEST_CORE_KESTTIME_H

#include "core/KestString.h"

#include <cstdint>

namespace Kest {

class KestTime {
public:
    // Milliseconds since the epoch, from the system clock.
    static int64_t GetTime();
    // Local time as "%Y-%m-%d %H:%M:%S".
    static KestString TimeFormat();
    static int KestSleepMilliseconds(int ms);
};

} // namespace Kest

#endif
