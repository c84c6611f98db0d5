#ifndef LUMO_SRC_FRAMEFILE_H
#define LUMO_SRC_FRAMEFILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

// A regular file opened read-only for the span of one call.
class FrameFile {
public:
    explicit FrameFile(const std::string& path);
    ~FrameFile();
    FrameFile(const FrameFile&) = delete;
    FrameFile& operator=(const FrameFile&) = delete;

    // False when the path is missing, unreadable or not a regular file.
    bool IsOpen() const;
    int64_t Size() const;

    // Reads exactly len bytes at pos; false on an error or an early end.
    bool ReadAt(void* dst, size_t len, int64_t pos) const;

private:
    int fd = -1;
    int64_t size = 0;
};

} // namespace lumo

#endif
