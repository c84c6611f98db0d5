#include "KestAV/KestAVPacket.h"

#include "KestAVPacketPrivate.h"

namespace Kest {

KestAVPacket::KestAVPacket() : imp(new KestAVPacketPrivate()) {}

KestAVPacket::KestAVPacket(const KestAVPacket& other) : KestAVPacket()
{
    *this = other;
}

KestAVPacket& KestAVPacket::operator=(const KestAVPacket& other)
{
    if (this == &other) {
        return *this;
    }
    imp->last = other.imp->last;
    imp->secPTS = other.imp->secPTS;
    av_packet_free(&imp->packet);
    imp->packet = av_packet_clone(other.imp->packet);
    return *this;
}

KestAVPacket::~KestAVPacket()
{
    delete imp;
}

int KestAVPacket::GetStreamId()
{
    return imp->packet->stream_index;
}

int KestAVPacket::SetStreamId(int streamId)
{
    imp->packet->stream_index = streamId;
    return 0;
}

int64_t KestAVPacket::GetPTS()
{
    return imp->packet->pts;
}

int64_t KestAVPacket::GetDTS()
{
    return imp->packet->dts;
}

int KestAVPacket::SetPTS(uint64_t pts)
{
    imp->packet->pts = static_cast<int64_t>(pts);
    return 0;
}

int KestAVPacket::SetDTS(uint64_t dts)
{
    imp->packet->dts = static_cast<int64_t>(dts);
    return 0;
}

int KestAVPacket::GetSize()
{
    return imp->packet->size;
}

unsigned char* KestAVPacket::GetDataPtr()
{
    return imp->packet->data;
}

int KestAVPacket::SetDataPtr(unsigned char* data)
{
    imp->packet->data = data;
    return 0;
}

double KestAVPacket::GetSecPTS()
{
    return imp->secPTS;
}

int KestAVPacket::RescaleTs(KestAVRational& from, KestAVRational& to)
{
    av_packet_rescale_ts(imp->packet, AVRational{from.num, from.den}, AVRational{to.num, to.den});
    return 0;
}

int KestAVPacket::SetLast()
{
    imp->last = 1;
    return 0;
}

int KestAVPacket::IsLast()
{
    return imp->last;
}

} // namespace Kest
