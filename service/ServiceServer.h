#ifndef LUMO_SERVICE_SERVICESERVER_H
#define LUMO_SERVICE_SERVICESERVER_H

#include <chrono>
#include <string>

namespace lumo_service {

class Accounts;
class AppVersions;
class EventQuota;
class Sessions;
class ServiceClock;
class Store;

// The HTTPS server: TLS set-up, limits, headers, the request log and the
// handlers, running until SIGTERM or SIGINT.
class ServiceServer {
public:
    // How long a stop waits for the answers under way before it closes
    // every connection.
    static constexpr std::chrono::milliseconds kStopGrace{400};

    ServiceServer(Store& store, Accounts& accounts, Sessions& sessions, AppVersions& versions, EventQuota& quota,
                  const ServiceClock& clock);

    // The caller has blocked SIGTERM and SIGINT in every thread. Prints
    // "listening on https://HOST:PORT" once connections are taken; on either
    // signal stops within kStopGrace and a little, answering the requests
    // under way, and returns the exit code.
    int Run(const std::string& host, int port, const std::string& certPath, const std::string& keyPath);

private:
    Store& store;
    Accounts& accounts;
    Sessions& sessions;
    AppVersions& versions;
    EventQuota& quota;
    const ServiceClock& clock;
};

} // namespace lumo_service

#endif
