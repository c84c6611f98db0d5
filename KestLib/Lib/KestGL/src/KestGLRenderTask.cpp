#include "KestGL/KestGLRenderTask.h"

namespace Kest {

KestGLRenderTask::KestGLRenderTask() : width(0), height(0) {}

KestGLRenderTask::~KestGLRenderTask() = default;

int KestGLRenderTask::SetWH(int width, int height)
{
    this->width = width;
    this->height = height;
    return 0;
}

} // namespace Kest
