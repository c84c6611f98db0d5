#ifndef LUMO_COLORSPACE_H
#define LUMO_COLORSPACE_H

namespace lumo {

// The sample range of the frames handed to YUVReader::CallSsimIqa, as the
// analysis window's colour-range buttons give it. Values other than
// COLOR_SPACE_VIDEO_RANGE leave the samples as they are.
enum COLOR_SPACE {
    COLOR_SPACE_DEFAULT = 0,
    COLOR_SPACE_FULL_RANGE = 1,
    // Limited range: luma is clamped to 16..235 before measuring, so
    // out-of-range codes cannot dominate the score.
    COLOR_SPACE_VIDEO_RANGE = 2,
};

} // namespace lumo

#endif
