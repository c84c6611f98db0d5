#include "HttpServer.h"

#include "ConnectionDeadlines.h"
#include "WorkerPool.h"

#include <gnutls/gnutls.h>
#include <microhttpd.h>

#include <netdb.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

namespace lumo_service {

namespace {

// TLS 1.2 and 1.3 with AEAD suites only: no CBC, no RC4, no SHA-1 MACs.
constexpr const char* kTlsPriorities = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2:-CIPHER-ALL:+AES-128-GCM:"
                                       "+AES-256-GCM:+CHACHA20-POLY1305:-MAC-ALL:+AEAD";
constexpr unsigned kListenBacklog = 1024;
// File descriptors kept free for the database, the log and the certificate.
constexpr rlim_t kSpareDescriptors = 64;

// One request from its header to its answer.
struct Exchange {
    HttpRequest request;
    HttpResponse response;
    bool overflow = false;
    size_t discarded = 0;
    std::atomic<bool> answered{false};
};

bool UsablePair(const std::string& certPem, const std::string& keyPem)
{
    gnutls_certificate_credentials_t credentials = nullptr;
    if (gnutls_certificate_allocate_credentials(&credentials) < 0) {
        return false;
    }
    gnutls_datum_t cert{reinterpret_cast<unsigned char*>(const_cast<char*>(certPem.data())),
                        static_cast<unsigned>(certPem.size())};
    gnutls_datum_t key{reinterpret_cast<unsigned char*>(const_cast<char*>(keyPem.data())),
                       static_cast<unsigned>(keyPem.size())};
    const bool usable = gnutls_certificate_set_x509_key_mem(credentials, &cert, &key, GNUTLS_X509_FMT_PEM) >= 0;
    gnutls_certificate_free_credentials(credentials);
    return usable;
}

// The soft limit on open files raised to the hard one, so the connection
// limit is not the process's default of 1024.
rlim_t OpenFileLimit()
{
    struct rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return 1024;
    }
    if (limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        getrlimit(RLIMIT_NOFILE, &limit);
    }
    return limit.rlim_cur;
}

enum MHD_Result CollectHeader(void* cls, enum MHD_ValueKind, const char* key, const char* value)
{
    static_cast<HttpRequest*>(cls)->headers.emplace_back(key, value ? value : "");
    return MHD_YES;
}

enum MHD_Result CollectQuery(void* cls, enum MHD_ValueKind, const char* key, const char* value)
{
    static_cast<HttpRequest*>(cls)->query.emplace(key, value ? value : "");
    return MHD_YES;
}

std::string ClientAddress(struct MHD_Connection* connection)
{
    const union MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    if (info == nullptr || info->client_addr == nullptr) {
        return std::string();
    }
    const sockaddr* address = info->client_addr;
    const socklen_t length = address->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    char host[NI_MAXHOST];
    if (getnameinfo(address, length, host, sizeof host, nullptr, 0, NI_NUMERICHOST) != 0) {
        return std::string();
    }
    return host;
}

} // namespace

class HttpServer::Impl {
public:
    Impl(const HttpLimits& limits, Handler handler, Handler finish)
        : limits(limits)
        , handler(std::move(handler))
        , finish(std::move(finish))
        , deadlines(limits.requestDeadline)
        , workers(limits.handlerThreads)
    {
    }

    static enum MHD_Result Access(void* cls, struct MHD_Connection* connection, const char* url, const char* method,
                                  const char*, const char* data, size_t* size, void** context);
    static void Completed(void* cls, struct MHD_Connection*, void** context, enum MHD_RequestTerminationCode);
    static void Notify(void* cls, struct MHD_Connection* connection, void** socketContext,
                       enum MHD_ConnectionNotificationCode code);

    enum MHD_Result Begin(struct MHD_Connection* connection, const char* url, const char* method, void** context);
    enum MHD_Result Dispatch(struct MHD_Connection* connection, Exchange& exchange);
    enum MHD_Result Refuse(struct MHD_Connection* connection, Exchange& exchange, int status);
    static enum MHD_Result Queue(struct MHD_Connection* connection, const HttpResponse& response, bool close);
    static ConnectionDeadlines::Connection* Watch(struct MHD_Connection* connection);

    const HttpLimits limits;
    const Handler handler;
    const Handler finish;
    ConnectionDeadlines deadlines;
    WorkerPool workers;
    struct MHD_Daemon* daemon = nullptr;
    int port = 0;
    std::atomic<bool> stopping{false};
    std::mutex flightMutex;
    std::condition_variable flightDone;
    int inFlight = 0;
};

ConnectionDeadlines::Connection* HttpServer::Impl::Watch(struct MHD_Connection* connection)
{
    const union MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return info ? static_cast<ConnectionDeadlines::Connection*>(info->socket_context) : nullptr;
}

