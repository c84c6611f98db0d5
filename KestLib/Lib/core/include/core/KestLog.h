#ifndef KEST_CORE_KESTLOG_H
#define KEST_CORE_KESTLOG_H

// The library's diagnostic log. Records go to a single worker thread that
// writes them, one whole line at a time, to standard output or appended to a
// file. Every diagnostic of the library is logged at level 5.

#ifdef __cplusplus
extern "C" {
#endif

// Formats the message (cut at 4095 characters) and hands it to the writer.
void kest_log_log(const char* file, const char* function, int line, int level, const char* format, ...)
    __attribute__((format(printf, 5, 6)));

// Records below this level are dropped by the worker (default 5).
int kest_log_set_level(int level);
// Which pieces precede the message: level, time, file and line, (line), function.
int kest_log_param(int levelFlag, int timeFlag, int fileFlag, int lineFlag, int funcFlag);
// Appends to this file; an empty or null path means standard output.
int kest_log_path(const char* path);
// Whether records go through the worker thread (non-zero, the default) or
// are printed on the caller's thread. Only effective before the first log call.
int* kest_log_thread(int flag);
// Prints every pending record now. Needs the worker thread running.
int kest_log_clear(void);

#ifdef __cplusplus
}
#endif

#define KEST_LOG(...) kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, __VA_ARGS__)

#endif
