#include "YuvLumoUtil.h"

#include <QDateTime>
#include <QDebug>
#include <QHostAddress>
#include <QNetworkInterface>
#include <QStringList>

QString YuvLumoUtil::getHostIpAddress()
{
    QString address;
    for (const QHostAddress& candidate : QNetworkInterface::allAddresses()) {
        if (candidate != QHostAddress::LocalHost && candidate.toIPv4Address() != 0) {
            address = candidate.toString();
            break;
        }
    }
    if (address.isEmpty()) {
        address = QHostAddress(QHostAddress::LocalHost).toString();
    }
    qDebug().noquote().nospace() << "strIpAddress1 " << address;
    return address;
}

qint64 YuvLumoUtil::getTime()
{
    return QDateTime::currentDateTime().toSecsSinceEpoch();
}

int YuvLumoUtil::versionCheck(QString appVersion, QString serverVersion)
{
    if (appVersion == serverVersion) {
        return 1;
    }
    const QStringList appParts = appVersion.split(".", Qt::KeepEmptyParts);
    const QStringList serverParts = serverVersion.split(".", Qt::KeepEmptyParts);
    if (appParts.isEmpty() || serverParts.isEmpty()) {
        return 1;
    }
    for (int i = 0; i < appParts.size(); ++i) {
        const int app = appParts[i].toInt();
        const int server = i < serverParts.size() ? serverParts[i].toInt() : 0;
        if (app > server) {
            return 1;
        }
        qDebug().noquote().nospace() << "check version, app:" << app << " / srvV:" << server;
        if (i < serverParts.size() - 1 && app < server) {
            return 0;
        }
    }
    return 1;
}
