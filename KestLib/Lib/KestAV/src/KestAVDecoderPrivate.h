#ifndef KEST_KESTAV_KESTAVDECODERPRIVATE_H
#define KEST_KESTAV_KESTAVDECODERPRIVATE_H

#include <cstdint>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace Kest {

struct KestAVDecoderPrivate {
    KestAVDecoderPrivate() : ctx(avcodec_alloc_context3(nullptr)) {}
    ~KestAVDecoderPrivate() { avcodec_free_context(&ctx); }
    KestAVDecoderPrivate(const KestAVDecoderPrivate&) = delete;
    KestAVDecoderPrivate& operator=(const KestAVDecoderPrivate&) = delete;

    AVCodecContext* ctx;
};

} // namespace Kest

#endif
