#ifndef LUMO_YUVFRAMEFILE_H
#define LUMO_YUVFRAMEFILE_H

#include "lumo/YUVType.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

// A raw or YUV4MPEG2 file held open to read runs of frames as 4:2:0, for
// programs that go through a whole file (lumo-iqa). Unlike YUVReader it
// keeps the file open and reuses its buffers from one read to the next, so
// reading allocates nothing once the buffers have grown to the largest run.
// One object serves one thread; open one per thread to read in parallel.
//
// The 4:2:0 form is I420: Y, then U and V of (w/2) x (h/2), the same bytes
// YUVReader::ReadFrameYUV420 gives. Status values are YUVReader::READ_*.
class YUVFrameFile {
public:
    YUVFrameFile();
    ~YUVFrameFile();
    YUVFrameFile(const YUVFrameFile&) = delete;
    YUVFrameFile& operator=(const YUVFrameFile&) = delete;

    // Each Open first closes what the object had open; a failed Open leaves
    // it closed (no frames).
    // A raw file of the given size and layout: READ_OK, READ_ERROR_FORMAT
    // (unknown layout or impossible size), READ_ERROR_FILE (missing, not a
    // regular file, unreadable) or READ_ERROR_MEMORY.
    int OpenRaw(const std::string& path, int width, int height, const YUVType& type);

    // A YUV4MPEG2 file, size and layout from its stream header (lumo/Y4M.h):
    // READ_OK, READ_ERROR_FILE, READ_ERROR_MEMORY, or READ_ERROR_HEADER with
    // a one-line reason in why.
    int OpenY4M(const std::string& path, std::string& why);

    // True when the file at path starts with the YUV4MPEG2 signature.
    static bool IsY4MFile(const std::string& path);

    int Width() const;
    int Height() const;
    const YUVType& Type() const;
    bool IsY4M() const;

    // Whole frames in the file, as it was when opened. A Y4M file's count
    // assumes every frame header is as long as the first one; each read
    // checks its frames' headers.
    int64_t FrameCount() const;

    // Bytes of one frame's I420 form.
    size_t I420Len() const;

    // Reads frames first .. first + count - 1 and points frames[i] at the
    // I420 form of frame first + i. The pointers stay valid until the next
    // read or the object's end. READ_OK; READ_ERROR_OFFSET for a run outside
    // 0 .. FrameCount() - 1 or a count below 1; READ_ERROR_FILE when the read
    // fails or the file has shrunk; READ_ERROR_HEADER when a Y4M frame does
    // not start with its FRAME line; READ_ERROR_MEMORY.
    int ReadI420(int64_t first, int count, const unsigned char** frames);

private:
    struct State;
    void Close();
    int Adopt(State* state);

    State* d = nullptr;
};

} // namespace lumo

#endif
