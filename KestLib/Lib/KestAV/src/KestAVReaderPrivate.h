#ifndef KEST_KESTAV_KESTAVREADERPRIVATE_H
#define KEST_KESTAV_KESTAVREADERPRIVATE_H

#include "core/KestString.h"

#include <cstdint>

extern "C" {
#include <libavformat/avformat.h>
}

namespace Kest {

struct KestAVReaderPrivate {
    KestString path;
    AVFormatContext* ctx = nullptr;
};

} // namespace Kest

#endif
