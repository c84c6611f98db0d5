#ifndef LUMO_SERVICE_CSRFGUARD_H
#define LUMO_SERVICE_CSRFGUARD_H

#include "Store.h"

#include <sodium.h>

#include <cstdint>
#include <string>

namespace lumo_service {

class ServiceClock;

enum class CsrfCheck {
    Valid,
    Invalid, // missing, malformed or not this service's
    Expired,
    Used,    // a pair is taken once
    Error,
    Unavailable, // the store cannot be reached
};

// Guards the page forms against cross-site posts: the browser gets a cookie
// holding the time it was made and a random value, the form carries the
// cookie's authentication code, and a post is taken only when the two match,
// within the pair's lifetime, once. The key is derived from the TLS private key, so
// every process serving the same certificate accepts the same pairs and no
// other secret needs keeping; used cookies are recorded in the store.
class CsrfGuard {
public:
    static constexpr const char* kCookieName = "__Host-lumo_csrf";
    static constexpr int64_t kLifetimeSeconds = 3600;
    // Cookies made this far ahead of now pass, for processes whose clocks
    // differ a little.
    static constexpr int64_t kSkewSeconds = 60;
    // How long a used cookie must stay recorded to be refused again.
    static constexpr int64_t kUsedKeptSeconds = kLifetimeSeconds + kSkewSeconds;

    // keyMaterial: the bytes of the TLS private key file.
    CsrfGuard(Store& store, const ServiceClock& clock, const std::string& keyMaterial);
    ~CsrfGuard();
    CsrfGuard(const CsrfGuard&) = delete;
    CsrfGuard& operator=(const CsrfGuard&) = delete;

    // A fresh cookie value and the form value that goes with it.
    void Issue(std::string& cookieValue, std::string& formValue) const;
    // Constant-time check of a form value against the cookie's; a valid
    // pair is used up.
    CsrfCheck Verify(const std::string& cookieValue, const std::string& formValue) const;
    // The Set-Cookie header value for cookieValue.
    static std::string CookieHeader(const std::string& cookieValue);
    // This guard's cookie among the request's Cookie header; empty if none.
    static std::string CookieFrom(const std::string& cookieHeader);

private:
    std::string Code(const std::string& cookieValue) const;
    bool CodeMatches(const std::string& cookieValue, const std::string& formValue) const;
    CsrfCheck UseUp(const std::string& cookieValue, int64_t now) const;

    Store& store;
    const ServiceClock& clock;
    unsigned char key[crypto_auth_KEYBYTES];
};

} // namespace lumo_service

#endif
