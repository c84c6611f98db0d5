#ifndef LUMO_THREADS_H
#define LUMO_THREADS_H

namespace lumo {

// The number of threads one library call may use at most (today only the
// SSIM of large frames spreads over threads; the result never depends on
// the count). A positive value sets the cap, 64 at most; 0 goes back to the
// default: the environment variable LUMO_THREADS when it holds a positive
// number (read once, at the first call that needs it), else every core.
// Returns the previous setting (0 for the default). Safe from any thread;
// calls already running keep the cap they started with.
int SetMaxThreads(int threads);

// The cap a call starting now would use: 1 .. 64.
int GetMaxThreads();

} // namespace lumo

#endif
