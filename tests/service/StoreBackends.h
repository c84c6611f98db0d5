#ifndef LUMO_TESTS_STOREBACKENDS_H
#define LUMO_TESTS_STOREBACKENDS_H

#include "SqliteStore.h"
#include "Store.h"
#include "TempDir.h"

#include <sqlite3.h>

#include <memory>
#include <string>

namespace lumo_test {

// The tables a version 1 SQLite file had, as an older lumo-service made them.
inline const char* SqliteVersion1Schema()
{
    return "CREATE TABLE accounts (id INTEGER PRIMARY KEY, email TEXT NOT NULL UNIQUE,"
           " password_hash TEXT NOT NULL, disabled INTEGER NOT NULL DEFAULT 0, created INTEGER NOT NULL);"
           "CREATE TABLE sessions (id INTEGER PRIMARY KEY, account_id INTEGER NOT NULL REFERENCES accounts(id),"
           " token_hash TEXT NOT NULL UNIQUE, created INTEGER NOT NULL, last_check INTEGER NOT NULL);"
           "CREATE INDEX sessions_account ON sessions(account_id);"
           "CREATE TABLE events (id INTEGER PRIMARY KEY, time INTEGER NOT NULL, address TEXT NOT NULL,"
           " type TEXT NOT NULL, version TEXT NOT NULL, platform TEXT NOT NULL, app TEXT NOT NULL,"
           " page TEXT NOT NULL, block TEXT NOT NULL, action TEXT NOT NULL, info TEXT NOT NULL);"
           "CREATE TABLE feedback (id INTEGER PRIMARY KEY, time INTEGER NOT NULL, address TEXT NOT NULL,"
           " account_id INTEGER NOT NULL REFERENCES accounts(id), text TEXT NOT NULL);"
           "CREATE TABLE versions (app TEXT PRIMARY KEY, version TEXT NOT NULL, time INTEGER NOT NULL);";
}

inline const char* DropEveryTable()
{
    return "DROP TABLE IF EXISTS feedback; DROP TABLE IF EXISTS sessions; DROP TABLE IF EXISTS accounts;"
           " DROP TABLE IF EXISTS events; DROP TABLE IF EXISTS versions; DROP TABLE IF EXISTS attempts;"
           " DROP TABLE IF EXISTS buckets;";
}

// One database engine as the store tests see it: a fresh, empty database per
// test, and raw access to it for what a store never does by itself.
class StoreBackend {
public:
    virtual ~StoreBackend() = default;
    virtual bool Prepare(std::string& error) = 0;
    virtual std::unique_ptr<lumo_service::Store> Open(std::string& error) = 0;
    virtual int SchemaVersion() = 0;
    virtual void SetSchemaVersion(int version) = 0;
    // An empty database as version 1 left it, with one account.
    virtual void MakeVersion1(const std::string& email) = 0;
    // Adds count events of the given time in one statement.
    virtual bool FillEvents(int count, int64_t time) = 0;
    virtual void Damage() = 0;
};

class SqliteBackend : public StoreBackend {
public:
    bool Prepare(std::string&) override { return true; }

    std::unique_ptr<lumo_service::Store> Open(std::string& error) override
    {
        return lumo_service::SqliteStore::Open(Path(), error);
    }

    int SchemaVersion() override
    {
        sqlite3* db = nullptr;
        sqlite3_open(Path().c_str(), &db);
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(db, "PRAGMA user_version", -1, &statement, nullptr);
        const int version = sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int(statement, 0) : -1;
        sqlite3_finalize(statement);
        sqlite3_close(db);
        return version;
    }

    void SetSchemaVersion(int version) override { Exec("PRAGMA user_version = " + std::to_string(version)); }

    void MakeVersion1(const std::string& email) override
    {
        Exec(std::string(SqliteVersion1Schema()) + "INSERT INTO accounts (email, password_hash, created) VALUES ('"
             + email + "', 'h', 1); PRAGMA user_version = 1;");
    }

    bool FillEvents(int count, int64_t time) override
    {
        return Exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < "
                    + std::to_string(count)
                    + ") INSERT INTO events (time, address, type, version, platform, app, page, block, action,"
                      " info) SELECT "
                    + std::to_string(time) + ", '', '', '', '', '', '', '', '', i FROM n");
    }

    void Damage() override { Exec(DropEveryTable()); }

private:
    std::string Path() const { return dir.File("lumo.db"); }

    bool Exec(const std::string& sql)
    {
        sqlite3* db = nullptr;
        sqlite3_open(Path().c_str(), &db);
        sqlite3_busy_timeout(db, 5000);
        const bool done = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
        sqlite3_close(db);
        return done;
    }

    TempDir dir;
};

inline std::unique_ptr<StoreBackend> MakeStoreBackend(const std::string& name)
{
    if (name == "Sqlite") {
        return std::make_unique<SqliteBackend>();
    }
    return nullptr;
}

inline void StopStoreBackends() {}

} // namespace lumo_test

#endif
