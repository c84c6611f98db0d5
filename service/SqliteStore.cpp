#include "SqliteStore.h"

#include "SqliteConnection.h"
#include "SqliteStatement.h"
#include "SqliteWriter.h"

#include <sqlite3.h>

#include <algorithm>

namespace lumo_service {

namespace {

// migrations[n] brings schema version n to n + 1.
const char* const kMigrations[] = {
    "CREATE TABLE accounts ("
    "  id INTEGER PRIMARY KEY,"
    "  email TEXT NOT NULL UNIQUE,"
    "  password_hash TEXT NOT NULL,"
    "  disabled INTEGER NOT NULL DEFAULT 0,"
    "  created INTEGER NOT NULL);"
    "CREATE TABLE sessions ("
    "  id INTEGER PRIMARY KEY,"
    "  account_id INTEGER NOT NULL REFERENCES accounts(id),"
    "  token_hash TEXT NOT NULL UNIQUE,"
    "  created INTEGER NOT NULL,"
    "  last_check INTEGER NOT NULL);"
    "CREATE INDEX sessions_account ON sessions(account_id);"
    "CREATE TABLE events ("
    "  id INTEGER PRIMARY KEY,"
    "  time INTEGER NOT NULL,"
    "  address TEXT NOT NULL,"
    "  type TEXT NOT NULL, version TEXT NOT NULL, platform TEXT NOT NULL, app TEXT NOT NULL,"
    "  page TEXT NOT NULL, block TEXT NOT NULL, action TEXT NOT NULL, info TEXT NOT NULL);"
    "CREATE TABLE feedback ("
    "  id INTEGER PRIMARY KEY,"
    "  time INTEGER NOT NULL,"
    "  address TEXT NOT NULL,"
    "  account_id INTEGER NOT NULL REFERENCES accounts(id),"
    "  text TEXT NOT NULL);"
    "CREATE TABLE versions ("
    "  app TEXT PRIMARY KEY,"
    "  version TEXT NOT NULL,"
    "  time INTEGER NOT NULL);",
};
constexpr int kMigrationCount = static_cast<int>(sizeof(kMigrations) / sizeof(kMigrations[0]));
static_assert(kMigrationCount == SqliteStore::kSchemaVersion, "one migration per schema version");

int SchemaVersion(SqliteConnection& connection)
{
    SqliteStatement statement(connection, "PRAGMA user_version");
    return statement.Step() == SQLITE_ROW ? static_cast<int>(statement.Int(0)) : -1;
}

// Brings the schema up to date inside one write transaction, so a service
// and an operator command starting together do not both migrate.
bool Migrate(SqliteConnection& connection, std::string& error)
{
    if (!connection.Exec("BEGIN IMMEDIATE")) {
        error = connection.LastError();
        return false;
    }
    const int found = SchemaVersion(connection);
    if (found < 0 || found > SqliteStore::kSchemaVersion) {
        connection.Exec("ROLLBACK");
        error = found < 0 ? connection.LastError()
                          : "the database has schema version " + std::to_string(found)
                + ", newer than this lumo-service knows (" + std::to_string(SqliteStore::kSchemaVersion) + ")";
        return false;
    }
    for (int version = found; version < SqliteStore::kSchemaVersion; ++version) {
        if (!connection.Exec(kMigrations[version])
            || !connection.Exec("PRAGMA user_version = " + std::to_string(version + 1))) {
            error = connection.LastError();
            connection.Exec("ROLLBACK");
            return false;
        }
    }
    if (!connection.Exec("COMMIT")) {
        error = connection.LastError();
        connection.Exec("ROLLBACK");
        return false;
    }
    return true;
}

bool IsConstraintError(int code)
{
    return (code & 0xff) == SQLITE_CONSTRAINT;
}

StoreStatus EndSessions(SqliteConnection& connection, int64_t accountId, int& endedSessions)
{
    SqliteStatement statement(connection, "DELETE FROM sessions WHERE account_id = ?");
    if (!statement.Bind(accountId).Run()) {
        return StoreStatus::Error;
    }
    endedSessions = static_cast<int>(connection.Changes());
    return StoreStatus::Ok;
}

StoreStatus AccountId(SqliteConnection& connection, const std::string& email, int64_t& id)
{
    SqliteStatement statement(connection, "SELECT id FROM accounts WHERE email = ?");
    const int step = statement.Bind(email).Step();
    if (step == SQLITE_DONE) {
        return StoreStatus::NotFound;
    }
    if (step != SQLITE_ROW) {
        return StoreStatus::Error;
    }
    id = statement.Int(0);
    return StoreStatus::Ok;
}

std::string LimitClause(int limit)
{
    return limit < 0 ? std::string() : " LIMIT " + std::to_string(limit);
}

} // namespace

// Lends one reader connection for the length of a read.
class SqliteStore::ReaderLease {
public:
    explicit ReaderLease(SqliteStore& store)
        : store(store)
        , connection(store.TakeReader())
    {
    }
    ~ReaderLease()
    {
        if (connection) {
            store.ReturnReader(std::move(connection));
        }
    }
    SqliteConnection* operator->() { return connection.get(); }
    SqliteConnection& operator*() { return *connection; }
    explicit operator bool() const { return connection != nullptr; }

private:
    SqliteStore& store;
    std::unique_ptr<SqliteConnection> connection;
};

std::unique_ptr<SqliteStore> SqliteStore::Open(const std::string& path, std::string& error)
{
    std::unique_ptr<SqliteConnection> connection = SqliteConnection::Open(path, error);
    if (!connection || !Migrate(*connection, error)) {
        return nullptr;
    }
    return std::unique_ptr<SqliteStore>(new SqliteStore(path, std::move(connection)));
}

SqliteStore::SqliteStore(std::string path, std::unique_ptr<SqliteConnection> writerConnection)
    : path(std::move(path))
    , writer(new SqliteWriter(std::move(writerConnection)))
{
}

SqliteStore::~SqliteStore() = default;

std::unique_ptr<SqliteConnection> SqliteStore::TakeReader()
{
    {
        std::lock_guard<std::mutex> lock(readersMutex);
        if (!idleReaders.empty()) {
            std::unique_ptr<SqliteConnection> reader = std::move(idleReaders.back());
            idleReaders.pop_back();
            return reader;
        }
    }
    std::string ignored;
    return SqliteConnection::Open(path, ignored);
}

void SqliteStore::ReturnReader(std::unique_ptr<SqliteConnection> reader)
{
    std::lock_guard<std::mutex> lock(readersMutex);
    idleReaders.push_back(std::move(reader));
}

StoreStatus SqliteStore::AddAccount(const std::string& email, const std::string& passwordHash, int64_t now)
{
    return writer->Run([&](SqliteConnection& connection) {
        SqliteStatement statement(connection,
                                  "INSERT INTO accounts (email, password_hash, created) VALUES (?, ?, ?)");
        const int step = statement.Bind(email).Bind(passwordHash).Bind(now).Step();
        if (step == SQLITE_DONE) {
            return StoreStatus::Ok;
        }
        return IsConstraintError(step) ? StoreStatus::Duplicate : StoreStatus::Error;
    });
}

StoreStatus SqliteStore::FindAccount(const std::string& email, Account& out)
{
    ReaderLease reader(*this);
    if (!reader) {
        return StoreStatus::Error;
    }
    SqliteStatement statement(*reader, "SELECT id, email, password_hash, disabled FROM accounts WHERE email = ?");
    const int step = statement.Bind(email).Step();
    if (step == SQLITE_DONE) {
        return StoreStatus::NotFound;
    }
    if (step != SQLITE_ROW) {
        return StoreStatus::Error;
    }
    out.id = statement.Int(0);
    out.email = statement.Text(1);
    out.passwordHash = statement.Text(2);
    out.disabled = statement.Int(3) != 0;
    return StoreStatus::Ok;
}

StoreStatus SqliteStore::SetPassword(const std::string& email, const std::string& passwordHash, int& endedSessions)
{
    return writer->Run([&](SqliteConnection& connection) {
        int64_t id = 0;
        const StoreStatus found = AccountId(connection, email, id);
        if (found != StoreStatus::Ok) {
            return found;
        }
        SqliteStatement statement(connection, "UPDATE accounts SET password_hash = ? WHERE id = ?");
        if (!statement.Bind(passwordHash).Bind(id).Run()) {
            return StoreStatus::Error;
        }
        return EndSessions(connection, id, endedSessions);
    });
}

StoreStatus SqliteStore::DisableAccount(const std::string& email, int& endedSessions)
{
    return writer->Run([&](SqliteConnection& connection) {
        int64_t id = 0;
        const StoreStatus found = AccountId(connection, email, id);
        if (found != StoreStatus::Ok) {
            return found;
        }
        SqliteStatement statement(connection, "UPDATE accounts SET disabled = 1 WHERE id = ?");
        if (!statement.Bind(id).Run()) {
            return StoreStatus::Error;
        }
        return EndSessions(connection, id, endedSessions);
    });
}

StoreStatus SqliteStore::AddSession(int64_t accountId, const std::string& tokenHash, int64_t now)
{
    return writer->Run([&](SqliteConnection& connection) {
        SqliteStatement statement(
            connection, "INSERT INTO sessions (account_id, token_hash, created, last_check) VALUES (?, ?, ?, ?)");
        const int step = statement.Bind(accountId).Bind(tokenHash).Bind(now).Bind(now).Step();
        if (step == SQLITE_DONE) {
            return StoreStatus::Ok;
        }
        return IsConstraintError(step) ? StoreStatus::Duplicate : StoreStatus::Error;
    });
}

StoreStatus SqliteStore::FindSession(const std::string& tokenHash, Session& out)
{
    ReaderLease reader(*this);
    if (!reader) {
        return StoreStatus::Error;
    }
    SqliteStatement statement(*reader,
                              "SELECT sessions.id, sessions.account_id, sessions.last_check, accounts.disabled"
                              " FROM sessions JOIN accounts ON accounts.id = sessions.account_id"
                              " WHERE sessions.token_hash = ?");
    const int step = statement.Bind(tokenHash).Step();
    if (step == SQLITE_DONE) {
        return StoreStatus::NotFound;
    }
    if (step != SQLITE_ROW) {
        return StoreStatus::Error;
    }
    out.id = statement.Int(0);
    out.accountId = statement.Int(1);
    out.lastCheck = statement.Int(2);
    out.accountDisabled = statement.Int(3) != 0;
    return StoreStatus::Ok;
}

StoreStatus SqliteStore::TouchSession(int64_t sessionId, int64_t now)
{
    return writer->Run([&](SqliteConnection& connection) {
        SqliteStatement statement(connection, "UPDATE sessions SET last_check = max(last_check, ?) WHERE id = ?");
        if (!statement.Bind(now).Bind(sessionId).Run()) {
            return StoreStatus::Error;
        }
        return connection.Changes() == 0 ? StoreStatus::NotFound : StoreStatus::Ok;
    });
}

StoreStatus SqliteStore::AddEvent(const UsageEvent& event)
{
    return writer->Run([&](SqliteConnection& connection) {
        SqliteStatement statement(connection,
                                  "INSERT INTO events (time, address, type, version, platform, app, page, block,"
                                  " action, info) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
        statement.Bind(event.time).Bind(event.address).Bind(event.type).Bind(event.version).Bind(event.platform);
        statement.Bind(event.app).Bind(event.page).Bind(event.block).Bind(event.action).Bind(event.info);
        return statement.Run() ? StoreStatus::Ok : StoreStatus::Error;
    });
}

StoreStatus SqliteStore::ListEvents(int limit, std::vector<UsageEvent>& out)
{
    ReaderLease reader(*this);
    if (!reader) {
        return StoreStatus::Error;
    }
    SqliteStatement statement(*reader,
                              "SELECT id, time, address, type, version, platform, app, page, block, action, info"
                              " FROM events ORDER BY id DESC"
                                  + LimitClause(limit));
    out.clear();
    int step;
    while ((step = statement.Step()) == SQLITE_ROW) {
        UsageEvent event;
        event.id = statement.Int(0);
        event.time = statement.Int(1);
        event.address = statement.Text(2);
        event.type = statement.Text(3);
        event.version = statement.Text(4);
        event.platform = statement.Text(5);
        event.app = statement.Text(6);
        event.page = statement.Text(7);
        event.block = statement.Text(8);
        event.action = statement.Text(9);
        event.info = statement.Text(10);
        out.push_back(std::move(event));
    }
    std::reverse(out.begin(), out.end());
    return step == SQLITE_DONE ? StoreStatus::Ok : StoreStatus::Error;
}

StoreStatus SqliteStore::AddFeedback(const FeedbackEntry& entry)
{
    return writer->Run([&](SqliteConnection& connection) {
        SqliteStatement statement(connection,
                                  "INSERT INTO feedback (time, address, account_id, text) VALUES (?, ?, ?, ?)");
        return statement.Bind(entry.time).Bind(entry.address).Bind(entry.accountId).Bind(entry.text).Run()
            ? StoreStatus::Ok
            : StoreStatus::Error;
    });
}

StoreStatus SqliteStore::ListFeedback(int limit, std::vector<FeedbackEntry>& out)
{
    ReaderLease reader(*this);
    if (!reader) {
        return StoreStatus::Error;
    }
    SqliteStatement statement(*reader,
                              "SELECT feedback.id, feedback.time, feedback.address, feedback.account_id,"
                              " accounts.email, feedback.text"
                              " FROM feedback JOIN accounts ON accounts.id = feedback.account_id"
                              " ORDER BY feedback.id DESC"
                                  + LimitClause(limit));
    out.clear();
    int step;
    while ((step = statement.Step()) == SQLITE_ROW) {
        FeedbackEntry entry;
        entry.id = statement.Int(0);
        entry.time = statement.Int(1);
        entry.address = statement.Text(2);
        entry.accountId = statement.Int(3);
        entry.email = statement.Text(4);
        entry.text = statement.Text(5);
        out.push_back(std::move(entry));
    }
    std::reverse(out.begin(), out.end());
    return step == SQLITE_DONE ? StoreStatus::Ok : StoreStatus::Error;
}

StoreStatus SqliteStore::SetVersion(const std::string& app, const std::string& version, int64_t now)
{
    return writer->Run([&](SqliteConnection& connection) {
        SqliteStatement statement(connection,
                                  "INSERT INTO versions (app, version, time) VALUES (?, ?, ?)"
                                  " ON CONFLICT(app) DO UPDATE SET version = excluded.version, time = excluded.time");
        return statement.Bind(app).Bind(version).Bind(now).Run() ? StoreStatus::Ok : StoreStatus::Error;
    });
}

StoreStatus SqliteStore::GetVersion(const std::string& app, std::string& out)
{
    ReaderLease reader(*this);
    if (!reader) {
        return StoreStatus::Error;
    }
    SqliteStatement statement(*reader, "SELECT version FROM versions WHERE app = ?");
    const int step = statement.Bind(app).Step();
    if (step == SQLITE_DONE) {
        return StoreStatus::NotFound;
    }
    if (step != SQLITE_ROW) {
        return StoreStatus::Error;
    }
    out = statement.Text(0);
    return StoreStatus::Ok;
}

} // namespace lumo_service
