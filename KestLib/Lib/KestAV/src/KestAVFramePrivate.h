#ifndef KEST_KESTAV_KESTAVFRAMEPRIVATE_H
#define KEST_KESTAV_KESTAVFRAMEPRIVATE_H

#include <cstdint>
#include <cstdlib>
#include <vector>

extern "C" {
#include <libavutil/frame.h>
}

namespace Kest {

struct KestAVFramePrivate {
    KestAVFramePrivate() : frame(av_frame_alloc()), last(0) {}
    ~KestAVFramePrivate()
    {
        av_frame_unref(frame);
        av_frame_free(&frame);
        for (void* buffer : ownedBuffers) {
            free(buffer);
        }
    }
    KestAVFramePrivate(const KestAVFramePrivate&) = delete;
    KestAVFramePrivate& operator=(const KestAVFramePrivate&) = delete;

    AVFrame* frame;
    int last;
    // Planes handed in by SetVideoData420P; malloc'ed, freed with the frame.
    std::vector<void*> ownedBuffers;
};

} // namespace Kest

#endif
