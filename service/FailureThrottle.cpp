#include "FailureThrottle.h"

#include <algorithm>

namespace lumo_service {

FailureThrottle::FailureThrottle(Store& store, std::string kind, int maxAttempts, int64_t windowSeconds,
                                 int64_t holdSeconds)
    : store(store)
    , kind(std::move(kind))
    , maxAttempts(maxAttempts)
    , windowSeconds(windowSeconds)
    , holdSeconds(holdSeconds)
{
}

StoreStatus FailureThrottle::RetryAfter(const std::string& key, int64_t now, int64_t& wait) const
{
    wait = 0;
    const std::string storeKey = StoreKey(key);
    int count = 0;
    int64_t oldest = 0;
    StoreStatus status = store.CountAttempts(storeKey, now - windowSeconds + 1, count, oldest);
    if (status != StoreStatus::Ok || count < maxAttempts) {
        return status;
    }
    if (holdSeconds > 0) {
        // Only the attempts of the last holdSeconds still hold the key; the
        // wait is said as the whole hold, which the newest of them may need.
        status = store.CountAttempts(storeKey, now - holdSeconds + 1, count, oldest);
        if (status == StoreStatus::Ok && count > 0) {
            wait = holdSeconds;
        }
        return status;
    }
    // An attempt stamped ahead of now (another process's clock) holds the
    // key for one window at most.
    wait = std::min(oldest + windowSeconds - now, windowSeconds);
    return StoreStatus::Ok;
}

StoreStatus FailureThrottle::Record(const std::string& key, int64_t now)
{
    return store.AddAttempt(StoreKey(key), now);
}

StoreStatus FailureThrottle::Clear(const std::string& key)
{
    return store.ClearAttempts(StoreKey(key));
}

std::string FailureThrottle::StoreKey(const std::string& key) const
{
    return kind + ":" + key;
}

} // namespace lumo_service
