// The splash, login, feedback, new-version and About windows against a real
// lumo-service, and against a service that is away, answers garbage or
// never answers.
#include "online/FeedbackWindow.h"
#include "online/LoadingWindow.h"
#include "online/LoginWindow.h"
#include "online/NewVersionDiglog.h"
#include "online/ServiceReply.h"
#include "online/ServiceRequest.h"
#include "online/TokenManager.h"
#include "online/YuvLumoUtil.h"
#include "shell/AboutWindow.h"
#include "shell/MainWindow.h"

#include "AnalysisTestSupport.h"
#include "MisbehavingService.h"
#include "OnlineTestService.h"
#include "SettingsScope.h"
#include "ShellTestSupport.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QNetworkReply>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTextBrowser>
#include <QTextEdit>
#include <QtTest/QTest>

#include <fstream>
#include <memory>

namespace {

using shell_test::CloseAllWindows;
using shell_test::VisibleWindows;

// A port on which nothing listens.
quint16 ClosedPort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    const quint16 port = server.serverPort();
    server.close();
    return port;
}

// A server that takes connections and answers them with plain garbage, or
// never answers at all.
class BadService : public QTcpServer {
public:
    explicit BadService(bool answer) : answer(answer)
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, [this] {
            while (QTcpSocket* socket = nextPendingConnection()) {
                if (this->answer) {
                    socket->write("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nnot json");
                }
            }
        });
    }
    QByteArray Url() const { return "https://127.0.0.1:" + QByteArray::number(serverPort()); }

private:
    bool answer;
};

class OnlineWindowsTest : public lumo_test::ServiceSuite {
protected:
    static void SetUpTestSuite()
    {
        ServiceSuite::SetUpTestSuite();
        ASSERT_EQ(0, service->Process().Operator({"user", "add", "ann@example.com"}, "correct horse\n").exitCode);
    }

    void SetUp() override
    {
        url = qgetenv("YUVLUMO_SERVICE_URL");
        ca = qgetenv("YUVLUMO_SERVICE_CA");
        ASSERT_EQ(0, service->Process().Operator({"version", "set", "YUVLumo", "3.0.0"}).exitCode);
    }
    void TearDown() override
    {
        CloseAllWindows();
        qputenv("YUVLUMO_SERVICE_URL", url);
        qputenv("YUVLUMO_SERVICE_CA", ca);
    }

    static void Store(const QString& key, const QVariant& value) { QSettings("MediaLumo", "YUVLumo").setValue(key, value); }
    static QVariant Stored(const QString& key) { return QSettings("MediaLumo", "YUVLumo").value(key); }

    // Shows a splash window as main() does and waits for what it opens.
    // Its 2-second timer is fired at once, unless the test is about that
    // wait.
    template <typename T>
    T* SplashOpens(int milliseconds = 20000, bool waitTwoSeconds = false)
    {
        splash = new LoadingWindow(nullptr);
        splash->show();
        if (!waitTwoSeconds) {
            splash->findChild<QTimer*>()->start(0);
        }
        EXPECT_TRUE(view_test::WaitUntil([] { return !VisibleWindows<T>().empty(); }, milliseconds));
        EXPECT_TRUE(view_test::WaitUntil([&] { return !splash->isVisible(); }));
        return VisibleWindows<T>().empty() ? nullptr : VisibleWindows<T>().front();
    }

    // A service that answers badly, with the application's requests
    // pointed at it.
    static std::unique_ptr<lumo_test::MisbehavingService> Misbehaving(lumo_test::MisbehavingService::Kind kind)
    {
        auto service = std::make_unique<lumo_test::MisbehavingService>(kind, TlsFolder());
        qputenv("YUVLUMO_SERVICE_URL", service->Url());
        return service;
    }

    LoginWindow* Login()
    {
        auto* login = new LoginWindow(nullptr);
        login->show();
        EXPECT_TRUE(view_test::ShowAndExpose(*login));
        return login;
    }

    static void Type(LoginWindow* login, const QString& email, const QString& password)
    {
        login->findChild<QLineEdit*>("email_line_edit")->setText(email);
        login->findChild<QLineEdit*>("password_line_edit")->setText(password);
        QTest::mouseClick(login->findChild<QPushButton*>("login_btn"), Qt::LeftButton);
    }

    // Deleted with the other windows after each test.
    QPointer<LoadingWindow> splash;
    // The suite's service, put back after tests that point elsewhere.
    QByteArray url;
    QByteArray ca;
};


} // namespace

