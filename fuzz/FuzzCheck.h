#ifndef LUMO_FUZZ_FUZZCHECK_H
#define LUMO_FUZZ_FUZZCHECK_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace lumo_fuzz {

// A broken invariant is a crash, so libFuzzer keeps the input; the line
// of the call says which one.
inline void Check(bool ok, const char* file = __builtin_FILE(), int line = __builtin_LINE())
{
    if (!ok) {
        std::fprintf(stderr, "check failed at %s:%d\n", file, line);
        std::abort();
    }
}

// Plain UTF-8 check, independent of the ones under test: no overlong forms,
// no surrogates, nothing past U+10FFFF.
inline bool ValidUtf8(const std::string& s)
{
    for (size_t i = 0; i < s.size();) {
        const auto c = static_cast<uint8_t>(s[i]);
        int n = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (n == 0 || i + static_cast<size_t>(n) > s.size()) {
            return false;
        }
        uint32_t cp = n == 1 ? c : c & (0x7f >> n);
        for (int k = 1; k < n; ++k) {
            const auto t = static_cast<uint8_t>(s[i + static_cast<size_t>(k)]);
            if ((t & 0xc0) != 0x80) {
                return false;
            }
            cp = (cp << 6) | (t & 0x3f);
        }
        const uint32_t least[5] = {0, 0, 0x80, 0x800, 0x10000};
        if (cp < least[n] || cp > 0x10ffff || (cp >= 0xd800 && cp <= 0xdfff)) {
            return false;
        }
        i += static_cast<size_t>(n);
    }
    return true;
}

} // namespace lumo_fuzz

#endif
