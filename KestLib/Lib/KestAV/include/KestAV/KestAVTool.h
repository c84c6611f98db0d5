#ifndef KEST_KESTAV_KESTAVTOOL_H
#define KEST_KESTAV_KESTAVTOOL_H

#include "KestAV/KestAVPixelFormat.h"
#include "KestAV/KestYUVLen.h"

namespace Kest {

class KestAVFrame;

class KestAVTool {
public:
    KestAVTool();
    ~KestAVTool();

    // Fills the plane geometry of a width x height picture. Chroma sizes
    // round down for odd sizes (5 x 3 YUV420P: U and V are 2 x 1). For
    // PIX_UNKNOWN the sizes and widths become 0 and the heights stay as the
    // caller left them; formats without a rule (PIX_YUYV422, PIX_YUVJ420P,
    // RGB) keep the caller's widths and heights. Every size is then width
    // times height of its plane. Returns 0.
    static int GetYUVLen(int width, int height, KestYUVLen& len, KestAVPixelFormat format);
    // The same for the frame's width, height and format.
    static int GetYUVLen(const KestAVFrame& frame, KestYUVLen& len);
};

} // namespace Kest

#endif
