// The application's network managers: one shared by every usage reporter,
// and all of them ended together at exit; and the bounds on every request
// to the service, against services that answer too slowly or too much.
#include "online/LogManager.h"
#include "online/ReplyLimits.h"
#include "online/ServiceNetwork.h"
#include "online/ServiceReply.h"
#include "online/ServiceRequest.h"

#include "MisbehavingService.h"
#include "NetworkThreads.h"
#include "OnlineTestService.h"
#include "ViewTestSupport.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QSignalSpy>
#include <QTcpServer>

#include <memory>

namespace {

using lumo_test::MisbehavingService;
using lumo_test::NetworkThreads;

class ServiceNetworkTest : public lumo_test::ServiceSuite {
protected:
    void SetUp() override { url = qgetenv("YUVLUMO_SERVICE_URL"); }
    void TearDown() override
    {
        ServiceNetwork::ShutDown();
        qputenv("YUVLUMO_SERVICE_URL", url);
    }

    // Posts to the service now named by the environment and waits for the
    // reply to finish; the reply belongs to manager.
    static QNetworkReply* PostAndWait(QNetworkAccessManager* manager, int limitMs = 20000)
    {
        QNetworkReply* reply = ServiceRequest::Post(manager, "/lumo/user/token/check", "token=t&platform=macosx");
        QSignalSpy finished(reply, &QNetworkReply::finished);
        EXPECT_TRUE(reply->isFinished() || finished.wait(limitMs));
        return reply;
    }

    // Posts to service and expects the answer cut off for its size, well
    // before the deadline, as a network error.
    static QNetworkReply* PostCutOffForSize(MisbehavingService& service, QNetworkAccessManager* manager)
    {
        EXPECT_TRUE(service.Ready());
        qputenv("YUVLUMO_SERVICE_URL", service.Url());
        QElapsedTimer clock;
        clock.start();
        QNetworkReply* reply = PostAndWait(manager);
        EXPECT_LT(clock.elapsed(), ServiceRequest::kTimeoutMs / 2);
        EXPECT_NE(QNetworkReply::NoError, reply->error());
        EXPECT_EQ("answer larger than 65536 bytes", ReplyLimits::Reason(reply).toStdString());
        return reply;
    }

