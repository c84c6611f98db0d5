#ifndef LUMO_TESTS_SPAWN_H
#define LUMO_TESTS_SPAWN_H

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lumo_test {

// How to start a program beside a test.
struct SpawnOptions {
    std::vector<std::string> argv;                                   // argv[0] is the program's path
    std::optional<std::map<std::string, std::string>> environment;   // the caller's when empty
    std::string stdinPath;   // opened for reading; the caller's stdin when empty
    std::string stdoutPath;  // the caller's stdout when empty
    std::string stderrPath;  // the caller's stderr when empty; may equal stdoutPath
    bool appendOutput = false; // append to stdout and stderr files instead of truncating
    int stdinFd = -1;        // used instead of stdinPath when set (the caller closes it)
    int stdoutFd = -1;       // used instead of stdoutPath when set (the caller closes it)
    bool searchPath = false; // argv[0] may be a bare name looked up in PATH
    bool ownGroup = false;   // a process group of its own
    bool dieWithParent = false;
    bool noCore = false;     // for programs that abort on purpose
};

// Forks and runs the program; its pid, or -1 when it could not start (a file
// that cannot be opened, no more processes). Everything that allocates is done
// before the fork: the tests are multi-threaded, and a child that called malloc
// or stdio while another thread held their lock would hang forever (seen with
// AddressSanitizer's allocator, which has no fork handler). The child only
// makes system calls. A program that cannot be executed exits with 127.
inline pid_t Spawn(const SpawnOptions& options)
{
    std::vector<char*> args;
    for (const std::string& a : options.argv) {
        args.push_back(const_cast<char*>(a.c_str()));
    }
    args.push_back(nullptr);
    std::vector<std::string> variables;
    std::vector<char*> env;
    if (options.environment) {
        for (const auto& [name, value] : *options.environment) {
            variables.push_back(name + "=" + value);
        }
        for (std::string& v : variables) {
            env.push_back(v.data());
        }
        env.push_back(nullptr);
    }

    const int outFlags = O_WRONLY | O_CREAT | O_CLOEXEC | (options.appendOutput ? O_APPEND : O_TRUNC);
    std::vector<int> opened;
    auto openFile = [&](const std::string& path, int flags) {
        const int fd = open(path.c_str(), flags, 0600);
        if (fd >= 0) {
            opened.push_back(fd);
        }
        return fd;
    };
    auto closeOpened = [&] {
        for (int fd : opened) {
            close(fd);
        }
    };
    int in = options.stdinFd;
    if (in < 0 && !options.stdinPath.empty()) {
        in = openFile(options.stdinPath, O_RDONLY | O_CLOEXEC);
        if (in < 0) {
            closeOpened();
            return -1;
        }
    }
    int out = options.stdoutFd;
    if (out < 0 && !options.stdoutPath.empty()) {
        out = openFile(options.stdoutPath, outFlags);
        if (out < 0) {
            closeOpened();
            return -1;
        }
    }
    int err = -1;
    if (!options.stderrPath.empty()) {
        err = options.stderrPath == options.stdoutPath && out >= 0 ? out : openFile(options.stderrPath, outFlags);
        if (err < 0) {
            closeOpened();
            return -1;
        }
    }
    const rlimit noCore {0, 0};

    const pid_t pid = fork();
    if (pid == 0) {
        if (options.ownGroup) {
            setpgid(0, 0);
        }
        if (options.dieWithParent) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
        }
        if (options.noCore) {
            setrlimit(RLIMIT_CORE, &noCore);
        }
        if ((in >= 0 && dup2(in, STDIN_FILENO) < 0) || (out >= 0 && dup2(out, STDOUT_FILENO) < 0) ||
            (err >= 0 && dup2(err, STDERR_FILENO) < 0)) {
            _exit(126);
        }
        if (options.environment) {
            if (options.searchPath) {
                execvpe(args[0], args.data(), env.data());
            } else {
                execve(args[0], args.data(), env.data());
            }
        } else if (options.searchPath) {
            execvp(args[0], args.data());
        } else {
            execv(args[0], args.data());
        }
        _exit(127);
    }
    closeOpened();
    if (pid > 0 && options.ownGroup) {
        // Set from both sides, so that a signal to the group right after
        // Spawn cannot miss it.
        setpgid(pid, pid);
    }
    return pid;
}

} // namespace lumo_test

#endif
