#ifndef LUMO_SHELL_ABOUTWINDOW_H
#define LUMO_SHELL_ABOUTWINDOW_H

#include <QUrl>
#include <QWidget>

#include <memory>

class LogManager;
class Ui_AboutWindow;

// What the tool is, who made it, its version and a link to its web site,
// which opens in the desktop's browser.
class AboutWindow : public QWidget {
    Q_OBJECT

public:
    explicit AboutWindow(QWidget* parent = nullptr);
    ~AboutWindow() override;

public slots:
    void openUrl(const QUrl& url);

private:
    Ui_AboutWindow* ui;
    std::unique_ptr<LogManager> logManager;
};

#endif
