#include "FormBody.h"

#include <cctype>

namespace lumo_service {

namespace {

int HexValue(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::string Trimmed(const std::string& text)
{
    size_t begin = 0;
    size_t end = text.size();
    while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) {
        ++begin;
    }
    while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) {
        --end;
    }
    return text.substr(begin, end - begin);
}

// A field name as a reason quotes it: names longer than kMaxQuoted bytes
// are cut between characters, so the reason stays a short line whatever
// was posted.
std::string Quoted(const std::string& name)
{
    constexpr size_t kMaxQuoted = 64;
    if (name.size() <= kMaxQuoted) {
        return "\"" + name + "\"";
    }
    size_t end = kMaxQuoted;
    while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xc0) == 0x80) {
        --end;
    }
    return "\"" + name.substr(0, end) + "...\"";
}

} // namespace

bool FormBody::IsFormContentType(const std::string& contentType)
{
    std::string media = Trimmed(contentType.substr(0, contentType.find(';')));
    for (char& c : media) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return media == "application/x-www-form-urlencoded";
}

bool FormBody::Parse(const std::string& body, std::map<std::string, std::string>& fields, std::string& problem)
{
    fields.clear();
    if (body.empty()) {
        return true;
    }
    size_t start = 0;
    for (;;) {
        const size_t end = body.find('&', start);
        const std::string pair = body.substr(start, end == std::string::npos ? std::string::npos : end - start);
        const size_t equals = pair.find('=');
        std::string name;
        std::string value;
        if (pair.empty() || equals == 0) {
            problem = "empty field name";
            return false;
        }
        if (!Decode(pair.substr(0, equals), name)
            || (equals != std::string::npos && !Decode(pair.substr(equals + 1), value))) {
            problem = "malformed percent-encoding, NUL or text that is not UTF-8";
            return false;
        }
        if (fields.count(name) != 0) {
            problem = "field " + Quoted(name) + " given more than once";
            return false;
        }
        if (fields.size() == kMaxFields) {
            problem = "too many fields";
            return false;
        }
        fields.emplace(std::move(name), std::move(value));
        if (end == std::string::npos) {
            return true;
        }
        start = end + 1;
    }
}

bool FormBody::Decode(const std::string& text, std::string& out)
{
    out.clear();
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '+') {
            out.push_back(' ');
        } else if (c == '%') {
            if (i + 2 >= text.size()) {
                return false;
            }
            const int high = HexValue(text[i + 1]);
            const int low = HexValue(text[i + 2]);
            if (high < 0 || low < 0) {
                return false;
            }
            out.push_back(static_cast<char>(high * 16 + low));
            i += 2;
        } else {
            out.push_back(c);
        }
    }
    return out.find('\0') == std::string::npos && IsUtf8(out);
}

bool FormBody::IsUtf8(const std::string& text)
{
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const size_t size = text.size();
    size_t i = 0;
    while (i < size) {
        const unsigned char c = s[i];
        size_t length;
        unsigned int point;
        if (c < 0x80) {
            ++i;
            continue;
        } else if ((c & 0xe0) == 0xc0) {
            length = 2;
            point = c & 0x1f;
        } else if ((c & 0xf0) == 0xe0) {
            length = 3;
            point = c & 0x0f;
        } else if ((c & 0xf8) == 0xf0) {
            length = 4;
            point = c & 0x07;
        } else {
            return false;
        }
        if (i + length > size) {
            return false;
        }
        for (size_t k = 1; k < length; ++k) {
            if ((s[i + k] & 0xc0) != 0x80) {
                return false;
            }
            point = (point << 6) | (s[i + k] & 0x3f);
        }
        // Overlong forms, surrogates and points past U+10FFFF are not UTF-8.
        const unsigned int minimum = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
        if (point < minimum || point > 0x10ffff || (point >= 0xd800 && point <= 0xdfff)) {
            return false;
        }
        i += length;
    }
    return true;
}

} // namespace lumo_service
