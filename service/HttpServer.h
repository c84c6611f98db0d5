#ifndef LUMO_SERVICE_HTTPSERVER_H
#define LUMO_SERVICE_HTTPSERVER_H

#include "HttpMessage.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace lumo_service {

// What one client may cost the server.
struct HttpLimits {
    // Memory for one connection's request line and header fields; a header
    // that does not fit is answered 431 and the connection closed.
    size_t headerBytes = 16 * 1024;
    int headerFields = 64;
    size_t bodyBytes = HttpRequest::kMaxBodyBytes;
    // Past the body limit the rest of a chunked body is read and dropped up
    // to this much, to answer 413; a longer one loses the connection.
    size_t discardBytes = 1024 * 1024;
    int connectionsPerAddress = 64;
    int connections = 10000;
    // Each request's overall deadline (see ConnectionDeadlines); also the
    // longest a connection stays idle.
    std::chrono::milliseconds requestDeadline{10000};
    // Threads moving bytes (TLS included) and threads running handlers.
    int networkThreads = 2;
    int handlerThreads = 16;
};

// HTTPS on libmicrohttpd: an event loop holds any number of idle or slow
// connections at no cost to the others, limits bound every client, and the
// handler runs on a worker thread with the request fully read. The GnuTLS
// and microhttpd state stays inside.
class HttpServer {
public:
    using Handler = std::function<void(const HttpRequest&, HttpResponse&)>;

    // handler answers each request; finish sees every answer last, the
    // server's own refusals (status set, body empty) included.
    HttpServer(const HttpLimits& limits, Handler handler, Handler finish);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    enum class StartStatus {
        Ok,
        BadCertificate,
        CannotListen,
    };
    // TLS 1.2 and 1.3 with AEAD ciphers only, from PEM text. port 0 picks a
    // free port, which Port() then tells.
    StartStatus Start(const std::string& host, int port, const std::string& certPem, const std::string& keyPem);
    int Port() const;
    // Takes no new connection, lets the requests under way finish (waiting up
    // to grace for their answers to go out), then closes every connection.
    void Stop(std::chrono::milliseconds grace);

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace lumo_service

#endif
