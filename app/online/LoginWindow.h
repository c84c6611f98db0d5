#ifndef LUMO_APP_LOGINWINDOW_H
#define LUMO_APP_LOGINWINDOW_H

#include <QMainWindow>
#include <QPointer>
#include <QString>

#include <memory>

class LogManager;
class QNetworkAccessManager;
class QNetworkReply;
class Ui_LoginWindow;

// E-mail and password sign-in to the web service. A successful sign-in
// saves the session token and opens the main window; the links open the
// service's register and forgotten-password pages in the browser.
class LoginWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit LoginWindow(QWidget* parent = nullptr);
    ~LoginWindow() override;

public slots:
    void LoginClickListener();
    void OnNetworkProcessFinished(QNetworkReply* reply);
    void openUrl(QString url);

private:
    Ui_LoginWindow* ui;
    // Ended with the others at exit (ServiceNetwork), possibly before this
    // window goes.
    QPointer<QNetworkAccessManager> manager;
    std::unique_ptr<LogManager> logManager;
};

#endif
