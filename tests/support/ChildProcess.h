#ifndef LUMO_TESTS_CHILDPROCESS_H
#define LUMO_TESTS_CHILDPROCESS_H

#include "Spawn.h"

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace lumo_test {

// Result of running a program: its exit code, or timedOut when it had to be
// killed.
struct ChildResult {
    bool timedOut = false;
    int exitCode = -1;
};

// Runs argv[0] with the given arguments, standard output to stdoutPath (when
// not empty), and kills it after the time limit.
inline ChildResult RunChild(const std::vector<std::string>& argv, std::chrono::milliseconds limit,
                            const std::string& stdoutPath = "")
{
    ChildResult result;
    SpawnOptions options;
    options.argv = argv;
    options.stdoutPath = stdoutPath;
    const pid_t pid = Spawn(options);
    if (pid < 0) {
        return result;
    }
    const auto deadline = std::chrono::steady_clock::now() + limit;
    int status = 0;
    for (;;) {
        const pid_t done = waitpid(pid, &status, WNOHANG);
        if (done == pid) {
            break;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            result.timedOut = true;
            return result;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

} // namespace lumo_test

#endif
