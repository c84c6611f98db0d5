#ifndef KEST_GL_KESTGLRENDERTASK_H
#define KEST_GL_KESTGLRENDERTASK_H

namespace Kest {

// A piece of rendering work handed to the thread that owns the GL context
// through a KestGLRenderTaskQueue.
class KestGLRenderTask {
public:
    KestGLRenderTask();
    virtual ~KestGLRenderTask();
    virtual int Render(int width, int height) = 0;
    virtual int Init() = 0;

    int SetWH(int width, int height);

protected:
    int width;
    int height;
};

} // namespace Kest

#endif
