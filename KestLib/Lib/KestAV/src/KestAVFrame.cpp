#include "KestAV/KestAVFrame.h"

#include "KestAV/KestAVTool.h"
#include "KestAVFramePrivate.h"

#include <algorithm>
#include <cstring>

extern "C" {
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

// FFmpeg 5.1 replaced the channel count and layout fields by AVChannelLayout.
#define KEST_AV_CH_LAYOUT (LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 24, 100))

namespace Kest {

KestAVFrame::KestAVFrame() : imp(new KestAVFramePrivate()) {}

KestAVFrame::KestAVFrame(const KestAVFrame& other) : KestAVFrame()
{
    *this = other;
}

KestAVFrame& KestAVFrame::operator=(const KestAVFrame& other)
{
    if (this == &other) {
        return *this;
    }
    // The copy comes first: it writes into buffers this frame may share.
    // The unref keeps the reference from leaking this frame's old buffers.
    av_frame_copy(imp->frame, other.imp->frame);
    av_frame_unref(imp->frame);
    av_frame_ref(imp->frame, other.imp->frame);
    return *this;
}

KestAVFrame::~KestAVFrame()
{
    delete imp;
}

int KestAVFrame::GetWidth() const
{
    return imp->frame->width;
}

int KestAVFrame::GetHeight() const
{
    return imp->frame->height;
}

KestAVPixelFormat KestAVFrame::GetPixFormat() const
{
    return ToKestPixelFormat(imp->frame->format);
}

int KestAVFrame::GetLineSize(int plane)
{
    return imp->frame->linesize[plane];
}

unsigned char* KestAVFrame::GetData(int plane)
{
    return imp->frame->data[plane];
}

int64_t KestAVFrame::GetPTS()
{
    return imp->frame->pts;
}

int KestAVFrame::SetPTS(int64_t pts)
{
    imp->frame->pts = pts;
    return 0;
}

double KestAVFrame::GetSecPTS()
{
    return 0.0;
}

int KestAVFrame::SetLast()
{
    imp->last = 1;
    return 0;
}

int KestAVFrame::IsLast()
{
    return imp->last;
}

int KestAVFrame::GetInfo()
{
    return 0;
}

int KestAVFrame::CopyPlane(unsigned char* dst, int plane, int rowBytes, int rows)
{
    const unsigned char* src = imp->frame->data[plane];
    const ptrdiff_t stride = imp->frame->linesize[plane];
    for (int r = 0; r < rows; r++) {
        memcpy(dst + static_cast<ptrdiff_t>(r) * rowBytes, src + r * stride, rowBytes);
    }
    return 0;
}

int KestAVFrame::GetYData(unsigned char* dst)
{
    KestYUVLen len;
    KestAVTool::GetYUVLen(*this, len);
    return CopyPlane(dst, 0, len.yWidth, len.yHeight);
}

int KestAVFrame::GetUData(unsigned char* dst)
{
    KestYUVLen len;
    KestAVTool::GetYUVLen(*this, len);
    return CopyPlane(dst, 1, len.uWidth, len.uHeight);
}

int KestAVFrame::GetVData(unsigned char* dst)
{
    KestYUVLen len;
    KestAVTool::GetYUVLen(*this, len);
    return CopyPlane(dst, 2, len.vWidth, len.vHeight);
}

int KestAVFrame::GetUVData(unsigned char* dst)
{
    KestYUVLen len;
    KestAVTool::GetYUVLen(*this, len);
    return CopyPlane(dst, 1, len.uvWidth, len.uvHeight);
}

int KestAVFrame::GetRGBAData(unsigned char* dst)
{
    return CopyPlane(dst, 0, imp->frame->width * 4, imp->frame->height);
}

int KestAVFrame::SetNULLData(int width, int height, KestAVPixelFormat format)
{
    AVFrame* frame = imp->frame;
    av_frame_unref(frame);
    frame->format = ToFFmpegPixelFormat(format);
    frame->width = width;
    frame->height = height;
    frame->extended_data = frame->data;
    return av_frame_get_buffer(frame, 16) < 0 ? -1 : 0;
}

int KestAVFrame::Scale(KestAVFrame& dst, int dstWidth, int dstHeight, KestAVPixelFormat dstFormat)
{
    if (dst.SetNULLData(dstWidth, dstHeight, dstFormat) != 0) {
        return -1;
    }
    const AVFrame* src = imp->frame;
    const AVPixelFormat srcFormat = static_cast<AVPixelFormat>(src->format);
    const AVPixelFormat ffDstFormat = static_cast<AVPixelFormat>(ToFFmpegPixelFormat(dstFormat));
    // swscale aborts on formats it does not know instead of failing.
    if (!sws_isSupportedInput(srcFormat) || !sws_isSupportedOutput(ffDstFormat)) {
        return -1;
    }
    SwsContext* sws = sws_getContext(src->width, src->height, srcFormat, dstWidth, dstHeight, ffDstFormat,
                                     SWS_FAST_BILINEAR, nullptr, nullptr, nullptr);
    if (sws == nullptr) {
        return -1;
    }
    sws_scale(sws, src->data, src->linesize, 0, src->height, dst.imp->frame->data, dst.imp->frame->linesize);
    sws_freeContext(sws);
    return 0;
}

int KestAVFrame::SetVideoData420P(unsigned char* y, unsigned char* u, unsigned char* v, int width, int height)
{
    if (y == nullptr || u == nullptr || v == nullptr || width <= 0 || height <= 0) {
        return -1;
    }
    // 64-bit sizes: the products of large frames overflow an int. The chroma
    // planes keep the integer quarter of the luma size, so odd sizes round
    // down.
    const int64_t ySize = static_cast<int64_t>(width) * height;
    const int64_t cSize = ySize / 4;
    const int64_t sizes[3] = {ySize, cSize, cSize};
    unsigned char* planes[3] = {nullptr, nullptr, nullptr};
    for (int p = 0; p < 3; p++) {
        // One byte at least: an empty chroma plane (a 1 x 3 frame) still gets
        // a pointer of its own, and a null result always means no memory.
        planes[p] = static_cast<unsigned char*>(malloc(static_cast<size_t>(std::max<int64_t>(sizes[p], 1))));
        if (planes[p] == nullptr) {
            for (unsigned char* plane : planes) {
                free(plane);
            }
            return -1;
        }
    }
    const unsigned char* sources[3] = {y, u, v};
    for (int p = 0; p < 3; p++) {
        memcpy(planes[p], sources[p], static_cast<size_t>(sizes[p]));
    }
    imp->ownedBuffers.insert(imp->ownedBuffers.end(), planes, planes + 3);

    AVFrame* frame = imp->frame;
    av_frame_unref(frame);
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = width;
    frame->height = height;
    const int strides[3] = {width, width / 2, width / 2};
    for (int p = 0; p < 3; p++) {
        frame->data[p] = planes[p];
        frame->linesize[p] = strides[p];
    }
    return 0;
}

int KestAVFrame::GetChannels()
{
#if KEST_AV_CH_LAYOUT
    return imp->frame->ch_layout.nb_channels;
#else
    return imp->frame->channels;
#endif
}

int KestAVFrame::GetSampleRate()
{
    return imp->frame->sample_rate;
}

int KestAVFrame::GetNBSamples()
{
    return imp->frame->nb_samples;
}

int KestAVFrame::GetPerSampleSize()
{
    return av_get_bytes_per_sample(static_cast<AVSampleFormat>(imp->frame->format));
}

int KestAVFrame::InitAACFrame(int channels)
{
    AVFrame* frame = imp->frame;
    av_frame_unref(frame);
    frame->format = AV_SAMPLE_FMT_FLTP;
#if KEST_AV_CH_LAYOUT
    // A channel count without a layout, as the old count field gave.
    frame->ch_layout.order = AV_CHANNEL_ORDER_UNSPEC;
    frame->ch_layout.nb_channels = std::min(channels, 8);
#else
    frame->channels = std::min(channels, 8);
#endif
    frame->nb_samples = 1024;
    return av_frame_get_buffer(frame, 16) < 0 ? -1 : 0;
}

float KestAVFrame::GetAudioFloatData(int channel, int index)
{
    if (channel >= GetChannels() || index >= GetNBSamples()) {
        return 0.0f;
    }
    return reinterpret_cast<float*>(imp->frame->extended_data[channel])[index];
}

int KestAVFrame::SetAudioFloatData(int channel, int index, float value)
{
    if (channel < GetChannels() && index < GetNBSamples()) {
        reinterpret_cast<float*>(imp->frame->extended_data[channel])[index] = value;
    }
    return 0;
}

int KestAVFrame::GetAudioPackedData(unsigned char* dst)
{
    const int size = GetPerSampleSize() * GetNBSamples() * GetChannels();
    if (dst == nullptr) {
        return size;
    }
    AVFrame* frame = imp->frame;
    const AVSampleFormat format = static_cast<AVSampleFormat>(frame->format);
    if (!av_sample_fmt_is_planar(format)) {
        memcpy(dst, frame->data[0], size);
        return 0;
    }
    SwrContext* swr = nullptr;
#if KEST_AV_CH_LAYOUT
    swr_alloc_set_opts2(&swr, &frame->ch_layout, AV_SAMPLE_FMT_S32, frame->sample_rate, &frame->ch_layout, format,
                        frame->sample_rate, 0, nullptr);
#else
    swr = swr_alloc_set_opts(nullptr, frame->channel_layout, AV_SAMPLE_FMT_S32, frame->sample_rate,
                             frame->channel_layout, format, frame->sample_rate, 0, nullptr);
#endif
    if (swr == nullptr || swr_init(swr) < 0) {
        swr_free(&swr);
        return -1;
    }
    swr_convert(swr, &dst, frame->nb_samples, const_cast<const uint8_t**>(frame->extended_data), frame->nb_samples);
    swr_free(&swr);
    return 0;
}

} // namespace Kest
