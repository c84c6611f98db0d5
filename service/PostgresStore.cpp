#include "PostgresStore.h"

#include "PostgresConnection.h"
#include "PostgresPool.h"
#include "SqliteStore.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace lumo_service {

namespace {

static_assert(PostgresStore::kSchemaVersion == SqliteStore::kSchemaVersion,
              "both engines count schema versions alike");

// migrations[n] brings schema version n to n + 1; the tables match
// SqliteStore's of the same version.
const char* const kMigrations[] = {
    "CREATE TABLE accounts ("
    "  id BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY,"
    "  email TEXT NOT NULL UNIQUE,"
    "  password_hash TEXT NOT NULL,"
    "  disabled BOOLEAN NOT NULL DEFAULT false,"
    "  created BIGINT NOT NULL);"
    "CREATE TABLE sessions ("
    "  id BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY,"
    "  account_id BIGINT NOT NULL REFERENCES accounts(id),"
    "  token_hash TEXT NOT NULL UNIQUE,"
    "  created BIGINT NOT NULL,"
    "  last_check BIGINT NOT NULL);"
    "CREATE INDEX sessions_account ON sessions(account_id);"
    "CREATE TABLE events ("
    "  id BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY,"
    "  time BIGINT NOT NULL,"
    "  address TEXT NOT NULL,"
    "  type TEXT NOT NULL, version TEXT NOT NULL, platform TEXT NOT NULL, app TEXT NOT NULL,"
    "  page TEXT NOT NULL, block TEXT NOT NULL, action TEXT NOT NULL, info TEXT NOT NULL);"
    "CREATE TABLE feedback ("
    "  id BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY,"
    "  time BIGINT NOT NULL,"
    "  address TEXT NOT NULL,"
    "  account_id BIGINT NOT NULL REFERENCES accounts(id),"
    "  text TEXT NOT NULL);"
    "CREATE TABLE versions ("
    "  app TEXT PRIMARY KEY,"
    "  version TEXT NOT NULL,"
    "  time BIGINT NOT NULL);",
    "CREATE TABLE attempts ("
    "  id BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY,"
    "  key TEXT NOT NULL,"
    "  time BIGINT NOT NULL);"
    "CREATE INDEX attempts_key_time ON attempts(key, time);"
    "CREATE INDEX attempts_time ON attempts(time);"
    "CREATE TABLE buckets ("
    "  key TEXT PRIMARY KEY,"
    "  tokens DOUBLE PRECISION NOT NULL,"
    "  updated_ms BIGINT NOT NULL,"
    "  granted BOOLEAN NOT NULL);"
    "CREATE INDEX buckets_updated ON buckets(updated_ms);"
    "CREATE INDEX events_time ON events(time);"
    "CREATE INDEX sessions_last_check ON sessions(last_check);",
};
constexpr int kMigrationCount = static_cast<int>(sizeof(kMigrations) / sizeof(kMigrations[0]));
static_assert(kMigrationCount == PostgresStore::kSchemaVersion, "one migration per schema version");

// Any number, the same in every lumo-service: it serialises migrations.
constexpr const char* kMigrationLock = "7413620154";

constexpr int kEventPage = 1000;
constexpr int kPurgeChunk = 10000;

std::string Number(int64_t value)
{
    return std::to_string(value);
}

std::string Real(double value)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

bool Failed(PostgresConnection& connection, PostgresResult& result, std::string& error)
{
    if (result.Ok()) {
        return false;
    }
    error = "cannot set up the PostgreSQL schema: " + connection.LastError();
    return true;
}

// Brings the schema up to date in one transaction under a lock, so two
// processes starting together do not both migrate.
bool Migrate(PostgresConnection& connection, std::string& error)
{
    PostgresResult begun = connection.ExecScript("BEGIN");
    if (Failed(connection, begun, error)) {
        return false;
    }
    PostgresResult locked = connection.Exec("SELECT pg_advisory_xact_lock($1::bigint)", {kMigrationLock});
    if (Failed(connection, locked, error)) {
        return false;
    }
    // Looked for first, so a database user that may not create tables can
    // still open an up-to-date database.
    PostgresResult missing = connection.Exec("SELECT to_regclass('schema_version') IS NULL");
    if (Failed(connection, missing, error)) {
        return false;
    }
    if (missing.Text(0, 0) == "t") {
        PostgresResult table = connection.ExecScript("CREATE TABLE schema_version (version INTEGER NOT NULL)");
        if (Failed(connection, table, error)) {
            return false;
        }
    }
    PostgresResult current = connection.Exec("SELECT version FROM schema_version");
    if (Failed(connection, current, error)) {
        return false;
    }
    int found = 0;
    if (current.Rows() == 0) {
        PostgresResult inserted = connection.Exec("INSERT INTO schema_version (version) VALUES (0)");
        if (Failed(connection, inserted, error)) {
            return false;
        }
    } else {
        found = static_cast<int>(current.Int(0, 0));
    }
    if (found > PostgresStore::kSchemaVersion || found < 0) {
        error = "the database has schema version " + std::to_string(found) + ", "
            + (found < 0 ? "which no lumo-service makes" : "newer than this lumo-service knows") + " ("
            + std::to_string(PostgresStore::kSchemaVersion) + ")";
        connection.ExecScript("ROLLBACK");
        return false;
    }
    for (int version = found; version < PostgresStore::kSchemaVersion; ++version) {
        PostgresResult migrated = connection.ExecScript(kMigrations[version]);
        if (Failed(connection, migrated, error)) {
            return false;
        }
        PostgresResult counted = connection.Exec("UPDATE schema_version SET version = $1", {Number(version + 1)});
        if (Failed(connection, counted, error)) {
            return false;
        }
    }
    PostgresResult committed = connection.ExecScript("COMMIT");
    return !Failed(connection, committed, error);
}

UsageEvent EventAt(const PostgresResult& result, int row)
{
    UsageEvent event;
    event.id = result.Int(row, 0);
    event.time = result.Int(row, 1);
    event.address = result.Text(row, 2);
    event.type = result.Text(row, 3);
    event.version = result.Text(row, 4);
    event.platform = result.Text(row, 5);
    event.app = result.Text(row, 6);
    event.page = result.Text(row, 7);
    event.block = result.Text(row, 8);
    event.action = result.Text(row, 9);
    event.info = result.Text(row, 10);
    return event;
}

// The id of the event with `offset` newer ones, 0 when there are fewer.
StoreStatus IdBelowNewest(PostgresConnection& connection, int64_t offset, int64_t& id)
{
    PostgresResult result
        = connection.Exec("SELECT id FROM events ORDER BY id DESC LIMIT 1 OFFSET $1::bigint", {Number(offset)});
    const StoreStatus status = connection.StatusOf(result);
    if (status == StoreStatus::Ok) {
        id = result.Rows() == 0 ? 0 : result.Int(0, 0);
    }
    return status;
}

// Runs an update of one account (found by $1) that also ends its sessions,
// as one statement; NotFound when there is no such account.
StoreStatus UpdateAndEndSessions(PostgresConnection& connection, const std::string& update,
                                 const std::vector<std::string>& params, int& endedSessions)
{
    PostgresResult result = connection.Exec(
        "WITH changed AS (" + update
            + " RETURNING id),"
              " ended AS (DELETE FROM sessions WHERE account_id IN (SELECT id FROM changed) RETURNING 1)"
              " SELECT (SELECT count(*) FROM changed), (SELECT count(*) FROM ended)",
        params);
    const StoreStatus status = connection.StatusOf(result);
    if (status != StoreStatus::Ok) {
        return status;
    }
    if (result.Int(0, 0) == 0) {
        return StoreStatus::NotFound;
    }
    endedSessions = static_cast<int>(result.Int(0, 1));
    return StoreStatus::Ok;
}

} // namespace

