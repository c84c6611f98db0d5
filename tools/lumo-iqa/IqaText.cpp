#include "IqaText.h"

#include <cstdint>
#include <cstdio>

namespace lumo_iqa {

namespace {

// Length of the valid UTF-8 sequence starting at s[i] (1..4), or 0 when
// the bytes there are not one: overlong forms, surrogates and code points
// above U+10FFFF are not valid.
size_t Utf8Length(const std::string& s, size_t i)
{
    const auto byte = [&s](size_t k) { return static_cast<uint8_t>(s[k]); };
    const uint8_t b0 = byte(i);
    size_t n = 0;
    uint8_t low = 0x80;
    uint8_t high = 0xbf;
    if (b0 < 0x80) {
        return 1;
    } else if (b0 >= 0xc2 && b0 <= 0xdf) {
        n = 2;
    } else if (b0 >= 0xe0 && b0 <= 0xef) {
        n = 3;
        low = b0 == 0xe0 ? 0xa0 : 0x80;
        high = b0 == 0xed ? 0x9f : 0xbf;
    } else if (b0 >= 0xf0 && b0 <= 0xf4) {
        n = 4;
        low = b0 == 0xf0 ? 0x90 : 0x80;
        high = b0 == 0xf4 ? 0x8f : 0xbf;
    } else {
        return 0;
    }
    if (i + n > s.size()) {
        return 0;
    }
    // The second byte carries the range limits, the rest are plain
    // continuation bytes.
    if (byte(i + 1) < low || byte(i + 1) > high) {
        return 0;
    }
    for (size_t k = 2; k < n; ++k) {
        if (byte(i + k) < 0x80 || byte(i + k) > 0xbf) {
            return 0;
        }
    }
    return n;
}

} // namespace

std::string JsonString(const std::string& bytes)
{
    std::string out = "\"";
    for (size_t i = 0; i < bytes.size();) {
        const auto c = static_cast<uint8_t>(bytes[i]);
        const size_t n = Utf8Length(bytes, i);
        if (n == 0) {
            out += "\\ufffd";
            ++i;
        } else if (n > 1) {
            out.append(bytes, i, n);
            i += n;
        } else {
            if (c == '"' || c == '\\') {
                out += '\\';
                out += static_cast<char>(c);
            } else if (c < 0x20) {
                char escaped[8];
                std::snprintf(escaped, sizeof(escaped), "\\u%04x", c);
                out += escaped;
            } else {
                out += static_cast<char>(c);
            }
            ++i;
        }
    }
    return out + "\"";
}

std::string OneLine(const std::string& bytes)
{
    std::string out;
    for (char ch : bytes) {
        const auto c = static_cast<uint8_t>(ch);
        if (c == '\\') {
            out += "\\\\";
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c < 0x20 || c == 0x7f) {
            char escaped[8];
            std::snprintf(escaped, sizeof(escaped), "\\x%02x", c);
            out += escaped;
        } else {
            out += ch;
        }
    }
    return out;
}

std::string Quoted(const std::string& bytes)
{
    return "'" + OneLine(bytes) + "'";
}

} // namespace lumo_iqa
