#ifndef KEST_CORE_KESTSTRING_H
#define KEST_CORE_KESTSTRING_H

#include <vector>

namespace Kest {

// A heap-allocated, NUL-terminated byte string. A null text is the empty
// string; a text of "" is a distinct, non-empty value for IsEmpty().
class KestString {
public:
    KestString();
    KestString(const char* s);
    KestString(const KestString& other);
    ~KestString();

    // Assigning a string whose text is null leaves this one unchanged.
    KestString& operator=(const KestString& other);

    bool operator==(const KestString& other) const;
    bool operator!=(const KestString& other) const;
    // Byte order; an empty string compares as "".
    bool operator>(const KestString& other) const;
    bool operator<(const KestString& other) const;

    KestString operator+(const KestString& other) const;
    KestString& operator+=(const KestString& other);

    int IsEmpty() const;
    int ClearStr();

    // Replaces every occurrence of from by to; the result is limited to
    // 2047 bytes.
    int Replace(const KestString& from, const KestString& to);

    // Two-phase split: with out null, splits at any character of delim,
    // keeps the non-empty pieces and returns their count; with out non-null,
    // copies the pieces of the last split into out[0 ...] and returns the count.
    int Split(KestString* out, const KestString& delim);

    // The text, or null for the empty string.
    const char* GetStr() const;
    // The text, or "" for the empty string.
    const char* CStr() const;
    int Length() const;

    static KestString Number(float value, KestString format);
    static KestString Number(int value, KestString format);
    static KestString Number(long value);
    static KestString Number(long long value);

private:
    char* str;
    std::vector<KestString> parts;
};

} // namespace Kest

#endif
