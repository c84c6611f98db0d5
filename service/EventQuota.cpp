#include "EventQuota.h"

#include "ServiceClock.h"

#include <sys/statvfs.h>

namespace lumo_service {

namespace {

EventOutcome FromStatus(StoreStatus status)
{
    return status == StoreStatus::Unavailable ? EventOutcome::Unavailable : EventOutcome::Error;
}

} // namespace

EventQuota::EventQuota(Store& store, const ServiceClock& clock, std::string dataDir, int64_t reserveMiB, int burst,
                       int perMinute)
    : store(store)
    , clock(clock)
    , dataDir(std::move(dataDir))
    , reserveMiB(reserveMiB)
    , burst(burst)
    , perSecond(perMinute / 60.0)
{
}

EventOutcome EventQuota::Add(const UsageEvent& event)
{
    if (Size(event) > kMaxEventBytes) {
        return EventOutcome::TooLarge;
    }
    // Checked before the bucket, whose update is itself a write.
    int64_t freeMiB = 0;
    if (!FreeMiB(freeMiB)) {
        return EventOutcome::Error;
    }
    if (freeMiB < reserveMiB) {
        return EventOutcome::NoRoom;
    }
    bool taken = false;
    StoreStatus status = store.TakeToken("event:" + event.address, clock.NowMilliseconds(), perSecond, burst, taken);
    if (status != StoreStatus::Ok) {
        return FromStatus(status);
    }
    if (!taken) {
        return EventOutcome::Throttled;
    }
    status = store.AddEvent(event);
    return status == StoreStatus::Ok ? EventOutcome::Stored : FromStatus(status);
}

size_t EventQuota::Size(const UsageEvent& event)
{
    return event.type.size() + event.version.size() + event.platform.size() + event.app.size() + event.page.size()
        + event.block.size() + event.action.size() + event.info.size();
}

bool EventQuota::FreeMiB(int64_t& freeMiB) const
{
    struct statvfs disk {};
    if (statvfs(dataDir.c_str(), &disk) != 0) {
        return false;
    }
    // What an unprivileged writer such as the service may still use.
    freeMiB = static_cast<int64_t>((static_cast<unsigned long long>(disk.f_bavail) * disk.f_frsize) >> 20);
    return true;
}

} // namespace lumo_service
