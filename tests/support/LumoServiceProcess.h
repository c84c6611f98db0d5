#ifndef LUMO_TESTS_LUMOSERVICEPROCESS_H
#define LUMO_TESTS_LUMOSERVICEPROCESS_H

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Spawn.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace lumo_test {

// Output and exit code of a program run to its end.
struct ToolResult {
    int exitCode = -1; // 128 + signal when killed; -1 when it could not run
    std::string out;
};

// Runs argv with input on its standard input, collects its standard output
// (standard error goes to stderrPath, or stays the caller's when empty) and
// kills it after the time limit.
inline ToolResult RunTool(const std::vector<std::string>& argv, const std::string& input = std::string(),
                          std::chrono::milliseconds limit = std::chrono::seconds(60),
                          const std::string& stderrPath = std::string())
{
    ToolResult result;
    int inPipe[2];
    int outPipe[2];
    if (pipe2(inPipe, O_CLOEXEC) != 0) {
        return result;
    }
    if (pipe2(outPipe, O_CLOEXEC) != 0) {
        close(inPipe[0]);
        close(inPipe[1]);
        return result;
    }
    SpawnOptions options;
    options.argv = argv;
    options.stdinFd = inPipe[0];
    options.stdoutFd = outPipe[1];
    options.stderrPath = stderrPath;
    options.appendOutput = true;
    const pid_t pid = Spawn(options);
    close(inPipe[0]);
    close(outPipe[1]);
    if (pid < 0) {
        close(inPipe[1]);
        close(outPipe[0]);
        return result;
    }
    // Small inputs fit the pipe, so writing first cannot block on a child
    // that is itself blocked writing.
    signal(SIGPIPE, SIG_IGN);
    if (!input.empty()) {
        const ssize_t written = write(inPipe[1], input.data(), input.size());
        (void)written; // a child that reads nothing sees an empty input
    }
    close(inPipe[1]);
    const auto deadline = std::chrono::steady_clock::now() + limit;
    char buffer[65536];
    bool killed = false;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            kill(pid, SIGKILL);
            killed = true;
            break;
        }
        pollfd fd {outPipe[0], POLLIN, 0};
        if (poll(&fd, 1, static_cast<int>(left.count())) <= 0) {
            continue;
        }
        const ssize_t got = read(outPipe[0], buffer, sizeof buffer);
        if (got <= 0) {
            break;
        }
        result.out.append(buffer, static_cast<size_t>(got));
    }
    close(outPipe[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    result.exitCode = killed ? -1 : WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

// A real lumo-service on a free loopback port: "serve --data DIR --listen
// 127.0.0.1:0" plus any extra arguments. Start waits for its "listening on
// https://HOST:PORT" line. Its standard error goes to logPath.
class LumoServiceProcess {
public:
    LumoServiceProcess(std::string binary, std::string dataDir, std::string logPath)
        : binary(std::move(binary))
        , dataDir(std::move(dataDir))
        , logPath(std::move(logPath))
    {
    }
    ~LumoServiceProcess() { Kill(); }
    LumoServiceProcess(const LumoServiceProcess&) = delete;
    LumoServiceProcess& operator=(const LumoServiceProcess&) = delete;

    // False when the service did not announce itself within the limit; the
    // line it printed (if any) is in Announcement().
    bool Start(const std::vector<std::string>& extra = {}, std::chrono::milliseconds limit = std::chrono::seconds(30))
    {
        Kill();
        int outPipe[2];
        if (pipe2(outPipe, O_CLOEXEC) != 0) {
            return false;
        }
        std::vector<std::string> argv {binary, "serve", "--data", dataDir, "--listen", "127.0.0.1:0"};
        argv.insert(argv.end(), extra.begin(), extra.end());
        // A test that crashes takes its service with it.
        SpawnOptions options;
        options.argv = argv;
        options.stdoutFd = outPipe[1];
        options.stderrPath = logPath;
        options.appendOutput = true;
        options.dieWithParent = true;
        pid = Spawn(options);
        close(outPipe[1]);
        if (pid < 0) {
            close(outPipe[0]);
            return false;
        }
        announcement.clear();
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (announcement.find('\n') == std::string::npos) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            pollfd fd {outPipe[0], POLLIN, 0};
            if (left.count() <= 0 || poll(&fd, 1, static_cast<int>(left.count())) <= 0) {
                break;
            }
            char c;
            if (read(outPipe[0], &c, 1) != 1) {
                break;
            }
            announcement.push_back(c);
        }
        // Standard output stays open (and unread) for the life of the service.
        outFd = outPipe[0];
        const std::string prefix = "listening on https://127.0.0.1:";
        if (announcement.compare(0, prefix.size(), prefix) != 0) {
            return false;
        }
        port = std::stoi(announcement.substr(prefix.size()));
        return port > 0;
    }

    // SIGTERM, then the exit code (128 + signal when it died of one, -1 when
    // it did not end within the limit and had to be killed).
    int Stop(std::chrono::milliseconds limit = std::chrono::seconds(30))
    {
        if (pid <= 0) {
            return -1;
        }
        kill(pid, SIGTERM);
        return Wait(limit);
    }

    void Kill()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            Wait(std::chrono::seconds(30));
        }
    }

    void Signal(int number) const
    {
        if (pid > 0) {
            kill(pid, number);
        }
    }

    bool Running() const { return pid > 0; }
    pid_t Pid() const { return pid; }
    int Port() const { return port; }
    const std::string& Announcement() const { return announcement; }
    std::string BaseUrl() const { return "https://127.0.0.1:" + std::to_string(port); }
    std::string CertPath() const { return dataDir + "/tls/cert.pem"; }
    const std::string& DataDir() const { return dataDir; }

    // An operator command on the same data folder.
    ToolResult Operator(const std::vector<std::string>& args, const std::string& input = std::string()) const
    {
        std::vector<std::string> argv {binary, "--data", dataDir};
        argv.insert(argv.end(), args.begin(), args.end());
        return RunTool(argv, input, std::chrono::seconds(60), logPath);
    }

private:
    int Wait(std::chrono::milliseconds limit)
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        int status = 0;
        int code = -1;
        for (;;) {
            const pid_t done = waitpid(pid, &status, WNOHANG);
            if (done == pid) {
                code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                break;
            }
            if (std::chrono::steady_clock::now() > deadline) {
                kill(pid, SIGKILL);
                waitpid(pid, &status, 0);
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        pid = -1;
        if (outFd >= 0) {
            close(outFd);
            outFd = -1;
        }
        return code;
    }

    std::string binary;
    std::string dataDir;
    std::string logPath;
    pid_t pid = -1;
    int outFd = -1;
    int port = 0;
    std::string announcement;
};

} // namespace lumo_test

#endif
