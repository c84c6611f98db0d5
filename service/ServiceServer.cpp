#include "ServiceServer.h"

#include "ApiHandlers.h"
#include "CsrfGuard.h"
#include "JsonReply.h"
#include "OperatorCommands.h"
#include "PageHandlers.h"
#include "Route.h"
#include "ServiceClock.h"

#include "HttpServer.h"

#include <sodium.h>

#include <pthread.h>
#include <signal.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>

namespace lumo_service {

namespace {

// Headers on every answer. The pages use no script and only their own style
// sheet, so the policy can forbid everything else.
const std::pair<const char*, const char*> kSecurityHeaders[] = {
        {"Content-Security-Policy",
         "default-src 'none'; style-src 'self'; form-action 'self'; frame-ancestors 'none'; base-uri 'none'"},
        {"Strict-Transport-Security", "max-age=31536000"},
        {"X-Content-Type-Options", "nosniff"},
        {"X-Frame-Options", "DENY"},
        {"Referrer-Policy", "no-referrer"},
        {"Cache-Control", "no-store"},
};

const char* RefusalMessage(int status)
{
    switch (status) {
    case 400:
        return "malformed request";
    case 404:
        return "no such path";
    case 405:
        return "method not allowed";
    case 413:
        return "the body is larger than 64 KiB";
    case 414:
        return "the request line is too long";
    case 415:
        return "the content type must be application/x-www-form-urlencoded";
    case 431:
        return "the header has too many fields";
    case 503:
        return "the service is stopping; try again";
    default:
        return status >= 500 ? "the service failed" : "request refused";
    }
}

// Request lines name the path only: no query, header or body, so no password
// or token can reach the log. Control characters are shown as '?'.
std::string Printable(const std::string& text)
{
    constexpr size_t kMax = 200;
    std::string out = text.substr(0, kMax);
    for (char& c : out) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            c = '?';
        }
    }
    return text.size() > kMax ? out + "..." : out;
}

void LogRequest(const ServiceClock& clock, const HttpRequest& request, const HttpResponse& response)
{
    std::fprintf(stderr, "%s %s %s %s %d\n", OperatorCommands::IsoTime(clock.Now()).c_str(),
                 request.remoteAddress.c_str(), Printable(request.method).c_str(), Printable(request.path).c_str(),
                 response.status);
}

// False when the file cannot be read or is empty.
bool ReadWholeFile(const std::string& path, std::string& out)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return false;
    }
    out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad() && !out.empty();
}

std::string UrlHost(const std::string& host)
{
    return host.find(':') != std::string::npos ? "[" + host + "]" : host;
}

void WaitForStopSignal()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    int received = 0;
    sigwait(&set, &received);
}

} // namespace

ServiceServer::ServiceServer(Store& store, Accounts& accounts, Sessions& sessions, AppVersions& versions,
                             EventQuota& quota, const ServiceClock& clock)
    : store(store)
    , accounts(accounts)
    , sessions(sessions)
    , versions(versions)
    , quota(quota)
    , clock(clock)
{
}

int ServiceServer::Run(const std::string& host, int port, const std::string& certPath, const std::string& keyPath)
{
    // The certificate and key are read here, so that one that cannot be read
    // stops the start with its name; the form guard's key is derived from
    // the TLS key's bytes.
    std::string certPem;
    std::string keyPem;
    if (!ReadWholeFile(keyPath, keyPem)) {
        std::fprintf(stderr, "lumo-service: cannot read the key %s\n", keyPath.c_str());
        return 1;
    }
    ReadWholeFile(certPath, certPem);

    CsrfGuard csrf(store, clock, keyPem);
    ApiHandlers api(accounts, sessions, store, versions, quota, clock);
    PageHandlers pages(accounts, versions, csrf);
    RouteTable routes;
    routes.Add(api.Routes());
    routes.Add(pages.Routes());

    const ServiceClock& logClock = clock;
    HttpServer server(
        HttpLimits(), [&routes](const HttpRequest& request, HttpResponse& response) { routes.Dispatch(request, response); },
        [&logClock](const HttpRequest& request, HttpResponse& response) {
            if (response.status >= 400 && response.body.empty()) {
                JsonReply::Refusal(response, response.status, RefusalMessage(response.status));
            }
            for (const auto& header : kSecurityHeaders) {
                response.SetHeader(header.first, header.second);
            }
            LogRequest(logClock, request, response);
        });
    switch (server.Start(host, port, certPem, keyPem)) {
    case HttpServer::StartStatus::Ok:
        break;
    case HttpServer::StartStatus::BadCertificate:
        std::fprintf(stderr, "lumo-service: cannot load the certificate %s and key %s\n", certPath.c_str(),
                     keyPath.c_str());
        return 1;
    case HttpServer::StartStatus::CannotListen:
        std::fprintf(stderr, "lumo-service: cannot listen on %s:%d\n", host.c_str(), port);
        return 1;
    }
    std::printf("listening on https://%s:%d\n", UrlHost(host).c_str(), server.Port());
    std::fflush(stdout);

    WaitForStopSignal();
    std::fprintf(stderr, "lumo-service: stopping after the requests under way\n");
    server.Stop(kStopGrace);
    sodium_memzero(&keyPem[0], keyPem.size());
    std::fprintf(stderr, "lumo-service: stopped\n");
    return 0;
}

} // namespace lumo_service
