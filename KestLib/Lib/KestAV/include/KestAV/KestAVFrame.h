#ifndef KEST_KESTAV_KESTAVFRAME_H
#define KEST_KESTAV_KESTAVFRAME_H

#include "KestAV/KestAVPixelFormat.h"

#include <cstdint>

namespace Kest {

struct KestAVFramePrivate;

// One decoded picture or block of audio samples. Plane accessors and the
// per-plane copies check neither plane indexes nor buffer sizes.
class KestAVFrame {
public:
    KestAVFrame();
    // Builds an empty frame and assigns.
    KestAVFrame(const KestAVFrame& other);
    // Copies the source's data into this frame's buffers where they match
    // (and so into any frame sharing them), then takes a reference to the
    // source, or a copy of data the source does not reference-count.
    KestAVFrame& operator=(const KestAVFrame& other);
    ~KestAVFrame();

    int GetWidth() const;
    int GetHeight() const;
    KestAVPixelFormat GetPixFormat() const;
    int GetLineSize(int plane);
    unsigned char* GetData(int plane);

    int64_t GetPTS();
    int SetPTS(int64_t pts);
    // Always 0.0.
    double GetSecPTS();

    int SetLast();
    int IsLast();
    // Does nothing.
    int GetInfo();

    // Copy one plane, row by row without padding, into dst, which the caller
    // sizes from KestAVTool::GetYUVLen of this frame. GetUVData copies the
    // interleaved chroma plane of NV12 and NV21.
    int GetYData(unsigned char* dst);
    int GetUData(unsigned char* dst);
    int GetVData(unsigned char* dst);
    int GetUVData(unsigned char* dst);
    // height rows of width x 4 bytes from plane 0.
    int GetRGBAData(unsigned char* dst);

    // Empties the frame and gives it fresh buffers of that size and format;
    // -1 when they cannot be allocated (unknown format, empty size).
    int SetNULLData(int width, int height, KestAVPixelFormat format);
    // Converts this frame into dst at the given size and format; -1 when
    // the converter cannot be made.
    int Scale(KestAVFrame& dst, int dstWidth, int dstHeight, KestAVPixelFormat dstFormat);
    // Makes this a YUV420P frame holding copies of the three planes:
    // width x height bytes of y and width x height / 4 bytes of u and v, with
    // strides width, width / 2, width / 2 (integer division throughout).
    int SetVideoData420P(unsigned char* y, unsigned char* u, unsigned char* v, int width, int height);

    int GetChannels();
    int GetSampleRate();
    int GetNBSamples();
    int GetPerSampleSize();
    // Empties the frame and makes it 1024 planar float samples on
    // min(channels, 8) channels; -1 when no buffer can be made.
    int InitAACFrame(int channels);
    // 0.0 (and no store) when channel or index is beyond the frame.
    float GetAudioFloatData(int channel, int index);
    int SetAudioFloatData(int channel, int index, float value);
    // With dst null: bytes per sample x samples x channels. Otherwise packed
    // samples into dst: planar input always comes out as signed 32-bit,
    // whatever the size above says, and -1 when no resampler can be made
    // for the frame; packed input is copied as it is.
    int GetAudioPackedData(unsigned char* dst);

private:
    friend class KestAVDecoder;

    int CopyPlane(unsigned char* dst, int plane, int rowBytes, int rows);

    KestAVFramePrivate* imp;
};

} // namespace Kest

#endif
