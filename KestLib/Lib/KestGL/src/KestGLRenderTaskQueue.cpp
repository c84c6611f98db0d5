#include "KestGL/KestGLRenderTaskQueue.h"

namespace Kest {

int KestGLRenderTaskQueue::PushRendTask(KestGLRenderTask* task)
{
    std::lock_guard<std::mutex> lock(mutex);
    tasks.push_back(task);
    return 0;
}

int KestGLRenderTaskQueue::PopAndRender(int width, int height)
{
    KestGLRenderTask* task = PopFront();
    if (task != nullptr) {
        Render(task, width, height);
    }
    return 0;
}

int KestGLRenderTaskQueue::PopAndRenderAndFree(int width, int height)
{
    KestGLRenderTask* task = PopFront();
    if (task != nullptr) {
        Render(task, width, height);
        delete task;
    }
    return 0;
}

int KestGLRenderTaskQueue::PopAndFree()
{
    delete PopFront();
    return 0;
}

int KestGLRenderTaskQueue::GetSize()
{
    std::lock_guard<std::mutex> lock(mutex);
    return static_cast<int>(tasks.size());
}

KestGLRenderTask* KestGLRenderTaskQueue::PopFront()
{
    std::lock_guard<std::mutex> lock(mutex);
    if (tasks.empty()) {
        return nullptr;
    }
    KestGLRenderTask* task = tasks.front();
    tasks.pop_front();
    return task;
}

void KestGLRenderTaskQueue::Render(KestGLRenderTask* task, int width, int height)
{
    task->Init();
    task->SetWH(width, height);
    task->Render(width, height);
}

} // namespace Kest
