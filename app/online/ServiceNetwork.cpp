#include "online/ServiceNetwork.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QThread>

#include <utility>

namespace {

// How long ShutDown waits for the network threads to be gone.
constexpr qint64 kThreadEndLimitMs = 5000;

// Every manager made here and not yet ended; ones their owners deleted
// read as null. Used on the user-interface thread only.
QList<QPointer<QNetworkAccessManager>>& Managers()
{
    static QList<QPointer<QNetworkAccessManager>> managers;
    return managers;
}

QNetworkAccessManager* Register(QNetworkAccessManager* manager)
{
    QList<QPointer<QNetworkAccessManager>>& managers = Managers();
    managers.removeAll(nullptr);
    managers.append(manager);
    return manager;
}

// Qt names every manager's HTTP thread "QNetworkAccessManager thread"; the
// kernel keeps the first 15 bytes of a thread's name.
int HttpThreadsAlive()
{
    int alive = 0;
    const QDir tasks("/proc/self/task");
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile name(tasks.filePath(task + "/comm"));
        if (name.open(QIODevice::ReadOnly) && name.readAll().startsWith("QNetworkAccessM")) {
            alive++;
        }
    }
    return alive;
}

QPointer<QNetworkAccessManager>& Usage()
{
    static QPointer<QNetworkAccessManager> usage;
    return usage;
}

} // namespace

QNetworkAccessManager* ServiceNetwork::NewManager(QObject* owner)
{
    return Register(new QNetworkAccessManager(owner));
}

QNetworkAccessManager* ServiceNetwork::UsageManager()
{
    QPointer<QNetworkAccessManager>& usage = Usage();
    if (usage.isNull()) {
        usage = Register(new QNetworkAccessManager());
    }
    return usage;
}

int ServiceNetwork::RequestsUnderWay()
{
    int underWay = 0;
    for (const QPointer<QNetworkAccessManager>& manager : Managers()) {
        if (manager.isNull()) {
            continue;
        }
        for (const QNetworkReply* reply : manager->findChildren<QNetworkReply*>()) {
            underWay += reply->isFinished() ? 0 : 1;
        }
    }
    return underWay;
}

int ServiceNetwork::ShutDown()
{
    int deleted = 0;
    for (const QPointer<QNetworkAccessManager>& manager : std::exchange(Managers(), {})) {
        if (manager.isNull()) {
            continue;
        }
        manager->disconnect();
        for (QNetworkReply* reply : manager->findChildren<QNetworkReply*>()) {
            reply->disconnect();
            reply->abort();
        }
        delete manager.data();
        deleted++;
    }
    // Deleting a manager waits for its thread's event loop to end, but Qt's
    // threads are detached: the thread then still runs its thread-local
    // clean-up (OpenSSL's among it), which crashed when it met the
    // process's own exit handlers. The thread has ended when the kernel no
    // longer lists it.
    QElapsedTimer waited;
    waited.start();
    while (HttpThreadsAlive() > 0 && waited.elapsed() < kThreadEndLimitMs) {
        QThread::msleep(1);
    }
    return deleted;
}
