// Throughput of the diagnostic log: a burst of lines from four threads,
// timed until the last line is on disk.
#include "core/KestLog.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

void LogBurst(benchmark::State& state)
{
    const int threads = 4;
    const int total = static_cast<int>(state.range(0));
    const std::string path = (std::filesystem::temp_directory_path() / "lumo-bench-log.txt").string();
    kest_log_param(1, 1, 1, 1, 1);
    for (auto _ : state) {
        state.PauseTiming();
        std::remove(path.c_str());
        kest_log_path(path.c_str());
        state.ResumeTiming();

        std::vector<std::thread> workers;
        for (int t = 0; t < threads; t++) {
            workers.emplace_back([t, total, threads] {
                for (int i = 0; i < total / threads; i++) {
                    kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "thread %d line %d\n", t, i);
                }
            });
        }
        for (auto& worker : workers) {
            worker.join();
        }
        kest_log_clear();
    }
    kest_log_path("");
    std::remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * total);
    state.counters["lines/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * total,
                                                   benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK(LogBurst)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
