#include "KestGL/KestGLComponent.h"

#include <cmath>

namespace Kest {

KestGLComponent::KestGLComponent() : viewportWidth(0), viewportHeight(0) {}

KestGLComponent::~KestGLComponent() = default;

int KestGLComponent::SetVP(Eatrix4x4<float>& vp)
{
    this->vp = vp;
    return 0;
}

int KestGLComponent::SetModel(Eatrix3x1<float>& translate, Eatrix4x1<float>& rotate, Eatrix3x1<float>& scale)
{
    Eatrix4x4<float> t;
    t(0, 3) = translate(0, 0);
    t(1, 3) = translate(1, 0);
    t(2, 3) = translate(2, 0);

    const float x = rotate(0, 0);
    const float y = rotate(1, 0);
    const float z = rotate(2, 0);
    const float c = std::cos(rotate(3, 0));
    const float s = std::sin(rotate(3, 0));
    const float k = 1 - c;
    const float rotation[16] = {
        x * x * k + c,     x * y * k - z * s, x * z * k + y * s, 0,
        x * y * k + z * s, y * y * k + c,     y * z * k - x * s, 0,
        x * z * k - y * s, y * z * k + x * s, z * z * k + c,     0,
        0,                 0,                 0,                 1,
    };
    Eatrix4x4<float> r;
    r.SetData(rotation, 16);

    Eatrix4x4<float> sc;
    sc(0, 0) = scale(0, 0);
    sc(1, 1) = scale(1, 0);
    sc(2, 2) = scale(2, 0);

    model = t * r * sc;
    return 0;
}

int KestGLComponent::SetColor(Eatrix4x1<float>& rgba)
{
    color = rgba;
    return 0;
}

int KestGLComponent::Viewport(int width, int height)
{
    viewportWidth = width;
    viewportHeight = height;
    return 0;
}

} // namespace Kest
