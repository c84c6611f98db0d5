#include "online/ServiceRequest.h"
#include "online/YuvLumoUtil.h"

#include "OnlineTestService.h"

#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QSslCertificate>

#include <memory>

namespace {

// Sets an environment variable for one test and puts back what was there.
class EnvScope {
public:
    EnvScope(const char* name, const QByteArray& value)
        : name(name)
        , had(qEnvironmentVariableIsSet(name))
        , old(qgetenv(name))
    {
        qputenv(name, value);
    }
    ~EnvScope()
    {
        if (had) {
            qputenv(name, old);
        } else {
            qunsetenv(name);
        }
    }

private:
    const char* name;
    bool had;
    QByteArray old;
};

// The finished reply of a post, its error and JSON body.
struct Reply {
    QNetworkReply::NetworkError error = QNetworkReply::UnknownNetworkError;
    QJsonObject json;
};

Reply PostAndWait(const QString& path, const QByteArray& body)
{
    QNetworkAccessManager manager;
    std::unique_ptr<QNetworkReply> reply(ServiceRequest::Post(&manager, path, body));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    EXPECT_TRUE(reply->isFinished() || finished.wait(20000));
    Reply result;
    result.error = reply->error();
    result.json = QJsonDocument::fromJson(reply->readAll()).object();
    return result;
}

class ServiceRequestTest : public lumo_test::ServiceSuite {
protected:
};


} // namespace

TEST(ServiceRequestAddressTest, DefaultIsTheLocalServicesDefaultAddress)
{
    EnvScope url("YUVLUMO_SERVICE_URL", "");
    EXPECT_EQ(QUrl("https://127.0.0.1:8443"), ServiceRequest::BaseUrl());
    EXPECT_EQ(QUrl("https://127.0.0.1:8443/lumo/user/token/check"), ServiceRequest::Url("/lumo/user/token/check"));
}

TEST(ServiceRequestAddressTest, EnvironmentGivesSchemeHostAndPortOnly)
{
    EnvScope url("YUVLUMO_SERVICE_URL", "https://lumo.example.org:9443/ignored/path?x=1");
    EXPECT_EQ(QUrl("https://lumo.example.org:9443"), ServiceRequest::BaseUrl());
    EXPECT_EQ(QUrl("https://lumo.example.org:9443/lumo/user/version/get_latest_version?app_name=YUVLumo"),
              ServiceRequest::Url("/lumo/user/version/get_latest_version?app_name=YUVLumo"));
}

TEST(ServiceRequestAddressTest, AddressWithoutPortUsesHttpsDefault)
{
    EnvScope url("YUVLUMO_SERVICE_URL", "https://lumo.example.org");
    EXPECT_EQ(QUrl("https://lumo.example.org/register"), ServiceRequest::Url("/register"));
}

TEST(ServiceRequestAddressTest, PlainHttpOrNonsenseFallsBackToTheDefault)
{
    for (const char* given : {"http://lumo.example.org:8080", "not a url at all", "https://"}) {
        EnvScope url("YUVLUMO_SERVICE_URL", given);
        EXPECT_EQ(QUrl("https://127.0.0.1:8443"), ServiceRequest::BaseUrl()) << given;
    }
}

TEST(ServiceRequestFormTest, FieldsKeepTheirOrderAndValuesArePercentEncoded)
{
    const QByteArray body =
        ServiceRequest::FormBody({{"b", "x&y=z"}, {"a", "one two+three"}, {"c", "路径@/[]"}, {"d", ""}});
    EXPECT_EQ(QByteArray("b=x%26y%3Dz&a=one%20two%2Bthree&c=%E8%B7%AF%E5%BE%84%40%2F%5B%5D&d="), body);
}

TEST(ServiceRequestFormTest, PostCarriesContentTypeLengthAndVerification)
{
    EnvScope url("YUVLUMO_SERVICE_URL", "https://lumo.example.org:9443");
    const QByteArray body = "token=abc&platform=macosx";
    const QNetworkRequest request = ServiceRequest::FormPost("/lumo/user/token/check", body);
    EXPECT_EQ(QUrl("https://lumo.example.org:9443/lumo/user/token/check"), request.url());
    EXPECT_EQ("application/x-www-form-urlencoded", request.header(QNetworkRequest::ContentTypeHeader).toString());
    EXPECT_EQ(body.size(), request.header(QNetworkRequest::ContentLengthHeader).toInt());
    EXPECT_EQ(QSslSocket::VerifyPeer, request.sslConfiguration().peerVerifyMode());
}

TEST(ServiceRequestFormTest, ContentLengthCountsBytesNotCharacters)
{
    const QByteArray body = "feedback=路径";
    EXPECT_EQ(15, ServiceRequest::FormPost("/x", body).header(QNetworkRequest::ContentLengthHeader).toInt());
}

TEST_F(ServiceRequestTest, ExtraCertificateIsTrustedBesideTheSystemOnes)
{
    const QList<QSslCertificate> expected =
        QSslCertificate::fromPath(QString::fromStdString(service->Process().CertPath()), QSsl::Pem);
    ASSERT_EQ(1, expected.size());
    const QList<QSslCertificate> trusted = ServiceRequest::SslConfiguration().caCertificates();
    EXPECT_TRUE(trusted.contains(expected.first()));
    EXPECT_GT(trusted.size(), 1);
}

TEST_F(ServiceRequestTest, PostReachesTheServiceOverVerifiedHttps)
{
    const Reply reply = PostAndWait("/lumo/user/version/get_latest_version?app_name=YUVLumo", QByteArray());
    EXPECT_EQ(QNetworkReply::NoError, reply.error);
    EXPECT_EQ(200, reply.json.value("code").toInt());
    EXPECT_EQ("3.0.0", reply.json.value("model").toObject().value("version").toString());
}

TEST_F(ServiceRequestTest, WithoutTheExtraCertificateTheServiceIsRefused)
{
    EnvScope ca("YUVLUMO_SERVICE_CA", "");
    const int before = service->AnsweredEvents();
    const Reply reply = PostAndWait("/lumo/user/anchor/anchor", "type=INFO");
    EXPECT_EQ(QNetworkReply::SslHandshakeFailedError, reply.error);
    EXPECT_EQ(before, service->AnsweredEvents());
}

TEST_F(ServiceRequestTest, UnreadableCertificateFileTrustsNothingExtra)
{
    EnvScope ca("YUVLUMO_SERVICE_CA", "/nonexistent/ca.pem");
    EXPECT_EQ(QNetworkReply::SslHandshakeFailedError, PostAndWait("/lumo/user/token/check", "token=&platform=macosx").error);
}

TEST_F(ServiceRequestTest, ServerVersionsDriveTheVersionCheck)
{
    const auto latest = [] {
        return PostAndWait("/lumo/user/version/get_latest_version?app_name=YUVLumo", QByteArray())
            .json.value("model")
            .toObject()
            .value("version")
            .toString();
    };
    EXPECT_EQ(1, YuvLumoUtil::versionCheck("3.0.0", latest()));
    ASSERT_EQ(0, service->Process().Operator({"version", "set", "YUVLumo", "3.0.1"}).exitCode);
    EXPECT_EQ(1, YuvLumoUtil::versionCheck("3.0.0", latest()));
    ASSERT_EQ(0, service->Process().Operator({"version", "set", "YUVLumo", "3.1.0"}).exitCode);
    EXPECT_EQ(0, YuvLumoUtil::versionCheck("3.0.0", latest()));
    ASSERT_EQ(0, service->Process().Operator({"version", "set", "YUVLumo", "3.0.0"}).exitCode);
}
