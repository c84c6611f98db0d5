#ifndef LUMO_SERVICE_CREDENTIALRULES_H
#define LUMO_SERVICE_CREDENTIALRULES_H

#include <string>

namespace lumo_service {

enum class PasswordProblem {
    None,
    TooShort,
    TooLong,
    SameAsEmail,
};

// What makes an e-mail address and a password acceptable for an account.
class CredentialRules {
public:
    static constexpr size_t kMinPasswordCharacters = 8;
    static constexpr size_t kMaxPasswordBytes = 1024;
    static constexpr size_t kMaxEmailBytes = 254;

    // ASCII letters lower-cased: accounts differ by more than letter case.
    static std::string NormalizeEmail(const std::string& email);
    // local@domain.tld: one "@", no spaces, controls or brackets; a domain of
    // at least two dot-separated labels of letters, digits, "-" or non-ASCII
    // letters.
    static bool PlausibleEmail(const std::string& email);
    static PasswordProblem CheckPassword(const std::string& password, const std::string& email);
    // Code points of valid UTF-8 text.
    static size_t CountCharacters(const std::string& text);
};

} // namespace lumo_service

#endif
