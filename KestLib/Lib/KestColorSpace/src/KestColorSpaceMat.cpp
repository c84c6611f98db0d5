#include "KestColorSpace/KestColorSpaceMat.h"

namespace Kest {

namespace {

void Fill(Eatrix<float>& m, const float (&values)[9])
{
    m = Eatrix<float>(3, 3);
    m.SetData(values, 9);
}

} // namespace

KestColorSpaceMat* KestColorSpaceMat::GetInstance()
{
    static KestColorSpaceMat* instance = new KestColorSpaceMat();
    return instance;
}

KestColorSpaceMat::KestColorSpaceMat()
{
    Fill(mat_BT2020_RGB_XYZ, {0.637f, 0.1446f, 0.1689f, 0.2627f, 0.678f, 0.0593f, 0.0f, 0.0281f, 1.061f});
    Fill(mat_BT709_RGB_XYZ, {0.4124f, 0.3576f, 0.1805f, 0.2126f, 0.7152f, 0.0722f, 0.0193f, 0.1192f, 0.9505f});
    Fill(mat_BT601_YUV_RGB, {1.0f, 0.0f, 1.4017f, 1.0f, -0.3437f, -0.7142f, 1.0f, 1.7722f, 0.0f});
    mat_BT709_YUV_RGB = mat_BT601_YUV_RGB;
    Fill(mat_BT2020_YUV_RGB, {1.0f, -0.0f, 1.4746f, 1.0f, -0.1645f, -0.5713f, 1.0f, 1.8814f, -0.0001f});
    Fill(mat_SRGB_RGB_XYZ, {0.4124f, 0.3576f, 0.1805f, 0.2126f, 0.7152f, 0.0722f, 0.0193f, 0.1192f, 0.9505f});
    Fill(mat_ADOBE_RGB_XYZ, {0.57667f, 0.18555f, 0.18819f, 0.29738f, 0.62735f, 0.07527f, 0.02703f, 0.07069f, 0.9911f});
}

} // namespace Kest
