#ifndef LUMO_SERVICE_SERVICESERVER_H
#define LUMO_SERVICE_SERVICESERVER_H

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
    // Connections served at once; each keeps its thread while it is open.
    static constexpr int kThreads = 64;

    ServiceServer(Store& store, Accounts& accounts, Sessions& sessions, AppVersions& versions, EventQuota& quota,
                  const ServiceClock& clock);

    // The caller has blocked SIGTERM, SIGINT and SIGUSR1 in every thread.
    // Prints "listening on https://HOST:PORT" once connections are taken;
    // returns the exit code after the requests under way are answered.
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
