#ifndef KEST_KESTAV_KESTAVRATIONAL_H
#define KEST_KESTAV_KESTAVRATIONAL_H

namespace Kest {

// A rational number such as a stream's time base.
class KestAVRational {
public:
    // 0/0, the value of a time base not yet filled.
    KestAVRational();
    KestAVRational(int num, int den);
    KestAVRational(const KestAVRational& other);
    KestAVRational& operator=(const KestAVRational& other);

    int num;
    int den;
};

} // namespace Kest

#endif
