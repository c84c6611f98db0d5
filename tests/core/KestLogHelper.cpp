// A separate process for the log behaviours that depend on process start
// and exit: the thread switch before the first call, and the final drain.
#include "core/KestLog.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

int ExitDrain(const char* path, int threads, int lines)
{
    kest_log_path(path);
    kest_log_param(0, 0, 0, 0, 0);
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; t++) {
        workers.emplace_back([t, lines] {
            for (int i = 0; i < lines; i++) {
                kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "T%d %d\n", t, i);
            }
        });
    }
    for (auto& worker : workers) {
        worker.join();
    }
    return 0;
}

int Direct(const char* path)
{
    kest_log_thread(0);
    kest_log_path(path);
    kest_log_param(0, 0, 0, 0, 0);
    kest_log_log(__FILE__, __FUNCTION__, __LINE__, 4, "direct level 4\n");
    // Written on this thread before the call returned.
    FILE* f = fopen(path, "r");
    char line[64] = {0};
    const bool present = f != nullptr && fgets(line, sizeof(line), f) != nullptr;
    if (f != nullptr) {
        fclose(f);
    }
    return present && strcmp(line, "direct level 4\n") == 0 ? 0 : 1;
}

int ClearWithoutWorker()
{
    kest_log_thread(0);
    kest_log_clear();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "exit-drain" && argc == 5) {
        return ExitDrain(argv[2], atoi(argv[3]), atoi(argv[4]));
    }
    if (mode == "direct" && argc == 3) {
        return Direct(argv[2]);
    }
    if (mode == "clear-without-worker") {
        return ClearWithoutWorker();
    }
    fprintf(stderr, "usage: kest_log_helper exit-drain PATH THREADS LINES | direct PATH | clear-without-worker\n");
    return 2;
}
