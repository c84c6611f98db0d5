#ifndef LUMO_SERVICE_SQLITESTATEMENT_H
#define LUMO_SERVICE_SQLITESTATEMENT_H

#include <cstdint>
#include <string>

struct sqlite3_stmt;

namespace lumo_service {

class SqliteConnection;

// One use of a cached prepared statement: values are bound by position in
// the order of Bind calls, and the statement is reset when the use ends.
class SqliteStatement {
public:
    SqliteStatement(SqliteConnection& connection, const std::string& sql);
    ~SqliteStatement();
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    bool Valid() const { return statement != nullptr; }
    SqliteStatement& Bind(int64_t value);
    SqliteStatement& Bind(const std::string& value);
    SqliteStatement& Bind(double value);
    // SQLITE_ROW, SQLITE_DONE or an error code.
    int Step();
    // Runs a statement without results: true when it completed.
    bool Run();
    int64_t Int(int column) const;
    std::string Text(int column) const;
    double Real(int column) const;

private:
    sqlite3_stmt* statement;
    int nextIndex = 1;
    bool bindFailed = false;
};

} // namespace lumo_service

#endif
