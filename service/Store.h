#ifndef LUMO_SERVICE_STORE_H
#define LUMO_SERVICE_STORE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace lumo_service {

enum class StoreStatus {
    Ok,
    NotFound,
    Duplicate,
    Error,
    // The database cannot be reached (a server gone, a connection lost); the
    // store reconnects by itself on a later call. Requests answer 503.
    Unavailable,
};

struct Account {
    int64_t id = 0;
    std::string email;
    std::string passwordHash;
    bool disabled = false;
};

// A session is found by the hash of its token; the token itself is never
// stored.
struct Session {
    int64_t id = 0;
    int64_t accountId = 0;
    int64_t lastCheck = 0;
    bool accountDisabled = false;
};

struct UsageEvent {
    int64_t id = 0;
    int64_t time = 0;
    std::string address;
    std::string type;
    std::string version;
    std::string platform;
    std::string app;
    std::string page;
    std::string block;
    std::string action;
    std::string info;
};

struct FeedbackEntry {
    int64_t id = 0;
    int64_t time = 0;
    std::string address;
    int64_t accountId = 0;
    std::string email; // filled when listing
    std::string text;
};

// Everything the service keeps. Handlers and operator commands only see this
// interface, so another database engine can be added beside the SQLite one.
// Every write has reached stable storage when the call returns Ok.
class Store {
public:
    virtual ~Store() = default;

    // Duplicate when the e-mail is taken.
    virtual StoreStatus AddAccount(const std::string& email, const std::string& passwordHash, int64_t now) = 0;
    virtual StoreStatus FindAccount(const std::string& email, Account& out) = 0;
    // Both end every session of the account; endedSessions counts them.
    virtual StoreStatus SetPassword(const std::string& email, const std::string& passwordHash,
                                    int& endedSessions) = 0;
    virtual StoreStatus DisableAccount(const std::string& email, int& endedSessions) = 0;

    // Also ends the account's sessions beyond the newest maxPerAccount (the
    // new one included), least recently checked first.
    virtual StoreStatus AddSession(int64_t accountId, const std::string& tokenHash, int64_t now,
                                   int maxPerAccount) = 0;
    virtual StoreStatus FindSession(const std::string& tokenHash, Session& out) = 0;
    virtual StoreStatus TouchSession(int64_t sessionId, int64_t now) = 0;
    // Deletes the sessions last checked before `before`.
    virtual StoreStatus PurgeSessions(int64_t before, int64_t& removed) = 0;

    virtual StoreStatus AddEvent(const UsageEvent& event) = 0;
    // Calls row for each of the newest limit events (all when limit < 0),
    // oldest first, reading them in pages so memory stays flat.
    virtual StoreStatus ForEachEvent(int limit, const std::function<void(const UsageEvent&)>& row) = 0;
    // Deletes the events older than `before` and all but the newest keep.
    virtual StoreStatus PurgeEvents(int64_t before, int64_t keep, int64_t& removed) = 0;

    // Attempts (failed sign-ins, sign-ups, used form tokens) counted per key,
    // shared by every process on the same database.
    virtual StoreStatus AddAttempt(const std::string& key, int64_t now) = 0;
    // The attempts of key made at or after since, and the time of the oldest
    // of them (0 when there is none).
    virtual StoreStatus CountAttempts(const std::string& key, int64_t since, int& count, int64_t& oldest) = 0;
    virtual StoreStatus ClearAttempts(const std::string& key) = 0;
    // Deletes the attempts made before `before`, and the buckets untouched
    // since then.
    virtual StoreStatus PurgeAttempts(int64_t before, int64_t& removed) = 0;

    // A token bucket per key, shared like the attempts: it holds at most
    // burst tokens and gains ratePerSecond tokens a second (nowMs is in
    // milliseconds). Takes one token; taken is false when there was none.
    virtual StoreStatus TakeToken(const std::string& key, int64_t nowMs, double ratePerSecond, double burst,
                                  bool& taken) = 0;

    virtual StoreStatus AddFeedback(const FeedbackEntry& entry) = 0;
    virtual StoreStatus ListFeedback(int limit, std::vector<FeedbackEntry>& out) = 0;

    virtual StoreStatus SetVersion(const std::string& app, const std::string& version, int64_t now) = 0;
    virtual StoreStatus GetVersion(const std::string& app, std::string& out) = 0;
};

} // namespace lumo_service

#endif