std::unique_ptr<PostgresStore> PostgresStore::Open(const std::string& url, std::string& error)
{
    {
        std::unique_ptr<PostgresConnection> connection = PostgresConnection::Open(url, error);
        if (!connection || !Migrate(*connection, error)) {
            return nullptr;
        }
    }
    return std::unique_ptr<PostgresStore>(new PostgresStore(std::make_unique<PostgresPool>(url, kMaxConnections)));
}

PostgresStore::PostgresStore(std::unique_ptr<PostgresPool> pool)
    : pool(std::move(pool))
{
}

PostgresStore::~PostgresStore() = default;

StoreStatus PostgresStore::Run(const Work& work, Repeat repeat)
{
    for (bool first = true;; first = false) {
        std::string ignored;
        bool reused = false;
        std::unique_ptr<PostgresConnection> connection = pool->Take(ignored, reused);
        if (!connection) {
            return StoreStatus::Unavailable;
        }
        const StoreStatus status = work(*connection);
        // Whether a write reached the server before its connection died is
        // unknown, so only a read runs again.
        const bool again = status == StoreStatus::Unavailable && first && reused && repeat == Repeat::Read;
        pool->Give(std::move(connection));
        if (!again) {
            return status;
        }
    }
}

StoreStatus PostgresStore::InTransaction(const Work& work)
{
    return Run([&](PostgresConnection& connection) {
        const StoreStatus begun = connection.StatusOf(connection.ExecScript("BEGIN"));
        if (begun != StoreStatus::Ok) {
            return begun;
        }
        const StoreStatus status = work(connection);
        if (status != StoreStatus::Ok) {
            if (!connection.Broken()) {
                connection.StatusOf(connection.ExecScript("ROLLBACK"));
            }
            return status;
        }
        return connection.StatusOf(connection.ExecScript("COMMIT"));
    }, Repeat::Never);
}

