#ifndef LUMO_TESTS_TESTFIFO_H
#define LUMO_TESTS_TESTFIFO_H

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumo_test {

// A named pipe that nobody writes to: opening it for reading in the usual
// blocking way waits for ever.
class TestFifo {
public:
    explicit TestFifo(std::string path) : path(std::move(path)) { made = mkfifo(this->path.c_str(), 0600) == 0; }
    ~TestFifo() { unlink(path.c_str()); }
    TestFifo(const TestFifo&) = delete;
    TestFifo& operator=(const TestFifo&) = delete;

    bool Made() const { return made; }
    const std::string& Path() const { return path; }

    // Runs call on a thread of its own and tells whether it returned within
    // the limit. If it did not, a writer opens and closes the pipe, which
    // releases a reader stuck in open (it then reads an empty stream), so
    // the test ends with a failure instead of hanging.
    bool ReturnsWithin(const std::function<void()>& call, std::chrono::milliseconds limit)
    {
        std::packaged_task<void()> task(call);
        std::future<void> done = task.get_future();
        std::thread runner(std::move(task));
        const bool returned = done.wait_for(limit) == std::future_status::ready;
        while (done.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready) {
            const int writer = open(path.c_str(), O_WRONLY | O_NONBLOCK);
            if (writer >= 0) {
                close(writer);
            }
        }
        runner.join();
        return returned;
    }

private:
    std::string path;
    bool made = false;
};

} // namespace lumo_test

#endif
