#include "KestAV/KestAVRational.h"

namespace Kest {

KestAVRational::KestAVRational() : num(0), den(0) {}

KestAVRational::KestAVRational(int num, int den) : num(num), den(den) {}

KestAVRational::KestAVRational(const KestAVRational& other) : num(other.num), den(other.den) {}

KestAVRational& KestAVRational::operator=(const KestAVRational& other)
{
    num = other.num;
    den = other.den;
    return *this;
}

} // namespace Kest
