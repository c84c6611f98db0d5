#ifndef KEST_COLORSPACE_KESTCOLORSPACE_H
#define KEST_COLORSPACE_KESTCOLORSPACE_H

#include "KestMath/Eatrix.hpp"

#include <vector>

namespace Kest {

// A chain of 3x3 colour matrices; the first one added is the first applied
// to a colour column.
class KestColorSpace {
public:
    KestColorSpace() = default;

    int AddEatrix(const Eatrix<float>& m);
    // out = A_last * ... * A_1 * A_0 (the identity for an empty chain).
    int GetMat(Eatrix<float>& out);
    // Applies the chain to v, logging each matrix on the way.
    Eatrix3x1<float> Convert(Eatrix3x1<float> v);

private:
    std::vector<Eatrix<float>> chain;
};

} // namespace Kest

#endif
