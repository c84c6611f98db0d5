#include "LogManager.h"

#include "ServiceNetwork.h"
#include "ServiceRequest.h"
#include "YuvLumoUtil.h"

#include <QDebug>
#include <QNetworkReply>
#include <QSettings>

namespace {

const QString kApp = "YUVLumo";
const QString kVersion = "3.0.0";
const QString kPlatform = "Linux";
const QString kInfo = "INFO";
const QString kNull = "NULL";
const QString kImageViewPage = "LumoImageView";
const QString kImageViewBlock = "LumoImageViewBlock";

// A double as QString::arg writes it ('g', default precision). Numbers are
// formatted first and filled in one pass, so a "%2" in a file name is kept
// as text rather than taken for a place holder.
QString Number(double value)
{
    return QString("%1").arg(value);
}

} // namespace

LogManager::LogManager()
{
    qDebug().noquote().nospace() << "[record log ipAddress] = " << YuvLumoUtil::getHostIpAddress();
}

int LogManager::recordLogData(QString type, QString app, QString page, QString block, QString action, QString info)
{
    QSettings settings("MediaLumo", "YUVLumo");
    const QString token = settings.value("TOKEN").toString();
    const QString email = settings.value("EMAIL").toString();
    if (page != "loginWindow" && token.isEmpty()) {
        return 1;
    }
    const QByteArray body = ServiceRequest::FormBody({
        {"type", type},
        {"version", kVersion},
        {"platform", kPlatform},
        {"app", app},
        {"page", page},
        {"block", block},
        {"action", action},
        {"info", "[user_email]" + email + "; [info] " + info},
    });
    qDebug().noquote().nospace() << "record log post_data=" << body;
    QNetworkReply* reply = ServiceRequest::Post(ServiceNetwork::UsageManager(), "/lumo/user/anchor/anchor", body);
    QObject::connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    return 0;
}

int LogManager::RecordOpenFile(int width, int height, QString yuvType, QString yuvPath)
{
    return recordLogData(kInfo, kApp, "OpenFileDialog", "OpenFile", "OpenFileBtnClick",
                         QString("width:%1;height:%2;yuvtype:%3;yuvpath:%4")
                             .arg(QString::number(width), QString::number(height), yuvType, yuvPath));
}

int LogManager::RecordOpenAboutDev()
{
    return recordLogData(kInfo, kApp, "AboutWindow", "AboutDevelopers", kNull, kNull);
}

int LogManager::RecordOpenAboutFeedback()
{
    return recordLogData(kInfo, kApp, "AboutWindow", "AboutFeedback", kNull, kNull);
}

int LogManager::RecordClickAboutArdeno()
{
    return recordLogData(kInfo, kApp, "AboutWindow", "AboutDevelopers", "AboutArdenoClick", kNull);
}

int LogManager::RecordOpenMainWindow()
{
    return recordLogData(kInfo, kApp, "MainWindow", kNull, kNull, kNull);
}

int LogManager::RecordOpenLoginWindow()
{
    return recordLogData(kInfo, kApp, "loginWindow", kNull, kNull, kNull);
}

int LogManager::RecordError(QString page, QString block, QString action, QString info)
{
    return recordLogData("ERROR", kApp, page, block, action, info);
}

int LogManager::RecordIQAInfo(QString text, double ssim, double psnrY, double psnrU, double psnrV)
{
    return recordLogData(kInfo, kApp, kImageViewPage, kImageViewBlock, "LumoImageViewIQAClick",
                         QString("%1 + [ssim=%2;psnrYUV=%3,%4,%5]")
                             .arg(text, Number(ssim), Number(psnrY), Number(psnrU), Number(psnrV)));
}

int LogManager::RecordStartPlay(QString text, int fps)
{
    return recordLogData(kInfo, kApp, kImageViewPage, kImageViewBlock, "LumoImageViewPlayStartClick",
                         QString("%1 + [fps:%2]").arg(text, QString::number(fps)));
}

int LogManager::RecordStopPlay(QString file)
{
    return recordLogData(kInfo, kApp, kImageViewPage, kImageViewBlock, "LumoImageViewPlayStopClick",
                         QString("file:%1").arg(file));
}

int LogManager::RecordOpen2ndFile(QString text)
{
    return recordLogData(kInfo, kApp, kImageViewPage, kImageViewBlock, "LumoImageViewOpen2ndClick", text);
}

int LogManager::RecordCheckUpdateClick(bool download)
{
    return recordLogData(kInfo, kApp, "TopTabPage", "TopTabUpdateBlock",
                         download ? "TopTabUpdateBlockDownload" : "TopTabUpdateBlockClick", kNull);
}
