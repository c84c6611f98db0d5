#include "KestAV/KestAVDecoder.h"

#include "KestAVDecoderPrivate.h"
#include "KestAVFramePrivate.h"
#include "KestAVPacketPrivate.h"
#include "KestAVStreamPrivate.h"
#include "core/KestLog.h"

namespace Kest {

KestAVDecoder::KestAVDecoder() : imp(new KestAVDecoderPrivate()) {}

KestAVDecoder::~KestAVDecoder()
{
    delete imp;
}

int KestAVDecoder::Init(KestAVStream* stream)
{
    return Open(stream, 4, "Init");
}

int KestAVDecoder::InitHW(KestAVStream* stream)
{
    return Open(stream, 0, "InitHW");
}

int KestAVDecoder::Open(KestAVStream* stream, int threadCount, const char* function)
{
    AVCodecContext* ctx = imp->ctx;
    avcodec_parameters_to_context(ctx, stream->imp->par);
    // No decoder found leaves codec null, which avcodec_open2 refuses.
    const AVCodec* codec = avcodec_find_decoder(ctx->codec_id);
    if (threadCount > 0) {
        ctx->thread_count = threadCount;
    }
    if (avcodec_open2(ctx, codec, nullptr) != 0) {
        kest_log_log("KestLib/Lib/KestAV/KestAVDecoder", function, __LINE__, 5, "Open Decoder Fail\n");
        return -1;
    }
    return 0;
}

int KestAVDecoder::SendPacket(KestAVPacket* packet)
{
    return avcodec_send_packet(imp->ctx, packet != nullptr ? packet->imp->packet : nullptr);
}

int KestAVDecoder::RecvFrame(KestAVFrame* frame)
{
    return avcodec_receive_frame(imp->ctx, frame->imp->frame);
}

int KestAVDecoder::GetFrameSize()
{
    return imp->ctx->frame_size;
}

int KestAVDecoder::GetSampleRate()
{
    return imp->ctx->sample_rate;
}

} // namespace Kest
