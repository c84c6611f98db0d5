#include "CsrfGuard.h"


namespace lumo_service {

namespace {

std::string Hex(const unsigned char* data, size_t size)
{
    std::string text(size * 2 + 1, '\0');
    sodium_bin2hex(&text[0], text.size(), data, size);
    text.pop_back();
    return text;
}

} // namespace

CsrfGuard::CsrfGuard()
{
    crypto_auth_keygen(key);
}

CsrfGuard::~CsrfGuard()
{
    sodium_memzero(key, sizeof key);
}

void CsrfGuard::Issue(std::string& cookieValue, std::string& formValue) const
{
    unsigned char random[32];
    randombytes_buf(random, sizeof random);
    cookieValue = Hex(random, sizeof random);
    formValue = Code(cookieValue);
}

bool CsrfGuard::Verify(const std::string& cookieValue, const std::string& formValue) const
{
    if (cookieValue.empty() || formValue.size() != crypto_auth_BYTES * 2) {
        return false;
    }
    unsigned char code[crypto_auth_BYTES];
    size_t length = 0;
    if (sodium_hex2bin(code, sizeof code, formValue.data(), formValue.size(), nullptr, &length, nullptr) != 0
        || length != sizeof code) {
        return false;
    }
    return crypto_auth_verify(code, reinterpret_cast<const unsigned char*>(cookieValue.data()), cookieValue.size(),
                              key)
        == 0;
}

std::string CsrfGuard::CookieHeader(const std::string& cookieValue)
{
    return std::string(kCookieName) + "=" + cookieValue + "; Path=/; Secure; HttpOnly; SameSite=Strict; Max-Age=3600";
}

std::string CsrfGuard::CookieFrom(const std::string& cookieHeader)
{
    const std::string wanted = std::string(kCookieName) + "=";
    size_t start = 0;
    while (start < cookieHeader.size()) {
        size_t end = cookieHeader.find(';', start);
        if (end == std::string::npos) {
            end = cookieHeader.size();
        }
        size_t begin = start;
        while (begin < end && cookieHeader[begin] == ' ') {
            ++begin;
        }
        if (cookieHeader.compare(begin, wanted.size(), wanted) == 0) {
            return cookieHeader.substr(begin + wanted.size(), end - begin - wanted.size());
        }
        start = end + 1;
    }
    return std::string();
}

std::string CsrfGuard::Code(const std::string& cookieValue) const
{
    unsigned char code[crypto_auth_BYTES];
    crypto_auth(code, reinterpret_cast<const unsigned char*>(cookieValue.data()), cookieValue.size(), key);
    return Hex(code, sizeof code);
}

} // namespace lumo_service
