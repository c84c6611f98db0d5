#include "SqliteWriter.h"

#include "SqliteConnection.h"

namespace lumo_service {

namespace {

// Bounds the time one transaction keeps the write lock.
constexpr size_t kMaxBatch = 512;

} // namespace

SqliteWriter::SqliteWriter(std::unique_ptr<SqliteConnection> connection)
    : connection(std::move(connection))
    , thread(&SqliteWriter::Loop, this)
{
}

SqliteWriter::~SqliteWriter()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    wake.notify_one();
    thread.join();
}

StoreStatus SqliteWriter::Run(Job job)
{
    Pending pending;
    pending.job = std::move(job);
    std::unique_lock<std::mutex> lock(mutex);
    queue.push_back(&pending);
    wake.notify_one();
    finished.wait(lock, [&] { return pending.done; });
    return pending.status;
}

void SqliteWriter::Loop()
{
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        wake.wait(lock, [&] { return stopping || !queue.empty(); });
        if (queue.empty()) {
            return;
        }
        std::deque<Pending*> batch;
        while (!queue.empty() && batch.size() < kMaxBatch) {
            batch.push_back(queue.front());
            queue.pop_front();
        }
        lock.unlock();
        CommitBatch(batch);
        lock.lock();
        for (Pending* pending : batch) {
            pending->done = true;
        }
        finished.notify_all();
    }
}

void SqliteWriter::CommitBatch(std::deque<Pending*>& batch)
{
    if (!connection->Exec("BEGIN IMMEDIATE")) {
        return; // every status stays Error
    }
    for (Pending* pending : batch) {
        connection->Exec("SAVEPOINT job");
        pending->status = pending->job(*connection);
        if (pending->status != StoreStatus::Ok) {
            connection->Exec("ROLLBACK TO job");
        }
        connection->Exec("RELEASE job");
    }
    if (!connection->Exec("COMMIT")) {
        connection->Exec("ROLLBACK");
        for (Pending* pending : batch) {
            pending->status = StoreStatus::Error;
        }
    }
}

} // namespace lumo_service
