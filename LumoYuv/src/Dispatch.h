#ifndef LUMO_SRC_DISPATCH_H
#define LUMO_SRC_DISPATCH_H

#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__)
// Hand-written AVX2 versions beside a portable default, picked at run time
// with __builtin_cpu_supports.
#define LUMO_HAVE_AVX2_INTRINSICS 1
#else
#define LUMO_HAVE_AVX2_INTRINSICS 0
#endif

// Hot loops get an x86-64-v3 clone (AVX2 and FMA) chosen at load time, so
// the library still runs on any x86-64 without -march flags. Helpers they
// use must be inlined into them to share the clone's instruction set.
// ThreadSanitizer builds go without: the clones' resolvers run while the
// program is being loaded, before the sanitizer's runtime that their
// instrumentation calls exists.
#if LUMO_HAVE_AVX2_INTRINSICS && !defined(__SANITIZE_THREAD__)
#define LUMO_KERNEL __attribute__((target_clones("arch=x86-64-v3", "default")))
#else
#define LUMO_KERNEL
#endif

#define LUMO_INLINE inline __attribute__((always_inline))

#endif
