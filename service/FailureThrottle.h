#ifndef LUMO_SERVICE_FAILURETHROTTLE_H
#define LUMO_SERVICE_FAILURETHROTTLE_H

#include "Store.h"

#include <cstdint>
#include <string>

namespace lumo_service {

// Counts attempts per key (a pair of e-mail and address, an address) over a
// sliding window and says when a key has had too many. The counts live in
// the store under "KIND:KEY", so every process on one database counts
// together and a restart forgets nothing.
//
// A hard throttle holds a key until its oldest attempt leaves the window. A
// soft one holds it only until holdSeconds after its newest attempt: whoever
// makes the attempts can then delay the key by seconds, never lock it out.
class FailureThrottle {
public:
    FailureThrottle(Store& store, std::string kind, int maxAttempts, int64_t windowSeconds,
                    int64_t holdSeconds = 0);

    // Seconds until key may try again (0: now) in wait.
    StoreStatus RetryAfter(const std::string& key, int64_t now, int64_t& wait) const;
    StoreStatus Record(const std::string& key, int64_t now);
    StoreStatus Clear(const std::string& key);

private:
    std::string StoreKey(const std::string& key) const;

    Store& store;
    const std::string kind;
    const int maxAttempts;
    const int64_t windowSeconds;
    const int64_t holdSeconds;
};

} // namespace lumo_service

#endif
