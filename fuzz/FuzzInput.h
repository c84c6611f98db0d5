#ifndef LUMO_FUZZ_FUZZINPUT_H
#define LUMO_FUZZ_FUZZINPUT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

namespace lumo_fuzz {

// Takes numbers off the front of a fuzz input; past its end every number
// is 0.
class FuzzInput {
public:
    FuzzInput(const uint8_t* data, size_t size) : data(data), size(size) {}

    uint8_t Byte()
    {
        return at < size ? data[at++] : 0;
    }

    uint32_t Bits(int bytes)
    {
        uint32_t v = 0;
        for (int i = 0; i < bytes; ++i) {
            v = (v << 8) | Byte();
        }
        return v;
    }

    // A value in lo .. hi.
    int InRange(int lo, int hi, int bytes)
    {
        const uint32_t span = static_cast<uint32_t>(hi - lo) + 1;
        return lo + static_cast<int>(Bits(bytes) % span);
    }

    const uint8_t* Rest() const { return data + at; }
    size_t RestSize() const { return size - (at < size ? at : size); }

private:
    const uint8_t* data;
    size_t size;
    size_t at = 0;
};

// One scratch file per process, rewritten for every input; in memory
// (/dev/shm) where there is such a place, as a disk would set the pace.
class ScratchFile {
public:
    ScratchFile()
    {
        char pattern[] = "/dev/shm/lumo-fuzz-XXXXXX";
        char fallback[] = "/tmp/lumo-fuzz-XXXXXX";
        int fd = mkstemp(pattern);
        char* name = pattern;
        if (fd < 0) {
            fd = mkstemp(fallback);
            name = fallback;
        }
        if (fd < 0) {
            std::abort();
        }
        close(fd);
        path = name;
    }
    ~ScratchFile() { unlink(path.c_str()); }

    const std::string& Write(const uint8_t* bytes, size_t n)
    {
        std::FILE* f = std::fopen(path.c_str(), "wb");
        if (f == nullptr || (n > 0 && std::fwrite(bytes, 1, n, f) != n) || std::fclose(f) != 0) {
            std::abort();
        }
        return path;
    }

    std::string path;
};

} // namespace lumo_fuzz

#endif
