#ifndef LUMO_SERVICE_SERVICEOPTIONS_H
#define LUMO_SERVICE_SERVICEOPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

namespace lumo_service {

enum class Command {
    Help,
    Serve,
    UserAdd,
    UserReset,
    UserDisable,
    VersionSet,
    Events,
    EventsPurge,
    Feedback,
};

// What the command line asked for.
struct ServiceOptions {
    Command command = Command::Help;
    std::string dataDir;
    // A libpq connection string (postgresql://USER@HOST:PORT/NAME); empty
    // keeps the SQLite database in dataDir. Never carries a password: libpq
    // takes that from its environment or password file.
    std::string database;
    std::string listenHost = "127.0.0.1";
    int listenPort = 8443;
    std::string certPath; // both empty: DATA/tls, made on first start
    std::string keyPath;
    std::string clockOffsetFile; // tests only
    std::string email;
    std::string app;
    std::string version;
    int limit = -1; // -1: every record
    // Usage-event retention, applied by serve and by events purge: events
    // older than eventsDays and beyond the newest eventsKeep are deleted.
    int64_t eventsKeep = 1000000;
    int eventsDays = 400;
    // serve refuses events while the data folder's file system has less
    // free space than this, so sign-in and sessions keep room to write.
    int64_t eventsReserveMiB = 256;
    // Usage events one address may post at once, and a minute after that.
    int eventsBurst = 120;
    int eventsPerMinute = 120;
};

// Fills out from argv[1..]; false with a one-line reason in error.
bool ParseServiceOptions(const std::vector<std::string>& args, ServiceOptions& out, std::string& error);
// HOST:PORT or [IPV6]:PORT, port 0 to 65535.
bool ParseListenAddress(const std::string& text, std::string& host, int& port);
std::string ServiceUsage();

} // namespace lumo_service

#endif
