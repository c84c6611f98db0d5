#ifndef KEST_CORE_KESTLRUDATA_H
#define KEST_CORE_KESTLRUDATA_H

#include <cstdint>

namespace Kest {

// One entry of a KestLRUMap: the value it owns, when it was last used and
// how often it was found.
template <typename V>
struct KestLRUData {
    KestLRUData(int64_t time, V* value) : time(time), value(value) {}
    ~KestLRUData() { delete value; }
    KestLRUData(const KestLRUData&) = delete;
    KestLRUData& operator=(const KestLRUData&) = delete;

    // Counted on every hit; eviction does not look at it.
    int32_t hits = 0;
    // Milliseconds since the epoch (KestTime::GetTime) of the last use.
    int64_t time;
    // Owned; may be null.
    V* value;
};

} // namespace Kest

#endif
