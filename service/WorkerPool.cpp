#include "WorkerPool.h"

namespace lumo_service {

WorkerPool::WorkerPool(int count)
{
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([this] { Loop(); });
    }
}

WorkerPool::~WorkerPool()
{
    Stop();
}

bool WorkerPool::Post(std::function<void()> job)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (stopping) {
            return false;
        }
        jobs.push_back(std::move(job));
    }
    wake.notify_one();
    return true;
}

void WorkerPool::Stop()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    wake.notify_all();
    for (std::thread& thread : threads) {
        if (thread.joinable()) {
            thread.join();
        }
    }
}

void WorkerPool::Loop()
{
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock<std::mutex> lock(mutex);
            wake.wait(lock, [this] { return stopping || !jobs.empty(); });
            if (jobs.empty()) {
                return;
            }
            job = std::move(jobs.front());
            jobs.pop_front();
        }
        job();
    }
}

} // namespace lumo_service
