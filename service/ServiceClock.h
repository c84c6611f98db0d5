#ifndef LUMO_SERVICE_SERVICECLOCK_H
#define LUMO_SERVICE_SERVICECLOCK_H

#include <cstdint>
#include <string>

namespace lumo_service {

// The service's idea of now, in seconds since the epoch. Tests give it a
// file holding a number of seconds to add to the system clock, so they can
// move time forward (session expiry, throttling) without waiting.
class ServiceClock {
public:
    explicit ServiceClock(std::string offsetFile = std::string());

    int64_t Now() const;
    // The same clock in milliseconds, for rates finer than a second.
    int64_t NowMilliseconds() const;

private:
    int64_t Offset() const;

    std::string offsetFile;
};

} // namespace lumo_service

#endif
