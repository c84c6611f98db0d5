#ifndef LUMO_SERVICE_WORKERPOOL_H
#define LUMO_SERVICE_WORKERPOOL_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace lumo_service {

// A fixed set of threads running jobs in the order they come. The HTTP
// server's own threads only move bytes; handlers, which may wait on the
// database or hash a password, run here.
class WorkerPool {
public:
    explicit WorkerPool(int threads);
    // Runs every job handed over, then joins the threads.
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    // False, with the job dropped, once Stop has begun.
    bool Post(std::function<void()> job);
    // Runs the jobs already handed over and joins the threads; Post after
    // this runs nothing.
    void Stop();

private:
    void Loop();

    std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::function<void()>> jobs;
    bool stopping = false;
    std::vector<std::thread> threads;
};

} // namespace lumo_service

#endif
