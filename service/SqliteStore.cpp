#include "SqliteStore.h"

#include "SqliteConnection.h"
#include "SqliteStatement.h"
#include "SqliteWriter.h"

#include <sqlite3.h>

#include <algorithm>
#include <cmath>

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
    // Attempts and token buckets shared by every process; indexes that keep
    // the purges and the session limit cheap.
    "CREATE TABLE attempts ("
    "  id INTEGER PRIMARY KEY,"
    "  key TEXT NOT NULL,"
    "  time INTEGER NOT NULL);"
    "CREATE INDEX attempts_key_time ON attempts(key, time);"
    "CREATE INDEX attempts_time ON attempts(time);"
    "CREATE TABLE buckets ("
    "  key TEXT PRIMARY KEY,"
    "  tokens REAL NOT NULL,"
    "  updated_ms INTEGER NOT NULL,"
    "  granted INTEGER NOT NULL);"
    "CREATE INDEX buckets_updated ON buckets(updated_ms);"
    "CREATE INDEX events_time ON events(time);"
    "CREATE INDEX sessions_last_check ON sessions(last_check);",
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

// Rows read or deleted per step, so memory and the time one transaction
// holds the write lock stay bounded.
constexpr int kEventPage = 1000;
constexpr int kPurgeChunk = 10000;

