#include "FailureThrottle.h"

namespace lumo_service {

namespace {

// Past this many keys the expired ones are swept out, so a flood of made-up
// e-mails cannot grow the table without end.
constexpr size_t kSweepAbove = 10000;

} // namespace

FailureThrottle::FailureThrottle(int maxAttempts, int64_t windowSeconds)
    : maxAttempts(maxAttempts)
    , windowSeconds(windowSeconds)
{
}

int64_t FailureThrottle::RetryAfter(const std::string& key, int64_t now)
{
    std::lock_guard<std::mutex> lock(mutex);
    auto found = attempts.find(key);
    if (found == attempts.end()) {
        return 0;
    }
    DropOld(found->second, now);
    if (static_cast<int>(found->second.size()) < maxAttempts) {
        return 0;
    }
    const int64_t wait = found->second.front() + windowSeconds - now;
    return wait > 0 ? wait : 1;
}

void FailureThrottle::Record(const std::string& key, int64_t now)
{
    std::lock_guard<std::mutex> lock(mutex);
    PruneIfLarge(now);
    std::deque<int64_t>& times = attempts[key];
    DropOld(times, now);
    times.push_back(now);
    while (static_cast<int>(times.size()) > maxAttempts) {
        times.pop_front();
    }
}

void FailureThrottle::Clear(const std::string& key)
{
    std::lock_guard<std::mutex> lock(mutex);
    attempts.erase(key);
}

void FailureThrottle::DropOld(std::deque<int64_t>& times, int64_t now) const
{
    while (!times.empty() && times.front() + windowSeconds <= now) {
        times.pop_front();
    }
}

void FailureThrottle::PruneIfLarge(int64_t now)
{
    if (attempts.size() < kSweepAbove) {
        return;
    }
    for (auto it = attempts.begin(); it != attempts.end();) {
        DropOld(it->second, now);
        it = it->second.empty() ? attempts.erase(it) : std::next(it);
    }
}

} // namespace lumo_service
