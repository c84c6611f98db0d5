#include "KestColorSpace/KestColorSpace.h"

namespace Kest {

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
