#ifndef LUMO_SERVICE_SQLITECONNECTION_H
#define LUMO_SERVICE_SQLITECONNECTION_H

#include <map>
#include <memory>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace lumo_service {

// One SQLite connection, used by one thread at a time, with its prepared
// statements kept for reuse.
class SqliteConnection {
public:
    // Opens (creating when missing) the database at path in WAL mode with full
    // syncs; null with the reason in error on failure.
    static std::unique_ptr<SqliteConnection> Open(const std::string& path, std::string& error);
    ~SqliteConnection();
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    // Runs statements without results (pragmas, schema, transactions).
    bool Exec(const std::string& sql);
    // The prepared statement for sql, reset and without bindings; null when
    // sql does not compile.
    sqlite3_stmt* Prepare(const std::string& sql);
    int64_t Changes() const;
    std::string LastError() const;

private:
    explicit SqliteConnection(sqlite3* db);

    sqlite3* db;
    std::map<std::string, sqlite3_stmt*> statements;
};

} // namespace lumo_service

#endif