TEST_F(OnlineWindowsTest, SplashIsAFramelessToolWindowWithLogoAndVersion)
{
    LoadingWindow window(nullptr);
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::Tool));
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::FramelessWindowHint));
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_EQ("YuvLumo 3.0.0", window.findChild<QLabel*>("version_label")->text());
    EXPECT_EQ("黑体", window.findChild<QLabel*>("version_label")->font().family());
    EXPECT_FALSE(window.findChild<QLabel*>("logo_label")->pixmap(Qt::ReturnByValue).isNull());
    EXPECT_FALSE(QPixmap(":/img/logo/yuv_logo.png").isNull());
    QTimer* timer = window.findChild<QTimer*>();
    ASSERT_NE(nullptr, timer);
    EXPECT_TRUE(timer->isSingleShot());
    EXPECT_EQ(2000, timer->interval());
    EXPECT_TRUE(timer->isActive());
}

TEST_F(OnlineWindowsTest, WithoutASavedTokenTheLoginWindowOpensAfterTwoSecondsWithoutARequest)
{
    analysis_test::DebugCapture debug;
    QElapsedTimer clock;
    clock.start();
    LoginWindow* login = SplashOpens<LoginWindow>(20000, true);
    ASSERT_NE(nullptr, login);
    EXPECT_GE(clock.elapsed(), 1900);
    EXPECT_FALSE(debug.Contains("status code="));
    EXPECT_TRUE(VisibleWindows<MainWindow>().empty());
}

TEST_F(OnlineWindowsTest, AConfirmedSessionOpensTheMainWindowAndIsStampedNow)
{
    const QString token = shell_test::SignIn("ann@example.com", "correct horse");
    ASSERT_FALSE(token.isEmpty());
    Store("UPDATE_TOKEN", 5);
    ASSERT_NE(nullptr, SplashOpens<MainWindow>());
    EXPECT_NEAR(YuvLumoUtil::getTime(), Stored("UPDATE_TOKEN").toLongLong(), 30);
    EXPECT_EQ(token, Stored("TOKEN").toString());
}

TEST_F(OnlineWindowsTest, AnUnknownTokenOpensTheLoginWindowAndIsCleared)
{
    Store("TOKEN", "not-a-session");
    ASSERT_NE(nullptr, SplashOpens<LoginWindow>());
    EXPECT_EQ("", Stored("TOKEN").toString());
}

TEST_F(OnlineWindowsTest, AnExpiredSessionIs501AndClearsTheToken)
{
    lumo_test::TempDir clockDir;
    const std::string clockFile = clockDir.File("offset");
    std::ofstream(clockFile) << 0;
    lumo_test::OnlineTestService timed;
    ASSERT_TRUE(timed.Start({"--test-clock-offset-file", clockFile}));
    ASSERT_EQ(0, timed.Process().Operator({"user", "add", "bo@example.com"}, "correct horse\n").exitCode);
    const QString token = shell_test::SignIn("bo@example.com", "correct horse");
    ASSERT_FALSE(token.isEmpty());
    // Thirty-one days later.
    std::ofstream(clockFile) << 31 * 86400;
    EXPECT_EQ(501, ServiceCode(shell_test::PostToService("/lumo/user/token/check",
                                                         {{"token", token}, {"platform", "macosx"}})));
    ASSERT_NE(nullptr, SplashOpens<LoginWindow>());
    EXPECT_EQ("", Stored("TOKEN").toString());
    timed.Stop();
}

TEST_F(OnlineWindowsTest, OfflineASessionConfirmed29DaysAgoStillOpensTheMainWindow)
{
    Store("TOKEN", "some-session");
    Store("UPDATE_TOKEN", YuvLumoUtil::getTime() - 29 * 86400);
    qputenv("YUVLUMO_SERVICE_URL", "https://127.0.0.1:" + QByteArray::number(ClosedPort()));
    ASSERT_NE(nullptr, SplashOpens<MainWindow>());
    EXPECT_EQ("some-session", Stored("TOKEN").toString());
}

TEST_F(OnlineWindowsTest, OfflineASessionConfirmed31DaysAgoOpensTheLoginWindow)
{
    Store("TOKEN", "some-session");
    Store("UPDATE_TOKEN", YuvLumoUtil::getTime() - 31 * 86400);
    qputenv("YUVLUMO_SERVICE_URL", "https://127.0.0.1:" + QByteArray::number(ClosedPort()));
    ASSERT_NE(nullptr, SplashOpens<LoginWindow>());
    // Without an answer the token is kept for the next start.
    EXPECT_EQ("some-session", Stored("TOKEN").toString());
}

