#ifndef LUMO_SERVICE_CONNECTIONDEADLINES_H
#define LUMO_SERVICE_CONNECTIONDEADLINES_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <unordered_set>

namespace lumo_service {

// Gives each request on a connection one overall deadline, from the moment
// the connection is ready for it (accepted, or its previous request
// answered) until its answer is sent: a client that trickles its header or
// body, or reads its answer a byte at a time, loses the connection when the
// time is up however often it sends. Time spent in a handler does not count.
// The socket is shut down from a thread of its own; the server then sees the
// connection end and frees it as usual.
class ConnectionDeadlines {
public:
    struct Connection;

    explicit ConnectionDeadlines(std::chrono::milliseconds limit);
    ~ConnectionDeadlines();
    ConnectionDeadlines(const ConnectionDeadlines&) = delete;
    ConnectionDeadlines& operator=(const ConnectionDeadlines&) = delete;

    Connection* Opened(int socket);
    // Before the socket is closed.
    void Closed(Connection* connection);
    void SetBusy(Connection* connection, bool busy);
    // A request was answered: the next one gets a full period.
    void Restart(Connection* connection);

private:
    using Clock = std::chrono::steady_clock;

    void Loop();

    const std::chrono::milliseconds limit;
    std::mutex mutex;
    std::condition_variable wake;
    bool stopping = false;
    std::unordered_set<Connection*> open;
    std::thread thread;
};

} // namespace lumo_service

#endif