enum MHD_Result HttpServer::Impl::Access(void* cls, struct MHD_Connection* connection, const char* url,
                                         const char* method, const char*, const char* data, size_t* size,
                                         void** context)
{
    Impl& self = *static_cast<Impl*>(cls);
    auto* exchange = static_cast<Exchange*>(*context);
    if (exchange == nullptr) {
        return self.Begin(connection, url, method, context);
    }
    if (exchange->answered) {
        return Queue(connection, exchange->response, false);
    }
    if (*size != 0) {
        if (!exchange->overflow && exchange->request.body.size() + *size <= self.limits.bodyBytes) {
            exchange->request.body.append(data, *size);
        } else {
            exchange->overflow = true;
            exchange->request.body.clear();
            exchange->discarded += *size;
            if (exchange->discarded > self.limits.discardBytes) {
                return MHD_NO;
            }
        }
        *size = 0;
        return MHD_YES;
    }
    if (exchange->overflow) {
        return self.Refuse(connection, *exchange, 413);
    }
    return self.Dispatch(connection, *exchange);
}

enum MHD_Result HttpServer::Impl::Begin(struct MHD_Connection* connection, const char* url, const char* method,
                                        void** context)
{
    auto* exchange = new Exchange;
    *context = exchange;
    // From its header on, a request is under way: a stop waits for it.
    {
        std::lock_guard<std::mutex> lock(flightMutex);
        ++inFlight;
    }
    HttpRequest& request = exchange->request;
    request.method = method;
    request.path = url;
    request.remoteAddress = ClientAddress(connection);
    MHD_get_connection_values(connection, MHD_HEADER_KIND, &CollectHeader, &request);
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, &CollectQuery, &request);
    if (static_cast<int>(request.headers.size()) > limits.headerFields) {
        return Refuse(connection, *exchange, 431);
    }
    if (stopping) {
        return Refuse(connection, *exchange, 503);
    }
    // The server has checked that a stated length is a number. A body
    // announced over the limit is refused before any of it is read.
    const std::string length = request.Header(MHD_HTTP_HEADER_CONTENT_LENGTH);
    if (!length.empty() && std::strtoull(length.c_str(), nullptr, 10) > limits.bodyBytes) {
        return Refuse(connection, *exchange, 413);
    }
    return MHD_YES;
}

enum MHD_Result HttpServer::Impl::Dispatch(struct MHD_Connection* connection, Exchange& exchange)
{
    ConnectionDeadlines::Connection* watch = Watch(connection);
    if (watch != nullptr) {
        deadlines.SetBusy(watch, true);
    }
    MHD_suspend_connection(connection);
    Exchange* shared = &exchange;
    const bool posted = workers.Post([this, connection, shared, watch] {
        handler(shared->request, shared->response);
        finish(shared->request, shared->response);
        shared->answered = true;
        if (watch != nullptr) {
            deadlines.SetBusy(watch, false);
        }
        MHD_resume_connection(connection);
    });
    if (!posted) {
        // Stopping: the workers are gone, so answer here.
        exchange.response = HttpResponse();
        exchange.response.status = 503;
        finish(exchange.request, exchange.response);
        exchange.answered = true;
        if (watch != nullptr) {
            deadlines.SetBusy(watch, false);
        }
        MHD_resume_connection(connection);
    }
    return MHD_YES;
}

enum MHD_Result HttpServer::Impl::Refuse(struct MHD_Connection* connection, Exchange& exchange, int status)
{
    exchange.response = HttpResponse();
    exchange.response.status = status;
    finish(exchange.request, exchange.response);
    // The rest of the request was not read, so the connection cannot carry
    // another one.
    return Queue(connection, exchange.response, true);
}

enum MHD_Result HttpServer::Impl::Queue(struct MHD_Connection* connection, const HttpResponse& answer, bool close)
{
    struct MHD_Response* response = MHD_create_response_from_buffer(
        answer.body.size(), const_cast<char*>(answer.body.data()), MHD_RESPMEM_MUST_COPY);
    if (response == nullptr) {
        return MHD_NO;
    }
    for (const auto& header : answer.headers) {
        MHD_add_response_header(response, header.first.c_str(), header.second.c_str());
    }
    if (close) {
        MHD_add_response_header(response, MHD_HTTP_HEADER_CONNECTION, "close");
    }
    const enum MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(answer.status), response);
    MHD_destroy_response(response);
    return queued;
}

void HttpServer::Impl::Completed(void* cls, struct MHD_Connection* connection, void** context,
                                 enum MHD_RequestTerminationCode)
{
    Impl& self = *static_cast<Impl*>(cls);
    auto* exchange = static_cast<Exchange*>(*context);
    if (exchange == nullptr) {
        return;
    }
    {
        std::lock_guard<std::mutex> lock(self.flightMutex);
        --self.inFlight;
        self.flightDone.notify_all();
    }
    ConnectionDeadlines::Connection* watch = Watch(connection);
    if (watch != nullptr) {
        self.deadlines.Restart(watch);
    }
    delete exchange;
    *context = nullptr;
}

