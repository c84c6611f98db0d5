#include "Accounts.h"

#include "CredentialRules.h"
#include "PasswordHasher.h"
#include "ServiceClock.h"
#include "Sessions.h"

#include <algorithm>

namespace lumo_service {

namespace {

// Addresses hold no '|', so an e-mail that does cannot pass for another pair.
std::string PairKey(const std::string& email, const std::string& address)
{
    return email + "|" + address;
}

SignInResult Failed(StoreStatus status)
{
    return status == StoreStatus::Unavailable ? SignInResult::Unavailable : SignInResult::Error;
}

AccountResult StoreFailure(StoreStatus status)
{
    return status == StoreStatus::Unavailable ? AccountResult::Unavailable : AccountResult::Error;
}

} // namespace

Accounts::Accounts(Store& store, PasswordHasher& hasher, Sessions& sessions, const ServiceClock& clock)
    : store(store)
    , hasher(hasher)
    , sessions(sessions)
    , clock(clock)
    , pairFailures(store, "signin", kFailuresPerPair, kFailureWindowSeconds)
    , addressFailures(store, "addr", kFailuresPerAddress, kFailureWindowSeconds)
    , emailFailures(store, "email", kFailuresBeforeDelay, kFailureWindowSeconds, kDelaySeconds)
    , registrations(store, "signup", kRegistrationsPerAddress, kRegistrationWindowSeconds)
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
        const StoreStatus counted = registrations.RetryAfter(address, now, retryAfter);
        if (counted != StoreStatus::Ok) {
            return StoreFailure(counted);
        }
        if (retryAfter > 0) {
            return AccountResult::Throttled;
        }
    }
    Account existing;
    const StoreStatus found = store.FindAccount(normal, existing);
    if (found == StoreStatus::Ok) {
        return AccountResult::Duplicate;
    }
    if (found != StoreStatus::NotFound) {
        return StoreFailure(found);
    }
    std::string hash;
    if (!hasher.Hash(password, hash)) {
        return AccountResult::Error;
    }
    // Counted before the account is made, so no account escapes the count.
    if (!address.empty()) {
        const StoreStatus recorded = registrations.Record(address, now);
        if (recorded != StoreStatus::Ok) {
            return StoreFailure(recorded);
        }
    }
    const StoreStatus added = store.AddAccount(normal, hash, now);
    if (added == StoreStatus::Duplicate) {
        return AccountResult::Duplicate;
    }
    if (added != StoreStatus::Ok) {
        return StoreFailure(added);
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
    if (!hasher.Hash(password, hash) || emailFailures.Clear(normal) != StoreStatus::Ok) {
        return AccountResult::Error;
    }
    switch (store.SetPassword(normal, hash, endedSessions)) {
    case StoreStatus::Ok:
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
    StoreStatus status = SignInWait(normal, address, now, retryAfter);
    if (status != StoreStatus::Ok) {
        return Failed(status);
    }
    if (retryAfter > 0) {
        return SignInResult::Throttled;
    }
    Account account;
    status = store.FindAccount(normal, account);
    if (status != StoreStatus::Ok && status != StoreStatus::NotFound) {
        return Failed(status);
    }
    // A missing account is checked against a decoy hash: same time, same answer.
    if (!hasher.Verify(status == StoreStatus::Ok ? account.passwordHash : std::string(), password)) {
        // A failure that cannot be counted must not leave an unthrottled guess.
        status = RecordFailure(normal, address, now);
        return status == StoreStatus::Ok ? SignInResult::WrongCredentials : Failed(status);
    }
    if (account.disabled) {
        return SignInResult::Disabled;
    }
    status = pairFailures.Clear(PairKey(normal, address));
    if (status == StoreStatus::Ok) {
        status = store.ClearAttempts("waited:" + PairKey(normal, address));
    }
    if (status == StoreStatus::Ok) {
        status = sessions.Issue(account.id, token);
    }
    return status == StoreStatus::Ok ? SignInResult::Ok : Failed(status);
}

StoreStatus Accounts::SignInWait(const std::string& email, const std::string& address, int64_t now, int64_t& wait)
{
    int64_t addressWait = 0;
    StoreStatus status = pairFailures.RetryAfter(PairKey(email, address), now, wait);
    if (status == StoreStatus::Ok) {
        status = addressFailures.RetryAfter(address, now, addressWait);
    }
    wait = std::max(wait, addressWait);
    if (status != StoreStatus::Ok || wait > 0) {
        return status;
    }
    return EmailDelay(email, PairKey(email, address), now, wait);
}

StoreStatus Accounts::EmailDelay(const std::string& email, const std::string& pair, int64_t now, int64_t& wait)
{
    StoreStatus status = emailFailures.RetryAfter(email, now, wait);
    if (status != StoreStatus::Ok || wait == 0) {
        return status;
    }
    // A pair told to wait may try again once the delay is over, whatever
    // others do meanwhile, so failures from elsewhere cannot hold it off.
    const std::string told = "waited:" + pair;
    int times = 0;
    int64_t first = 0;
    status = store.CountAttempts(told, now - kFailureWindowSeconds + 1, times, first);
    if (status != StoreStatus::Ok || times == 0) {
        return status == StoreStatus::Ok ? store.AddAttempt(told, now) : status;
    }
    wait = std::min(std::max<int64_t>(first + kDelaySeconds - now, 0), kDelaySeconds);
    return StoreStatus::Ok;
}

StoreStatus Accounts::RecordFailure(const std::string& email, const std::string& address, int64_t now)
{
    StoreStatus status = pairFailures.Record(PairKey(email, address), now);
    if (status == StoreStatus::Ok) {
        status = addressFailures.Record(address, now);
    }
    if (status == StoreStatus::Ok) {
        status = emailFailures.Record(email, now);
    }
    return status;
}

} // namespace lumo_service
