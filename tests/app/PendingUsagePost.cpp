// Posts one usage event, and one request with a manager a window would own,
// to a service that never answers, and ends while both are on their way, the
// way the application ends when its last window closes right after an
// event: the event loop returns, the reporter goes, the network is shut
// down, main returns. Usage:
//   pending_usage_post SETTINGS_FOLDER MILLISECONDS
// (the service is named by YUVLUMO_SERVICE_URL). Prints "posted" once both
// are under way; exits 0, or 1 when a post could not be made, 3 when a
// network thread is still alive after the shutdown.
#include "online/LogManager.h"
#include "online/ServiceNetwork.h"
#include "online/ServiceRequest.h"

#include "NetworkThreads.h"

#include <QCoreApplication>
#include <QSettings>
#include <QTimer>

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
    // A window's own manager, left to the end like the windows are.
    auto* window = new QObject();
    ServiceRequest::Post(ServiceNetwork::NewManager(window), "/lumo/user/token/check", "token=a-token");
    printf("posted\n");
    fflush(stdout);
    QTimer::singleShot(atoi(argv[2]), &app, &QCoreApplication::quit);
    const int code = app.exec();
    logManager.reset();
    ServiceNetwork::ShutDown();
    if (lumo_test::NetworkThreads() != 0) {
        fprintf(stderr, "%d network threads outlived the shutdown\n", lumo_test::NetworkThreads());
        return 3;
    }
    return code;
}