// The one test that waits out the request deadline: a service that sends
// its answer a byte a second once held the splash for over a minute.
TEST_F(OnlineWindowsTest, AServiceAnsweringAByteASecondEndsTheSplashAtTheDeadlineAsOffline)
{
    const auto trickle = Misbehaving(lumo_test::MisbehavingService::Kind::Trickle);
    ASSERT_TRUE(trickle->Ready());
    Store("TOKEN", "some-session");
    Store("UPDATE_TOKEN", YuvLumoUtil::getTime() - 86400);
    QElapsedTimer clock;
    clock.start();
    ASSERT_NE(nullptr, SplashOpens<MainWindow>(ServiceRequest::kTimeoutMs + 10000));
    EXPECT_GE(clock.elapsed(), ServiceRequest::kTimeoutMs - 500);
    EXPECT_GT(trickle->BodyBytesSent(), 3);
    // A slow service is no reason to sign the user out.
    EXPECT_EQ("some-session", Stored("TOKEN").toString());
}

TEST_F(OnlineWindowsTest, AServiceAnsweringWithoutEndEndsTheSplashAsOfflineAtOnce)
{
    const auto endless = Misbehaving(lumo_test::MisbehavingService::Kind::Endless);
    ASSERT_TRUE(endless->Ready());
    Store("TOKEN", "some-session");
    Store("UPDATE_TOKEN", YuvLumoUtil::getTime() - 31 * 86400);
    QElapsedTimer clock;
    clock.start();
    ASSERT_NE(nullptr, SplashOpens<LoginWindow>());
    EXPECT_LT(clock.elapsed(), ServiceRequest::kTimeoutMs / 2);
    EXPECT_EQ("some-session", Stored("TOKEN").toString());
    EXPECT_LT(endless->BodyBytesSent(), 32 * 1024 * 1024);
}

TEST_F(OnlineWindowsTest, LoginFormCarriesItsFieldsAndLinksToTheServicePages)
{
    shell_test::UrlCatcher links;
    LoginWindow* login = Login();
    EXPECT_EQ(QLineEdit::Password, login->findChild<QLineEdit*>("password_line_edit")->echoMode());
    EXPECT_EQ(" (无账号用户请先注册  作者用爱发电 也请配合注册）", login->findChild<QLabel*>("sug_label")->text());
    EXPECT_NE(nullptr, login->findChild<QLabel*>("login_label"));
    QLabel* reg = login->findChild<QLabel*>("regiest_label");
    QLabel* forgot = login->findChild<QLabel*>("forget_pw_label");
    EXPECT_TRUE(reg->text().contains("注册账号"));
    emit reg->linkActivated(ServiceRequest::Url("/register").toString());
    emit forgot->linkActivated(ServiceRequest::Url("/forgot").toString());
    ASSERT_EQ(2, links.urls.size());
    EXPECT_EQ(QString::fromUtf8(url) + "/register", links.urls[0].toString());
    EXPECT_EQ(QString::fromUtf8(url) + "/forgot", links.urls[1].toString());
    EXPECT_TRUE(reg->text().contains(QString::fromUtf8(url) + "/register"));
    EXPECT_TRUE(forgot->text().contains(QString::fromUtf8(url) + "/forgot"));
}

TEST_F(OnlineWindowsTest, EmptyFieldsAreAskedForBeforeAnyRequest)
{
    shell_test::MessageBoxWatcher boxes;
    LoginWindow* login = Login();
    Type(login, "", "x");
    Type(login, "ann@example.com", "");
    EXPECT_EQ((QStringList{"请输入邮箱", "请输入密码"}), boxes.texts);
    EXPECT_EQ((QStringList{"请输入邮箱", "请输入密码"}), boxes.titles);
}

TEST_F(OnlineWindowsTest, AWrongPasswordIsSaidAndClearsTheToken)
{
    shell_test::MessageBoxWatcher boxes;
    Store("TOKEN", "old");
    LoginWindow* login = Login();
    Type(login, "ann@example.com", "wrong horse");
    ASSERT_TRUE(boxes.WaitFor("用户名或密码错误"));
    EXPECT_EQ("", Stored("TOKEN").toString());
    EXPECT_EQ("ann@example.com", Stored("EMAIL").toString());
    EXPECT_TRUE(login->isVisible());
}