StoreStatus PostgresStore::Change(const std::string& sql, const std::vector<std::string>& params, int64_t* changed)
{
    return Run([&](PostgresConnection& connection) {
        PostgresResult result = connection.Exec(sql, params);
        const StoreStatus status = connection.StatusOf(result);
        if (status == StoreStatus::Ok && changed != nullptr) {
            *changed = result.Changed();
        }
        return status;
    }, Repeat::Never);
}

StoreStatus PostgresStore::AddAccount(const std::string& email, const std::string& passwordHash, int64_t now)
{
    return Change("INSERT INTO accounts (email, password_hash, created) VALUES ($1, $2, $3::bigint)",
                  {email, passwordHash, Number(now)});
}

StoreStatus PostgresStore::FindAccount(const std::string& email, Account& out)
{
    return Run([&](PostgresConnection& connection) {
        PostgresResult result
            = connection.Exec("SELECT id, email, password_hash, disabled::int FROM accounts WHERE email = $1", {email});
        const StoreStatus status = connection.StatusOf(result);
        if (status != StoreStatus::Ok) {
            return status;
        }
        if (result.Rows() == 0) {
            return StoreStatus::NotFound;
        }
        out.id = result.Int(0, 0);
        out.email = result.Text(0, 1);
        out.passwordHash = result.Text(0, 2);
        out.disabled = result.Int(0, 3) != 0;
        return StoreStatus::Ok;
    }, Repeat::Read);
}

StoreStatus PostgresStore::SetPassword(const std::string& email, const std::string& passwordHash,
                                       int& endedSessions)
{
    return Run([&](PostgresConnection& connection) {
        return UpdateAndEndSessions(connection, "UPDATE accounts SET password_hash = $2 WHERE email = $1",
                                    {email, passwordHash}, endedSessions);
    }, Repeat::Never);
}

StoreStatus PostgresStore::DisableAccount(const std::string& email, int& endedSessions)
{
    return Run([&](PostgresConnection& connection) {
        return UpdateAndEndSessions(connection, "UPDATE accounts SET disabled = true WHERE email = $1", {email},
                                    endedSessions);
    }, Repeat::Never);
}

