#ifndef LUMO_APP_SERVICENETWORK_H
#define LUMO_APP_SERVICENETWORK_H

class QNetworkAccessManager;
class QObject;

// Makes every network access manager of the application, and ends them all
// when it ends. A manager runs its own HTTP thread; one still alive while
// the application object is destroyed, or when the process runs its exit
// handlers, crashed the application now and then. So main() calls
// ShutDown() before the application object goes and before it returns.
class ServiceNetwork {
public:
    // A manager that belongs to owner (a window), like any child object.
    static QNetworkAccessManager* NewManager(QObject* owner);
    // The one manager every usage reporter posts with, made on first use:
    // one idle HTTP thread for all of them rather than one each.
    static QNetworkAccessManager* UsageManager();
    // Aborts every request still on its way, without telling anyone who
    // waits for its answer (they are going too), and deletes every manager
    // made here, and waits (5 s at most) until their HTTP threads are gone.
    // Returns how many managers it deleted.
    static int ShutDown();
    // Requests of these managers that have not finished yet.
    static int RequestsUnderWay();
};

#endif
