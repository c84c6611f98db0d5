#include "Accounts.h"

#include "CredentialRules.h"
#include "PasswordHasher.h"
#include "ServiceClock.h"
#include "Sessions.h"

#include <algorithm>

namespace lumo_service {

Accounts::Accounts(Store& store, PasswordHasher& hasher, Sessions& sessions, const ServiceClock& clock)
    : store(store)
    , hasher(hasher)
    , sessions(sessions)
    , clock(clock)
    , emailFailures(kFailuresPerEmail, kFailureWindowSeconds)
    , addressFailures(kFailuresPerAddress, kFailureWindowSeconds)
    , registrations(kRegistrationsPerAddress, 3600)
{
}

AccountResult Accounts::CheckNew(const std::string& email, const std::string& password) const
{
    if (!CredentialRules::PlausibleEmail(email)) {
        return AccountResult::BadEmail;
    }
    switch (CredentialRules::CheckPassword(password, email)) {
    case PasswordProblem::TooShort:
        return AccountResult::PasswordTooShort;
    case PasswordProblem::TooLong:
        return AccountResult::PasswordTooLong;
    case PasswordProblem::SameAsEmail:
        return AccountResult::PasswordIsEmail;
    case PasswordProblem::None:
        break;
    }
    return AccountResult::Ok;
}

AccountResult Accounts::Register(const std::string& email, const std::string& password, const std::string& address,
                                 int64_t& retryAfter)
{
    const std::string normal = CredentialRules::NormalizeEmail(email);
    const AccountResult rules = CheckNew(normal, password);
    if (rules != AccountResult::Ok) {
        return rules;
    }
    const int64_t now = clock.Now();
    if (!address.empty()) {
        retryAfter = registrations.RetryAfter(address, now);
        if (retryAfter > 0) {
            return AccountResult::Throttled;
        }
    }
    Account existing;
    const StoreStatus found = store.FindAccount(normal, existing);
    if (found == StoreStatus::Ok) {
        return AccountResult::Duplicate;
    }
    std::string hash;
    if (found != StoreStatus::NotFound || !hasher.Hash(password, hash)) {
        return AccountResult::Error;
    }
    switch (store.AddAccount(normal, hash, now)) {
    case StoreStatus::Ok:
        break;
    case StoreStatus::Duplicate:
        return AccountResult::Duplicate;
    default:
        return AccountResult::Error;
    }
    if (!address.empty()) {
        registrations.Record(address, now);
    }
    return AccountResult::Ok;
}

AccountResult Accounts::ResetPassword(const std::string& email, const std::string& password, int& endedSessions)
{
    const std::string normal = CredentialRules::NormalizeEmail(email);
    const AccountResult rules = CheckNew(normal, password);
    if (rules != AccountResult::Ok) {
        return rules;
    }
    std::string hash;
    if (!hasher.Hash(password, hash)) {
        return AccountResult::Error;
    }
    switch (store.SetPassword(normal, hash, endedSessions)) {
    case StoreStatus::Ok:
        emailFailures.Clear(normal);
        return AccountResult::Ok;
    case StoreStatus::NotFound:
        return AccountResult::NotFound;
    default:
        return AccountResult::Error;
    }
}

AccountResult Accounts::Disable(const std::string& email, int& endedSessions)
{
    switch (store.DisableAccount(CredentialRules::NormalizeEmail(email), endedSessions)) {
    case StoreStatus::Ok:
        return AccountResult::Ok;
    case StoreStatus::NotFound:
        return AccountResult::NotFound;
    default:
        return AccountResult::Error;
    }
}

SignInResult Accounts::SignIn(const std::string& email, const std::string& password, const std::string& address,
                              std::string& token, int64_t& retryAfter)
{
    const std::string normal = CredentialRules::NormalizeEmail(email);
    const int64_t now = clock.Now();
    retryAfter = std::max(emailFailures.RetryAfter(normal, now), addressFailures.RetryAfter(address, now));
    if (retryAfter > 0) {
        return SignInResult::Throttled;
    }
    Account account;
    const StoreStatus found = store.FindAccount(normal, account);
    if (found != StoreStatus::Ok && found != StoreStatus::NotFound) {
        return SignInResult::Error;
    }
    // A missing account is checked against a decoy hash: same time, same answer.
    if (!hasher.Verify(found == StoreStatus::Ok ? account.passwordHash : std::string(), password)) {
        emailFailures.Record(normal, now);
        addressFailures.Record(address, now);
        return SignInResult::WrongCredentials;
    }
    if (account.disabled) {
        return SignInResult::Disabled;
    }
    emailFailures.Clear(normal);
    return sessions.Issue(account.id, token) == StoreStatus::Ok ? SignInResult::Ok : SignInResult::Error;
}

} // namespace lumo_service
