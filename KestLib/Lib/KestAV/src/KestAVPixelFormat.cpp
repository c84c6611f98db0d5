#include "KestAV/KestAVPixelFormat.h"

#include <cstdint>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace Kest {

int ToFFmpegPixelFormat(KestAVPixelFormat format)
{
    switch (format) {
    case PIX_YUV420P:
        return AV_PIX_FMT_YUV420P;
    case PIX_NV12:
        return AV_PIX_FMT_NV12;
    case PIX_NV21:
        return AV_PIX_FMT_NV21;
    case PIX_YUV422P:
        return AV_PIX_FMT_YUV422P;
    case PIX_YUYV422:
        return AV_PIX_FMT_YUYV422;
    case PIX_YUV444P:
        return AV_PIX_FMT_YUV444P;
    case PIX_YUVJ420P:
        return AV_PIX_FMT_YUVJ420P;
    case PIX_RGBA:
        return AV_PIX_FMT_RGBA;
    case PIX_RGB8:
        return AV_PIX_FMT_RGB8;
    default:
        return -1;
    }
}

KestAVPixelFormat ToKestPixelFormat(int ffmpegFormat)
{
    switch (ffmpegFormat) {
    case AV_PIX_FMT_YUV420P:
        return PIX_YUV420P;
    case AV_PIX_FMT_NV12:
        return PIX_NV12;
    case AV_PIX_FMT_NV21:
        return PIX_NV21;
    case AV_PIX_FMT_YUV422P:
    case AV_PIX_FMT_YUVJ422P:
        return PIX_YUV422P;
    case AV_PIX_FMT_YUYV422:
        return PIX_YUYV422;
    case AV_PIX_FMT_YUV444P:
    case AV_PIX_FMT_YUVJ444P:
        return PIX_YUV444P;
    case AV_PIX_FMT_YUVJ420P:
        return PIX_YUVJ420P;
    case AV_PIX_FMT_RGBA:
        return PIX_RGBA;
    default:
        return PIX_UNKNOWN;
    }
}

} // namespace Kest
