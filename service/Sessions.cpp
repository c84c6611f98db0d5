#include "Sessions.h"

#include "ServiceClock.h"
#include "SessionToken.h"

namespace lumo_service {

Sessions::Sessions(Store& store, const ServiceClock& clock)
    : store(store)
    , clock(clock)
{
}

StoreStatus Sessions::Issue(int64_t accountId, std::string& token)
{
    token = SessionToken::Generate();
    return store.AddSession(accountId, SessionToken::Hash(token), clock.Now(), kMaxPerAccount);
}

SessionState Sessions::Check(const std::string& token, int64_t& accountId)
{
    if (!SessionToken::LooksValid(token)) {
        return SessionState::Unknown;
    }
    // The row is looked up by the token's hash; the token itself is never
    // compared, so its value cannot leak through timing.
    Session session;
    const StoreStatus found = store.FindSession(SessionToken::Hash(token), session);
    if (found == StoreStatus::NotFound) {
        return SessionState::Unknown;
    }
    if (found != StoreStatus::Ok) {
        return found == StoreStatus::Unavailable ? SessionState::Unavailable : SessionState::Error;
    }
    if (session.accountDisabled) {
        return SessionState::Unknown;
    }
    const int64_t now = clock.Now();
    if (now >= session.lastCheck + kLifetimeSeconds) {
        return SessionState::Expired;
    }
    if (now - session.lastCheck >= kTouchEverySeconds) {
        const StoreStatus touched = store.TouchSession(session.id, now);
        if (touched == StoreStatus::NotFound) {
            return SessionState::Unknown; // ended meanwhile
        }
        if (touched != StoreStatus::Ok) {
            return touched == StoreStatus::Unavailable ? SessionState::Unavailable : SessionState::Error;
        }
    }
    accountId = session.accountId;
    return SessionState::Valid;
}

} // namespace lumo_service
