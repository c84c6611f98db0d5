#ifndef LUMO_RAWFORMATGUESS_H
#define LUMO_RAWFORMATGUESS_H

#include "lumo/YUVType.h"

#include <string>

namespace lumo {

// What a raw file's name says about its frames.
struct RawFormatGuess {
    int width = 0;  // 0: no size in the name
    int height = 0;
    YUVType type;   // YUV_TYPE_UNKNOW: no layout in the name
};

// Reads the size and layout from the last component of path, the way such
// files are commonly named: "clip_1920x1080_nv12.yuv", "1280x720.yuv",
// "foo_p010_3840x2160.yuv", "bus_cif.yuv".
//
// - Size: the last WIDTHxHEIGHT in the name (digits, 'x' or 'X', digits,
//   not part of a longer run of digits), each 1 .. YUVReader::MAX_DIMENSION;
//   failing that the last of the words qcif (176x144), cif (352x288), 4cif
//   (704x576), 480p (720x480), 576p (720x576), 720p (1280x720), 1080p
//   (1920x1080), 2160p and 4k (3840x2160).
// - Layout: the last word naming one, case ignored. Words are the runs of
//   letters and digits between other characters, the extension included.
//   Every registry id counts (i420, nv12, p010, ...), and so do the names
//   other tools use: yuv420p, iyuv, yuv422p, yuv444p, yuy2, yuyv422, uyvy422,
//   gray, gray8, y8, y800, yuv420p10le/yuv420p10, yuv422p10le/yuv422p10,
//   yuv444p10le/yuv444p10, p010le.
//
// True when the name gave a size, a layout or both. Nothing is assumed:
// a size without a layout leaves type unknown for the caller to decide.
bool GuessRawFormat(const std::string& path, RawFormatGuess& out);

} // namespace lumo

#endif
