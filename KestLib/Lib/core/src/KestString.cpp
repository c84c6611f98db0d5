#include "core/KestString.h"

#include "core/KestStrRpl.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Kest {

namespace {

char* CopyText(const char* s)
{
    const size_t n = strlen(s) + 1;
    char* copy = static_cast<char*>(malloc(n));
    if (copy != nullptr) {
        memcpy(copy, s, n);
    }
    return copy;
}

template <typename V>
KestString FormatNumber(const char* format, V value)
{
    char buffer[512] = {0};
    if (format != nullptr) {
        snprintf(buffer, sizeof(buffer), format, value);
    }
    return KestString(buffer);
}

} // namespace

KestString::KestString() : str(nullptr) {}

KestString::KestString(const char* s) : str(nullptr)
{
    if (s != nullptr) {
        str = CopyText(s);
    }
}

KestString::KestString(const KestString& other) : KestString()
{
    *this = other;
}

KestString::~KestString()
{
    ClearStr();
}

KestString& KestString::operator=(const KestString& other)
{
    if (&other == this || other.str == nullptr) {
        return *this;
    }
    char* copy = CopyText(other.str);
    if (copy != nullptr) {
        free(str);
        str = copy;
    }
    return *this;
}

bool KestString::operator==(const KestString& other) const
{
    if (str == nullptr || other.str == nullptr) {
        return str == nullptr && other.str == nullptr;
    }
    return strcmp(str, other.str) == 0;
}

bool KestString::operator!=(const KestString& other) const
{
    return !(*this == other);
}

bool KestString::operator>(const KestString& other) const
{
    return strcmp(CStr(), other.CStr()) > 0;
}

bool KestString::operator<(const KestString& other) const
{
    return strcmp(CStr(), other.CStr()) < 0;
}

KestString KestString::operator+(const KestString& other) const
{
    const size_t a = Length();
    const size_t b = other.Length();
    KestString sum;
    if (a + b < 1) {
        return sum;
    }
    sum.str = static_cast<char*>(malloc(a + b + 1));
    if (sum.str == nullptr) {
        return sum;
    }
    memcpy(sum.str, CStr(), a);
    memcpy(sum.str + a, other.CStr(), b);
    sum.str[a + b] = '\0';
    return sum;
}

KestString& KestString::operator+=(const KestString& other)
{
    *this = *this + other;
    return *this;
}

int KestString::IsEmpty() const
{
    return str == nullptr ? 1 : 0;
}

int KestString::ClearStr()
{
    free(str);
    str = nullptr;
    return 0;
}

int KestString::Replace(const KestString& from, const KestString& to)
{
    // The result is counted against 2048 bytes, but strrpl writes a
    // replacement whole even past that count: size the real buffer for the
    // worst case so a long text can never overrun it.
    const size_t worst = static_cast<size_t>(Length()) * (to.Length() + 1) + 1;
    std::vector<char> buffer(std::max<size_t>(2048, worst), '\0');
    strrpl(str, buffer.data(), 2048, from.str, to.str);
    *this = KestString(buffer.data());
    return 0;
}

int KestString::Split(KestString* out, const KestString& delim)
{
    if (out != nullptr) {
        std::copy(parts.begin(), parts.end(), out);
        return static_cast<int>(parts.size());
    }

    parts.clear();
    if (str == nullptr) {
        return 0;
    }
    std::vector<char> copy(str, str + strlen(str) + 1);
    char* saveptr = nullptr;
    for (char* piece = strtok_r(copy.data(), delim.CStr(), &saveptr); piece != nullptr;
         piece = strtok_r(nullptr, delim.CStr(), &saveptr)) {
        parts.emplace_back(piece);
    }
    return static_cast<int>(parts.size());
}

const char* KestString::GetStr() const
{
    return str;
}

const char* KestString::CStr() const
{
    return str != nullptr ? str : "";
}

int KestString::Length() const
{
    return str != nullptr ? static_cast<int>(strlen(str)) : 0;
}

KestString KestString::Number(float value, KestString format)
{
    return FormatNumber(format.str, value);
}

KestString KestString::Number(int value, KestString format)
{
    return FormatNumber(format.str, value);
}

KestString KestString::Number(long value)
{
    return FormatNumber("%ld", value);
}

KestString KestString::Number(long long value)
{
    return FormatNumber("%lld", value);
}

} // namespace Kest
