#ifndef LUMO_SERVICE_CSRFGUARD_H
#define LUMO_SERVICE_CSRFGUARD_H

#include <sodium.h>

#include <string>

namespace lumo_service {

// Guards the page forms against cross-site posts: the browser gets a random
// value in a cookie, the form carries its authentication code under a key
// that never leaves the process, and a post is taken only when the two
// match. A restart makes forms still open ask to be sent again.
class CsrfGuard {
public:
    static constexpr const char* kCookieName = "__Host-lumo_csrf";

    CsrfGuard();
    ~CsrfGuard();
    CsrfGuard(const CsrfGuard&) = delete;
    CsrfGuard& operator=(const CsrfGuard&) = delete;

    // A fresh cookie value and the form value that goes with it.
    void Issue(std::string& cookieValue, std::string& formValue) const;
    // Constant-time check of a form value against the cookie's.
    bool Verify(const std::string& cookieValue, const std::string& formValue) const;
    // The Set-Cookie header value for cookieValue.
    static std::string CookieHeader(const std::string& cookieValue);
    // This guard's cookie among the request's Cookie header; empty if none.
    static std::string CookieFrom(const std::string& cookieHeader);

private:
    std::string Code(const std::string& cookieValue) const;

    unsigned char key[crypto_auth_KEYBYTES];
};

} // namespace lumo_service

#endif
