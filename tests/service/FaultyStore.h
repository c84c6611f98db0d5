#ifndef LUMO_TESTS_FAULTYSTORE_H
#define LUMO_TESTS_FAULTYSTORE_H

#include "Store.h"

#include <string>

namespace lumo_test {

// A real store with one operation made to fail: calls to the method named
// failing answer status (for attempts, only under keys that start with the
// given prefix), every other call reaches the real store.
class FaultyStore : public lumo_service::Store {
public:
    using Status = lumo_service::StoreStatus;

    explicit FaultyStore(lumo_service::Store& real)
        : real(real)
    {
    }

    void Fail(const std::string& method, Status with, const std::string& keyPrefix = std::string())
    {
        failing = method;
        status = with;
        prefix = keyPrefix;
    }

    Status AddAccount(const std::string& email, const std::string& hash, int64_t now) override
    {
        return failing == "AddAccount" ? status : real.AddAccount(email, hash, now);
    }
    Status FindAccount(const std::string& email, lumo_service::Account& out) override
    {
        return failing == "FindAccount" ? status : real.FindAccount(email, out);
    }
    Status SetPassword(const std::string& email, const std::string& hash, int& ended) override
    {
        return failing == "SetPassword" ? status : real.SetPassword(email, hash, ended);
    }
    Status DisableAccount(const std::string& email, int& ended) override
    {
        return failing == "DisableAccount" ? status : real.DisableAccount(email, ended);
    }
    Status AddSession(int64_t accountId, const std::string& hash, int64_t now, int maxPerAccount) override
    {
        return failing == "AddSession" ? status : real.AddSession(accountId, hash, now, maxPerAccount);
    }
    Status FindSession(const std::string& hash, lumo_service::Session& out) override
    {
        return failing == "FindSession" ? status : real.FindSession(hash, out);
    }
    Status TouchSession(int64_t id, int64_t now) override
    {
        return failing == "TouchSession" ? status : real.TouchSession(id, now);
    }
    Status PurgeSessions(int64_t before, int64_t& removed) override
    {
        return failing == "PurgeSessions" ? status : real.PurgeSessions(before, removed);
    }
    Status AddEvent(const lumo_service::UsageEvent& event) override
    {
        return failing == "AddEvent" ? status : real.AddEvent(event);
    }
    Status ForEachEvent(int limit, const std::function<void(const lumo_service::UsageEvent&)>& row) override
    {
        return failing == "ForEachEvent" ? status : real.ForEachEvent(limit, row);
    }
    Status PurgeEvents(int64_t before, int64_t keep, int64_t& removed) override
    {
        return failing == "PurgeEvents" ? status : real.PurgeEvents(before, keep, removed);
    }
    Status AddAttempt(const std::string& key, int64_t now) override
    {
        return Fails("AddAttempt", key) ? status : real.AddAttempt(key, now);
    }
    Status CountAttempts(const std::string& key, int64_t since, int& count, int64_t& oldest) override
    {
        return Fails("CountAttempts", key) ? status : real.CountAttempts(key, since, count, oldest);
    }
    Status ClearAttempts(const std::string& key) override
    {
        return Fails("ClearAttempts", key) ? status : real.ClearAttempts(key);
    }
    Status PurgeAttempts(int64_t before, int64_t& removed) override
    {
        return failing == "PurgeAttempts" ? status : real.PurgeAttempts(before, removed);
    }
    Status TakeToken(const std::string& key, int64_t nowMs, double rate, double burst, bool& taken) override
    {
        return failing == "TakeToken" ? status : real.TakeToken(key, nowMs, rate, burst, taken);
    }
    Status AddFeedback(const lumo_service::FeedbackEntry& entry) override
    {
        return failing == "AddFeedback" ? status : real.AddFeedback(entry);
    }
    Status ListFeedback(int limit, std::vector<lumo_service::FeedbackEntry>& out) override
    {
        return failing == "ListFeedback" ? status : real.ListFeedback(limit, out);
    }
    Status SetVersion(const std::string& app, const std::string& version, int64_t now) override
    {
        return failing == "SetVersion" ? status : real.SetVersion(app, version, now);
    }
    Status GetVersion(const std::string& app, std::string& out) override
    {
        return failing == "GetVersion" ? status : real.GetVersion(app, out);
    }

private:
    bool Fails(const char* method, const std::string& key) const
    {
        return failing == method && key.compare(0, prefix.size(), prefix) == 0;
    }

    lumo_service::Store& real;
    std::string failing;
    std::string prefix;
    Status status = Status::Ok;
};

} // namespace lumo_test

#endif
