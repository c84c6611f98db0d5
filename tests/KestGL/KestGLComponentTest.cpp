#include "KestGL/KestGLComponent.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Kest;

namespace {

// Shows what the base class keeps.
class OpenComponent : public KestGLComponent {
public:
    int Draw() override { return 0; }
    const Eatrix4x4<float>& VP() const { return vp; }
    const Eatrix4x4<float>& Model() const { return model; }
    const Eatrix4x1<float>& Color() const { return color; }
    int Width() const { return viewportWidth; }
    int Height() const { return viewportHeight; }
};

Eatrix4x4<float> Make4x4(const float (&values)[16])
{
    Eatrix4x4<float> m;
    m.SetData(values, 16);
    return m;
}

void ExpectNear(const Eatrix<float>& expected, const Eatrix<float>& actual)
{
    ASSERT_EQ(expected.GetRow(), actual.GetRow());
    ASSERT_EQ(expected.GetCol(), actual.GetCol());
    for (int i = 0; i < expected.GetRow(); i++) {
        for (int j = 0; j < expected.GetCol(); j++) {
            EXPECT_NEAR(expected(i, j), actual(i, j), 1e-5f) << "(" << i << ", " << j << ")";
        }
    }
}

Eatrix3x1<float> Column3(float a, float b, float c)
{
    Eatrix3x1<float> v;
    const float values[3] = {a, b, c};
    v.SetData(values, 3);
    return v;
}

Eatrix4x1<float> Column4(float a, float b, float c, float d)
{
    Eatrix4x1<float> v;
    const float values[4] = {a, b, c, d};
    v.SetData(values, 4);
    return v;
}

} // namespace

TEST(KestGLComponent, StartsWithIdentitiesAndNoViewport)
{
    OpenComponent component;
    ExpectNear(Eatrix4x4<float>(), component.VP());
    ExpectNear(Eatrix4x4<float>(), component.Model());
    EXPECT_EQ(0, component.Width());
    EXPECT_EQ(0, component.Height());
}

TEST(KestGLComponent, StoresViewProjectionColourAndViewport)
{
    OpenComponent component;
    Eatrix4x4<float> vp = Make4x4({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    EXPECT_EQ(0, component.SetVP(vp));
    ExpectNear(vp, component.VP());
    Eatrix4x1<float> rgba = Column4(0.1f, 0.2f, 0.3f, 0.4f);
    EXPECT_EQ(0, component.SetColor(rgba));
    ExpectNear(rgba, component.Color());
    EXPECT_EQ(0, component.Viewport(640, 480));
    EXPECT_EQ(640, component.Width());
    EXPECT_EQ(480, component.Height());
}

TEST(KestGLComponent, ModelScalesThenRotatesThenTranslates)
{
    OpenComponent component;
    Eatrix3x1<float> translate = Column3(1, 2, 3);
    Eatrix4x1<float> rotate = Column4(0, 0, 1, static_cast<float>(M_PI / 2));
    Eatrix3x1<float> scale = Column3(2, 3, 4);
    EXPECT_EQ(0, component.SetModel(translate, rotate, scale));
    // x scaled by 2 then turned a quarter about z lands on y.
    ExpectNear(Make4x4({0, -3, 0, 1, 2, 0, 0, 2, 0, 0, 4, 3, 0, 0, 0, 1}), component.Model());
}

TEST(KestGLComponent, RotationUsesTheAxisUnnormalised)
{
    OpenComponent component;
    Eatrix3x1<float> none = Column3(0, 0, 0);
    Eatrix3x1<float> unit = Column3(1, 1, 1);
    const float a = 0.7f;
    const float c = std::cos(a);
    const float s = std::sin(a);
    Eatrix4x1<float> rotate = Column4(2, 0, 0, a);
    component.SetModel(none, rotate, unit);
    ExpectNear(Make4x4({4 * (1 - c) + c, 0, 0, 0, 0, c, -2 * s, 0, 0, 2 * s, c, 0, 0, 0, 0, 1}), component.Model());
}
