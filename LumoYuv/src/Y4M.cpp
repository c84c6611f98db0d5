#include "lumo/Y4M.h"

#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <algorithm>
#include <cstring>

namespace lumo {

namespace {

constexpr char kSignature[] = "YUV4MPEG2 ";
constexpr size_t kSignatureLength = sizeof(kSignature) - 1;
constexpr char kFrame[] = "FRAME";
constexpr size_t kFrameLength = sizeof(kFrame) - 1;

struct Colorspace {
    const char* name;
    const char* layout;
    int shiftX;
    int shiftY;
};

constexpr Colorspace kColorspaces[] = {
    {"420jpeg", "I420", 1, 1}, {"420paldv", "I420", 1, 1},  {"420mpeg2", "I420", 1, 1},
    {"420", "I420", 1, 1},     {"422", "I422", 1, 0},       {"444", "I444", 0, 0},
    {"mono", "GRAY", 0, 0},    {"420p10", "I420P10", 1, 1}, {"422p10", "I422P10", 1, 0},
    {"444p10", "I444P10", 0, 0},
};

// A whole decimal number in 1 .. max.
bool ParseCount(const std::string& text, long long max, long long& value)
{
    if (text.empty() || text.size() > 18) {
        return false;
    }
    long long v = 0;
    for (char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
        v = v * 10 + (c - '0');
    }
    if (v < 1 || v > max) {
        return false;
    }
    value = v;
    return true;
}

// Field text as shown in a message: printable ASCII, at most 32 bytes.
std::string Shown(const std::string& field)
{
    std::string out;
    for (char c : field.substr(0, 32)) {
        out += (c >= 0x20 && c < 0x7f) ? c : '?';
    }
    return field.size() > 32 ? out + "..." : out;
}

} // namespace

bool IsY4M(const char* data, size_t len)
{
    return len >= kSignatureLength && std::memcmp(data, kSignature, kSignatureLength) == 0;
}

int ParseY4MHeader(const char* data, size_t len, Y4MHeader& out, std::string& why)
{
    if (!IsY4M(data, len)) {
        why = "no YUV4MPEG2 signature";
        return -1;
    }
    const size_t limit = std::min(len, kY4MMaxHeaderBytes);
    const char* end = static_cast<const char*>(std::memchr(data, '\n', limit));
    if (end == nullptr) {
        why = "the stream header has no line end within " + std::to_string(kY4MMaxHeaderBytes) +
              " bytes";
        return -1;
    }
    Y4MHeader h;
    h.colorspace = "420jpeg";
    h.length = end - data + 1;
    bool haveWidth = false;
    bool haveHeight = false;
    const std::string fields(data + kSignatureLength, end);
    size_t at = 0;
    while (at <= fields.size()) {
        size_t next = fields.find(' ', at);
        if (next == std::string::npos) {
            next = fields.size();
        }
        const std::string field = fields.substr(at, next - at);
        at = next + 1;
        if (field.empty()) {
            continue;
        }
        const std::string value = field.substr(1);
        long long n = 0;
        switch (field[0]) {
        case 'W':
        case 'H':
            if (!ParseCount(value, YUVReader::MAX_DIMENSION, n)) {
                why = std::string("bad ") + (field[0] == 'W' ? "width" : "height") + " '" +
                      Shown(value) + "' (1.." + std::to_string(YUVReader::MAX_DIMENSION) + ")";
                return -1;
            }
            (field[0] == 'W' ? h.width : h.height) = static_cast<int>(n);
            (field[0] == 'W' ? haveWidth : haveHeight) = true;
            break;
        case 'C':
            h.colorspace = value;
            break;
        case 'F': {
            const size_t colon = value.find(':');
            long long num = 0;
            long long den = 0;
            if (colon == std::string::npos || !ParseCount(value.substr(0, colon), 1 << 30, num) ||
                !ParseCount(value.substr(colon + 1), 1 << 30, den)) {
                why = "bad frame rate '" + Shown(value) + "'";
                return -1;
            }
            h.rateNum = static_cast<int>(num);
            h.rateDen = static_cast<int>(den);
            break;
        }
        default:
            break; // I, A, X and unknown fields carry nothing we use
        }
    }
    if (!haveWidth || !haveHeight) {
        why = haveWidth ? "no height (H) in the stream header" : "no width (W) in the stream header";
        return -1;
    }
    const Colorspace* cs = nullptr;
    for (const Colorspace& c : kColorspaces) {
        if (h.colorspace == c.name) {
            cs = &c;
        }
    }
    if (cs == nullptr) {
        why = "unsupported colorspace '" + Shown(h.colorspace) +
              "' (420jpeg, 420paldv, 420mpeg2, 420, 422, 444, mono, 420p10, 422p10, 444p10)";
        return -1;
    }
    if ((cs->shiftX != 0 && h.width % 2 != 0) || (cs->shiftY != 0 && h.height % 2 != 0)) {
        why = "colorspace " + h.colorspace + " with an odd size (" + std::to_string(h.width) + "x" +
              std::to_string(h.height) + ") is not supported";
        return -1;
    }
    h.type = YUVTypeInstance::GetInstance()->FindTypeByIdName(cs->layout);
    out = h;
    return 0;
}

int64_t Y4MFrameHeaderLength(const char* data, size_t len)
{
    if (len < kFrameLength + 1 || std::memcmp(data, kFrame, kFrameLength) != 0) {
        return 0;
    }
    if (data[kFrameLength] != '\n' && data[kFrameLength] != ' ') {
        return 0;
    }
    const size_t limit = std::min(len, kY4MMaxHeaderBytes);
    const void* end = std::memchr(data + kFrameLength, '\n', limit - kFrameLength);
    return end == nullptr ? 0 : static_cast<const char*>(end) - data + 1;
}

} // namespace lumo
