// lumo-service: the web service behind YUV Lumo's sign-in, feedback, version
// check and usage reports, and its operator commands. See ServiceUsage().

#include "Accounts.h"
#include "AppVersions.h"
#include "DataDirectory.h"
#include "EventQuota.h"
#include "Maintenance.h"
#include "OperatorCommands.h"
#include "PasswordHasher.h"
#include "ServiceClock.h"
#include "ServiceOptions.h"
#include "ServiceServer.h"
#include "Sessions.h"
#include "StoreFactory.h"

#include <sodium.h>

#include <signal.h>
#include <sys/stat.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

using namespace lumo_service;

namespace {

constexpr int kExitUsage = 2;

int Fail(int code, const std::string& message)
{
    std::fprintf(stderr, "lumo-service: %s\n", message.c_str());
    return code;
}

// Blocked before any thread starts, so every thread inherits the mask and
// the server's sigwait alone receives them.
void BlockStopSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

} // namespace

int main(int argc, char** argv)
{
    ServiceOptions options;
    std::string error;
    if (!ParseServiceOptions(std::vector<std::string>(argv + 1, argv + argc), options, error)) {
        return Fail(kExitUsage, error + " (--help shows usage)");
    }
    if (options.command == Command::Help) {
        std::fputs(ServiceUsage().c_str(), stdout);
        return 0;
    }
    // Everything the service writes (database, key) is its owner's alone.
    umask(077);
    signal(SIGPIPE, SIG_IGN);
    if (options.command == Command::Serve) {
        BlockStopSignals();
    }
    if (sodium_init() < 0) {
        return Fail(1, "libsodium cannot start");
    }
    const DataDirectory data(options.dataDir);
    if (!data.Prepare(error)) {
        return Fail(1, error);
    }
    std::string certPath = options.certPath;
    std::string keyPath = options.keyPath;
    if (options.command == Command::Serve && certPath.empty()) {
        bool made = false;
        if (!data.EnsureCertificate(options.listenHost, made, error)) {
            return Fail(1, error);
        }
        if (made) {
            std::fprintf(stderr, "lumo-service: wrote a self-signed certificate to %s\n", data.CertPath().c_str());
        }
        certPath = data.CertPath();
        keyPath = data.KeyPath();
    }
    std::unique_ptr<Store> store = OpenStore(options, data, error);
    if (!store) {
        return Fail(1, error);
    }
    const ServiceClock clock(options.clockOffsetFile);
    PasswordHasher hasher(PasswordHasher::Interactive());
    Sessions sessions(*store, clock);
    Accounts accounts(*store, hasher, sessions, clock);
    AppVersions versions(*store);
    if (options.command == Command::Serve) {
        EventQuota quota(*store, clock, options.dataDir, options.eventsReserveMiB, options.eventsBurst,
                         options.eventsPerMinute);
        Maintenance maintenance(*store, clock, options.eventsKeep, options.eventsDays);
        maintenance.Start();
        ServiceServer server(*store, accounts, sessions, versions, quota, clock);
        const int code = server.Run(options.listenHost, options.listenPort, certPath, keyPath);
        maintenance.Stop();
        return code;
    }
    OperatorCommands commands(*store, accounts, clock, std::cin, std::cout, std::cerr);
    return commands.Run(options);
}
