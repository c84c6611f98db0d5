#include "KestColorSpace/KestColorSpace.h"

#include "KestColorSpace/KestColorSpaceMat.h"

namespace Kest {

KestColorSpace KestColorSpace::ForSpaces(int inputSpace, int outputSpace)
{
    KestColorSpaceMat* table = KestColorSpaceMat::GetInstance();
    KestColorSpace chain;
    if (inputSpace == KEST_COLOR_SPACE_BT2020) {
        chain.AddEatrix(table->mat_BT2020_YUV_RGB);
        chain.AddEatrix(table->mat_BT2020_RGB_XYZ);
    } else {
        chain.AddEatrix(table->mat_BT709_YUV_RGB);
        chain.AddEatrix(table->mat_BT709_RGB_XYZ);
    }
    chain.AddEatrix(outputSpace == KEST_COLOR_SPACE_BT2020 ? !table->mat_BT2020_RGB_XYZ : !table->mat_BT709_RGB_XYZ);
    return chain;
}

int KestColorSpace::AddEatrix(const Eatrix<float>& m)
{
    chain.push_back(m);
    return 0;
}

int KestColorSpace::GetMat(Eatrix<float>& out)
{
    Eatrix<float> product(3, 3);
    for (const Eatrix<float>& m : chain) {
        product = m * product;
    }
    out = product;
    return 0;
}

Eatrix3x1<float> KestColorSpace::Convert(Eatrix3x1<float> v)
{
    Eatrix3x1<float> r = v;
    for (const Eatrix<float>& m : chain) {
        m.PrintInfo();
        r = m * r;
    }
    return r;
}

} // namespace Kest
