#ifndef LUMO_YUVREADER_H
#define LUMO_YUVREADER_H

#include "lumo/ColorSpace.h"
#include "lumo/YUVType.h"

#include <cstdint>
#include <string>

namespace lumo {

// One raw YUV file: path, frame size and layout. A plain value: it keeps no
// file open, so copies may be used from different threads at once. Frames
// are addressed by byte offset, frame number x GetFrameLen().
//
// Buffers returned by the library come from malloc and are released by the
// caller with free(). Their layouts, rows packed without padding:
//   4:4:4  3*w*h bytes: Y plane, U plane at w*h, V plane at 2*w*h
//   RGB24  3*w*h bytes: R, G, B per pixel, rows top to bottom
//   4:2:0  w*h*3/2 bytes: Y plane, then U and V planes of (w/2) x (h/2)
//          (rounded down) packed one after the other
class YUVReader {
public:
    // Values written to *status by ReadFrameYUV444 and ReadFrameRGB24.
    static constexpr int READ_OK = 1;
    // The file is missing, is not a regular file, or a read failed.
    static constexpr int READ_ERROR_FILE = -1;
    // The offset is negative, not a multiple of GetFrameLen(), or not the
    // start of a whole frame in the file.
    static constexpr int READ_ERROR_OFFSET = -2;
    // Unknown layout, or a size the layout cannot hold (not positive, above
    // MAX_DIMENSION, or an odd width for packed 4:2:2).
    static constexpr int READ_ERROR_FORMAT = -3;
    // The result buffer could not be allocated.
    static constexpr int READ_ERROR_MEMORY = -4;
    // A YUV4MPEG2 stream or frame header is missing or malformed
    // (YUVFrameFile only).
    static constexpr int READ_ERROR_HEADER = -5;

    // Largest width or height accepted.
    static constexpr int MAX_DIMENSION = 1 << 20;

    // An unknown layout and no file: usable only for the metric calls and
    // as an assignment target.
    YUVReader();
    YUVReader(const std::string& path, int width, int height, const YUVType& type);

    // Whole frames in the file; a trailing partial frame is not counted.
    // 0 for a missing file, an unknown layout or an impossible size.
    int GetFrameCount() const;

    // Bytes of one frame in the file's own layout; 0 when the layout or the
    // size is invalid.
    int64_t GetFrameLen() const;

    // Reads the frame starting at byte offset and returns it as planar
    // 4:4:4. Subsampled chroma is widened by repeating samples, the last
    // row and column repeating where the chroma plane was rounded down;
    // 10-bit samples become 8-bit; GRAY (and a chroma plane with no samples,
    // as for a width of 1 in 4:2:0) reads as 128.
    // buf null: the result is malloc'ed here. buf non-null: it must hold
    // 3*w*h bytes and is filled and returned. On failure the result is null,
    // *status holds the cause, and nothing is allocated; a non-null buf stays
    // the caller's. status may be null.
    unsigned char* ReadFrameYUV444(unsigned char* buf, int* status, long offset) const;

    // As ReadFrameYUV444, converted to R,G,B bytes by BT.601 limited range
    // with nearest-neighbour chroma, clamped to 0..255; every channel lies
    // within 1 of the exact result rounded to nearest.
    unsigned char* ReadFrameRGB24(unsigned char* buf, int* status, long offset) const;

    // As ReadFrameYUV444, but the result is 4:2:0 (I420, layout above): the
    // same bytes as ReadFrameYUV444 followed by Frame444To420, read without
    // the detour. 4:2:0 layouts are taken as they are (I420 straight from
    // the file), 4:2:2 chroma rows are averaged in pairs, 4:4:4 chroma over
    // 2x2 blocks, and frames without chroma get 128.
    // buf null: the result is malloc'ed here, w*h*3/2 bytes as from
    // Frame444To420, the bytes past the planes zero. buf non-null: it must
    // hold w*h + 2*(w/2)*(h/2) bytes and is filled and returned.
    unsigned char* ReadFrameYUV420(unsigned char* buf, int* status, long offset) const;

    // Converts a 4:4:4 frame (layout above) to 4:2:0: Y copied, each chroma
    // sample the rounded mean (a+b+c+d+2)/4 of its 2x2 block; an odd last
    // row or column is left out. dst is the buffer an earlier call returned,
    // or null; it is resized as needed, so after the call only the returned
    // pointer is valid. Returns null (dst freed) for a null src, src == dst
    // (dst then untouched), a size outside 1..MAX_DIMENSION, or no memory.
    unsigned char* Frame444To420(unsigned char* src, unsigned char* dst, int width,
                                 int height) const;

    // a and b are 4:2:0 frames of width x height. Writes per plane Y, U, V
    // the mean squared error into mse[0..2] and 10*log10(255^2 / mse) into
    // psnr[0..2], +infinity where the mse is 0. A plane with no samples has
    // mse 0. Either output may be null; null frames or a size outside
    // 1..MAX_DIMENSION write nothing.
    void CallPSNR(double* psnr, unsigned char* a, unsigned char* b, int width, int height,
                  double* mse) const;

    // SSIM (Wang et al. 2004) of the luma planes of two 4:2:0 frames:
    // 11x11 Gaussian window, sigma 1.5, weights summing to 1, K1 = 0.01,
    // K2 = 0.03, L = 255, averaged over every window position that lies
    // inside the frame. A frame narrower or shorter than 11 uses one window
    // over the whole plane with equal weights. Identical planes give
    // exactly 1. Large frames are spread over the threads SetMaxThreads
    // allows (lumo/Threads.h); the result does not depend on their number.
    // NaN for null frames, a size outside 1..MAX_DIMENSION, or when the
    // working memory (a few hundred kilobytes per thread) cannot be had.
    double CallSsimIqa(unsigned char* a, unsigned char* b, int width, int height,
                       COLOR_SPACE cs) const;

    // SSIM of each plane of two 4:2:0 frames into ssim[0..2] (Y, U, V), the
    // chroma planes measured as luma is, at their own (w/2) x (h/2) size.
    // ssim[0] equals CallSsimIqa. With COLOR_SPACE_VIDEO_RANGE chroma is
    // clamped to 16..240 (luma to 16..235). A plane with no samples (w or h
    // of 1) gives NaN, and so do null pointers or a size outside
    // 1..MAX_DIMENSION.
    void CallSsimPlanes(double* ssim, unsigned char* a, unsigned char* b, int width, int height,
                        COLOR_SPACE cs) const;

    std::string path;
    int width;
    int height;
    YUVType type;
};

} // namespace lumo

#endif
