#ifndef LUMO_APP_LOGMANAGER_H
#define LUMO_APP_LOGMANAGER_H

#include <QString>

// Reports usage events to the maker's web service, fire and forget: one
// form post per event, whose answer is never read. Nothing is sent while the
// user is signed out, except the login window's own events.
class LogManager {
public:
    // Every reporter posts with the application's one usage manager
    // (ServiceNetwork), so posts still on their way outlive their reporter
    // until they end or the application does.
    LogManager();
    LogManager(const LogManager&) = delete;
    LogManager& operator=(const LogManager&) = delete;

    // 0 when the event was posted, 1 when it was left out for a signed-out
    // user.
    int recordLogData(QString type, QString app, QString page, QString block, QString action, QString info);

    int RecordOpenFile(int width, int height, QString yuvType, QString yuvPath);
    int RecordOpenAboutDev();
    int RecordOpenAboutFeedback();
    int RecordClickAboutArdeno();
    int RecordOpenMainWindow();
    int RecordOpenLoginWindow();
    int RecordError(QString page, QString block, QString action, QString info);
    int RecordIQAInfo(QString text, double ssim, double psnrY, double psnrU, double psnrV);
    int RecordStartPlay(QString text, int fps);
    int RecordStopPlay(QString file);
    int RecordOpen2ndFile(QString text);
    int RecordCheckUpdateClick(bool download);
};

#endif
