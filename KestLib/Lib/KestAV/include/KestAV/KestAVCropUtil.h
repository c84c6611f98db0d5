#ifndef KEST_KESTAV_KESTAVCROPUTIL_H
#define KEST_KESTAV_KESTAVCROPUTIL_H

namespace Kest {

// How a picture is placed in a view; see KestAVCropUtil::GetCrop.
enum KestAVCropType : int {
    CROP_FIT = 0,
    CROP_FULL = 1,
    CROP_FIT_OFFSET_A = 2,
    CROP_FIT_OFFSET_B = 3,
    CROP_ORIGINAL = 4,
    CROP_FILL = 5,
    CROP_FIT_NO_ENLARGE = 6,
};

// Sizes a picture for a view. The branch taken depends only on whether the
// image is wider than tall, not on the view's shape, so the result can
// exceed the view in the other direction. The aspect ratio is held in single
// precision: 1920 x 1080 fitted to 800 x 600 gives 800 x 449.
//
// CROP_FIT             wide: width-led; otherwise height-led.
// CROP_FULL            the view size.
// CROP_FIT_OFFSET_A    as CROP_FIT; wide: offsetY = out - view height,
//                      otherwise offsetX = view - out width.
// CROP_FIT_OFFSET_B    as CROP_FIT with the opposite offset signs.
// CROP_ORIGINAL        the image size.
// CROP_FILL            wide: height-led; otherwise width-led.
// CROP_FIT_NO_ENLARGE  the view clipped to the image size, then CROP_FIT.
// Other values give the view size. Offsets are written only where listed.
class KestAVCropUtil {
public:
    KestAVCropUtil();
    ~KestAVCropUtil();

    static int GetCrop(int viewWidth, int viewHeight, int imageWidth, int imageHeight, int& outWidth,
                       int& outHeight, int& offsetX, int& offsetY, KestAVCropType type);
    static int GetCrop(int viewWidth, int viewHeight, int imageWidth, int imageHeight, int& outWidth,
                       int& outHeight, KestAVCropType type);
};

} // namespace Kest

#endif
