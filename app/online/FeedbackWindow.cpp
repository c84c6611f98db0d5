#include "online/FeedbackWindow.h"

#include "online/InfoBox.h"
#include "online/LogManager.h"
#include "online/ServiceNetwork.h"
#include "online/ServiceReply.h"
#include "online/ServiceRequest.h"

#include "ui_FeedbackWindow.h"

#include <QDebug>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSettings>

FeedbackWindow::FeedbackWindow(QWidget* parent)
    : QMainWindow(parent), ui(new Ui_FeedbackWindow()), manager(ServiceNetwork::NewManager(this)),
      logManager(std::make_unique<LogManager>())
{
    ui->setupUi(this);
    connect(ui->submit_btn, SIGNAL(clicked()), this, SLOT(submitBtnClick()));
    connect(manager, SIGNAL(finished(QNetworkReply*)), this, SLOT(OnNetworkProcessFinished(QNetworkReply*)));
    logManager->RecordOpenAboutFeedback();
}

FeedbackWindow::~FeedbackWindow()
{
    delete ui;
}

void FeedbackWindow::submitBtnClick()
{
    qDebug() << "test feedback submit btn click event!";
    const QString token = QSettings("MediaLumo", "YUVLumo").value("TOKEN").toString();
    qDebug().noquote() << QString::asprintf("test feedback submit token: %s", token.toUtf8().constData());
    // Sent even when empty: the service says what it makes of it.
    const QByteArray body =
        ServiceRequest::FormBody({{"feedback", ui->feedback_text_edit->toPlainText()}, {"token", token}});
    qDebug() << "feedback post_data=" << body;
    ServiceRequest::Post(manager, "/lumo/user/feedback/send", body);
}

void FeedbackWindow::OnNetworkProcessFinished(QNetworkReply* reply)
{
    QJsonObject answer;
    if (!ReadServiceReply(reply, answer)) {
        InfoBox("网络错误");
        return;
    }
    const QString message = answer.value("message").toString();
    qDebug() << "resp_message=" << message;
    if (ServiceCode(answer) == 200) {
        InfoBox("提交成功 请关注您的登录邮箱邮件");
        close();
        return;
    }
    InfoBox(QString("提交失败 %1").arg(message));
}
