#ifndef LUMO_SERVICE_OPERATORCOMMANDS_H
#define LUMO_SERVICE_OPERATORCOMMANDS_H

#include <cstdint>
#include <iosfwd>
#include <string>

namespace lumo_service {

class Accounts;
class ServiceClock;
class Store;
struct ServiceOptions;

// The operator's commands on accounts, versions, events and feedback. They
// work on the same database while the service runs. Listings print one JSON
// object a line.
class OperatorCommands {
public:
    static constexpr int kExitOk = 0;
    static constexpr int kExitFailed = 1;

    OperatorCommands(Store& store, Accounts& accounts, const ServiceClock& clock, std::istream& in,
                     std::ostream& out, std::ostream& err);

    int Run(const ServiceOptions& options);

    // UTC, e.g. 2024-05-01T12:00:00Z.
    static std::string IsoTime(int64_t seconds);

private:
    int AddUser(const std::string& email);
    int ResetUser(const std::string& email);
    int DisableUser(const std::string& email);
    int SetVersion(const std::string& app, const std::string& version);
    int ListEvents(int limit);
    int PurgeEvents(int64_t keep, int days);
    int ListFeedback(int limit);
    // One line from the input, without echo when it is a terminal.
    bool ReadPassword(std::string& password);
    int Fail(const std::string& message);

    Store& store;
    Accounts& accounts;
    const ServiceClock& clock;
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
};

} // namespace lumo_service

#endif
