#ifndef LUMO_APP_FEEDBACKWINDOW_H
#define LUMO_APP_FEEDBACKWINDOW_H

#include <QMainWindow>
#include <QPointer>

#include <memory>

class LogManager;
class QNetworkAccessManager;
class QNetworkReply;
class Ui_FeedbackWindow;

// Sends a feedback text to the web service for the signed-in account.
class FeedbackWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit FeedbackWindow(QWidget* parent = nullptr);
    ~FeedbackWindow() override;

public slots:
    void submitBtnClick();
    void OnNetworkProcessFinished(QNetworkReply* reply);

private:
    Ui_FeedbackWindow* ui;
    // Ended with the others at exit (ServiceNetwork), possibly before this
    // window goes.
    QPointer<QNetworkAccessManager> manager;
    std::unique_ptr<LogManager> logManager;
};

#endif
