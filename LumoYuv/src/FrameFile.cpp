#include "FrameFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumo {

FrameFile::FrameFile(const std::string& path)
{
    // Non-blocking, so that a FIFO in the file's place cannot hold the
    // open until a writer comes; reads of a regular file ignore the flag.
    int handle = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (handle < 0) {
        return;
    }
    struct stat st;
    // A directory, a FIFO or a device opens but has no frames to offer.
    if (::fstat(handle, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(handle);
        return;
    }
    fd = handle;
    size = st.st_size;
}

FrameFile::~FrameFile()
{
    if (fd >= 0) {
        ::close(fd);
    }
}

bool FrameFile::IsOpen() const
{
    return fd >= 0;
}

int64_t FrameFile::Size() const
{
    return size;
}

bool FrameFile::ReadAt(void* dst, size_t len, int64_t pos) const
{
    auto* out = static_cast<unsigned char*>(dst);
    while (len > 0) {
        ssize_t got = ::pread(fd, out, len, pos);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        out += got;
        len -= static_cast<size_t>(got);
        pos += got;
    }
    return true;
}

} // namespace lumo
