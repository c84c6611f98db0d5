#ifndef LUMO_SERVICE_POSTGRESPOOL_H
#define LUMO_SERVICE_POSTGRESPOOL_H

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lumo_service {

class PostgresConnection;

// Connections to one database, opened when a caller needs one and none is
// idle, up to a cap; beyond it callers wait for one to come back. Broken
// and stale connections are dropped, so a restarted server is reconnected
// to without anyone asking.
class PostgresPool {
public:
    PostgresPool(std::string url, size_t capacity);
    ~PostgresPool();
    PostgresPool(const PostgresPool&) = delete;
    PostgresPool& operator=(const PostgresPool&) = delete;

    // Null, with the reason in error, when no connection can be made;
    // reused tells an idle connection from a new one.
    std::unique_ptr<PostgresConnection> Take(std::string& error, bool& reused);
    void Give(std::unique_ptr<PostgresConnection> connection);

private:
    const std::string url;
    const size_t capacity;
    std::mutex mutex;
    std::condition_variable returned;
    std::vector<std::unique_ptr<PostgresConnection>> idle;
    size_t open = 0;
};

} // namespace lumo_service

#endif
