#ifndef KEST_CORE_KESTOBSERVERQUEUE_H
#define KEST_CORE_KESTOBSERVERQUEUE_H

#include "core/KestSubject.h"

#include <mutex>
#include <queue>
#include <utility>

namespace Kest {

// A locked FIFO that notifies its observers on every push and pop. The
// observers are notified under the queue lock, so the lock order is always
// queue lock, then subject lock.
template <typename T>
class KestObserverQueue : public KestSubject {
public:
    ~KestObserverQueue() override
    {
        std::lock_guard<std::mutex> lock(queueMutex);
        while (!queue.empty()) {
            queue.pop();
        }
    }

    int Push(T& value)
    {
        std::lock_guard<std::mutex> lock(queueMutex);
        queue.push(value);
        NotifyObserver();
        return 0;
    }

    // -1 when empty; otherwise moves the front element into value.
    int FrontPop(T& value)
    {
        std::lock_guard<std::mutex> lock(queueMutex);
        if (queue.empty()) {
            return -1;
        }
        value = std::move(queue.front());
        queue.pop();
        NotifyObserver();
        return 0;
    }

    int Size()
    {
        std::lock_guard<std::mutex> lock(queueMutex);
        return static_cast<int>(queue.size());
    }

private:
    std::mutex queueMutex;
    std::queue<T> queue;
};

} // namespace Kest

#endif
