#include "lumo/YUVFrameFile.h"

#include "Frame420.h"
#include "FrameFile.h"
#include "Layout.h"
#include "MallocPtr.h"
#include "lumo/Y4M.h"
#include "lumo/YUVReader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace lumo {

namespace {

// A malloc'ed block that only grows; its old contents are not kept.
class Growable {
public:
    uint8_t* Reserve(int64_t bytes)
    {
        if (bytes > capacity) {
            block.reset(static_cast<uint8_t*>(std::malloc(static_cast<size_t>(bytes))));
            capacity = block ? bytes : 0;
        }
        return block.get();
    }

private:
    MallocPtr<uint8_t> block;
    int64_t capacity = 0;
};

} // namespace

struct YUVFrameFile::State {
    explicit State(const std::string& path) : file(path) {}

    FrameFile file;
    YUVType type;
    const Layout* layout = nullptr;
    FrameGeometry geo;
    bool y4m = false;
    int64_t dataStart = 0;   // first frame (its header, for Y4M)
    int64_t frameHeader = 0; // bytes of each Y4M FRAME line
    int64_t stride = 0;      // from one frame's start to the next
    int64_t count = 0;
    Growable raw;
    Growable i420;
    Growable scratch;
    Growable aligned;
};

YUVFrameFile::YUVFrameFile() = default;

YUVFrameFile::~YUVFrameFile()
{
    delete d;
}

void YUVFrameFile::Close()
{
    delete d;
    d = nullptr;
}

int YUVFrameFile::Adopt(State* state)
{
    d = state;
    d->stride = d->frameHeader + d->geo.frameBytes;
    const int64_t bytes = d->file.Size() - d->dataStart;
    d->count = bytes > 0 ? bytes / d->stride : 0;
    return YUVReader::READ_OK;
}

int YUVFrameFile::OpenRaw(const std::string& path, int width, int height, const YUVType& type)
{
    Close();
    const Layout* layout = FindLayout(type);
    FrameGeometry geo;
    if (layout == nullptr || !ComputeGeometry(*layout, width, height, geo)) {
        return YUVReader::READ_ERROR_FORMAT;
    }
    auto* state = new (std::nothrow) State(path);
    if (state == nullptr) {
        return YUVReader::READ_ERROR_MEMORY;
    }
    if (!state->file.IsOpen()) {
        delete state;
        return YUVReader::READ_ERROR_FILE;
    }
    state->type = type;
    state->layout = layout;
    state->geo = geo;
    return Adopt(state);
}

int YUVFrameFile::OpenY4M(const std::string& path, std::string& why)
{
    Close();
    auto* state = new (std::nothrow) State(path);
    if (state == nullptr) {
        return YUVReader::READ_ERROR_MEMORY;
    }
    if (!state->file.IsOpen()) {
        delete state;
        return YUVReader::READ_ERROR_FILE;
    }
    // The stream header and the first frame's header, both bounded.
    char head[2 * kY4MMaxHeaderBytes];
    const size_t got = static_cast<size_t>(
        std::min<int64_t>(state->file.Size(), static_cast<int64_t>(sizeof(head))));
    if (!state->file.ReadAt(head, got, 0)) {
        delete state;
        return YUVReader::READ_ERROR_FILE;
    }
    Y4MHeader header;
    if (ParseY4MHeader(head, got, header, why) != 0) {
        delete state;
        return YUVReader::READ_ERROR_HEADER;
    }
    state->type = header.type;
    state->layout = FindLayout(header.type);
    if (state->layout == nullptr ||
        !ComputeGeometry(*state->layout, header.width, header.height, state->geo)) {
        why = "stream header describes no readable frame";
        delete state;
        return YUVReader::READ_ERROR_HEADER;
    }
    state->y4m = true;
    state->dataStart = header.length;
    const size_t rest = got - static_cast<size_t>(header.length);
    if (rest == 0) {
        state->frameHeader = 6; // no frames: "FRAME\n" makes the count 0 all the same
    } else {
        state->frameHeader = Y4MFrameHeaderLength(head + header.length, rest);
        if (state->frameHeader == 0) {
            why = "the first frame does not start with a FRAME line";
            delete state;
            return YUVReader::READ_ERROR_HEADER;
        }
    }
    return Adopt(state);
}

bool YUVFrameFile::IsY4MFile(const std::string& path)
{
    const FrameFile file(path);
    char head[16];
    const size_t n = static_cast<size_t>(std::min<int64_t>(file.Size(), sizeof(head)));
    return file.IsOpen() && file.ReadAt(head, n, 0) && lumo::IsY4M(head, n);
}

int YUVFrameFile::Width() const
{
    return d != nullptr ? d->geo.width : 0;
}

int YUVFrameFile::Height() const
{
    return d != nullptr ? d->geo.height : 0;
}

const YUVType& YUVFrameFile::Type() const
{
    return d != nullptr ? d->type : YUVType::YUV_TYPE_UNKNOW;
}

bool YUVFrameFile::IsY4M() const
{
    return d != nullptr && d->y4m;
}

int64_t YUVFrameFile::FrameCount() const
{
    return d != nullptr ? d->count : 0;
}

size_t YUVFrameFile::I420Len() const
{
    return d != nullptr ? static_cast<size_t>(I420Bytes(d->geo)) : 0;
}

int YUVFrameFile::ReadI420(int64_t first, int count, const unsigned char** frames)
{
    if (d == nullptr || count < 1 || first < 0 || first >= d->count || count > d->count - first) {
        return YUVReader::READ_ERROR_OFFSET;
    }
    State& s = *d;
    const int64_t span = count * s.stride;
    uint8_t* raw = s.raw.Reserve(span);
    if (raw == nullptr) {
        return YUVReader::READ_ERROR_MEMORY;
    }
    if (!s.file.ReadAt(raw, static_cast<size_t>(span), s.dataStart + first * s.stride)) {
        return YUVReader::READ_ERROR_FILE;
    }
    const bool direct = StoredAsI420(*s.layout);
    const int64_t len = I420Bytes(s.geo);
    uint8_t* out = direct ? nullptr : s.i420.Reserve(count * len);
    uint8_t* scratch = direct ? nullptr : s.scratch.Reserve(I420ScratchBytes(*s.layout, s.geo));
    if (!direct && (out == nullptr || (scratch == nullptr && I420ScratchBytes(*s.layout, s.geo) > 0))) {
        return YUVReader::READ_ERROR_MEMORY;
    }
    const bool words = s.layout->depth != SampleDepth::Bits8;
    for (int i = 0; i < count; ++i) {
        const uint8_t* frame = raw + i * s.stride;
        if (s.y4m && Y4MFrameHeaderLength(reinterpret_cast<const char*>(frame),
                                          static_cast<size_t>(s.frameHeader)) != s.frameHeader) {
            return YUVReader::READ_ERROR_HEADER;
        }
        const uint8_t* data = frame + s.frameHeader;
        if (direct) {
            frames[i] = data;
            continue;
        }
        // 16-bit samples behind a FRAME line of odd length move to an
        // aligned copy first.
        if (words && reinterpret_cast<uintptr_t>(data) % 2 != 0) {
            uint8_t* copy = s.aligned.Reserve(s.geo.frameBytes);
            if (copy == nullptr) {
                return YUVReader::READ_ERROR_MEMORY;
            }
            std::memcpy(copy, data, static_cast<size_t>(s.geo.frameBytes));
            data = copy;
        }
        uint8_t* to = out + i * len;
        ConvertToI420(*s.layout, s.geo, data, to, scratch);
        frames[i] = to;
    }
    return YUVReader::READ_OK;
}

} // namespace lumo
