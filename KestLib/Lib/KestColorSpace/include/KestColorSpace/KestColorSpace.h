#ifndef KEST_COLORSPACE_KESTCOLORSPACE_H
#define KEST_COLORSPACE_KESTCOLORSPACE_H

#include "KestMath/Eatrix.hpp"

#include <vector>

namespace Kest {

// The colour spaces offered for input and output, by their index in the
// "BT709", "BT2020" lists.
enum KestColorSpaceIndex : int {
    KEST_COLOR_SPACE_BT709 = 0,
    KEST_COLOR_SPACE_BT2020 = 1,
};

// A chain of 3x3 colour matrices; the first one added is the first applied
// to a colour column.
class KestColorSpace {
public:
    KestColorSpace() = default;

    // The chain from YUV of the input space to RGB of the output space:
    // input YUV -> RGB, input RGB -> XYZ, then XYZ -> output RGB. Any index
    // but KEST_COLOR_SPACE_BT2020 counts as BT709.
    static KestColorSpace ForSpaces(int inputSpace, int outputSpace);

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
