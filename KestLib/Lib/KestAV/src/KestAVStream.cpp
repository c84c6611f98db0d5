#include "KestAV/KestAVStream.h"

#include "KestAV/KestAVPacket.h"
#include "KestAVPacketPrivate.h"
#include "KestAVStreamPrivate.h"

namespace Kest {

KestAVStream::KestAVStream() : streamIndex(-1), imp(new KestAVStreamPrivate()), duration(0.0) {}

KestAVStream::KestAVStream(const KestAVStream& other) : KestAVStream()
{
    *this = other;
}

KestAVStream& KestAVStream::operator=(const KestAVStream& other)
{
    if (this == &other) {
        return *this;
    }
    avcodec_parameters_copy(imp->par, other.imp->par);
#if LIBAVCODEC_VERSION_MAJOR < 59
    avcodec_copy_context(imp->ctx, other.imp->ctx);
#else
    // The context copy is gone; its description travels through parameters.
    AVCodecParameters* contextPar = avcodec_parameters_alloc();
    if (contextPar != nullptr && avcodec_parameters_from_context(contextPar, other.imp->ctx) >= 0) {
        avcodec_parameters_to_context(imp->ctx, contextPar);
    }
    avcodec_parameters_free(&contextPar);
#endif
    timeBase = other.timeBase;
    return *this;
}

KestAVStream::~KestAVStream()
{
    delete imp;
}

int KestAVStream::GetStreamType()
{
    return imp->par->codec_type == AVMEDIA_TYPE_VIDEO ? 2 : 1;
}

int KestAVStream::GetWidth()
{
    return imp->par->width;
}

int KestAVStream::GetHeight()
{
    return imp->par->height;
}

double KestAVStream::GetDuration()
{
    return duration;
}

int KestAVStream::SetDuration(double seconds)
{
    duration = seconds;
    return 0;
}

int KestAVStream::ScalerPacketPTS(KestAVPacket& packet)
{
    const double pts = static_cast<double>(static_cast<uint64_t>(packet.imp->packet->pts));
    packet.imp->secPTS = pts * timeBase.num / timeBase.den;
    return 0;
}

} // namespace Kest
