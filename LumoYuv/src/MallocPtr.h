#ifndef LUMO_SRC_MALLOCPTR_H
#define LUMO_SRC_MALLOCPTR_H

#include <cstdlib>
#include <memory>

namespace lumo {

// Owns a malloc'ed block: the library's buffers come from the C allocator
// because callers release its results with free().
struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};

template <typename T>
using MallocPtr = std::unique_ptr<T, FreeDeleter>;

} // namespace lumo

#endif
