#ifndef LUMO_Y4M_H
#define LUMO_Y4M_H

#include "lumo/YUVType.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

// The stream header of a YUV4MPEG2 (.y4m) file: "YUV4MPEG2" and
// space-separated fields up to a line feed, then frames, each a "FRAME"
// line (which may carry fields of its own) and the picture in the
// colorspace's planar layout. Read here: W and H (required), C (the
// colorspace, 420jpeg when absent), F (frame rate, kept when given). The
// other fields (I, A, X) are accepted and ignored.
//
// Colorspaces and the registry layouts they are read as:
//   420jpeg 420paldv 420mpeg2 420  I420 (the chroma siting differs, the
//                                       samples are stored alike)
//   422 I422   444 I444   mono GRAY
//   420p10 I420P10   422p10 I422P10   444p10 I444P10
// Subsampled colorspaces need an even width (and height for 4:2:0): Y4M
// rounds chroma up where the raw layouts round it down.
struct Y4MHeader {
    int width = 0;
    int height = 0;
    YUVType type;
    std::string colorspace;
    int rateNum = 0; // 0 when the header has no F field
    int rateDen = 0;
    int64_t length = 0; // bytes of the header, its line feed included
};

// Longest stream header accepted, line feed included.
constexpr size_t kY4MMaxHeaderBytes = 4096;

// True when data starts with the "YUV4MPEG2 " signature.
bool IsY4M(const char* data, size_t len);

// Parses the stream header at the start of data (len bytes, which need not
// end where the header does). 0 on success; -1 with a one-line reason in why
// for a missing signature, a header without a line feed within
// kY4MMaxHeaderBytes, a missing, malformed or out-of-range W or H (1 ..
// YUVReader::MAX_DIMENSION), an unknown colorspace, an odd size the
// colorspace cannot hold, or a malformed F field.
int ParseY4MHeader(const char* data, size_t len, Y4MHeader& out, std::string& why);

// The length of the frame header at data ("FRAME", optional fields, line
// feed), or 0 when data does not start with one within len bytes (at most
// kY4MMaxHeaderBytes).
int64_t Y4MFrameHeaderLength(const char* data, size_t len);

} // namespace lumo

#endif
