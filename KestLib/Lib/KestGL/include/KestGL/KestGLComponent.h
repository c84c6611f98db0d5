#ifndef KEST_GL_KESTGLCOMPONENT_H
#define KEST_GL_KESTGLCOMPONENT_H

#include "KestMath/Eatrix.hpp"

namespace Kest {

// Base of self-drawing scene parts: a view-projection matrix, a model matrix,
// a colour and the size of the target drawn into. Concrete parts supply Draw.
class KestGLComponent {
public:
    KestGLComponent();
    virtual ~KestGLComponent();

    int SetVP(Eatrix4x4<float>& vp);
    // model = translation * rotation * scale: scaled first, then turned by
    // rotate.w radians about the (unnormalised) axis rotate.xyz, then moved.
    int SetModel(Eatrix3x1<float>& translate, Eatrix4x1<float>& rotate, Eatrix3x1<float>& scale);
    int SetColor(Eatrix4x1<float>& rgba);
    // The target size, handed over before each Draw.
    int Viewport(int width, int height);

    virtual int Draw() = 0;

protected:
    Eatrix4x4<float> vp;
    Eatrix4x4<float> model;
    Eatrix4x1<float> color;
    int viewportWidth;
    int viewportHeight;
};

} // namespace Kest

#endif
