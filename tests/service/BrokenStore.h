#ifndef LUMO_TESTS_BROKENSTORE_H
#define LUMO_TESTS_BROKENSTORE_H

#include "Store.h"

namespace lumo_test {

// A store whose every call answers the same failure, as a database that
// went away or broke does.
class BrokenStore : public lumo_service::Store {
public:
    using Status = lumo_service::StoreStatus;

    explicit BrokenStore(Status status)
        : status(status)
    {
    }

    Status AddAccount(const std::string&, const std::string&, int64_t) override { return status; }
    Status FindAccount(const std::string&, lumo_service::Account&) override { return status; }
    Status SetPassword(const std::string&, const std::string&, int&) override { return status; }
    Status DisableAccount(const std::string&, int&) override { return status; }
    Status AddSession(int64_t, const std::string&, int64_t, int) override { return status; }
    Status FindSession(const std::string&, lumo_service::Session&) override { return status; }
    Status TouchSession(int64_t, int64_t) override { return status; }
    Status PurgeSessions(int64_t, int64_t&) override { return status; }
    Status AddEvent(const lumo_service::UsageEvent&) override { return status; }
    Status ForEachEvent(int, const std::function<void(const lumo_service::UsageEvent&)>&) override { return status; }
    Status PurgeEvents(int64_t, int64_t, int64_t&) override { return status; }
    Status AddAttempt(const std::string&, int64_t) override { return status; }
    Status CountAttempts(const std::string&, int64_t, int&, int64_t&) override { return status; }
    Status ClearAttempts(const std::string&) override { return status; }
    Status PurgeAttempts(int64_t, int64_t&) override { return status; }
    Status TakeToken(const std::string&, int64_t, double, double, bool&) override { return status; }
    Status AddFeedback(const lumo_service::FeedbackEntry&) override { return status; }
    Status ListFeedback(int, std::vector<lumo_service::FeedbackEntry>&) override { return status; }
    Status SetVersion(const std::string&, const std::string&, int64_t) override { return status; }
    Status GetVersion(const std::string&, std::string&) override { return status; }

private:
    const Status status;
};

} // namespace lumo_test

#endif
