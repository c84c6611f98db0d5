#ifndef LUMO_SERVICE_FAILURETHROTTLE_H
#define LUMO_SERVICE_FAILURETHROTTLE_H

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <unordered_map>

namespace lumo_service {

// Counts attempts per key (an e-mail, an address) over a sliding window and
// says when a key has had too many. Kept in memory: a restart forgets it.
class FailureThrottle {
public:
    FailureThrottle(int maxAttempts, int64_t windowSeconds);

    // Seconds until key may try again; 0 when it may now.
    int64_t RetryAfter(const std::string& key, int64_t now);
    void Record(const std::string& key, int64_t now);
    void Clear(const std::string& key);

private:
    void DropOld(std::deque<int64_t>& times, int64_t now) const;
    void PruneIfLarge(int64_t now);

    const int maxAttempts;
    const int64_t windowSeconds;
    std::mutex mutex;
    std::unordered_map<std::string, std::deque<int64_t>> attempts;
};

} // namespace lumo_service

#endif
