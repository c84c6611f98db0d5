#ifndef LUMO_APP_LOADINGWINDOW_H
#define LUMO_APP_LOADINGWINDOW_H

#include <QMainWindow>
#include <QPointer>
#include <QTimer>

class QNetworkAccessManager;
class QNetworkReply;
class Ui_LoadingWindow;

// The splash window. Once, 2 seconds after it is built, it checks the saved
// session with the web service and opens the login window or the main
// window, then closes. Without a saved token it opens the login window at
// once; without the service a session confirmed less than 30 days ago still
// opens the main window.
class LoadingWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit LoadingWindow(QWidget* parent = nullptr);
    ~LoadingWindow() override;

public slots:
    void timeoutSig();
    void OnNetworkProcessFinished(QNetworkReply* reply);

private:
    void OpenLoginWindow();
    void OpenMainWindow();

    Ui_LoadingWindow* ui;
    QTimer timer;
    // Ended with the others at exit (ServiceNetwork), possibly before this
    // window goes.
    QPointer<QNetworkAccessManager> manager;
};

#endif
