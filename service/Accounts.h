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
};

enum class SignInResult {
    Ok,
    WrongCredentials, // unknown e-mail and wrong password alike
    Disabled,
    Throttled,
    Error,
};

// Creating accounts, changing passwords and signing in, with the rules and
// throttles they share between the API, the pages and the operator.
class Accounts {
public:
    // Failed sign-ins allowed per e-mail and per address within the window.
    static constexpr int kFailuresPerEmail = 5;
    static constexpr int kFailuresPerAddress = 20;
    static constexpr int64_t kFailureWindowSeconds = 15 * 60;
    // Accounts one address may create per hour through the pages.
    static constexpr int kRegistrationsPerAddress = 20;

    Accounts(Store& store, PasswordHasher& hasher, Sessions& sessions, const ServiceClock& clock);

    // address is empty for the operator, who is not throttled.
    AccountResult Register(const std::string& email, const std::string& password, const std::string& address,
                           int64_t& retryAfter);
    // Ends every session of the account.
    AccountResult ResetPassword(const std::string& email, const std::string& password, int& endedSessions);
    AccountResult Disable(const std::string& email, int& endedSessions);
    SignInResult SignIn(const std::string& email, const std::string& password, const std::string& address,
                        std::string& token, int64_t& retryAfter);

private:
    AccountResult CheckNew(const std::string& email, const std::string& password) const;

    Store& store;
    PasswordHasher& hasher;
    Sessions& sessions;
    const ServiceClock& clock;
    FailureThrottle emailFailures;
    FailureThrottle addressFailures;
    FailureThrottle registrations;
};

} // namespace lumo_service

#endif
