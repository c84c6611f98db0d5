#include "core/KestStrRpl.h"

#include <cstdint>
#include <cstring>

char* strrpl(char* in, char* out, int outsize, const char* from, const char* to)
{
    if (in == nullptr || out == nullptr || from == nullptr || to == nullptr) {
        return nullptr;
    }
    if (*in == '\0' || *from == '\0' || outsize < 1) {
        return nullptr;
    }

    // The count is unsigned on purpose: a replacement longer than what is
    // left makes it wrap, and the copy then runs to the end of the input.
    uint32_t remaining = static_cast<uint32_t>(outsize - 1);
    const size_t fromLen = strlen(from);
    const size_t toLen = strlen(to);
    char* end = out + strlen(out);

    while (*in != '\0' && remaining != 0) {
        if (strncmp(in, from, fromLen) == 0) {
            memcpy(end, to, toLen + 1);
            end += toLen;
            in += fromLen;
            remaining -= static_cast<uint32_t>(toLen);
        } else {
            *end++ = *in++;
            *end = '\0';
            remaining -= 1;
        }
    }
    return out;
}
