#ifndef LUMO_TESTS_STOREBACKENDS_H
#define LUMO_TESTS_STOREBACKENDS_H

#include "PostgresServer.h"
#include "PostgresStore.h"
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
    // Runs statements on the database directly.
    virtual bool Exec(const std::string& sql) = 0;
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

    bool Exec(const std::string& sql) override
    {
        sqlite3* db = nullptr;
        sqlite3_open(Path().c_str(), &db);
        sqlite3_busy_timeout(db, 5000);
        const bool done = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
        sqlite3_close(db);
        return done;
    }

private:
    std::string Path() const { return dir.File("lumo.db"); }

    TempDir dir;
};

// One server for every test of the process, started by the first that
// needs it; each test gets a database of its own.
inline std::unique_ptr<PostgresServer>& SharedPostgresServer()
{
    static std::unique_ptr<PostgresServer> server;
    return server;
}

class PostgresBackend : public StoreBackend {
public:
    bool Prepare(std::string& error) override
    {
        std::unique_ptr<PostgresServer>& shared = SharedPostgresServer();
        if (!shared) {
            shared = std::make_unique<PostgresServer>();
        }
        server = shared.get();
        return server->Start(error) && server->CreateDatabase(database, error);
    }

    std::unique_ptr<lumo_service::Store> Open(std::string& error) override
    {
        return lumo_service::PostgresStore::Open(Url(), error);
    }

    int SchemaVersion() override
    {
        return static_cast<int>(server->QueryNumber(database, "SELECT version FROM schema_version"));
    }

    void SetSchemaVersion(int version) override
    {
        Exec("UPDATE schema_version SET version = " + std::to_string(version));
    }

    void MakeVersion1(const std::string& email) override
    {
        const std::string schema
            = "CREATE TABLE accounts (id BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY, email TEXT NOT NULL UNIQUE,"
              " password_hash TEXT NOT NULL, disabled BOOLEAN NOT NULL DEFAULT false, created BIGINT NOT NULL);"
              "CREATE TABLE sessions (id BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY,"
              " account_id BIGINT NOT NULL REFERENCES accounts(id), token_hash TEXT NOT NULL UNIQUE,"
              " created BIGINT NOT NULL, last_check BIGINT NOT NULL);"
              "CREATE INDEX sessions_account ON sessions(account_id);"
              "CREATE TABLE events (id BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY, time BIGINT NOT NULL,"
              " address TEXT NOT NULL, type TEXT NOT NULL, version TEXT NOT NULL, platform TEXT NOT NULL,"
              " app TEXT NOT NULL, page TEXT NOT NULL, block TEXT NOT NULL, action TEXT NOT NULL, info TEXT NOT NULL);"
              "CREATE TABLE feedback (id BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY, time BIGINT NOT NULL,"
              " address TEXT NOT NULL, account_id BIGINT NOT NULL REFERENCES accounts(id), text TEXT NOT NULL);"
              "CREATE TABLE versions (app TEXT PRIMARY KEY, version TEXT NOT NULL, time BIGINT NOT NULL);";
        Exec(schema + "CREATE TABLE schema_version (version INTEGER NOT NULL); INSERT INTO schema_version VALUES (1);"
             + "INSERT INTO accounts (email, password_hash, created) VALUES ('" + email + "', 'h', 1);");
    }

    bool FillEvents(int count, int64_t time) override
    {
        return Exec("INSERT INTO events (time, address, type, version, platform, app, page, block, action, info)"
                    " SELECT " + std::to_string(time) + ", '', '', '', '', '', '', '', '', i::text"
                    " FROM generate_series(1, " + std::to_string(count) + ") AS i");
    }

    void Damage() override { Exec(DropEveryTable()); }

    std::string Url() const { return server->Url(database); }
    const std::string& Database() const { return database; }
    PostgresServer& Server() { return *server; }

    bool Exec(const std::string& sql) override
    {
        std::string error;
        return server->Exec(database, sql, error);
    }

private:
    PostgresServer* server = nullptr;
    std::string database;
};

inline std::unique_ptr<StoreBackend> MakeStoreBackend(const std::string& name)
{
    if (name == "Sqlite") {
        return std::make_unique<SqliteBackend>();
    }
    if (name == "Postgres") {
        return std::make_unique<PostgresBackend>();
    }
    return nullptr;
}

inline void StopStoreBackends()
{
    SharedPostgresServer().reset();
}

} // namespace lumo_test

#endif
