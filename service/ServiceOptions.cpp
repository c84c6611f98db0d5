#include "ServiceOptions.h"

#include <cstdlib>

namespace lumo_service {

namespace {

bool ParseNumber(const std::string& text, long max, long& value)
{
    if (text.empty() || text.size() > 9) {
        return false;
    }
    for (char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
    }
    value = std::strtol(text.c_str(), nullptr, 10);
    return value <= max;
}

bool Interpret(const std::vector<std::string>& words, ServiceOptions& out, std::string& error)
{
    const size_t count = words.size();
    if (count == 0) {
        error = "no command given";
        return false;
    }
    const std::string& first = words[0];
    if (first == "serve" && count == 1) {
        out.command = Command::Serve;
        return true;
    }
    if (first == "events" && count == 1) {
        out.command = Command::Events;
        return true;
    }
    if (first == "events" && count == 2 && words[1] == "purge") {
        out.command = Command::EventsPurge;
        return true;
    }
    if (first == "feedback" && count == 1) {
        out.command = Command::Feedback;
        return true;
    }
    if (first == "user" && count == 3) {
        out.email = words[2];
        if (words[1] == "add") {
            out.command = Command::UserAdd;
            return true;
        }
        if (words[1] == "reset") {
            out.command = Command::UserReset;
            return true;
        }
        if (words[1] == "disable") {
            out.command = Command::UserDisable;
            return true;
        }
    }
    if (first == "version" && count == 4 && words[1] == "set") {
        out.command = Command::VersionSet;
        out.app = words[2];
        out.version = words[3];
        return true;
    }
    std::string given;
    for (const std::string& word : words) {
        given += (given.empty() ? "" : " ") + word;
    }
    error = "unknown command \"" + given + "\"";
    return false;
}

} // namespace

bool ParseListenAddress(const std::string& text, std::string& host, int& port)
{
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) {
        return false;
    }
    std::string name = text.substr(0, colon);
    if (name.front() == '[') {
        if (name.size() < 3 || name.back() != ']') {
            return false;
        }
        name = name.substr(1, name.size() - 2);
    } else if (name.find(':') != std::string::npos) {
        return false;
    }
    long number = 0;
    if (!ParseNumber(text.substr(colon + 1), 65535, number)) {
        return false;
    }
    host = name;
    port = static_cast<int>(number);
    return true;
}

