#ifndef LUMO_TESTS_NETWORKTHREADS_H
#define LUMO_TESTS_NETWORKTHREADS_H

#include <QDir>
#include <QFile>

namespace lumo_test {

// How many HTTP threads of network access managers this process runs: Qt
// names each "QNetworkAccessManager thread", of which the kernel keeps the
// first 15 bytes.
inline int NetworkThreads()
{
    int count = 0;
    const QDir tasks("/proc/self/task");
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(task + "/comm"));
        if (comm.open(QIODevice::ReadOnly) && comm.readAll().startsWith("QNetworkAccessM")) {
            count++;
        }
    }
    return count;
}

} // namespace lumo_test

#endif
