#ifndef LUMO_SERVICE_ACCOUNTS_H
#define LUMO_SERVICE_ACCOUNTS_H

#include "FailureThrottle.h"
#include "Store.h"

#include <cstdint>
#include <string>

namespace lumo_service {

class PasswordHasher;
class ServiceClock;
class Sessions;

enum class AccountResult {
    Ok,
    BadEmail,
    PasswordTooShort,
    PasswordTooLong,
    PasswordIsEmail,
    Duplicate,
    NotFound,
    Throttled,
    Error,
    Unavailable, // the database cannot be reached
};

enum class SignInResult {
    Ok,
    WrongCredentials, // unknown e-mail and wrong password alike
    Disabled,
    Throttled,
    Error,
    Unavailable, // the store cannot be reached
};

// Creating accounts, changing passwords and signing in, with the rules and
// throttles they share between the API, the pages and the operator.
class Accounts {
public:
    // Failed sign-ins within the window lock the pair of e-mail and address
    // that made them, and throttle an address that made too many. An
    // e-mail alone, whose failures anyone can make, is only slowed: past
    // kFailuresBeforeDelay its sign-ins wait kDelaySeconds after the last
    // failure, and a pair told to wait is let through once it has, so
    // nobody can hold the owner off for longer.
    static constexpr int kFailuresPerPair = 5;
    static constexpr int kFailuresPerAddress = 20;
    static constexpr int kFailuresBeforeDelay = 10;
    static constexpr int64_t kDelaySeconds = 5;
    static constexpr int64_t kFailureWindowSeconds = 15 * 60;
    // Accounts one address may create per hour through the pages.
    static constexpr int kRegistrationsPerAddress = 20;
    static constexpr int64_t kRegistrationWindowSeconds = 3600;

    Accounts(Store& store, PasswordHasher& hasher, Sessions& sessions, const ServiceClock& clock);

    // address is empty for the operator, who is not throttled.
    AccountResult Register(const std::string& email, const std::string& password, const std::string& address,
                           int64_t& retryAfter);
    // Ends every session of the account and the e-mail's delay.
    AccountResult ResetPassword(const std::string& email, const std::string& password, int& endedSessions);
    AccountResult Disable(const std::string& email, int& endedSessions);
    SignInResult SignIn(const std::string& email, const std::string& password, const std::string& address,
                        std::string& token, int64_t& retryAfter);

private:
    AccountResult CheckNew(const std::string& email, const std::string& password) const;
    StoreStatus SignInWait(const std::string& email, const std::string& address, int64_t now, int64_t& wait);
    StoreStatus EmailDelay(const std::string& email, const std::string& pair, int64_t now, int64_t& wait);
    StoreStatus RecordFailure(const std::string& email, const std::string& address, int64_t now);

    Store& store;
    PasswordHasher& hasher;
    Sessions& sessions;
    const ServiceClock& clock;
    FailureThrottle pairFailures;
    FailureThrottle addressFailures;
    FailureThrottle emailFailures;
    FailureThrottle registrations;
};

} // namespace lumo_service

#endif
