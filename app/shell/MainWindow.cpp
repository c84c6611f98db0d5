#include "shell/MainWindow.h"

#include "online/FeedbackWindow.h"
#include "online/InfoBox.h"
#include "online/LogManager.h"
#include "online/LoginWindow.h"
#include "online/NewVersionDiglog.h"
#include "online/ServiceNetwork.h"
#include "online/ServiceReply.h"
#include "online/ServiceRequest.h"
#include "online/YuvLumoUtil.h"
#include "shell/AboutWindow.h"
#include "shell/OpenFileDialog.h"
#include "shell/YUVListItem.h"

#include "lumo/YUVTypeInstance.h"

#include "resources/LogoResource.h"

#include "ui_MainWindow.h"

#include <QDebug>
#include <QFont>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSettings>

namespace {

const char* const kAppVersion = "3.0.0";
const char* const kVersionPath = "/lumo/user/version/get_latest_version?app_name=YUVLumo";

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), ui(new Ui_MainWindow()), manager(ServiceNetwork::NewManager(this))
{
    ui->setupUi(this);
    setWindowIcon(LogoIcon());
    setWindowTitle("YUV Lumo");
    QSettings settings("MediaLumo", "YUVLumo");
    auto* signedIn = new QLabel(QString("%1:%2").arg("已登录", settings.value("EMAIL").toString()), this);
    // The e-mail is whatever was typed at login; shown as it is, never as markup.
    signedIn->setTextFormat(Qt::PlainText);
    QFont font("黑体", 10);
    font.setWeight(75);
    signedIn->setFont(font);
    ui->toolBar->addWidget(signedIn);
    ui->toolBar->addAction(ui->action_tool_open);
    ui->toolBar->addAction(ui->action_logout);

    connect(ui->action_open, SIGNAL(triggered()), this, SLOT(OpenFileClickListener()));
    connect(ui->action_tool_open, SIGNAL(triggered()), this, SLOT(OpenFileClickListener()));
    connect(ui->action_feedback, SIGNAL(triggered()), this, SLOT(FeedbackClickListener()));
    connect(ui->action_check_update, SIGNAL(triggered()), this, SLOT(CheckVersionClickListener()));
    connect(ui->action_about, SIGNAL(triggered()), this, SLOT(AboutClickListener()));
    connect(ui->action_logout, SIGNAL(triggered()), this, SLOT(LogoutClickListener()));

    readerParse.ReadFromFile();
    for (int i = 0; i < readerParse.GetSize(); i++) {
        AddItem(i, *readerParse.GetReader(i));
    }

    logManager = std::make_unique<LogManager>();
    logManager->RecordOpenMainWindow();

    connect(manager, SIGNAL(finished(QNetworkReply*)), this, SLOT(OnNetworkProcessFinished(QNetworkReply*)));
    ServiceRequest::Post(manager, kVersionPath, QByteArray());
}

MainWindow::~MainWindow()
{
    delete ui;
}

QList<YUVListItem*> MainWindow::GetItems() const
{
    QList<YUVListItem*> items;
    for (int i = 0; i < ui->content_list->count(); i++) {
        if (auto* item = qobject_cast<YUVListItem*>(ui->content_list->itemAt(i)->widget())) {
            items.append(item);
        }
    }
    return items;
}

void MainWindow::AddItem(int index, lumo::YUVReader& reader)
{
    auto* item = new YUVListItem(index, nullptr);
    item->SetYuvReader(reader);
    ui->content_list->addWidget(item);
    connect(item, SIGNAL(OnItemCloseClick(int, YUVListItem*)), this, SLOT(OnItemCloseClick(int, YUVListItem*)));
}

void MainWindow::OpenFileClickListener()
{
    // Lives as long as the window: a media conversion it started may still
    // be running when it is closed.
    auto* dialog = new OpenFileDialog(this);
    if (dialog->exec() != QDialog::Accepted || dialog->GetPaths().isEmpty()) {
        return;
    }
    for (const QString& path : dialog->GetPaths()) {
        lumo::YUVType type;
        if (lumo::YUVTypeInstance::GetInstance()->GetType(type, dialog->GetTypeIndex()) != 0) {
            continue;
        }
        lumo::YUVReader reader(path.toUtf8().toStdString(), dialog->GetWidth(), dialog->GetHeight(), type);
        qDebug() << "yuvReader Path:" << QString::fromStdString(reader.path);
        readerParse.AddReader(reader);
        AddItem(readerParse.GetSize() - 1, reader);
        readerParse.SaveToFile();
    }
}

void MainWindow::OnItemCloseClick(int index, YUVListItem* item)
{
    // The item's index is the one its file had when it was listed; earlier
    // closes do not renumber it.
    readerParse.Remove(index);
    readerParse.SaveToFile();
    if (item != nullptr) {
        // Gone from the list at once; deleted once its own click has ended.
        ui->content_list->removeWidget(item);
        item->hide();
        item->deleteLater();
    }
}

void MainWindow::AboutClickListener()
{
    auto* about = new AboutWindow(nullptr);
    about->show();
}

void MainWindow::FeedbackClickListener()
{
    auto* feedback = new FeedbackWindow(nullptr);
    feedback->show();
}

void MainWindow::CheckVersionClickListener()
{
    logManager->RecordCheckUpdateClick(false);
    auto* onDemand = ServiceNetwork::NewManager(this);
    connect(onDemand, SIGNAL(finished(QNetworkReply*)), this, SLOT(OnNetworkProcessFinished2(QNetworkReply*)));
    ServiceRequest::Post(onDemand, kVersionPath, QByteArray());
}

void MainWindow::LogoutClickListener()
{
    QSettings settings("MediaLumo", "YUVLumo");
    settings.setValue("TOKEN", "");
    settings.setValue("EMAIL", "");
    InfoBox("注销成功");
    auto* login = new LoginWindow(nullptr);
    login->show();
    close();
}

QString MainWindow::LatestVersion(QNetworkReply* reply)
{
    QJsonObject answer;
    if (!ReadServiceReply(reply, answer) || ServiceCode(answer) != 200) {
        return QString();
    }
    const QString version = answer.value("model").toObject().value("version").toString();
    qDebug() << "Version: " << version;
    return version;
}

void MainWindow::OnNetworkProcessFinished(QNetworkReply* reply)
{
    const QString version = LatestVersion(reply);
    if (!version.isEmpty() && YuvLumoUtil::versionCheck(kAppVersion, version) == 0) {
        auto* dialog = new NewVersionDiglog(version, this);
        dialog->show();
    }
}

void MainWindow::OnNetworkProcessFinished2(QNetworkReply* reply)
{
    reply->manager()->deleteLater();
    const QString version = LatestVersion(reply);
    if (version.isEmpty()) {
        return;
    }
    if (YuvLumoUtil::versionCheck(kAppVersion, version) == 0) {
        auto* dialog = new NewVersionDiglog(version, this);
        dialog->show();
        return;
    }
    InfoBox("您已经是最新版本了");
}

void MainWindow::closeEvent(QCloseEvent*) {}