StoreStatus PostgresStore::AddSession(int64_t accountId, const std::string& tokenHash, int64_t now,
                                      int maxPerAccount)
{
    return InTransaction([&](PostgresConnection& connection) {
        const StoreStatus added = connection.StatusOf(
            connection.Exec("INSERT INTO sessions (account_id, token_hash, created, last_check)"
                            " VALUES ($1::bigint, $2, $3::bigint, $3::bigint)",
                            {Number(accountId), tokenHash, Number(now)}));
        if (added != StoreStatus::Ok || maxPerAccount < 1) {
            return added;
        }
        return connection.StatusOf(
            connection.Exec("DELETE FROM sessions WHERE account_id = $1::bigint AND id NOT IN"
                            " (SELECT id FROM sessions WHERE account_id = $1::bigint"
                            " ORDER BY last_check DESC, id DESC LIMIT $2::bigint)",
                            {Number(accountId), Number(maxPerAccount)}));
    });
}

StoreStatus PostgresStore::FindSession(const std::string& tokenHash, Session& out)
{
    return Run([&](PostgresConnection& connection) {
        PostgresResult result
            = connection.Exec("SELECT sessions.id, sessions.account_id, sessions.last_check, accounts.disabled::int"
                              " FROM sessions JOIN accounts ON accounts.id = sessions.account_id"
                              " WHERE sessions.token_hash = $1",
                              {tokenHash});
        const StoreStatus status = connection.StatusOf(result);
        if (status != StoreStatus::Ok) {
            return status;
        }
        if (result.Rows() == 0) {
            return StoreStatus::NotFound;
        }
        out.id = result.Int(0, 0);
        out.accountId = result.Int(0, 1);
        out.lastCheck = result.Int(0, 2);
        out.accountDisabled = result.Int(0, 3) != 0;
        return StoreStatus::Ok;
    }, Repeat::Read);
}

StoreStatus PostgresStore::TouchSession(int64_t sessionId, int64_t now)
{
    int64_t changed = 0;
    const StoreStatus status
        = Change("UPDATE sessions SET last_check = GREATEST(last_check, $1::bigint) WHERE id = $2::bigint",
                 {Number(now), Number(sessionId)}, &changed);
    if (status != StoreStatus::Ok) {
        return status;
    }
    return changed == 0 ? StoreStatus::NotFound : StoreStatus::Ok;
}

StoreStatus PostgresStore::PurgeSessions(int64_t before, int64_t& removed)
{
    removed = 0;
    return Change("DELETE FROM sessions WHERE last_check < $1::bigint", {Number(before)}, &removed);
}

StoreStatus PostgresStore::AddEvent(const UsageEvent& event)
{
    return Change("INSERT INTO events (time, address, type, version, platform, app, page, block, action, info)"
                  " VALUES ($1::bigint, $2, $3, $4, $5, $6, $7, $8, $9, $10)",
                  {Number(event.time), event.address, event.type, event.version, event.platform, event.app,
                   event.page, event.block, event.action, event.info});
}

StoreStatus PostgresStore::ForEachEvent(int limit, const std::function<void(const UsageEvent&)>& row)
{
    if (limit == 0) {
        return StoreStatus::Ok;
    }
    return Run([&](PostgresConnection& connection) {
        // Events added while the listing runs are left out, so --limit N
        // prints N at most.
        PostgresResult newest = connection.Exec("SELECT coalesce(max(id), 0) FROM events");
        StoreStatus status = connection.StatusOf(newest);
        if (status != StoreStatus::Ok) {
            return status;
        }
        const int64_t to = newest.Int(0, 0);
        int64_t from = 0;
        if (limit > 0) {
            status = IdBelowNewest(connection, limit, from);
            if (status != StoreStatus::Ok) {
                return status;
            }
        }
        // Bounded below only: a range on both ends can make the planner
        // scan the whole range for every page before the statistics of a
        // freshly filled table exist.
        for (;;) {
            PostgresResult page = connection.Exec(
                "SELECT id, time, address, type, version, platform, app, page, block, action, info FROM events"
                " WHERE id > $1::bigint ORDER BY id LIMIT $2::bigint",
                {Number(from), Number(kEventPage)});
            status = connection.StatusOf(page);
            if (status != StoreStatus::Ok) {
                return status;
            }
            for (int i = 0; i < page.Rows(); ++i) {
                const UsageEvent event = EventAt(page, i);
                if (event.id > to) {
                    return StoreStatus::Ok;
                }
                row(event);
            }
            if (page.Rows() < kEventPage) {
                return StoreStatus::Ok;
            }
            from = page.Int(page.Rows() - 1, 0);
        }
    }, Repeat::Never);
}

