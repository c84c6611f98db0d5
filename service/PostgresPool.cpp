#include "PostgresPool.h"

#include "PostgresConnection.h"

namespace lumo_service {

PostgresPool::PostgresPool(std::string url, size_t capacity)
    : url(std::move(url))
    , capacity(capacity)
{
}

PostgresPool::~PostgresPool() = default;

std::unique_ptr<PostgresConnection> PostgresPool::Take(std::string& error, bool& reused)
{
    reused = false;
    std::unique_ptr<PostgresConnection> stale;
    {
        std::unique_lock<std::mutex> lock(mutex);
        returned.wait(lock, [&] { return !idle.empty() || open < capacity; });
        while (!idle.empty()) {
            std::unique_ptr<PostgresConnection> connection = std::move(idle.back());
            idle.pop_back();
            if (!connection->Stale()) {
                reused = true;
                return connection;
            }
            stale = std::move(connection);
            --open;
        }
        ++open;
    }
    stale.reset();
    // Connecting happens outside the lock, so a server that does not answer
    // holds up only the callers that need a new connection.
    std::unique_ptr<PostgresConnection> connection = PostgresConnection::Open(url, error);
    if (!connection) {
        std::lock_guard<std::mutex> lock(mutex);
        --open;
        returned.notify_one();
    }
    return connection;
}

void PostgresPool::Give(std::unique_ptr<PostgresConnection> connection)
{
    std::lock_guard<std::mutex> lock(mutex);
    if (connection->Broken() || !connection->Idle()) {
        --open;
    } else {
        idle.push_back(std::move(connection));
    }
    returned.notify_one();
}

} // namespace lumo_service
