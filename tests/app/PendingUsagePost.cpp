// Posts one usage event to a service that never answers, lets the post get
// under way, drops its LogManager and ends: the way the application ends
// when its last window closes right after an event. Usage:
//   pending_usage_post SETTINGS_FOLDER MILLISECONDS
// (the service is named by YUVLUMO_SERVICE_URL). Exits 0 and prints
// "posted" unless the event could not be posted.
#include "online/LogManager.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSettings>

#include <cstdio>
#include <cstdlib>
#include <memory>

int main(int argc, char** argv)
{
    if (argc != 3) {
        fprintf(stderr, "usage: pending_usage_post SETTINGS_FOLDER MILLISECONDS\n");
        return 2;
    }
    QCoreApplication app(argc, argv);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, QString::fromLocal8Bit(argv[1]));
    QSettings("MediaLumo", "YUVLumo").setValue("TOKEN", "a-token");
    auto logManager = std::make_unique<LogManager>();
    if (logManager->RecordOpenMainWindow() != 0) {
        return 1;
    }
    printf("posted\n");
    fflush(stdout);
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < atoi(argv[2])) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    logManager.reset();
    return 0;
}
