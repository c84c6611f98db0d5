#ifndef KEST_COLORSPACE_KESTCOLORSPACEMAT_H
#define KEST_COLORSPACE_KESTCOLORSPACEMAT_H

#include "KestMath/Eatrix.hpp"

namespace Kest {

// The fixed table of colour matrices, one process-wide instance.
// The YUV-to-RGB matrices take the column (Y, U, V) with U and V centred on 0.
class KestColorSpaceMat {
public:
    static KestColorSpaceMat* GetInstance();

    Eatrix<float> mat_BT2020_RGB_XYZ;
    Eatrix<float> mat_BT709_RGB_XYZ;
    Eatrix<float> mat_SRGB_RGB_XYZ;
    Eatrix<float> mat_ADOBE_RGB_XYZ;
    Eatrix<float> mat_BT601_YUV_RGB;
    // A copy of the BT.601-style matrix: the "BT709" input decodes with it.
    Eatrix<float> mat_BT709_YUV_RGB;
    Eatrix<float> mat_BT2020_YUV_RGB;

private:
    KestColorSpaceMat();
};

} // namespace Kest

#endif
