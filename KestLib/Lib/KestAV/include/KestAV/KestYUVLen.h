#ifndef KEST_KESTAV_KESTYUVLEN_H
#define KEST_KESTAV_KESTYUVLEN_H

namespace Kest {

// Plane geometry of one picture: sizes in bytes, bytes per row and rows.
// The uv triple describes an interleaved chroma plane (NV12, NV21); the u
// and v triples describe separate chroma planes. All start at 0.
class KestYUVLen {
public:
    KestYUVLen();

    int yLen;
    int uLen;
    int vLen;
    int uvLen;
    int yWidth;
    int uWidth;
    int vWidth;
    int uvWidth;
    int yHeight;
    int uHeight;
    int vHeight;
    int uvHeight;
};

} // namespace Kest

#endif
