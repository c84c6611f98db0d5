#include "OperatorCommands.h"

#include "Accounts.h"
#include "AppVersions.h"
#include "JsonObject.h"
#include "ServiceClock.h"
#include "ServiceOptions.h"
#include "Store.h"

#include <termios.h>
#include <unistd.h>

#include <ctime>
#include <istream>
#include <ostream>
#include <vector>

namespace lumo_service {

namespace {

std::string Reason(AccountResult result)
{
    switch (result) {
    case AccountResult::BadEmail:
        return "not a plausible e-mail address";
    case AccountResult::PasswordTooShort:
        return "the password needs at least 8 characters";
    case AccountResult::PasswordTooLong:
        return "the password is longer than 1024 bytes";
    case AccountResult::PasswordIsEmail:
        return "the password must not be the e-mail address";
    case AccountResult::Duplicate:
        return "the address is already registered";
    case AccountResult::NotFound:
        return "no such account";
    case AccountResult::Throttled:
        return "too many attempts";
    case AccountResult::Unavailable:
        return "the database cannot be reached";
    case AccountResult::Ok:
    case AccountResult::Error:
        break;
    }
    return "the database could not be written";
}

// Turns terminal echo off for its lifetime.
class EchoOff {
public:
    EchoOff()
        : active(isatty(STDIN_FILENO) && tcgetattr(STDIN_FILENO, &saved) == 0)
    {
        if (active) {
            termios quiet = saved;
            quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
        }
    }
    ~EchoOff()
    {
        if (active) {
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
        }
    }
    bool Active() const { return active; }

private:
    termios saved {};
    bool active;
};

} // namespace

OperatorCommands::OperatorCommands(Store& store, Accounts& accounts, const ServiceClock& clock, std::istream& in,
                                   std::ostream& out, std::ostream& err)
    : store(store)
    , accounts(accounts)
    , clock(clock)
    , in(in)
    , out(out)
    , err(err)
{
}

int OperatorCommands::Run(const ServiceOptions& options)
{
    switch (options.command) {
    case Command::UserAdd:
        return AddUser(options.email);
    case Command::UserReset:
        return ResetUser(options.email);
    case Command::UserDisable:
        return DisableUser(options.email);
    case Command::VersionSet:
        return SetVersion(options.app, options.version);
    case Command::Events:
        return ListEvents(options.limit);
    case Command::EventsPurge:
        return PurgeEvents(options.eventsKeep, options.eventsDays);
    case Command::Feedback:
        return ListFeedback(options.limit);
    case Command::Help:
    case Command::Serve:
        break;
    }
    return Fail("not an operator command");
}

std::string OperatorCommands::IsoTime(int64_t seconds)
{
    const time_t time = static_cast<time_t>(seconds);
    struct tm parts;
    char text[32];
    if (gmtime_r(&time, &parts) == nullptr || strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0) {
        return std::to_string(seconds);
    }
    return text;
}

int OperatorCommands::Fail(const std::string& message)
{
    err << "lumo-service: " << message << "\n";
    return kExitFailed;
}

bool OperatorCommands::ReadPassword(std::string& password)
{
    EchoOff echoOff;
    if (echoOff.Active()) {
        err << "password: " << std::flush;
    }
    const bool read = static_cast<bool>(std::getline(in, password));
    if (echoOff.Active()) {
        err << "\n";
    }
    if (!password.empty() && password.back() == '\r') {
        password.pop_back();
    }
    return read && !password.empty();
}

int OperatorCommands::AddUser(const std::string& email)
{
    std::string password;
    if (!ReadPassword(password)) {
        return Fail("no password on standard input");
    }
    int64_t retryAfter = 0;
    const AccountResult result = accounts.Register(email, password, std::string(), retryAfter);
    if (result != AccountResult::Ok) {
        return Fail("cannot add " + email + ": " + Reason(result));
    }
    out << "added " << email << "\n";
    return kExitOk;
}

int OperatorCommands::ResetUser(const std::string& email)
{
    std::string password;
    if (!ReadPassword(password)) {
        return Fail("no password on standard input");
    }
    int ended = 0;
    const AccountResult result = accounts.ResetPassword(email, password, ended);
    if (result != AccountResult::Ok) {
        return Fail("cannot reset " + email + ": " + Reason(result));
    }
    out << "reset " << email << "; " << ended << " sessions ended\n";
    return kExitOk;
}

int OperatorCommands::DisableUser(const std::string& email)
{
    int ended = 0;
    const AccountResult result = accounts.Disable(email, ended);
    if (result != AccountResult::Ok) {
        return Fail("cannot disable " + email + ": " + Reason(result));
    }
    out << "disabled " << email << "; " << ended << " sessions ended\n";
    return kExitOk;
}

int OperatorCommands::SetVersion(const std::string& app, const std::string& version)
{
    if (!AppVersions::PlausibleApp(app)) {
        return Fail("the app name takes 1 to 64 letters, digits, '.', '_' or '-'");
    }
    if (!AppVersions::PlausibleVersion(version)) {
        return Fail("the version takes 1 to 4 dot-separated numbers, such as 3.1.0");
    }
    if (store.SetVersion(app, version, clock.Now()) != StoreStatus::Ok) {
        return Fail("the database could not be written");
    }
    out << app << " " << version << "\n";
    return kExitOk;
}

int OperatorCommands::ListEvents(int limit)
{
    // Printed as they are read, so a large table never sits in memory.
    const StoreStatus status = store.ForEachEvent(limit, [this](const UsageEvent& event) {
        out << JsonObject()
                   .Add("id", event.id)
                   .Add("time", IsoTime(event.time))
                   .Add("address", event.address)
                   .Add("type", event.type)
                   .Add("version", event.version)
                   .Add("platform", event.platform)
                   .Add("app", event.app)
                   .Add("page", event.page)
                   .Add("block", event.block)
                   .Add("action", event.action)
                   .Add("info", event.info)
                   .Text()
            << "\n";
    });
    if (status != StoreStatus::Ok) {
        return Fail("the database could not be read");
    }
    return out.flush() ? kExitOk : kExitFailed;
}

int OperatorCommands::PurgeEvents(int64_t keep, int days)
{
    int64_t removed = 0;
    const int64_t before = clock.Now() - static_cast<int64_t>(days) * 24 * 3600;
    if (store.PurgeEvents(before, keep, removed) != StoreStatus::Ok) {
        return Fail("the database could not be written");
    }
    out << "removed " << removed << " events\n";
    return out.flush() ? kExitOk : kExitFailed;
}

int OperatorCommands::ListFeedback(int limit)
{
    std::vector<FeedbackEntry> entries;
    if (store.ListFeedback(limit, entries) != StoreStatus::Ok) {
        return Fail("the database could not be read");
    }
    for (const FeedbackEntry& entry : entries) {
        out << JsonObject()
                   .Add("id", entry.id)
                   .Add("time", IsoTime(entry.time))
                   .Add("address", entry.address)
                   .Add("email", entry.email)
                   .Add("feedback", entry.text)
                   .Text()
            << "\n";
    }
    return out.flush() ? kExitOk : kExitFailed;
}

} // namespace lumo_service