void HttpServer::Impl::Notify(void* cls, struct MHD_Connection* connection, void** socketContext,
                              enum MHD_ConnectionNotificationCode code)
{
    Impl& self = *static_cast<Impl*>(cls);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
        const union MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        *socketContext = info ? self.deadlines.Opened(info->connect_fd) : nullptr;
    } else if (*socketContext != nullptr) {
        self.deadlines.Closed(static_cast<ConnectionDeadlines::Connection*>(*socketContext));
        *socketContext = nullptr;
    }
}

HttpServer::HttpServer(const HttpLimits& limits, Handler handler, Handler finish)
    : impl(std::make_unique<Impl>(limits, std::move(handler), std::move(finish)))
{
}

HttpServer::~HttpServer()
{
    Stop(std::chrono::milliseconds(0));
}

HttpServer::StartStatus HttpServer::Start(const std::string& host, int port, const std::string& certPem,
                                          const std::string& keyPem)
{
    if (!UsablePair(certPem, keyPem)) {
        return StartStatus::BadCertificate;
    }
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0 || found == nullptr) {
        return StartStatus::CannotListen;
    }
    const bool ipv6 = found->ai_family == AF_INET6;
    const rlim_t files = OpenFileLimit();
    const unsigned connections = static_cast<unsigned>(std::min<rlim_t>(
        static_cast<rlim_t>(impl->limits.connections), files > 2 * kSpareDescriptors ? files - kSpareDescriptors
                                                                                     : kSpareDescriptors));
    const unsigned deadlineSeconds = static_cast<unsigned>(
        std::max<long long>(1, std::chrono::ceil<std::chrono::seconds>(impl->limits.requestDeadline).count()));
    const unsigned flags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_TLS | MHD_ALLOW_SUSPEND_RESUME
        | (ipv6 ? MHD_USE_IPv6 : 0);
    impl->daemon = MHD_start_daemon(
        flags, static_cast<uint16_t>(port), nullptr, nullptr, &Impl::Access, impl.get(),
        MHD_OPTION_SOCK_ADDR, found->ai_addr,
        MHD_OPTION_THREAD_POOL_SIZE, static_cast<unsigned>(impl->limits.networkThreads),
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, impl->limits.headerBytes,
        MHD_OPTION_CONNECTION_LIMIT, connections,
        MHD_OPTION_PER_IP_CONNECTION_LIMIT, static_cast<unsigned>(impl->limits.connectionsPerAddress),
        MHD_OPTION_CONNECTION_TIMEOUT, deadlineSeconds,
        MHD_OPTION_LISTEN_BACKLOG_SIZE, kListenBacklog,
        MHD_OPTION_STRICT_FOR_CLIENT, 1,
        MHD_OPTION_NOTIFY_COMPLETED, &Impl::Completed, impl.get(),
        MHD_OPTION_NOTIFY_CONNECTION, &Impl::Notify, impl.get(),
        MHD_OPTION_HTTPS_MEM_CERT, certPem.c_str(),
        MHD_OPTION_HTTPS_MEM_KEY, keyPem.c_str(),
        MHD_OPTION_HTTPS_PRIORITIES, kTlsPriorities,
        MHD_OPTION_END);
    freeaddrinfo(found);
    if (impl->daemon == nullptr) {
        return StartStatus::CannotListen;
    }
    const union MHD_DaemonInfo* info = MHD_get_daemon_info(impl->daemon, MHD_DAEMON_INFO_BIND_PORT);
    impl->port = info ? info->port : port;
    return StartStatus::Ok;
}

int HttpServer::Port() const
{
    return impl->port;
}

void HttpServer::Stop(std::chrono::milliseconds grace)
{
    if (impl->daemon == nullptr) {
        return;
    }
    impl->stopping = true;
    // Shutting the listening socket down refuses new connections at once;
    // it stays open until the daemon has stopped, as its threads may still
    // be looking at it.
    const MHD_socket listening = MHD_quiesce_daemon(impl->daemon);
    if (listening != MHD_INVALID_SOCKET) {
        shutdown(listening, SHUT_RDWR);
    }
    {
        std::unique_lock<std::mutex> lock(impl->flightMutex);
        impl->flightDone.wait_for(lock, grace, [this] { return impl->inFlight == 0; });
    }
    // Handlers still running finish and resume their connections: the daemon
    // must not stop with one suspended.
    impl->workers.Stop();
    MHD_stop_daemon(impl->daemon);
    impl->daemon = nullptr;
    if (listening != MHD_INVALID_SOCKET) {
        close(listening);
    }
}

} // namespace lumo_service