StoreStatus PostgresStore::PurgeEvents(int64_t before, int64_t keep, int64_t& removed)
{
    removed = 0;
    // Every event up to this id is beyond the newest keep; a negative keep
    // sets no count.
    int64_t beyond = 0;
    if (keep >= 0) {
        const StoreStatus found
            = Run([&](PostgresConnection& connection) { return IdBelowNewest(connection, keep, beyond); },
                  Repeat::Read);
        if (found != StoreStatus::Ok) {
            return found;
        }
    }
    // In chunks, so no transaction holds many row locks for long.
    for (;;) {
        int64_t chunk = 0;
        const StoreStatus status = Change("DELETE FROM events WHERE id IN (SELECT id FROM events"
                                          " WHERE id <= $1::bigint OR time < $2::bigint LIMIT $3::bigint)",
                                          {Number(beyond), Number(before), Number(kPurgeChunk)}, &chunk);
        if (status != StoreStatus::Ok) {
            return status;
        }
        removed += chunk;
        if (chunk < kPurgeChunk) {
            return StoreStatus::Ok;
        }
    }
}

StoreStatus PostgresStore::AddAttempt(const std::string& key, int64_t now)
{
    return Change("INSERT INTO attempts (key, time) VALUES ($1, $2::bigint)", {key, Number(now)});
}

StoreStatus PostgresStore::CountAttempts(const std::string& key, int64_t since, int& count, int64_t& oldest)
{
    return Run([&](PostgresConnection& connection) {
        PostgresResult result = connection.Exec("SELECT count(*), coalesce(min(time), 0) FROM attempts"
                                                " WHERE key = $1 AND time >= $2::bigint",
                                                {key, Number(since)});
        const StoreStatus status = connection.StatusOf(result);
        if (status == StoreStatus::Ok) {
            count = static_cast<int>(result.Int(0, 0));
            oldest = result.Int(0, 1);
        }
        return status;
    }, Repeat::Read);
}

StoreStatus PostgresStore::ClearAttempts(const std::string& key)
{
    return Change("DELETE FROM attempts WHERE key = $1", {key});
}

StoreStatus PostgresStore::PurgeAttempts(int64_t before, int64_t& removed)
{
    removed = 0;
    return Run([&](PostgresConnection& connection) {
        PostgresResult result = connection.Exec(
            "WITH attempts_gone AS (DELETE FROM attempts WHERE time < $1::bigint RETURNING 1),"
            " buckets_gone AS (DELETE FROM buckets WHERE updated_ms < $2::bigint RETURNING 1)"
            " SELECT (SELECT count(*) FROM attempts_gone) + (SELECT count(*) FROM buckets_gone)",
            {Number(before), Number(before * 1000)});
        const StoreStatus status = connection.StatusOf(result);
        if (status == StoreStatus::Ok) {
            removed = result.Int(0, 0);
        }
        return status;
    }, Repeat::Never);
}

