#ifndef LUMO_TESTS_BACKGROUNDPROCESS_H
#define LUMO_TESTS_BACKGROUNDPROCESS_H

#include "Spawn.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace lumo_test {

// The calling process's environment as a map, to be changed and handed to
// BackgroundProcess::Start.
inline std::map<std::string, std::string> CurrentEnvironment()
{
    std::map<std::string, std::string> variables;
    for (char** entry = environ; *entry != nullptr; entry++) {
        const std::string text(*entry);
        const size_t equals = text.find('=');
        if (equals != std::string::npos) {
            variables[text.substr(0, equals)] = text.substr(equals + 1);
        }
    }
    return variables;
}

// A program running beside the test, in a process group of its own, with
// its standard output and error in one file. It is killed (with its whole
// group) when the object goes away, and it dies with the test.
class BackgroundProcess {
public:
    BackgroundProcess() = default;
    ~BackgroundProcess()
    {
        // The group outlives its first process when that left children
        // behind.
        if (group > 0) {
            kill(-group, SIGKILL);
            Wait(std::chrono::seconds(30));
        }
    }
    BackgroundProcess(const BackgroundProcess&) = delete;
    BackgroundProcess& operator=(const BackgroundProcess&) = delete;

    bool Start(const std::vector<std::string>& argv, const std::map<std::string, std::string>& environment,
               const std::string& outputPath)
    {
        output = outputPath;
        SpawnOptions options;
        options.argv = argv;
        options.environment = environment;
        options.stdinPath = "/dev/null";
        options.stdoutPath = outputPath;
        options.stderrPath = outputPath;
        options.ownGroup = true;
        options.dieWithParent = true;
        options.noCore = true;
        pid = Spawn(options);
        if (pid > 0) {
            group = pid;
        }
        return pid > 0;
    }

    pid_t Pid() const { return pid; }
    bool Running() const { return pid > 0; }
    std::string Output() const
    {
        std::ifstream in(output, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    // Waits until the output holds text; false if the program ended first or
    // the limit passed.
    bool WaitForOutput(const std::string& text, std::chrono::milliseconds limit)
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        for (;;) {
            if (Output().find(text) != std::string::npos) {
                return true;
            }
            if (pid <= 0 || waitpid(pid, &status, WNOHANG) == pid) {
                if (pid > 0) {
                    ended = true;
                    exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                    pid = -1;
                }
                return Output().find(text) != std::string::npos;
            }
            if (std::chrono::steady_clock::now() >= deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    void Signal(int number) const
    {
        if (pid > 0) {
            kill(pid, number);
        }
    }

    // The signal a terminal's Ctrl+C sends: to the whole foreground group.
    void SignalGroup(int number) const
    {
        if (group > 0) {
            kill(-group, number);
        }
    }

    // The exit code (128 + signal when it died of one) once the program has
    // ended; -1 when it is still running after the limit.
    int Wait(std::chrono::milliseconds limit)
    {
        if (ended) {
            return exitCode;
        }
        if (pid <= 0) {
            return -1;
        }
        const auto deadline = std::chrono::steady_clock::now() + limit;
        for (;;) {
            if (waitpid(pid, &status, WNOHANG) == pid) {
                ended = true;
                exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                pid = -1;
                return exitCode;
            }
            if (std::chrono::steady_clock::now() >= deadline) {
                return -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

private:
    pid_t pid = -1;
    pid_t group = -1;
    int status = 0;
    bool ended = false;
    int exitCode = -1;
    std::string output;
};

// /proc/PID/stat, or an empty text when the process has gone. Read with
// read(2): a process that ends while it is read makes the read fail with
// ESRCH, which a std::ifstream would throw as an exception.
inline std::string ProcStat(const std::string& pid)
{
    std::string stat;
    const int fd = open(("/proc/" + pid + "/stat").c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return stat;
    }
    char buffer[1024];
    ssize_t got;
    while ((got = read(fd, buffer, sizeof buffer)) > 0) {
        stat.append(buffer, static_cast<size_t>(got));
    }
    close(fd);
    return got < 0 ? std::string() : stat;
}

// The processes whose parent is parent and whose command name (as in
// /proc/PID/comm, at most 15 characters) is name.
inline std::vector<pid_t> ChildProcesses(pid_t parent, const std::string& name)
{
    std::vector<pid_t> found;
    DIR* proc = opendir("/proc");
    if (proc == nullptr) {
        return found;
    }
    while (dirent* entry = readdir(proc)) {
        char* end = nullptr;
        const long pid = std::strtol(entry->d_name, &end, 10);
        if (pid <= 0 || *end != '\0') {
            continue;
        }
        const std::string stat = ProcStat(entry->d_name);
        // "PID (COMM) STATE PPID ...": the name may hold spaces and brackets.
        const size_t open = stat.find('(');
        const size_t close = stat.rfind(')');
        if (open == std::string::npos || close == std::string::npos || close + 4 > stat.size()) {
            continue;
        }
        const std::string comm = stat.substr(open + 1, close - open - 1);
        const long ppid = std::strtol(stat.c_str() + close + 4, nullptr, 10);
        if (ppid == parent && comm == name) {
            found.push_back(static_cast<pid_t>(pid));
        }
    }
    closedir(proc);
    return found;
}

// True while pid names a process, a zombie included.
inline bool ProcessExists(pid_t pid)
{
    return kill(pid, 0) == 0 || errno == EPERM;
}

} // namespace lumo_test

#endif