TEST_F(OnlineWindowsTest, ASuccessfulLoginStoresTheSessionAndOpensTheMainWindow)
{
    shell_test::MessageBoxWatcher boxes;
    LoginWindow* login = Login();
    Type(login, "ann@example.com", "correct horse");
    ASSERT_TRUE(boxes.WaitFor("登录成功"));
    ASSERT_TRUE(view_test::WaitUntil([] { return !VisibleWindows<MainWindow>().empty(); }));
    EXPECT_FALSE(login->isVisible());
    const QString token = Stored("TOKEN").toString();
    EXPECT_EQ(64, token.size());
    EXPECT_NEAR(YuvLumoUtil::getTime(), Stored("UPDATE_TOKEN").toLongLong(), 30);
    EXPECT_EQ(200, ServiceCode(shell_test::PostToService("/lumo/user/token/check",
                                                         {{"token", token}, {"platform", "macosx"}})));
}

TEST_F(OnlineWindowsTest, TheLoginWindowIsReportedEvenSignedOut)
{
    Store("TOKEN", "");
    Store("EMAIL", "");
    // The suite's earlier tests opened login windows too: this one's event
    // is one more.
    auto signedOutLogins = [] {
        return CountEvents([](const QJsonObject& event) {
            return event.value("page").toString() == "loginWindow" &&
                   event.value("info").toString() == "[user_email]; [info] NULL";
        });
    };
    const size_t before = signedOutLogins();
    Login();
    EXPECT_TRUE(view_test::WaitUntil([&] { return signedOutLogins() == before + 1; }, 20000));
}

TEST_F(OnlineWindowsTest, NoServiceMeansANetworkError)
{
    shell_test::MessageBoxWatcher boxes;
    qputenv("YUVLUMO_SERVICE_URL", "https://127.0.0.1:" + QByteArray::number(ClosedPort()));
    Type(Login(), "ann@example.com", "correct horse");
    EXPECT_TRUE(boxes.WaitFor("网络错误"));
}

TEST_F(OnlineWindowsTest, AServiceAnsweringGarbageMeansANetworkError)
{
    shell_test::MessageBoxWatcher boxes;
    BadService garbage(true);
    qputenv("YUVLUMO_SERVICE_URL", garbage.Url());
    Type(Login(), "ann@example.com", "correct horse");
    EXPECT_TRUE(boxes.WaitFor("网络错误"));
}

TEST_F(OnlineWindowsTest, AServiceThatNeverAnswersTimesOutWithoutFreezingTheWindow)
{
    shell_test::MessageBoxWatcher boxes;
    BadService silent(false);
    qputenv("YUVLUMO_SERVICE_URL", silent.Url());
    LoginWindow* login = Login();
    QElapsedTimer clock;
    clock.start();
    Type(login, "ann@example.com", "correct horse");
    // The window stays responsive: the click returned at once.
    EXPECT_LT(clock.elapsed(), 1000);
    // The deadline itself is waited out by the splash's test; here it is
    // brought forward.
    QList<QNetworkReply*> replies = login->findChildren<QNetworkReply*>();
    ASSERT_EQ(1, replies.size());
    QTimer* deadline = replies.front()->findChild<QTimer*>("deadline");
    ASSERT_NE(nullptr, deadline);
    EXPECT_EQ(ServiceRequest::kTimeoutMs, deadline->interval());
    deadline->start(0);
    ASSERT_TRUE(boxes.WaitFor("网络错误"));
    EXPECT_LT(clock.elapsed(), ServiceRequest::kTimeoutMs - 2000);
}

TEST_F(OnlineWindowsTest, FeedbackIsStoredForTheSignedInAccount)
{
    shell_test::MessageBoxWatcher boxes;
    ASSERT_FALSE(shell_test::SignIn("ann@example.com", "correct horse").isEmpty());
    auto* feedback = new FeedbackWindow(nullptr);
    feedback->show();
    EXPECT_EQ("问题反馈", feedback->windowTitle());
    EXPECT_EQ("请将您的问题输入下方输入框之后提交", feedback->findChild<QLabel*>("feedback_label")->text());
    EXPECT_EQ("提交反馈", feedback->findChild<QPushButton*>("submit_btn")->text());
    feedback->findChild<QTextEdit*>("feedback_text_edit")->setPlainText("直方图太窄 & the ruler=wrong");
    QTest::mouseClick(feedback->findChild<QPushButton*>("submit_btn"), Qt::LeftButton);
    ASSERT_TRUE(boxes.WaitFor("提交成功 请关注您的登录邮箱邮件"));
    EXPECT_FALSE(feedback->isVisible());
    const std::string stored = service->Process().Operator({"feedback"}).out;
    EXPECT_NE(std::string::npos, stored.find("直方图太窄 & the ruler=wrong")) << stored;
    EXPECT_NE(std::string::npos, stored.find("ann@example.com")) << stored;
}

