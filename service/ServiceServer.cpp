#include "ServiceServer.h"

#include "ApiHandlers.h"
#include "CsrfGuard.h"
#include "JsonReply.h"
#include "OperatorCommands.h"
#include "PageHandlers.h"
#include "Route.h"
#include "ServiceClock.h"

#include <httplib.h>
#include <openssl/ssl.h>
#include <sodium.h>

#include <pthread.h>
#include <sys/socket.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <thread>

namespace lumo_service {

namespace {

// Headers on every answer. The pages use no script and only their own style
// sheet, so the policy can forbid everything else.
httplib::Headers SecurityHeaders()
{
    return {
        {"Content-Security-Policy",
         "default-src 'none'; style-src 'self'; form-action 'self'; frame-ancestors 'none'; base-uri 'none'"},
        {"Strict-Transport-Security", "max-age=31536000"},
        {"X-Content-Type-Options", "nosniff"},
        {"X-Frame-Options", "DENY"},
        {"Referrer-Policy", "no-referrer"},
        {"Cache-Control", "no-store"},
    };
}

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

void LogRequest(const ServiceClock& clock, const httplib::Request& request, const httplib::Response& response)
{
    std::fprintf(stderr, "%s %s %s %s %d\n", OperatorCommands::IsoTime(clock.Now()).c_str(),
                 request.remote_addr.c_str(), Printable(request.method).c_str(), Printable(request.path).c_str(),
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
    // The form guard's key is derived from the TLS key's bytes.
    std::string keyMaterial;
    if (!ReadWholeFile(keyPath, keyMaterial)) {
        std::fprintf(stderr, "lumo-service: cannot read the key %s\n", keyPath.c_str());
        return 1;
    }
    httplib::SSLServer server(certPath.c_str(), keyPath.c_str());
    if (!server.is_valid()) {
        std::fprintf(stderr, "lumo-service: cannot load the certificate %s and key %s\n", certPath.c_str(),
                     keyPath.c_str());
        return 1;
    }
    SSL_CTX_set_min_proto_version(server.ssl_context(), TLS1_2_VERSION);

    server.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    server.set_payload_max_length(64 * 1024);
    server.set_keep_alive_max_count(100000);
    server.set_keep_alive_timeout(5);
    server.set_read_timeout(5);
    server.set_write_timeout(5);
    server.set_tcp_nodelay(true);
    // SO_REUSEADDR only: with SO_REUSEPORT a second service on the same port
    // would start and share the connections instead of failing.
    server.set_socket_options([](socket_t socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server.set_default_headers(SecurityHeaders());
    server.set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (response.body.empty()) {
            JsonReply::Refusal(response, response.status, RefusalMessage(response.status));
        }
    });
    server.set_exception_handler([](const httplib::Request&, httplib::Response& response, std::exception_ptr) {
        JsonReply::Refusal(response, 500, RefusalMessage(500));
    });
    const ServiceClock& logClock = clock;
    server.set_logger([&logClock](const httplib::Request& request, const httplib::Response& response) {
        LogRequest(logClock, request, response);
    });

    CsrfGuard csrf(store, clock, keyMaterial);
    sodium_memzero(&keyMaterial[0], keyMaterial.size());
    ApiHandlers api(accounts, sessions, store, versions, quota, clock);
    PageHandlers pages(accounts, versions, csrf);
    Route::Install(server, api.Routes());
    Route::Install(server, pages.Routes());

    int boundPort = port;
    if (port == 0) {
        boundPort = server.bind_to_any_port(host);
    } else if (!server.bind_to_port(host, port)) {
        boundPort = -1;
    }
    if (boundPort <= 0) {
        std::fprintf(stderr, "lumo-service: cannot listen on %s:%d\n", host.c_str(), port);
        return 1;
    }
    std::printf("listening on https://%s:%d\n", UrlHost(host).c_str(), boundPort);
    std::fflush(stdout);

    // SIGTERM and SIGINT stop the server; SIGUSR1 only wakes this thread when
    // the server ended by itself.
    std::atomic<bool> stopRequested(false);
    std::atomic<bool> listenEnded(false);
    std::thread signals([&server, &stopRequested, &listenEnded] {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGTERM);
        sigaddset(&set, SIGINT);
        sigaddset(&set, SIGUSR1);
        int received = 0;
        sigwait(&set, &received);
        if (received != SIGUSR1) {
            stopRequested = true;
            std::fprintf(stderr, "lumo-service: stopping after the requests under way\n");
            // stop() does nothing until the server has entered its accept
            // loop, and a signal may come as soon as "listening on" is out.
            while (!server.is_running() && !listenEnded) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            server.stop();
        }
    });
    const bool listened = server.listen_after_bind();
    listenEnded = true;
    pthread_kill(signals.native_handle(), SIGUSR1);
    signals.join();
    std::fprintf(stderr, "lumo-service: stopped\n");
    return listened || stopRequested ? 0 : 1;
}

} // namespace lumo_service