StoreStatus Single(SqliteStatement& statement, int64_t& value)
{
    const int step = statement.Step();
    if (step == SQLITE_DONE) {
        value = 0;
        return StoreStatus::Ok;
    }
    if (step != SQLITE_ROW) {
        return StoreStatus::Error;
    }
    value = statement.Int(0);
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

StoreStatus SqliteStore::AddSession(int64_t accountId, const std::string& tokenHash, int64_t now,
                                    int maxPerAccount)
{
    return writer->Run([&](SqliteConnection& connection) {
        SqliteStatement statement(
            connection, "INSERT INTO sessions (account_id, token_hash, created, last_check) VALUES (?, ?, ?, ?)");
        const int step = statement.Bind(accountId).Bind(tokenHash).Bind(now).Bind(now).Step();
        if (step != SQLITE_DONE) {
            return IsConstraintError(step) ? StoreStatus::Duplicate : StoreStatus::Error;
        }
        if (maxPerAccount < 1) {
            return StoreStatus::Ok;
        }
        SqliteStatement trim(connection,
                             "DELETE FROM sessions WHERE account_id = ? AND id NOT IN"
                             " (SELECT id FROM sessions WHERE account_id = ?"
                             " ORDER BY last_check DESC, id DESC LIMIT ?)");
        return trim.Bind(accountId).Bind(accountId).Bind(static_cast<int64_t>(maxPerAccount)).Run()
            ? StoreStatus::Ok
            : StoreStatus::Error;
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

StoreStatus SqliteStore::PurgeSessions(int64_t before, int64_t& removed)
{
    removed = 0;
    return writer->Run([&](SqliteConnection& connection) {
        SqliteStatement statement(connection, "DELETE FROM sessions WHERE last_check < ?");
        if (!statement.Bind(before).Run()) {
            return StoreStatus::Error;
        }
        removed = connection.Changes();
        return StoreStatus::Ok;
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

StoreStatus SqliteStore::ForEachEvent(int limit, const std::function<void(const UsageEvent&)>& row)
{
    if (limit == 0) {
        return StoreStatus::Ok;
    }
    int64_t from = 0;
    int64_t to = 0;
    {
        ReaderLease reader(*this);
        if (!reader) {
            return StoreStatus::Error;
        }
        // Events added while the listing runs are left out, so --limit N
        // prints N at most.
        SqliteStatement newest(*reader, "SELECT max(id) FROM events");
        if (Single(newest, to) != StoreStatus::Ok) {
            return StoreStatus::Error;
        }
        if (limit > 0) {
            SqliteStatement first(*reader, "SELECT id FROM events ORDER BY id DESC LIMIT 1 OFFSET ?");
            if (Single(first.Bind(static_cast<int64_t>(limit)), from) != StoreStatus::Ok) {
                return StoreStatus::Error;
            }
        }
    }
    std::vector<UsageEvent> page;
    for (;;) {
        const StoreStatus read = EventPage(from, to, page);
        if (read != StoreStatus::Ok) {
            return read;
        }
        for (const UsageEvent& event : page) {
            row(event);
        }
        if (page.size() < static_cast<size_t>(kEventPage)) {
            return StoreStatus::Ok;
        }
        from = page.back().id;
    }
}

StoreStatus SqliteStore::EventPage(int64_t from, int64_t to, std::vector<UsageEvent>& page)
{
    page.clear();
    ReaderLease reader(*this);
    if (!reader) {
        return StoreStatus::Error;
    }
    SqliteStatement statement(*reader,
                              "SELECT id, time, address, type, version, platform, app, page, block, action, info"
                              " FROM events WHERE id > ? AND id <= ? ORDER BY id LIMIT ?");
    statement.Bind(from).Bind(to).Bind(static_cast<int64_t>(kEventPage));
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
        page.push_back(std::move(event));
    }
    return step == SQLITE_DONE ? StoreStatus::Ok : StoreStatus::Error;
}

StoreStatus SqliteStore::PurgeEvents(int64_t before, int64_t keep, int64_t& removed)
{
    removed = 0;
    // Every event up to this id is beyond the newest keep; a negative keep
    // sets no count.
    int64_t beyond = 0;
    if (keep >= 0) {
        ReaderLease reader(*this);
        if (!reader) {
            return StoreStatus::Error;
        }
        SqliteStatement statement(*reader, "SELECT id FROM events ORDER BY id DESC LIMIT 1 OFFSET ?");
        if (Single(statement.Bind(keep), beyond) != StoreStatus::Ok) {
            return StoreStatus::Error;
        }
    }
    // In chunks, so sign-ins waiting for the writer are not held up behind
    // one long delete.
    for (;;) {
        int64_t chunk = 0;
        const StoreStatus status = writer->Run([&](SqliteConnection& connection) {
            SqliteStatement statement(connection,
                                      "DELETE FROM events WHERE id IN (SELECT id FROM events"
                                      " WHERE id <= ? OR time < ? LIMIT ?)");
            if (!statement.Bind(beyond).Bind(before).Bind(static_cast<int64_t>(kPurgeChunk)).Run()) {
                return StoreStatus::Error;
            }
            chunk = connection.Changes();
            return StoreStatus::Ok;
        });
        if (status != StoreStatus::Ok) {
            return status;
        }
        removed += chunk;
        if (chunk < kPurgeChunk) {
            return StoreStatus::Ok;
        }
    }
}

StoreStatus SqliteStore::AddAttempt(const std::string& key, int64_t now)
{
    return writer->Run([&](SqliteConnection& connection) {
        SqliteStatement statement(connection, "INSERT INTO attempts (key, time) VALUES (?, ?)");
        return statement.Bind(key).Bind(now).Run() ? StoreStatus::Ok : StoreStatus::Error;
    });
}

StoreStatus SqliteStore::CountAttempts(const std::string& key, int64_t since, int& count, int64_t& oldest)
{
    ReaderLease reader(*this);
    if (!reader) {
        return StoreStatus::Error;
    }
    SqliteStatement statement(*reader, "SELECT count(*), coalesce(min(time), 0) FROM attempts"
                                       " WHERE key = ? AND time >= ?");
    if (statement.Bind(key).Bind(since).Step() != SQLITE_ROW) {
        return StoreStatus::Error;
    }
    count = static_cast<int>(statement.Int(0));
    oldest = statement.Int(1);
    return StoreStatus::Ok;
}

StoreStatus SqliteStore::ClearAttempts(const std::string& key)
{
    return writer->Run([&](SqliteConnection& connection) {
        SqliteStatement statement(connection, "DELETE FROM attempts WHERE key = ?");
        return statement.Bind(key).Run() ? StoreStatus::Ok : StoreStatus::Error;
    });
}

StoreStatus SqliteStore::PurgeAttempts(int64_t before, int64_t& removed)
{
    removed = 0;
    return writer->Run([&](SqliteConnection& connection) {
        SqliteStatement attempts(connection, "DELETE FROM attempts WHERE time < ?");
        if (!attempts.Bind(before).Run()) {
            return StoreStatus::Error;
        }
        removed = connection.Changes();
        SqliteStatement buckets(connection, "DELETE FROM buckets WHERE updated_ms < ?");
        if (!buckets.Bind(before * 1000).Run()) {
            return StoreStatus::Error;
        }
        removed += connection.Changes();
        return StoreStatus::Ok;
    });
}

StoreStatus SqliteStore::TakeToken(const std::string& key, int64_t nowMs, double ratePerSecond, double burst,
                                   bool& taken)
{
    taken = false;
    if (!std::isfinite(ratePerSecond) || !std::isfinite(burst)) {
        return StoreStatus::Error;
    }
    return writer->Run([&](SqliteConnection& connection) {
        // One statement refills the bucket for the time gone by, takes a
        // token when there is one and says whether it did.
        SqliteStatement statement(
            connection,
            "INSERT INTO buckets AS b (key, tokens, updated_ms, granted)"
            " VALUES (?1, CASE WHEN ?4 >= 1 THEN ?4 - 1 ELSE ?4 END, ?2, ?4 >= 1)"
            " ON CONFLICT(key) DO UPDATE SET"
            " tokens = CASE WHEN min(?4, b.tokens + max(0, ?2 - b.updated_ms) * ?3 / 1000.0) >= 1"
            "   THEN min(?4, b.tokens + max(0, ?2 - b.updated_ms) * ?3 / 1000.0) - 1"
            "   ELSE min(?4, b.tokens + max(0, ?2 - b.updated_ms) * ?3 / 1000.0) END,"
            " granted = min(?4, b.tokens + max(0, ?2 - b.updated_ms) * ?3 / 1000.0) >= 1,"
            " updated_ms = max(b.updated_ms, ?2)"
            " RETURNING granted");
        if (statement.Bind(key).Bind(nowMs).Bind(ratePerSecond).Bind(burst).Step() != SQLITE_ROW) {
            return StoreStatus::Error;
        }
        taken = statement.Int(0) != 0;
        return statement.Step() == SQLITE_DONE ? StoreStatus::Ok : StoreStatus::Error;
    });
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