StoreStatus PostgresStore::TakeToken(const std::string& key, int64_t nowMs, double ratePerSecond, double burst,
                                     bool& taken)
{
    taken = false;
    if (!std::isfinite(ratePerSecond) || !std::isfinite(burst)) {
        return StoreStatus::Error;
    }
    return Run([&](PostgresConnection& connection) {
        // One statement refills the bucket for the time gone by, takes a
        // token when there is one and says whether it did; the row lock of
        // the conflicting insert makes it atomic across processes.
        PostgresResult result = connection.Exec(
            "INSERT INTO buckets AS b (key, tokens, updated_ms, granted)"
            " VALUES ($1, CASE WHEN $4::float8 >= 1 THEN $4::float8 - 1 ELSE $4::float8 END, $2::bigint,"
            " $4::float8 >= 1)"
            " ON CONFLICT (key) DO UPDATE SET"
            " tokens = CASE WHEN LEAST($4::float8, b.tokens + GREATEST(0, $2::bigint - b.updated_ms) * $3::float8"
            "   / 1000.0) >= 1"
            "   THEN LEAST($4::float8, b.tokens + GREATEST(0, $2::bigint - b.updated_ms) * $3::float8 / 1000.0) - 1"
            "   ELSE LEAST($4::float8, b.tokens + GREATEST(0, $2::bigint - b.updated_ms) * $3::float8 / 1000.0)"
            "   END,"
            " granted = LEAST($4::float8, b.tokens + GREATEST(0, $2::bigint - b.updated_ms) * $3::float8 / 1000.0)"
            "   >= 1,"
            " updated_ms = GREATEST(b.updated_ms, $2::bigint)"
            " RETURNING granted::int",
            {key, Number(nowMs), Real(ratePerSecond), Real(burst)});
        const StoreStatus status = connection.StatusOf(result);
        if (status == StoreStatus::Ok) {
            taken = result.Int(0, 0) != 0;
        }
        return status;
    }, Repeat::Never);
}

StoreStatus PostgresStore::AddFeedback(const FeedbackEntry& entry)
{
    return Change("INSERT INTO feedback (time, address, account_id, text) VALUES ($1::bigint, $2, $3::bigint, $4)",
                  {Number(entry.time), entry.address, Number(entry.accountId), entry.text});
}

StoreStatus PostgresStore::ListFeedback(int limit, std::vector<FeedbackEntry>& out)
{
    out.clear();
    return Run([&](PostgresConnection& connection) {
        // A NULL limit is no limit.
        PostgresResult result = connection.Exec(
            "SELECT feedback.id, feedback.time, feedback.address, feedback.account_id, accounts.email, feedback.text"
            " FROM feedback JOIN accounts ON accounts.id = feedback.account_id ORDER BY feedback.id DESC"
            " LIMIT CASE WHEN $1::bigint < 0 THEN NULL ELSE $1::bigint END",
            {Number(limit)});
        const StoreStatus status = connection.StatusOf(result);
        if (status != StoreStatus::Ok) {
            return status;
        }
        for (int i = result.Rows() - 1; i >= 0; --i) {
            FeedbackEntry entry;
            entry.id = result.Int(i, 0);
            entry.time = result.Int(i, 1);
            entry.address = result.Text(i, 2);
            entry.accountId = result.Int(i, 3);
            entry.email = result.Text(i, 4);
            entry.text = result.Text(i, 5);
            out.push_back(std::move(entry));
        }
        return StoreStatus::Ok;
    }, Repeat::Read);
}

StoreStatus PostgresStore::SetVersion(const std::string& app, const std::string& version, int64_t now)
{
    return Change("INSERT INTO versions (app, version, time) VALUES ($1, $2, $3::bigint)"
                  " ON CONFLICT (app) DO UPDATE SET version = EXCLUDED.version, time = EXCLUDED.time",
                  {app, version, Number(now)});
}

StoreStatus PostgresStore::GetVersion(const std::string& app, std::string& out)
{
    return Run([&](PostgresConnection& connection) {
        PostgresResult result = connection.Exec("SELECT version FROM versions WHERE app = $1", {app});
        const StoreStatus status = connection.StatusOf(result);
        if (status != StoreStatus::Ok) {
            return status;
        }
        if (result.Rows() == 0) {
            return StoreStatus::NotFound;
        }
        out = result.Text(0, 0);
        return StoreStatus::Ok;
    }, Repeat::Read);
}

} // namespace lumo_service
