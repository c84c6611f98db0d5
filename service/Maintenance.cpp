#include "Maintenance.h"

#include "Accounts.h"
#include "CsrfGuard.h"
#include "ServiceClock.h"
#include "Sessions.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace lumo_service {

const int64_t Maintenance::kAttemptsKeptSeconds = std::max(
    {Accounts::kFailureWindowSeconds, Accounts::kRegistrationWindowSeconds, CsrfGuard::kUsedKeptSeconds});

Maintenance::Maintenance(Store& store, const ServiceClock& clock, int64_t eventsKeep, int eventsDays)
    : store(store)
    , clock(clock)
    , eventsKeep(eventsKeep)
    , eventsDays(eventsDays)
{
}

Maintenance::~Maintenance()
{
    Stop();
}

void Maintenance::Start()
{
    std::lock_guard<std::mutex> lock(mutex);
    if (thread.joinable()) {
        return;
    }
    stopping = false;
    thread = std::thread(&Maintenance::Loop, this);
}

void Maintenance::Stop()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    wake.notify_all();
    if (thread.joinable()) {
        thread.join();
    }
}

StoreStatus Maintenance::RunOnce()
{
    const int64_t now = clock.Now();
    int64_t removed = 0;
    StoreStatus status = store.PurgeEvents(now - static_cast<int64_t>(eventsDays) * 24 * 3600, eventsKeep, removed);
    if (status == StoreStatus::Ok) {
        status = store.PurgeSessions(now - Sessions::kLifetimeSeconds, removed);
    }
    if (status == StoreStatus::Ok) {
        status = store.PurgeAttempts(now - kAttemptsKeptSeconds, removed);
    }
    return status;
}

void Maintenance::Loop()
{
    std::unique_lock<std::mutex> lock(mutex);
    while (!stopping) {
        lock.unlock();
        if (RunOnce() != StoreStatus::Ok) {
            std::fprintf(stderr, "lumo-service: cannot delete what is past keeping; trying again in a minute\n");
        }
        lock.lock();
        wake.wait_for(lock, std::chrono::seconds(kEverySeconds), [this] { return stopping; });
    }
}

} // namespace lumo_service
