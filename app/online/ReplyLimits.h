#ifndef LUMO_APP_REPLYLIMITS_H
#define LUMO_APP_REPLYLIMITS_H

#include <QString>
#include <QtGlobal>

class QNetworkReply;

// Bounds one request to the web service in time and in size. Qt's own
// transfer time-out starts again with every byte, so a service sending a
// byte every few seconds held a request (and the splash) for minutes; and
// an endless body grew the application by a gigabyte. A request that passes
// either bound is aborted, so it ends as a network error exactly as one to a
// dead service does, and its partial body is never read as an answer.
class ReplyLimits {
public:
    // Starts the deadline (milliseconds from now, for the whole request: the
    // reply's child timer "deadline") and watches the body's size (bytes; a
    // larger announced length counts too).
    static void Apply(QNetworkReply* reply, int deadlineMs, qint64 maxBytes);
    // Why the reply was cut off, for the log; empty when it was not.
    static QString Reason(const QNetworkReply* reply);
};

#endif
