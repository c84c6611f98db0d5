#ifndef LUMO_SERVICE_SERVICEOPTIONS_H
#define LUMO_SERVICE_SERVICEOPTIONS_H

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
    Feedback,
};

// What the command line asked for.
struct ServiceOptions {
    Command command = Command::Help;
    std::string dataDir;
    std::string listenHost = "127.0.0.1";
    int listenPort = 8443;
    std::string certPath; // both empty: DATA/tls, made on first start
    std::string keyPath;
    std::string clockOffsetFile; // tests only
    std::string email;
    std::string app;
    std::string version;
    int limit = -1; // -1: every record
};

// Fills out from argv[1..]; false with a one-line reason in error.
bool ParseServiceOptions(const std::vector<std::string>& args, ServiceOptions& out, std::string& error);
// HOST:PORT or [IPV6]:PORT, port 0 to 65535.
bool ParseListenAddress(const std::string& text, std::string& host, int& port);
std::string ServiceUsage();

} // namespace lumo_service

#endif
