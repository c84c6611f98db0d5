#ifndef LUMO_SERVICE_SQLITESTORE_H
#define LUMO_SERVICE_SQLITESTORE_H

#include "Store.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lumo_service {

class SqliteConnection;
class SqliteWriter;

// The store in one SQLite file. Writes go through a single group-committing
// writer; reads use a pool of connections, which WAL lets run beside it.
// Several processes (the service and operator commands) may open the same
// file at once.
class SqliteStore : public Store {
public:
    // The schema version this build creates and reads.
    static constexpr int kSchemaVersion = 2;

    // Opens path, creating or upgrading the schema; null with the reason in
    // error on failure (including a file from a newer schema).
    static std::unique_ptr<SqliteStore> Open(const std::string& path, std::string& error);
    ~SqliteStore() override;

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
    class ReaderLease;

    SqliteStore(std::string path, std::unique_ptr<SqliteConnection> writerConnection);
    // Reads the events with from < id <= to, at most one page, into page.
    StoreStatus EventPage(int64_t from, int64_t to, std::vector<UsageEvent>& page);
    std::unique_ptr<SqliteConnection> TakeReader();
    void ReturnReader(std::unique_ptr<SqliteConnection> reader);

    const std::string path;
    std::unique_ptr<SqliteWriter> writer;
    std::mutex readersMutex;
    std::vector<std::unique_ptr<SqliteConnection>> idleReaders;
};

} // namespace lumo_service

#endif
