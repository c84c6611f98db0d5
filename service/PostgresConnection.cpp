#include "PostgresConnection.h"

#include <libpq-fe.h>
#include <poll.h>

#include <cstdlib>
#include <cstring>

namespace lumo_service {

namespace {

// Given before the caller's string, so the caller's own settings win: a
// server that is down is noticed within seconds, so is a dead network under
// a connection in use, and a commit waits for the server's log to be synced.
const char* const kKeywords[] = {"connect_timeout", "keepalives_idle", "keepalives_interval", "keepalives_count",
                                 "tcp_user_timeout", "options", "dbname", nullptr};
const char* const kDefaults[] = {"3", "10", "3", "3", "10000", "-c synchronous_commit=on"};

std::string Trimmed(const char* text)
{
    std::string message = text ? text : "";
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) {
        message.pop_back();
    }
    return message;
}

// Names the database without anything else the connection string holds.
// Notices (such as "already exists, skipping") are not failures and would
// only clutter the service's log.
void IgnoreNotice(void*, const char*) {}

// libpq's messages may quote parts of the connection string; the password
// never reaches the log. A string libpq cannot read is not quoted at all.
std::string Redacted(std::string message, const std::string& url)
{
    char* problem = nullptr;
    PQconninfoOption* options = PQconninfoParse(url.c_str(), &problem);
    if (options == nullptr) {
        PQfreemem(problem);
        return "the connection string cannot be read";
    }
    for (PQconninfoOption* option = options; option->keyword != nullptr; ++option) {
        if (std::strcmp(option->keyword, "password") != 0 || option->val == nullptr || *option->val == '\0') {
            continue;
        }
        const std::string password = option->val;
        for (size_t at = message.find(password); at != std::string::npos; at = message.find(password, at)) {
            message.replace(at, password.size(), "***");
        }
    }
    PQconninfoFree(options);
    return message;
}

std::string Where(pg_conn* connection)
{
    const char* host = PQhost(connection);
    const char* port = PQport(connection);
    const char* name = PQdb(connection);
    return std::string(host ? host : "") + ":" + (port ? port : "") + "/" + (name ? name : "");
}

} // namespace

PostgresResult::PostgresResult(pg_result* result)
    : result(result)
{
}

PostgresResult::~PostgresResult()
{
    PQclear(result);
}

PostgresResult::PostgresResult(PostgresResult&& other) noexcept
    : result(other.result)
{
    other.result = nullptr;
}

bool PostgresResult::Ok() const
{
    const ExecStatusType status = PQresultStatus(result);
    return result != nullptr && (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK);
}

int PostgresResult::Rows() const
{
    return PQntuples(result);
}

std::string PostgresResult::Text(int row, int column) const
{
    return std::string(PQgetvalue(result, row, column), static_cast<size_t>(PQgetlength(result, row, column)));
}

int64_t PostgresResult::Int(int row, int column) const
{
    return std::strtoll(PQgetvalue(result, row, column), nullptr, 10);
}

int64_t PostgresResult::Changed() const
{
    return std::strtoll(PQcmdTuples(result), nullptr, 10);
}

std::string PostgresResult::SqlState() const
{
    const char* state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    return state ? state : "";
}

std::unique_ptr<PostgresConnection> PostgresConnection::Open(const std::string& url, std::string& error)
{
    const char* values[] = {kDefaults[0], kDefaults[1], kDefaults[2], kDefaults[3], kDefaults[4], kDefaults[5],
                            url.c_str(), nullptr};
    pg_conn* connection = PQconnectdbParams(kKeywords, values, 1);
    if (connection == nullptr) {
        error = "cannot reach PostgreSQL: out of memory";
        return nullptr;
    }
    if (PQstatus(connection) != CONNECTION_OK) {
        error = Redacted("cannot reach PostgreSQL at " + Where(connection) + ": " + Trimmed(PQerrorMessage(connection)),
                         url);
        PQfinish(connection);
        return nullptr;
    }
    PQsetNoticeProcessor(connection, IgnoreNotice, nullptr);
    return std::unique_ptr<PostgresConnection>(new PostgresConnection(connection));
}

PostgresConnection::PostgresConnection(pg_conn* connection)
    : connection(connection)
{
}

PostgresConnection::~PostgresConnection()
{
    PQfinish(connection);
}

PostgresResult PostgresConnection::Exec(const std::string& sql, const std::vector<std::string>& params)
{
    std::vector<const char*> values;
    std::vector<int> lengths;
    for (const std::string& param : params) {
        values.push_back(param.c_str());
        lengths.push_back(static_cast<int>(param.size()));
    }
    return PostgresResult(PQexecParams(connection, sql.c_str(), static_cast<int>(params.size()), nullptr,
                                       values.data(), lengths.data(), nullptr, 0));
}

PostgresResult PostgresConnection::ExecScript(const std::string& sql)
{
    return PostgresResult(PQexec(connection, sql.c_str()));
}

StoreStatus PostgresConnection::StatusOf(const PostgresResult& result)
{
    if (result.Ok()) {
        return StoreStatus::Ok;
    }
    const std::string state = result.SqlState();
    // Class 08 is a connection failure; 57P01 to 57P03 and 57P05 a server
    // shutting down, starting or ending an idle session; no state at all
    // means no answer came.
    if (PQstatus(connection) != CONNECTION_OK || state.empty() || state.compare(0, 2, "08") == 0
        || state == "57P01" || state == "57P02" || state == "57P03" || state == "57P05") {
        broken = true;
        return StoreStatus::Unavailable;
    }
    return state == "23505" ? StoreStatus::Duplicate : StoreStatus::Error;
}

bool PostgresConnection::Stale()
{
    if (broken || PQstatus(connection) != CONNECTION_OK) {
        return true;
    }
    pollfd descriptor {PQsocket(connection), POLLIN, 0};
    return descriptor.fd < 0 || poll(&descriptor, 1, 0) != 0;
}

bool PostgresConnection::Idle() const
{
    return PQtransactionStatus(connection) == PQTRANS_IDLE;
}

std::string PostgresConnection::LastError() const
{
    return Trimmed(PQerrorMessage(connection));
}

} // namespace lumo_service
