#ifndef KEST_CORE_KESTSANITIZERJOIN_H
#define KEST_CORE_KESTSANITIZERJOIN_H

// QThread::wait() joins a worker through Qt's own wait condition, and Qt's
// threads are detached, so ThreadSanitizer (Qt is not built with it) never
// sees the join: it takes whatever a finished worker touched for a race
// with the thread that waited for it and then releases it. A worker marks
// the end of its work with KestMarkWorkDone(key) as its last step, the
// waiting thread calls KestMarkJoined(key) once wait() has returned; key is
// any address both agree on (the worker object). Both do nothing in builds
// without the sanitizer.

#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void* addr);
extern "C" void __tsan_release(void* addr);
#endif

namespace Kest {

inline void KestMarkWorkDone(const void* key)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_release(const_cast<void*>(key));
#else
    (void)key;
#endif
}

inline void KestMarkJoined(const void* key)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(const_cast<void*>(key));
#else
    (void)key;
#endif
}

} // namespace Kest

#endif
