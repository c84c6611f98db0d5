#include "CsrfGuard.h"

#include "ServiceClock.h"

namespace lumo_service {

namespace {

constexpr size_t kRandomBytes = 32;
constexpr char kKdfContext[crypto_kdf_CONTEXTBYTES + 1] = "lumocsrf";

std::string Hex(const unsigned char* data, size_t size)
{
    std::string text(size * 2 + 1, '\0');
    sodium_bin2hex(&text[0], text.size(), data, size);
    text.pop_back();
    return text;
}

// The time before the '-' of "SECONDS-RANDOM"; false when the value
// has not that form.
bool MadeAt(const std::string& cookieValue, int64_t& made)
{
    const size_t dash = cookieValue.find('-');
    if (dash == 0 || dash == std::string::npos || dash > 18 || cookieValue.size() - dash - 1 != kRandomBytes * 2) {
        return false;
    }
    made = 0;
    for (size_t i = 0; i < dash; ++i) {
        if (cookieValue[i] < '0' || cookieValue[i] > '9') {
            return false;
        }
        made = made * 10 + (cookieValue[i] - '0');
    }
    return true;
}

CsrfCheck Failed(StoreStatus status)
{
    return status == StoreStatus::Unavailable ? CsrfCheck::Unavailable : CsrfCheck::Error;
}

} // namespace

CsrfGuard::CsrfGuard(Store& store, const ServiceClock& clock, const std::string& keyMaterial)
    : store(store)
    , clock(clock)
{
    unsigned char master[crypto_kdf_KEYBYTES];
    crypto_generichash(master, sizeof master, reinterpret_cast<const unsigned char*>(keyMaterial.data()),
                       keyMaterial.size(), nullptr, 0);
    crypto_kdf_derive_from_key(key, sizeof key, 1, kKdfContext, master);
    sodium_memzero(master, sizeof master);
}

CsrfGuard::~CsrfGuard()
{
    sodium_memzero(key, sizeof key);
}

void CsrfGuard::Issue(std::string& cookieValue, std::string& formValue) const
{
    unsigned char random[kRandomBytes];
    randombytes_buf(random, sizeof random);
    cookieValue = std::to_string(clock.Now()) + "-" + Hex(random, sizeof random);
    formValue = Code(cookieValue);
}

CsrfCheck CsrfGuard::Verify(const std::string& cookieValue, const std::string& formValue) const
{
    int64_t made = 0;
    if (!MadeAt(cookieValue, made) || !CodeMatches(cookieValue, formValue)) {
        return CsrfCheck::Invalid;
    }
    const int64_t now = clock.Now();
    if (made > now + kSkewSeconds || now - made >= kLifetimeSeconds) {
        return CsrfCheck::Expired;
    }
    return UseUp(cookieValue, now);
}

std::string CsrfGuard::CookieHeader(const std::string& cookieValue)
{
    return std::string(kCookieName) + "=" + cookieValue + "; Path=/; Secure; HttpOnly; SameSite=Strict; Max-Age="
        + std::to_string(kLifetimeSeconds);
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

bool CsrfGuard::CodeMatches(const std::string& cookieValue, const std::string& formValue) const
{
    if (formValue.size() != crypto_auth_BYTES * 2) {
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

CsrfCheck CsrfGuard::UseUp(const std::string& cookieValue, int64_t now) const
{
    // Recorded before counting, so of posts racing with one pair at most the
    // first sees itself alone.
    const std::string used = "csrf:" + cookieValue;
    StoreStatus status = store.AddAttempt(used, now);
    if (status != StoreStatus::Ok) {
        return Failed(status);
    }
    int count = 0;
    int64_t oldest = 0;
    status = store.CountAttempts(used, 0, count, oldest);
    if (status != StoreStatus::Ok) {
        return Failed(status);
    }
    return count == 1 ? CsrfCheck::Valid : CsrfCheck::Used;
}

} // namespace lumo_service
