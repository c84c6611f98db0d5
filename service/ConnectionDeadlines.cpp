#include "ConnectionDeadlines.h"

#include <sys/socket.h>

namespace lumo_service {

struct ConnectionDeadlines::Connection {
    int socket = -1;
    std::chrono::steady_clock::time_point readySince;
    bool busy = false;
    bool cut = false;
};

namespace {

// How often the deadlines are looked at: a connection lives at most this
// much past its deadline.
constexpr std::chrono::milliseconds kSweepEvery(100);

} // namespace

ConnectionDeadlines::ConnectionDeadlines(std::chrono::milliseconds limit)
    : limit(limit)
    , thread([this] { Loop(); })
{
}

ConnectionDeadlines::~ConnectionDeadlines()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    wake.notify_all();
    thread.join();
    for (Connection* connection : open) {
        delete connection;
    }
}

ConnectionDeadlines::Connection* ConnectionDeadlines::Opened(int socket)
{
    auto* connection = new Connection;
    connection->socket = socket;
    connection->readySince = Clock::now();
    std::lock_guard<std::mutex> lock(mutex);
    open.insert(connection);
    return connection;
}

void ConnectionDeadlines::Closed(Connection* connection)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        open.erase(connection);
    }
    delete connection;
}

void ConnectionDeadlines::SetBusy(Connection* connection, bool busy)
{
    std::lock_guard<std::mutex> lock(mutex);
    connection->busy = busy;
    if (!busy) {
        // The answer gets the whole period to be sent.
        connection->readySince = Clock::now();
    }
}

void ConnectionDeadlines::Restart(Connection* connection)
{
    std::lock_guard<std::mutex> lock(mutex);
    connection->readySince = Clock::now();
}

void ConnectionDeadlines::Loop()
{
    std::unique_lock<std::mutex> lock(mutex);
    while (!stopping) {
        wake.wait_for(lock, kSweepEvery);
        const Clock::time_point now = Clock::now();
        for (Connection* connection : open) {
            if (!connection->busy && !connection->cut && now - connection->readySince > limit) {
                // Closed() takes the mutex before the server closes the
                // socket, so this one is still the connection's own.
                shutdown(connection->socket, SHUT_RDWR);
                connection->cut = true;
            }
        }
    }
}

} // namespace lumo_service
