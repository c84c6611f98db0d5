#include "KestAV/KestAVCropUtil.h"

#include <algorithm>

namespace Kest {

namespace {

// The two roundings differ on purpose: width-led goes through double,
// height-led stays in single precision.
void WidthLed(int& outWidth, int& outHeight, float ratio)
{
    outHeight = static_cast<int>(static_cast<double>(outWidth) * (1.0 / static_cast<double>(ratio)));
}

void HeightLed(int& outWidth, int& outHeight, float ratio)
{
    outWidth = static_cast<int>(static_cast<float>(outHeight) * ratio);
}

void Fit(int& outWidth, int& outHeight, float ratio)
{
    if (ratio > 1.0) {
        WidthLed(outWidth, outHeight, ratio);
    } else {
        HeightLed(outWidth, outHeight, ratio);
    }
}

} // namespace

KestAVCropUtil::KestAVCropUtil() {}

KestAVCropUtil::~KestAVCropUtil() {}

int KestAVCropUtil::GetCrop(int viewWidth, int viewHeight, int imageWidth, int imageHeight, int& outWidth,
                            int& outHeight, int& offsetX, int& offsetY, KestAVCropType type)
{
    const float ratio = static_cast<float>(static_cast<double>(imageWidth) / static_cast<double>(imageHeight));
    const bool wide = ratio > 1.0;
    outWidth = viewWidth;
    outHeight = viewHeight;
    switch (type) {
    case CROP_FIT:
        Fit(outWidth, outHeight, ratio);
        break;
    case CROP_FIT_OFFSET_A:
        Fit(outWidth, outHeight, ratio);
        if (wide) {
            offsetY = outHeight - viewHeight;
        } else {
            offsetX = viewWidth - outWidth;
        }
        break;
    case CROP_FIT_OFFSET_B:
        Fit(outWidth, outHeight, ratio);
        if (wide) {
            offsetY = viewHeight - outHeight;
        } else {
            offsetX = outWidth - viewWidth;
        }
        break;
    case CROP_ORIGINAL:
        outWidth = imageWidth;
        outHeight = imageHeight;
        break;
    case CROP_FILL:
        if (wide) {
            HeightLed(outWidth, outHeight, ratio);
        } else {
            WidthLed(outWidth, outHeight, ratio);
        }
        break;
    case CROP_FIT_NO_ENLARGE:
        outWidth = std::min(viewWidth, imageWidth);
        outHeight = std::min(viewHeight, imageHeight);
        Fit(outWidth, outHeight, ratio);
        break;
    case CROP_FULL:
    default:
        break;
    }
    return 0;
}

int KestAVCropUtil::GetCrop(int viewWidth, int viewHeight, int imageWidth, int imageHeight, int& outWidth,
                            int& outHeight, KestAVCropType type)
{
    int offsetX = 0;
    int offsetY = 0;
    return GetCrop(viewWidth, viewHeight, imageWidth, imageHeight, outWidth, outHeight, offsetX, offsetY, type);
}

} // namespace Kest
