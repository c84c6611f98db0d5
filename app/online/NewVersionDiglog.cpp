#include "online/NewVersionDiglog.h"

#include "online/LogManager.h"
#include "online/ServiceRequest.h"

#include "ui_NewVersionDiglog.h"

#include <QDebug>
#include <QDesktopServices>
#include <QUrl>

NewVersionDiglog::NewVersionDiglog(QString version, QWidget* parent)
    : QDialog(parent), ui(new Ui_NewVersionDiglog()), logManager(std::make_unique<LogManager>())
{
    ui->setupUi(this);
    setWindowTitle("检查到新版本");
    ui->version_label->setText("发现新版本：" + version);
    ui->download_label->setText(QString("<a href=\"%1\" style=\"color:#0000ff;\">点击下载</a>")
                                    .arg(ServiceRequest::Url("/download").toString()));
    connect(ui->download_label, SIGNAL(linkActivated(QString)), this, SLOT(openUrl(QString)));
}

NewVersionDiglog::~NewVersionDiglog()
{
    delete ui;
}

void NewVersionDiglog::openUrl(QString url)
{
    qDebug() << "openUrl" << url;
    logManager->RecordCheckUpdateClick(true);
    QDesktopServices::openUrl(QUrl(url));
}