    QByteArray url;
};

TEST_F(ServiceNetworkTest, UsageReportersShareOneNetworkThread)
{
    StoreSession("a-token", "ann@example.com");
    std::vector<std::unique_ptr<LogManager>> reporters;
    for (int i = 0; i < 5; i++) {
        reporters.push_back(std::make_unique<LogManager>());
        reporters.back()->RecordOpenFile(i, i, "I420", "/shared/thread.yuv");
    }
    EXPECT_EQ(5u, service->WaitForEventsMentioning("/shared/thread.yuv", 5).size());
    EXPECT_EQ(1, NetworkThreads());
}

TEST_F(ServiceNetworkTest, ShutDownEndsEveryManagerAndThreadWithoutTellingAnyone)
{
    // A service that takes the connection and never answers.
    QTcpServer silent;
    ASSERT_TRUE(silent.listen(QHostAddress::LocalHost));
    qputenv("YUVLUMO_SERVICE_URL", "https://127.0.0.1:" + QByteArray::number(silent.serverPort()));
    StoreSession("a-token", "ann@example.com");
    QObject window;
    QPointer<QNetworkAccessManager> owned = ServiceNetwork::NewManager(&window);
    int told = 0;
    QObject::connect(owned, &QNetworkAccessManager::finished, [&told] { told++; });
    QPointer<QNetworkReply> reply = ServiceRequest::Post(owned, "/lumo/user/token/check", "token=a-token");
    QObject::connect(reply, &QNetworkReply::finished, [&told] { told++; });
    LogManager().RecordOpenMainWindow();
    QPointer<QNetworkAccessManager> usage = ServiceNetwork::UsageManager();
    ASSERT_TRUE(view_test::WaitUntil([] { return NetworkThreads() == 2; }));
    EXPECT_EQ(2, ServiceNetwork::RequestsUnderWay());

    EXPECT_EQ(2, ServiceNetwork::ShutDown());
    EXPECT_TRUE(owned.isNull());
    EXPECT_TRUE(usage.isNull());
    EXPECT_TRUE(reply.isNull());
    EXPECT_EQ(0, told);
    EXPECT_EQ(0, NetworkThreads());
    EXPECT_EQ(0, ServiceNetwork::RequestsUnderWay());
    // Nothing is left to end, and the next reporter gets a new manager.
    EXPECT_EQ(0, ServiceNetwork::ShutDown());
    EXPECT_NE(nullptr, ServiceNetwork::UsageManager());
}

TEST_F(ServiceNetworkTest, AManagerDeletedWithItsWindowIsNotEndedTwice)
{
    auto* window = new QObject();
    ServiceNetwork::NewManager(window);
    delete window;
    EXPECT_EQ(0, ServiceNetwork::ShutDown());
}

TEST_F(ServiceNetworkTest, AnEndlessAnswerIsCutOffAsANetworkErrorLongBeforeTheDeadline)
{
    MisbehavingService endless(MisbehavingService::Kind::Endless, TlsFolder());
    QNetworkAccessManager manager;
    QNetworkReply* reply = PostCutOffForSize(endless, &manager);
    QJsonObject json {{"untouched", true}};
    EXPECT_FALSE(ReadServiceReply(reply, json));
    EXPECT_TRUE(json.contains("untouched"));
    // The service stopped being read: it could hand over a few buffers'
    // worth, not the 256 MiB it had to send.
    EXPECT_TRUE(view_test::WaitUntil([&] { return endless.ClientLeft(); }));
    EXPECT_LT(endless.BodyBytesSent(), 32 * 1024 * 1024);
}

TEST_F(ServiceNetworkTest, AnAnnouncedHugeBodyIsRefusedAtOnce)
{
    MisbehavingService huge(MisbehavingService::Kind::Huge, TlsFolder());
    QNetworkAccessManager manager;
    PostCutOffForSize(huge, &manager);
}

TEST_F(ServiceNetworkTest, AByteNowAndThenDoesNotPushTheDeadlineBack)
{
    MisbehavingService trickle(MisbehavingService::Kind::Trickle, TlsFolder(), 100);
    ASSERT_TRUE(trickle.Ready());
    qputenv("YUVLUMO_SERVICE_URL", trickle.Url());
    QNetworkAccessManager manager;
    // The request without the service's usual bounds, then a short deadline.
    const QByteArray body = "token=t&platform=macosx";
    QNetworkReply* reply = manager.post(ServiceRequest::FormPost("/lumo/user/token/check", body), body);
    ReplyLimits::Apply(reply, 1500, ServiceRequest::kMaxReplyBytes);
    QSignalSpy finished(reply, &QNetworkReply::finished);
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(finished.wait(10000));
    EXPECT_GE(clock.elapsed(), 1400);
    EXPECT_GT(trickle.BodyBytesSent(), 3);
    EXPECT_NE(QNetworkReply::NoError, reply->error());
    EXPECT_EQ("no complete answer within 1500 ms", ReplyLimits::Reason(reply).toStdString());
    QJsonObject json;
    EXPECT_FALSE(ReadServiceReply(reply, json));
}

TEST_F(ServiceNetworkTest, AnAnswerWithinTheBoundsIsNotCutOff)
{
    QNetworkAccessManager manager;
    QNetworkReply* reply = PostAndWait(&manager);
    EXPECT_EQ(QNetworkReply::NoError, reply->error());
    EXPECT_EQ("", ReplyLimits::Reason(reply).toStdString());
    QJsonObject json;
    EXPECT_TRUE(ReadServiceReply(reply, json));
    EXPECT_NE(-1, ServiceCode(json));
}

} // namespace
