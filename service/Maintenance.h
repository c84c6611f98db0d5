#ifndef LUMO_SERVICE_MAINTENANCE_H
#define LUMO_SERVICE_MAINTENANCE_H

#include "Store.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace lumo_service {

class ServiceClock;

// While the service runs, one thread deletes what is past keeping, at start
// and then once a minute: usage events beyond the retention, expired
// sessions, and attempts older than the longest window that counts them.
class Maintenance {
public:
    static constexpr int64_t kEverySeconds = 60;
    static const int64_t kAttemptsKeptSeconds;

    Maintenance(Store& store, const ServiceClock& clock, int64_t eventsKeep, int eventsDays);
    ~Maintenance();
    Maintenance(const Maintenance&) = delete;
    Maintenance& operator=(const Maintenance&) = delete;

    void Start();
    // Returns once the thread has ended; a pass under way finishes first.
    void Stop();
    // One pass, as the thread makes it; the first failure's status.
    StoreStatus RunOnce();

private:
    void Loop();

    Store& store;
    const ServiceClock& clock;
    const int64_t eventsKeep;
    const int eventsDays;
    std::mutex mutex;
    std::condition_variable wake;
    bool stopping = false;
    std::thread thread;
};

} // namespace lumo_service

#endif
