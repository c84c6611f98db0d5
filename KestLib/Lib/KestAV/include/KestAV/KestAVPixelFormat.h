#ifndef KEST_KESTAV_KESTAVPIXELFORMAT_H
#define KEST_KESTAV_KESTAVPIXELFORMAT_H

namespace Kest {

// The library's own pixel-format numbers. They are not FFmpeg's, so that
// callers never depend on FFmpeg's enumeration.
enum KestAVPixelFormat : int {
    PIX_UNKNOWN = -1,
    PIX_YUV420P = 101,
    PIX_NV12 = 102,
    PIX_NV21 = 103,
    PIX_YUV422P = 104,
    PIX_YUYV422 = 105,
    PIX_YUV444P = 106,
    PIX_YUVJ420P = 107,
    PIX_RGBA = 201,
    PIX_RGB8 = 202,
};

// FFmpeg's number for format; -1 for PIX_UNKNOWN and for values not listed.
int ToFFmpegPixelFormat(KestAVPixelFormat format);

// The Kest value of an FFmpeg pixel format. The table is asymmetric on
// purpose: full-range 4:2:2 and 4:4:4 fold into the limited-range values,
// full-range 4:2:0 keeps its own (PIX_YUVJ420P), and FFmpeg's RGB8 is not
// mapped back (PIX_UNKNOWN).
KestAVPixelFormat ToKestPixelFormat(int ffmpegFormat);

} // namespace Kest

#endif
