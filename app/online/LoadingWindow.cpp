#include "online/LoadingWindow.h"

#include "online/LoginWindow.h"
#include "online/ServiceNetwork.h"
#include "online/ServiceReply.h"
#include "online/ServiceRequest.h"
#include "online/YuvLumoUtil.h"
#include "shell/MainWindow.h"

#include "resources/LogoResource.h"

#include "ui_LoadingWindow.h"

#include <QDebug>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSettings>

namespace {

// A session confirmed this long ago (30 days, in seconds) no longer opens
// the main window without the service.
constexpr qint64 kOfflineGrace = 2592000;

} // namespace

LoadingWindow::LoadingWindow(QWidget* parent)
    : QMainWindow(parent), ui(new Ui_LoadingWindow()), timer(this), manager(nullptr)
{
    ui->setupUi(this);
    setWindowIcon(LogoIcon());
    setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    ui->logo_label->setPixmap(LogoIcon().pixmap(128, 128));
    ui->version_label->setText(QString::asprintf("YuvLumo %s", "3.0.0"));
    connect(&timer, SIGNAL(timeout()), this, SLOT(timeoutSig()));
    timer.setSingleShot(true);
    timer.start(2000);
}

LoadingWindow::~LoadingWindow()
{
    delete ui;
}

void LoadingWindow::timeoutSig()
{
    const QString token = QSettings("MediaLumo", "YUVLumo").value("TOKEN").toString();
    qDebug() << "TOKEN" << token;
    if (token.isEmpty()) {
        OpenLoginWindow();
        close();
        return;
    }
    manager = ServiceNetwork::NewManager(this);
    connect(manager, SIGNAL(finished(QNetworkReply*)), this, SLOT(OnNetworkProcessFinished(QNetworkReply*)));
    // The session check names the platform "macosx", as the service has
    // always been asked; the usage events say "Linux".
    ServiceRequest::Post(manager, "/lumo/user/token/check",
                         ServiceRequest::FormBody({{"token", token}, {"platform", "macosx"}}));
}

void LoadingWindow::OnNetworkProcessFinished(QNetworkReply* reply)
{
    QSettings settings("MediaLumo", "YUVLumo");
    QJsonObject answer;
    if (!ReadServiceReply(reply, answer, true)) {
        const qint64 confirmed = settings.value("UPDATE_TOKEN", 0).toLongLong();
        if (YuvLumoUtil::getTime() - confirmed > kOfflineGrace) {
            OpenLoginWindow();
        } else {
            OpenMainWindow();
        }
        close();
        return;
    }
    if (ServiceCode(answer) == 200) {
        OpenMainWindow();
        settings.setValue("UPDATE_TOKEN", YuvLumoUtil::getTime());
    } else {
        OpenLoginWindow();
        settings.setValue("TOKEN", "");
    }
    close();
}

void LoadingWindow::OpenLoginWindow()
{
    auto* login = new LoginWindow(nullptr);
    login->show();
}

void LoadingWindow::OpenMainWindow()
{
    auto* window = new MainWindow(nullptr);
    window->show();
}