bool ParseServiceOptions(const std::vector<std::string>& args, ServiceOptions& out, std::string& error)
{
    out = ServiceOptions();
    std::vector<std::string> words;
    bool listenGiven = false;
    bool limitGiven = false;
    bool retentionGiven = false;
    bool serveOnlyGiven = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--help" || arg == "-h") {
            out.command = Command::Help;
            return true;
        }
        if (arg.compare(0, 2, "--") != 0) {
            words.push_back(arg);
            continue;
        }
        if (i + 1 >= args.size()) {
            error = arg + " needs a value";
            return false;
        }
        const std::string& value = args[++i];
        if (arg == "--data") {
            out.dataDir = value;
        } else if (arg == "--listen") {
            if (!ParseListenAddress(value, out.listenHost, out.listenPort)) {
                error = "--listen takes HOST:PORT, not \"" + value + "\"";
                return false;
            }
            listenGiven = true;
        } else if (arg == "--cert") {
            out.certPath = value;
        } else if (arg == "--key") {
            out.keyPath = value;
        } else if (arg == "--test-clock-offset-file") {
            out.clockOffsetFile = value;
        } else if (arg == "--db") {
            if (value.empty()) {
                error = "--db takes a connection string such as postgresql://USER@HOST:PORT/NAME";
                return false;
            }
            out.database = value;
        } else if (arg == "--events-burst" || arg == "--events-per-minute") {
            long number = 0;
            if (!ParseNumber(value, 100000000, number) || number < 1) {
                error = arg + " takes a number from 1, not \"" + value + "\"";
                return false;
            }
            (arg == "--events-burst" ? out.eventsBurst : out.eventsPerMinute) = static_cast<int>(number);
            serveOnlyGiven = true;
        } else if (arg == "--events-keep" || arg == "--events-days" || arg == "--events-reserve-mib") {
            long number = 0;
            if (!ParseNumber(value, 999999999, number)) {
                error = arg + " takes a number, not \"" + value + "\"";
                return false;
            }
            if (arg == "--events-keep") {
                out.eventsKeep = number;
                retentionGiven = true;
            } else if (arg == "--events-days") {
                out.eventsDays = static_cast<int>(number);
                retentionGiven = true;
            } else {
                out.eventsReserveMiB = number;
                serveOnlyGiven = true;
            }
        } else if (arg == "--limit") {
            long number = 0;
            if (!ParseNumber(value, 100000000, number)) {
                error = "--limit takes a number, not \"" + value + "\"";
                return false;
            }
            out.limit = static_cast<int>(number);
            limitGiven = true;
        } else {
            error = "unknown option " + arg;
            return false;
        }
    }
    if (!Interpret(words, out, error)) {
        return false;
    }
    if (out.dataDir.empty()) {
        error = "--data DIR is required";
        return false;
    }
    const bool serve = out.command == Command::Serve;
    if (!serve && (listenGiven || !out.certPath.empty() || !out.keyPath.empty() || !out.clockOffsetFile.empty())) {
        error = "--listen, --cert, --key and --test-clock-offset-file belong to serve";
        return false;
    }
    if (out.certPath.empty() != out.keyPath.empty()) {
        error = "--cert and --key go together";
        return false;
    }
    if (limitGiven && out.command != Command::Events && out.command != Command::Feedback) {
        error = "--limit belongs to events and feedback";
        return false;
    }
    if (retentionGiven && !serve && out.command != Command::EventsPurge) {
        error = "--events-keep and --events-days belong to serve and events purge";
        return false;
    }
    if (serveOnlyGiven && !serve) {
        error = "--events-reserve-mib, --events-burst and --events-per-minute belong to serve";
        return false;
    }
    return true;
}

std::string ServiceUsage()
{
    return "usage:\n"
           "  lumo-service serve --data DIR [--db URL] [--listen HOST:PORT] [--cert FILE --key FILE]\n"
           "                     [--events-keep N] [--events-days D] [--events-reserve-mib M]\n"
           "                     [--events-burst B] [--events-per-minute R]\n"
           "  lumo-service --data DIR user add EMAIL        (password on standard input)\n"
           "  lumo-service --data DIR user reset EMAIL      (new password on standard input; ends its sessions)\n"
           "  lumo-service --data DIR user disable EMAIL\n"
           "  lumo-service --data DIR version set APP VERSION\n"
           "  lumo-service --data DIR events [--limit N]\n"
           "  lumo-service --data DIR events purge [--events-keep N] [--events-days D]\n"
           "  lumo-service --data DIR feedback [--limit N]\n"
           "\n"
           "serve listens on 127.0.0.1:8443 by default (port 0 picks a free one) and prints\n"
           "\"listening on https://HOST:PORT\" once it accepts connections. Without --cert and\n"
           "--key it uses DIR/tls/cert.pem and DIR/tls/key.pem, writing a self-signed pair on\n"
           "first start. SIGTERM or SIGINT stops it after the requests under way.\n"
           "events and feedback print one JSON object a line, oldest first; --limit N keeps\n"
           "the newest N. Every command takes --db URL, a libpq connection string such as\n"
           "postgresql://USER@HOST:PORT/NAME, to keep everything in PostgreSQL instead of\n"
           "DIR/lumo.db; the password comes from PGPASSWORD or ~/.pgpass, never from the\n"
           "command line. Usage events older than D days (--events-days, 400) and beyond\n"
           "the newest N (--events-keep, 1000000) are deleted by serve as it runs and by\n"
           "events purge at once; serve refuses events while DIR's file system has less\n"
           "than M MiB free (--events-reserve-mib, 256), keeping room for sign-ins, and\n"
           "lets one address post B events at once (--events-burst, 120), then R a minute\n"
           "(--events-per-minute, 120).\n"
           "--test-clock-offset-file FILE (tests only) adds the seconds FILE holds to the\n"
           "clock.\n";
}

} // namespace lumo_service
