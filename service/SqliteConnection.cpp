#include "SqliteConnection.h"

#include <sqlite3.h>

namespace lumo_service {

namespace {

// Long enough for an operator command writing beside the running service.
constexpr int kBusyTimeoutMs = 5000;

} // namespace

std::unique_ptr<SqliteConnection> SqliteConnection::Open(const std::string& path, std::string& error)
{
    sqlite3* db = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    if (sqlite3_open_v2(path.c_str(), &db, flags, nullptr) != SQLITE_OK) {
        error = "cannot open " + path + ": " + (db ? sqlite3_errmsg(db) : "out of memory");
        sqlite3_close(db);
        return nullptr;
    }
    std::unique_ptr<SqliteConnection> connection(new SqliteConnection(db));
    sqlite3_busy_timeout(db, kBusyTimeoutMs);
    sqlite3_extended_result_codes(db, 1);
    // WAL lets readers work beside the one writer; FULL syncs the log at
    // every commit, so a committed row survives a killed process and a power
    // cut alike.
    if (!connection->Exec("PRAGMA journal_mode=WAL") || !connection->Exec("PRAGMA synchronous=FULL")
        || !connection->Exec("PRAGMA foreign_keys=ON")) {
        error = "cannot set up " + path + ": " + connection->LastError();
        return nullptr;
    }
    return connection;
}

SqliteConnection::SqliteConnection(sqlite3* db)
    : db(db)
{
}

SqliteConnection::~SqliteConnection()
{
    for (auto& entry : statements) {
        sqlite3_finalize(entry.second);
    }
    sqlite3_close(db);
}

bool SqliteConnection::Exec(const std::string& sql)
{
    return sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

sqlite3_stmt* SqliteConnection::Prepare(const std::string& sql)
{
    auto found = statements.find(sql);
    if (found != statements.end()) {
        sqlite3_reset(found->second);
        sqlite3_clear_bindings(found->second);
        return found->second;
    }
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(db, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
        return nullptr;
    }
    statements.emplace(sql, statement);
    return statement;
}

int64_t SqliteConnection::Changes() const
{
    return sqlite3_changes(db);
}

std::string SqliteConnection::LastError() const
{
    return sqlite3_errmsg(db);
}

} // namespace lumo_service
