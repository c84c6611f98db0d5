#ifndef LUMO_SERVICE_EVENTQUOTA_H
#define LUMO_SERVICE_EVENTQUOTA_H

#include "Store.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo_service {

class ServiceClock;

enum class EventOutcome {
    Stored,
    Throttled,   // the address has used its tokens
    TooLarge,    // the fields together exceed kMaxEventBytes
    NoRoom,      // the data folder's free space is under the reserve
    Unavailable, // the store cannot be reached
    Error,
};

// Stores usage events within limits, since anyone may post them: a token
// bucket per address shared through the store, a cap on each event's size,
// and a reserve of free space kept for sign-ins and sessions.
class EventQuota {
public:
    // By default an address may post kBurst events at once, then kPerMinute
    // a minute; the operator may allow more, for clients behind one shared
    // address.
    static constexpr int kBurst = 120;
    static constexpr int kPerMinute = 120;
    // A full info field (16 KiB) and the short fields as the application
    // fills them; its largest events carry an e-mail and two file paths in
    // their info. Every field at its own limit is more than this.
    static constexpr size_t kMaxEventBytes = 16 * 1024 + 256;

    EventQuota(Store& store, const ServiceClock& clock, std::string dataDir, int64_t reserveMiB, int burst = kBurst,
               int perMinute = kPerMinute);

    // Stores event (its address fills the bucket key) when every limit
    // allows it.
    EventOutcome Add(const UsageEvent& event);
    // The bytes of the event's fields.
    static size_t Size(const UsageEvent& event);

private:
    // False when the data folder cannot be examined.
    bool FreeMiB(int64_t& freeMiB) const;

    Store& store;
    const ServiceClock& clock;
    const std::string dataDir;
    const int64_t reserveMiB;
    const double burst;
    const double perSecond;
};

} // namespace lumo_service

#endif
