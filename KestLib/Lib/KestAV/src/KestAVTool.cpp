#include "KestAV/KestAVTool.h"

#include "KestAV/KestAVFrame.h"

namespace Kest {

namespace {

void SetWidths(KestYUVLen& len, int y, int u, int v, int uv)
{
    len.yWidth = y;
    len.uWidth = u;
    len.vWidth = v;
    len.uvWidth = uv;
}

void SetHeights(KestYUVLen& len, int y, int u, int v, int uv)
{
    len.yHeight = y;
    len.uHeight = u;
    len.vHeight = v;
    len.uvHeight = uv;
}

} // namespace

KestAVTool::KestAVTool() {}

KestAVTool::~KestAVTool() {}

int KestAVTool::GetYUVLen(int width, int height, KestYUVLen& len, KestAVPixelFormat format)
{
    const int w2 = width / 2;
    const int h2 = height / 2;
    switch (format) {
    case PIX_UNKNOWN:
        SetWidths(len, 0, 0, 0, 0);
        break;
    case PIX_YUV420P:
        SetWidths(len, width, w2, w2, 0);
        SetHeights(len, height, h2, h2, 0);
        break;
    case PIX_NV12:
    case PIX_NV21:
        SetWidths(len, width, 0, 0, width);
        SetHeights(len, height, 0, 0, h2);
        break;
    case PIX_YUV422P:
        SetWidths(len, width, w2, w2, 0);
        SetHeights(len, height, height, height, 0);
        break;
    case PIX_YUV444P:
        SetWidths(len, width, width, width, 0);
        SetHeights(len, height, height, height, 0);
        break;
    default:
        break;
    }
    len.yLen = len.yWidth * len.yHeight;
    len.uLen = len.uWidth * len.uHeight;
    len.vLen = len.vWidth * len.vHeight;
    len.uvLen = len.uvWidth * len.uvHeight;
    return 0;
}

int KestAVTool::GetYUVLen(const KestAVFrame& frame, KestYUVLen& len)
{
    return GetYUVLen(frame.GetWidth(), frame.GetHeight(), len, frame.GetPixFormat());
}

} // namespace Kest
