#ifndef KEST_KESTAV_KESTAVSTREAMPRIVATE_H
#define KEST_KESTAV_KESTAVSTREAMPRIVATE_H

#include <cstdint>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace Kest {

struct KestAVStreamPrivate {
    KestAVStreamPrivate() : ctx(avcodec_alloc_context3(nullptr)), par(avcodec_parameters_alloc()) {}
    ~KestAVStreamPrivate()
    {
        avcodec_parameters_free(&par);
        avcodec_free_context(&ctx);
    }
    KestAVStreamPrivate(const KestAVStreamPrivate&) = delete;
    KestAVStreamPrivate& operator=(const KestAVStreamPrivate&) = delete;

    AVCodecContext* ctx;
    AVCodecParameters* par;
};

} // namespace Kest

#endif
