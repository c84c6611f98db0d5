#include "CredentialRules.h"

#include <cstring>

namespace lumo_service {

namespace {

bool LocalCharacterAllowed(unsigned char c)
{
    if (c >= 0x80) {
        return true;
    }
    return c > 0x20 && c < 0x7f && std::strchr("<>()[]\\,;:\"@", c) == nullptr;
}

bool LabelCharacterAllowed(unsigned char c)
{
    return c >= 0x80 || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
}

bool PlausibleDomain(const std::string& domain)
{
    size_t labels = 0;
    size_t start = 0;
    for (;;) {
        const size_t dot = domain.find('.', start);
        const std::string label = domain.substr(start, dot == std::string::npos ? std::string::npos : dot - start);
        if (label.empty() || label.size() > 63 || label.front() == '-' || label.back() == '-') {
            return false;
        }
        for (unsigned char c : label) {
            if (!LabelCharacterAllowed(c)) {
                return false;
            }
        }
        ++labels;
        if (dot == std::string::npos) {
            break;
        }
        start = dot + 1;
    }
    return labels >= 2;
}

} // namespace

std::string CredentialRules::NormalizeEmail(const std::string& email)
{
    std::string normal = email;
    for (char& c : normal) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return normal;
}

bool CredentialRules::PlausibleEmail(const std::string& email)
{
    if (email.empty() || email.size() > kMaxEmailBytes) {
        return false;
    }
    const size_t at = email.find('@');
    if (at == std::string::npos || at == 0 || at > 64 || email.find('@', at + 1) != std::string::npos) {
        return false;
    }
    const std::string local = email.substr(0, at);
    for (unsigned char c : local) {
        if (!LocalCharacterAllowed(c)) {
            return false;
        }
    }
    if (local.front() == '.' || local.back() == '.' || local.find("..") != std::string::npos) {
        return false;
    }
    return PlausibleDomain(email.substr(at + 1));
}

PasswordProblem CredentialRules::CheckPassword(const std::string& password, const std::string& email)
{
    if (password.size() > kMaxPasswordBytes) {
        return PasswordProblem::TooLong;
    }
    if (CountCharacters(password) < kMinPasswordCharacters) {
        return PasswordProblem::TooShort;
    }
    if (NormalizeEmail(password) == NormalizeEmail(email)) {
        return PasswordProblem::SameAsEmail;
    }
    return PasswordProblem::None;
}

size_t CredentialRules::CountCharacters(const std::string& text)
{
    size_t count = 0;
    for (unsigned char c : text) {
        if ((c & 0xc0) != 0x80) {
            ++count;
        }
    }
    return count;
}

} // namespace lumo_service
