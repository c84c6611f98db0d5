#ifndef LUMO_SERVICE_SESSIONS_H
#define LUMO_SERVICE_SESSIONS_H

#include "Store.h"

#include <cstdint>
#include <string>

namespace lumo_service {

class ServiceClock;

enum class SessionState {
    Valid,
    Expired,
    Unknown, // never issued, ended by the operator, or its account disabled
    Error,
    Unavailable, // the database cannot be reached for now
};

// Issues session tokens and checks them. A session lives 30 days after its
// last successful check.
class Sessions {
public:
    static constexpr int64_t kLifetimeSeconds = 30 * 24 * 3600;
    // The last-check time is written at most once a minute per session, so
    // a busy token check stays a read; a session may thus end up to a minute
    // early.
    static constexpr int64_t kTouchEverySeconds = 60;
    // Signing in again and again cannot grow an account's sessions without
    // bound: the least recently checked beyond this many end.
    static constexpr int kMaxPerAccount = 20;

    Sessions(Store& store, const ServiceClock& clock);

    StoreStatus Issue(int64_t accountId, std::string& token);
    SessionState Check(const std::string& token, int64_t& accountId);

private:
    Store& store;
    const ServiceClock& clock;
};

} // namespace lumo_service

#endif
