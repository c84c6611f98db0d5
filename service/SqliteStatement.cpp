#include "SqliteStatement.h"

#include "SqliteConnection.h"

#include <sqlite3.h>

namespace lumo_service {

SqliteStatement::SqliteStatement(SqliteConnection& connection, const std::string& sql)
    : statement(connection.Prepare(sql))
{
}

SqliteStatement::~SqliteStatement()
{
    if (statement != nullptr) {
        sqlite3_reset(statement);
        sqlite3_clear_bindings(statement);
    }
}

SqliteStatement& SqliteStatement::Bind(int64_t value)
{
    if (statement == nullptr || sqlite3_bind_int64(statement, nextIndex++, value) != SQLITE_OK) {
        bindFailed = true;
    }
    return *this;
}

SqliteStatement& SqliteStatement::Bind(const std::string& value)
{
    if (statement == nullptr
        || sqlite3_bind_text(statement, nextIndex++, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT)
            != SQLITE_OK) {
        bindFailed = true;
    }
    return *this;
}

SqliteStatement& SqliteStatement::Bind(double value)
{
    if (statement == nullptr || sqlite3_bind_double(statement, nextIndex++, value) != SQLITE_OK) {
        bindFailed = true;
    }
    return *this;
}

int SqliteStatement::Step()
{
    if (statement == nullptr || bindFailed) {
        return SQLITE_ERROR;
    }
    return sqlite3_step(statement);
}

bool SqliteStatement::Run()
{
    return Step() == SQLITE_DONE;
}

int64_t SqliteStatement::Int(int column) const
{
    return sqlite3_column_int64(statement, column);
}

std::string SqliteStatement::Text(int column) const
{
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return text ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement, column))) : std::string();
}

double SqliteStatement::Real(int column) const
{
    return sqlite3_column_double(statement, column);
}

} // namespace lumo_service
