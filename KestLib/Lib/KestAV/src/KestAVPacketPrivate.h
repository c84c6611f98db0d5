#ifndef KEST_KESTAV_KESTAVPACKETPRIVATE_H
#define KEST_KESTAV_KESTAVPACKETPRIVATE_H

#include <cstdint>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace Kest {

struct KestAVPacketPrivate {
    KestAVPacketPrivate() : packet(av_packet_alloc()), last(0), secPTS(0.0)
    {
#if LIBAVCODEC_VERSION_INT < AV_VERSION_INT(58, 133, 100)
        av_init_packet(packet);
#endif
    }
    ~KestAVPacketPrivate() { av_packet_free(&packet); }
    KestAVPacketPrivate(const KestAVPacketPrivate&) = delete;
    KestAVPacketPrivate& operator=(const KestAVPacketPrivate&) = delete;

    AVPacket* packet;
    int last;
    double secPTS;
};

} // namespace Kest

#endif
