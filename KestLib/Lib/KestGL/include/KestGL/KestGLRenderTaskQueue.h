#ifndef KEST_GL_KESTGLRENDERTASKQUEUE_H
#define KEST_GL_KESTGLRENDERTASKQUEUE_H

#include "KestGL/KestGLRenderTask.h"

#include <deque>
#include <mutex>

namespace Kest {

// First in, first out. Any thread pushes; the GL thread pops and renders.
// The lock covers only the queue itself, never a task's Init or Render, so a
// task may push further tasks while it renders.
class KestGLRenderTaskQueue {
public:
    // Not owned until one of the "AndFree" operations takes it.
    int PushRendTask(KestGLRenderTask* task);
    // Init, SetWH and Render on the front task, if any; the task is kept
    // alive for its owner. 0 also for an empty queue.
    int PopAndRender(int width, int height);
    // As PopAndRender, then deletes the task.
    int PopAndRenderAndFree(int width, int height);
    // Deletes the front task without rendering it.
    int PopAndFree();
    int GetSize();

private:
    KestGLRenderTask* PopFront();
    static void Render(KestGLRenderTask* task, int width, int height);

    std::mutex mutex;
    std::deque<KestGLRenderTask*> tasks;
};

} // namespace Kest

#endif
