#ifndef LUMO_APP_YUVLUMOUTIL_H
#define LUMO_APP_YUVLUMOUTIL_H

#include <QString>
#include <QtGlobal>

// Small helpers shared by the online functions.
class YuvLumoUtil {
public:
    // The first address of this machine that is not the loopback one and has
    // an IPv4 value, or the loopback address when there is none.
    static QString getHostIpAddress();
    // Now, in seconds since the epoch.
    static qint64 getTime();
    // 1 when the application is up to date, 0 when the server has a newer
    // version. Versions are compared part by part as decimal numbers (text
    // counts as 0, a missing server part as 0); a difference in the server's
    // last part alone never counts as newer, so 3.0.0 against 3.0.1 is up to
    // date while 3.0.0 against 3.1.0 is not.
    static int versionCheck(QString appVersion, QString serverVersion);
};

#endif
