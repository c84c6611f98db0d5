#include "Kernels.h"

#include <atomic>
#include <initializer_list>

namespace lumo::kernels {

namespace portable {
extern const Table kTable;
}
#if LUMO_X86_LEVELS
namespace avx2 {
extern const Table kTable;
}
namespace avx512 {
extern const Table kTable;
extern const Table kTableVbmi;
}
#endif

namespace {

const Table* TableOf(Level level)
{
#if LUMO_X86_LEVELS
    if (level == Level::Avx512Vbmi) {
        return &avx512::kTableVbmi;
    }
    if (level == Level::Avx512) {
        return &avx512::kTable;
    }
    if (level == Level::Avx2) {
        return &avx2::kTable;
    }
#endif
    return level == Level::Portable ? &portable::kTable : nullptr;
}

bool Runs(Level level)
{
#if LUMO_X86_LEVELS
    __builtin_cpu_init();
    switch (level) {
    case Level::Avx512Vbmi:
        return __builtin_cpu_supports("avx512vbmi") && Runs(Level::Avx512);
    case Level::Avx512:
        return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
               __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
               __builtin_cpu_supports("avx512vl") && Runs(Level::Avx2);
    case Level::Avx2:
        return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
               __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
    case Level::Portable:
        return true;
    }
    return false;
#else
    return level == Level::Portable;
#endif
}

Level Detect()
{
    for (Level level : {Level::Avx512Vbmi, Level::Avx512, Level::Avx2}) {
        if (TableOf(level) != nullptr && Runs(level)) {
            return level;
        }
    }
    return Level::Portable;
}

std::atomic<const Table*> active{nullptr};

} // namespace

Level BestLevel()
{
    static const Level best = Detect();
    return best;
}

const Table& Active()
{
    const Table* table = active.load(std::memory_order_acquire);
    if (table == nullptr) {
        table = TableOf(BestLevel());
        active.store(table, std::memory_order_release);
    }
    return *table;
}

bool ForceLevel(Level level)
{
    const Table* table = TableOf(level);
    if (table == nullptr || !Runs(level)) {
        return false;
    }
    active.store(table, std::memory_order_release);
    return true;
}

const char* LevelName(Level level)
{
    switch (level) {
    case Level::Avx512Vbmi:
        return "avx512vbmi";
    case Level::Avx512:
        return "avx512";
    case Level::Avx2:
        return "avx2";
    case Level::Portable:
        break;
    }
    return "portable";
}

} // namespace lumo::kernels
