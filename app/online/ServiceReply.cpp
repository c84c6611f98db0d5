#include "online/ServiceReply.h"

#include "online/ReplyLimits.h"

#include <QDebug>
#include <QJsonDocument>
#include <QNetworkReply>

bool ReadServiceReply(QNetworkReply* reply, QJsonObject& json, bool logBody)
{
    reply->deleteLater();
    qDebug() << "status code=" << reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt()
             << "reason=" << reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString();
    if (reply->error() != QNetworkReply::NoError) {
        const QString limit = ReplyLimits::Reason(reply);
        qDebug() << "Failed: " << (limit.isEmpty() ? reply->errorString() : limit);
        return false;
    }
    const QByteArray body = reply->readAll();
    if (logBody) {
        qDebug() << body;
    }
    json = QJsonDocument::fromJson(body).object();
    return true;
}

int ServiceCode(const QJsonObject& json)
{
    const QJsonValue code = json.value("code");
    return code.isDouble() ? code.toInt() : -1;
}
