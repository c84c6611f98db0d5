#ifndef LUMO_TESTS_LUMOYUV_Y4MTESTSUPPORT_H
#define LUMO_TESTS_LUMOYUV_Y4MTESTSUPPORT_H

#include "YuvTestSupport.h"

#include <string>
#include <vector>

namespace lumo_yuv_test {

// A YUV4MPEG2 stream: the header line, then each frame behind its FRAME
// line (frameLine without its line feed).
inline Bytes MakeY4M(const std::string& header, const std::vector<Bytes>& frames,
                     const std::string& frameLine = "FRAME")
{
    Bytes out(header.begin(), header.end());
    out.push_back('\n');
    for (const Bytes& frame : frames) {
        out.insert(out.end(), frameLine.begin(), frameLine.end());
        out.push_back('\n');
        out.insert(out.end(), frame.begin(), frame.end());
    }
    return out;
}

} // namespace lumo_yuv_test

#endif
