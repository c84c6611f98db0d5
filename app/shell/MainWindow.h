#ifndef LUMO_SHELL_MAINWINDOW_H
#define LUMO_SHELL_MAINWINDOW_H

#include "settings/YuvReaderParse.h"

#include <QMainWindow>
#include <QPointer>

#include <memory>

class LogManager;
class QNetworkAccessManager;
class QNetworkReply;
class Ui_MainWindow;
class YUVListItem;

// The home window once signed in: the list of opened files, restored from
// the settings store and saved after every change, and the commands to open
// files, send feedback, check for a new version, read about the tool and
// sign out. It asks the service for the latest version when it opens.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // The entries, in list order.
    QList<YUVListItem*> GetItems() const;

public slots:
    void OpenFileClickListener();
    void OnItemCloseClick(int index, YUVListItem* item);
    void AboutClickListener();
    void FeedbackClickListener();
    void CheckVersionClickListener();
    void LogoutClickListener();
    void OnNetworkProcessFinished(QNetworkReply* reply);
    void OnNetworkProcessFinished2(QNetworkReply* reply);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    // Appends an entry for the reader at index of the list.
    void AddItem(int index, lumo::YUVReader& reader);
    // The latest version from a version answer, or an empty text.
    static QString LatestVersion(QNetworkReply* reply);

    Ui_MainWindow* ui;
    YuvReaderParse readerParse;
    std::unique_ptr<LogManager> logManager;
    // Ended with the others at exit (ServiceNetwork), possibly before this
    // window goes.
    QPointer<QNetworkAccessManager> manager;
};

#endif
