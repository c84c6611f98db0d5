#ifndef LUMO_SERVICE_POSTGRESCONNECTION_H
#define LUMO_SERVICE_POSTGRESCONNECTION_H

#include "Store.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct pg_conn;
struct pg_result;

namespace lumo_service {

// The answer to one statement, freed with the object.
class PostgresResult {
public:
    explicit PostgresResult(pg_result* result);
    ~PostgresResult();
    PostgresResult(PostgresResult&& other) noexcept;
    PostgresResult(const PostgresResult&) = delete;
    PostgresResult& operator=(const PostgresResult&) = delete;
    PostgresResult& operator=(PostgresResult&&) = delete;

    bool Ok() const;
    int Rows() const;
    std::string Text(int row, int column) const;
    int64_t Int(int row, int column) const;
    // Rows a statement without results changed.
    int64_t Changed() const;
    // The five-character SQLSTATE; empty when there was no answer at all.
    std::string SqlState() const;

private:
    pg_result* result;
};

// One libpq connection, used by one thread at a time. Values always travel
// as bound parameters, never inside the statement's text.
class PostgresConnection {
public:
    // Connects with url as given (a libpq connection string or URL); null
    // with libpq's reason and the server's host, port and name in error.
    static std::unique_ptr<PostgresConnection> Open(const std::string& url, std::string& error);
    ~PostgresConnection();
    PostgresConnection(const PostgresConnection&) = delete;
    PostgresConnection& operator=(const PostgresConnection&) = delete;

    PostgresResult Exec(const std::string& sql, const std::vector<std::string>& params = {});
    // Several statements without parameters, such as a migration.
    PostgresResult ExecScript(const std::string& sql);
    // Ok, Duplicate for a unique violation, Unavailable when the server or
    // the connection is gone (the connection is then marked broken), else
    // Error.
    StoreStatus StatusOf(const PostgresResult& result);
    bool Broken() const { return broken; }
    // False while a transaction is left open, which the next caller must
    // not inherit.
    bool Idle() const;
    // True for an idle connection the server has closed or spoken on, which
    // a restarted server leaves behind.
    bool Stale();
    std::string LastError() const;

private:
    explicit PostgresConnection(pg_conn* connection);

    pg_conn* connection;
    bool broken = false;
};

} // namespace lumo_service

#endif
