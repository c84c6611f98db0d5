#include "online/ReplyLimits.h"

#include <QNetworkReply>
#include <QTimer>
#include <QVariant>

namespace {

const char* const kReasonProperty = "lumoLimitReason";

void CutOff(QNetworkReply* reply, const QString& reason)
{
    if (reply->isFinished()) {
        return;
    }
    reply->setProperty(kReasonProperty, reason);
    reply->abort();
}

} // namespace

void ReplyLimits::Apply(QNetworkReply* reply, int deadlineMs, qint64 maxBytes)
{
    auto* deadline = new QTimer(reply);
    deadline->setObjectName("deadline");
    deadline->setSingleShot(true);
    QObject::connect(deadline, &QTimer::timeout, reply, [reply, deadlineMs] {
        CutOff(reply, QString("no complete answer within %1 ms").arg(deadlineMs));
    });
    QObject::connect(reply, &QNetworkReply::finished, deadline, &QTimer::stop);
    const QString tooLarge = QString("answer larger than %1 bytes").arg(maxBytes);
    QObject::connect(reply, &QNetworkReply::metaDataChanged, reply, [reply, maxBytes, tooLarge] {
        if (reply->header(QNetworkRequest::ContentLengthHeader).toLongLong() > maxBytes) {
            CutOff(reply, tooLarge);
        }
    });
    QObject::connect(reply, &QNetworkReply::downloadProgress, reply, [reply, maxBytes, tooLarge](qint64 received) {
        if (received > maxBytes) {
            CutOff(reply, tooLarge);
        }
    });
    deadline->start(deadlineMs);
}

QString ReplyLimits::Reason(const QNetworkReply* reply)
{
    return reply->property(kReasonProperty).toString();
}
