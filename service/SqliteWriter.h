#ifndef LUMO_SERVICE_SQLITEWRITER_H
#define LUMO_SERVICE_SQLITEWRITER_H

#include "Store.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace lumo_service {

class SqliteConnection;

// The one thread that writes to the database. Writes handed over while a
// commit is under way are gathered into the next transaction, so many
// request threads share one sync of the log (group commit). Run returns once
// the write's transaction is committed.
class SqliteWriter {
public:
    using Job = std::function<StoreStatus(SqliteConnection&)>;

    explicit SqliteWriter(std::unique_ptr<SqliteConnection> connection);
    // Finishes the writes already handed over, then stops the thread.
    ~SqliteWriter();
    SqliteWriter(const SqliteWriter&) = delete;
    SqliteWriter& operator=(const SqliteWriter&) = delete;

    // A job returning anything but Ok has its changes rolled back alone.
    StoreStatus Run(Job job);

private:
    struct Pending {
        Job job;
        StoreStatus status = StoreStatus::Error;
        bool done = false;
    };

    void Loop();
    void CommitBatch(std::deque<Pending*>& batch);

    std::unique_ptr<SqliteConnection> connection;
    std::mutex mutex;
    std::condition_variable wake;
    std::condition_variable finished;
    std::deque<Pending*> queue;
    bool stopping = false;
    std::thread thread;
};

} // namespace lumo_service

#endif
