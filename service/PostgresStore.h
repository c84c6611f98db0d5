#ifndef LUMO_SERVICE_POSTGRESSTORE_H
#define LUMO_SERVICE_POSTGRESSTORE_H

#include "Store.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lumo_service {

class PostgresConnection;
class PostgresPool;

// The store in a PostgreSQL database, which several lumo-service processes
// may share. Each call borrows a pooled connection; when the server is gone
// calls answer Unavailable, and later ones reconnect by themselves.
class PostgresStore : public Store {
public:
    // The schema versions count as SqliteStore's do.
    static constexpr int kSchemaVersion = 2;
    static constexpr size_t kMaxConnections = 8;

    // Connects to url, creating or upgrading the schema; null with the reason
    // in error on failure (including a database from a newer schema).
    static std::unique_ptr<PostgresStore> Open(const std::string& url, std::string& error);
    ~PostgresStore() override;

    StoreStatus AddAccount(const std::string& email, const std::string& passwordHash, int64_t now) override;
    StoreStatus FindAccount(const std::string& email, Account& out) override;
    StoreStatus SetPassword(const std::string& email, const std::string& passwordHash, int& endedSessions) override;
    StoreStatus DisableAccount(const std::string& email, int& endedSessions) override;

    StoreStatus AddSession(int64_t accountId, const std::string& tokenHash, int64_t now,
                           int maxPerAccount) override;
    StoreStatus FindSession(const std::string& tokenHash, Session& out) override;
    StoreStatus TouchSession(int64_t sessionId, int64_t now) override;
    StoreStatus PurgeSessions(int64_t before, int64_t& removed) override;

    StoreStatus AddEvent(const UsageEvent& event) override;
    StoreStatus ForEachEvent(int limit, const std::function<void(const UsageEvent&)>& row) override;
    StoreStatus PurgeEvents(int64_t before, int64_t keep, int64_t& removed) override;

    StoreStatus AddAttempt(const std::string& key, int64_t now) override;
    StoreStatus CountAttempts(const std::string& key, int64_t since, int& count, int64_t& oldest) override;
    StoreStatus ClearAttempts(const std::string& key) override;
    StoreStatus PurgeAttempts(int64_t before, int64_t& removed) override;

    StoreStatus TakeToken(const std::string& key, int64_t nowMs, double ratePerSecond, double burst,
                          bool& taken) override;

    StoreStatus AddFeedback(const FeedbackEntry& entry) override;
    StoreStatus ListFeedback(int limit, std::vector<FeedbackEntry>& out) override;

    StoreStatus SetVersion(const std::string& app, const std::string& version, int64_t now) override;
    StoreStatus GetVersion(const std::string& app, std::string& out) override;

private:
    using Work = std::function<StoreStatus(PostgresConnection&)>;

    // Whether work that found a pooled connection dead may run once more
    // on a new one: a read may; a write, or a read that has handed rows
    // out, answers Unavailable.
    enum class Repeat {
        Read,
        Never,
    };

    explicit PostgresStore(std::unique_ptr<PostgresPool> pool);
    // Runs work on a borrowed connection; Unavailable when none can be had.
    // A connection the server ended while it sat in the pool (a restart, a
    // terminated or idle session) thus costs a read no failure.
    StoreStatus Run(const Work& work, Repeat repeat);
    // Runs work inside one transaction, committed when it answers Ok.
    StoreStatus InTransaction(const Work& work);
    // Runs a write whose results are not needed; changed counts rows.
    StoreStatus Change(const std::string& sql, const std::vector<std::string>& params, int64_t* changed = nullptr);

    std::unique_ptr<PostgresPool> pool;
};

} // namespace lumo_service

#endif
