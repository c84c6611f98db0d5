#ifndef LUMO_APP_NEWVERSIONDIGLOG_H
#define LUMO_APP_NEWVERSIONDIGLOG_H

#include <QDialog>
#include <QString>

#include <memory>

class LogManager;
class Ui_NewVersionDiglog;

// Announces a newer version and links to the service's download page.
class NewVersionDiglog : public QDialog {
    Q_OBJECT

public:
    explicit NewVersionDiglog(QString version, QWidget* parent = nullptr);
    ~NewVersionDiglog() override;

public slots:
    // Opens the link in the desktop's browser.
    void openUrl(QString url);

private:
    Ui_NewVersionDiglog* ui;
    std::unique_ptr<LogManager> logManager;
};

#endif