TEST_F(OnlineWindowsTest, FeedbackWithoutAValidSessionStaysOpenWithTheReason)
{
    shell_test::MessageBoxWatcher boxes;
    Store("TOKEN", "not-a-session");
    auto* feedback = new FeedbackWindow(nullptr);
    feedback->show();
    QTest::mouseClick(feedback->findChild<QPushButton*>("submit_btn"), Qt::LeftButton);
    ASSERT_TRUE(view_test::WaitUntil([&] { return !boxes.texts.isEmpty(); }));
    EXPECT_TRUE(boxes.texts.first().startsWith("提交失败 ")) << boxes.texts.first().toStdString();
    EXPECT_GT(boxes.texts.first().size(), 5);
    EXPECT_TRUE(feedback->isVisible());
}

TEST_F(OnlineWindowsTest, TheNewVersionDialogLinksToTheDownloadPage)
{
    shell_test::UrlCatcher links;
    Store("TOKEN", "a-token");
    Store("EMAIL", "cy@example.com");
    NewVersionDiglog dialog("3.1.0");
    EXPECT_EQ("检查到新版本", dialog.windowTitle());
    EXPECT_EQ("发现新版本：3.1.0", dialog.findChild<QLabel*>("version_label")->text());
    QLabel* link = dialog.findChild<QLabel*>("download_label");
    EXPECT_TRUE(link->text().contains("点击下载"));
    EXPECT_TRUE(link->text().contains("color:#0000ff"));
    emit link->linkActivated(ServiceRequest::Url("/download").toString());
    ASSERT_EQ(1, links.urls.size());
    EXPECT_EQ(QString::fromUtf8(url) + "/download", links.urls[0].toString());
    bool reported = false;
    for (const QJsonObject& event : service->WaitForEventsMentioning("cy@example.com", 1)) {
        reported = reported || event.value("action").toString() == "TopTabUpdateBlockDownload";
    }
    EXPECT_TRUE(reported);
}

TEST_F(OnlineWindowsTest, AboutShowsTheToolTheVersionAndOpensItsSiteOutside)
{
    shell_test::UrlCatcher links;
    Store("TOKEN", "a-token");
    Store("EMAIL", "dee@example.com");
    AboutWindow about(nullptr);
    EXPECT_EQ("关于这两个工程师", about.windowTitle());
    EXPECT_EQ(QSize(519, 329), about.size());
    QLabel* version = about.findChild<QLabel*>("versionLabel");
    EXPECT_EQ("YuvLumo 3.0.0", version->text());
    EXPECT_TRUE(version->alignment().testFlag(Qt::AlignRight));
    QTextBrowser* intro = about.findChild<QTextBrowser*>("introTextBrowser");
    const QString text = intro->toPlainText();
    for (const char* piece : {"YUV Lumo", "更好用、更全面、更强大的YUV图像视频分析工具", "作者（排名不分先后）Nioplib:", "官网"}) {
        EXPECT_TRUE(text.contains(QString::fromUtf8(piece))) << piece;
    }
    EXPECT_FALSE(intro->openLinks());
    const QUrl before = intro->source();
    emit intro->anchorClicked(ServiceRequest::Url("/about"));
    ASSERT_EQ(1, links.urls.size());
    EXPECT_EQ(QString::fromUtf8(url) + "/about", links.urls[0].toString());
    EXPECT_EQ(before, intro->source());
    EXPECT_TRUE(intro->toPlainText().contains("官网"));
    // One report of the opening, one of the click (posts may arrive in
    // either order).
    QStringList actions;
    for (const QJsonObject& event : service->WaitForEventsMentioning("dee@example.com", 2)) {
        actions.append(event.value("block").toString() + "/" + event.value("action").toString());
    }
    actions.sort();
    EXPECT_EQ((QStringList{"AboutDevelopers/AboutArdenoClick", "AboutDevelopers/NULL"}), actions);
}

TEST_F(OnlineWindowsTest, TokenManagerKeepsNothing)
{
    TokenManager tokens;
    tokens.SaveToken("kept-nowhere");
    EXPECT_EQ("", tokens.GetToken());
}
