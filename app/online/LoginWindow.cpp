#include "online/LoginWindow.h"

#include "online/InfoBox.h"
#include "online/LogManager.h"
#include "online/ServiceNetwork.h"
#include "online/ServiceReply.h"
#include "online/ServiceRequest.h"
#include "online/YuvLumoUtil.h"
#include "shell/MainWindow.h"

#include "resources/LogoResource.h"

#include "ui_LoginWindow.h"

#include <QDebug>
#include <QDesktopServices>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSettings>
#include <QUrl>

namespace {

// A rich-text link to one of the service's pages.
QString PageLink(const QString& path, const QString& text)
{
    return QString("<a href=\"%1\">%2</a>").arg(ServiceRequest::Url(path).toString(), text);
}

} // namespace

LoginWindow::LoginWindow(QWidget* parent)
    : QMainWindow(parent), ui(new Ui_LoginWindow()), manager(nullptr), logManager(std::make_unique<LogManager>())
{
    ui->setupUi(this);
    setWindowIcon(LogoIcon());
    ui->regiest_label->setText(PageLink("/register", "注册账号"));
    ui->forget_pw_label->setText(PageLink("/forgot", "忘记密码"));
    connect(ui->login_btn, SIGNAL(clicked()), this, SLOT(LoginClickListener()));
    connect(ui->password_line_edit, SIGNAL(returnPressed()), this, SLOT(LoginClickListener()));
    connect(ui->regiest_label, SIGNAL(linkActivated(QString)), this, SLOT(openUrl(QString)));
    connect(ui->forget_pw_label, SIGNAL(linkActivated(QString)), this, SLOT(openUrl(QString)));
    logManager->RecordOpenLoginWindow();
}

LoginWindow::~LoginWindow()
{
    delete ui;
}

void LoginWindow::LoginClickListener()
{
    const QString email = ui->email_line_edit->text();
    const QString password = ui->password_line_edit->text();
    if (email.isEmpty()) {
        InfoBox("请输入邮箱");
        return;
    }
    if (password.isEmpty()) {
        InfoBox("请输入密码");
        return;
    }
    QSettings("MediaLumo", "YUVLumo").setValue("EMAIL", email);
    if (manager == nullptr) {
        manager = ServiceNetwork::NewManager(this);
        connect(manager, SIGNAL(finished(QNetworkReply*)), this, SLOT(OnNetworkProcessFinished(QNetworkReply*)));
    }
    ServiceRequest::Post(manager, "/lumo/user/login/login",
                         ServiceRequest::FormBody({{"email", email}, {"password", password}}));
}

void LoginWindow::OnNetworkProcessFinished(QNetworkReply* reply)
{
    QJsonObject answer;
    if (!ReadServiceReply(reply, answer)) {
        InfoBox("网络错误");
        return;
    }
    QSettings settings("MediaLumo", "YUVLumo");
    if (ServiceCode(answer) != 200) {
        settings.setValue("TOKEN", "");
        InfoBox("用户名或密码错误");
        return;
    }
    settings.setValue("TOKEN", answer.value("model").toObject().value("token").toString());
    settings.setValue("UPDATE_TOKEN", YuvLumoUtil::getTime());
    InfoBox("登录成功");
    auto* window = new MainWindow(nullptr);
    window->show();
    close();
}

void LoginWindow::openUrl(QString url)
{
    qDebug() << "openUrl" << url;
    QDesktopServices::openUrl(QUrl(url));
}
