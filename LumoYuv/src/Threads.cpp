#include "lumo/Threads.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <thread>

namespace lumo {

namespace {

constexpr int kMostThreads = 64;

std::atomic<int> chosen{0};

int DefaultThreads()
{
    if (const char* env = std::getenv("LUMO_THREADS")) {
        const int n = std::atoi(env);
        if (n >= 1) {
            return std::min(n, kMostThreads);
        }
    }
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, 64u));
}

} // namespace

int SetMaxThreads(int threads)
{
    return chosen.exchange(std::clamp(threads, 0, kMostThreads));
}

int GetMaxThreads()
{
    const int set = chosen.load();
    if (set > 0) {
        return set;
    }
    static const int fallback = DefaultThreads();
    return fallback;
}

} // namespace lumo
