// Starting, certificates, plain HTTP, stopping and being killed.
#include "CertificateMaker.h"
#include "RawTlsConnection.h"
#include "ServiceFixture.h"
#include "TextLines.h"

#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <thread>

using namespace lumo_test;

namespace {

X509* ReadCertificate(const std::string& path)
{
    FILE* file = fopen(path.c_str(), "r");
    if (file == nullptr) {
        return nullptr;
    }
    X509* cert = PEM_read_X509(file, nullptr, nullptr, nullptr);
    fclose(file);
    return cert;
}

class ServiceLifecycleTest : public ServiceFixture {
protected:
    size_t StoredEvents() const
    {
        return SplitLines(Operator({"events"}).out).size();
    }
};

} // namespace

TEST_F(ServiceLifecycleTest, FirstStartWritesASelfSignedCertificateForLocalhostAndAnOwnerOnlyKey)
{
    X509* cert = ReadCertificate(service.CertPath());
    ASSERT_NE(nullptr, cert);
    EXPECT_EQ(1, X509_check_host(cert, "localhost", 0, 0, nullptr));
    EXPECT_EQ(1, X509_check_ip_asc(cert, "127.0.0.1", 0));
    EXPECT_EQ(0, X509_check_host(cert, "example.com", 0, 0, nullptr));
    EXPECT_EQ(0, X509_NAME_cmp(X509_get_subject_name(cert), X509_get_issuer_name(cert)));
    EVP_PKEY* key = X509_get0_pubkey(cert);
    EXPECT_EQ(1, X509_verify(cert, key));
    X509_free(cert);
    struct stat info;
    ASSERT_EQ(0, stat(data.File("tls/key.pem").c_str(), &info));
    EXPECT_EQ(0600u, info.st_mode & 0777);
    EXPECT_NE(std::string::npos, LogText().find("wrote a self-signed certificate"));
}

TEST_F(ServiceLifecycleTest, RestartKeepsTheCertificateAndTheData)
{
    const std::string before = ReadWholeFile(service.CertPath());
    ASSERT_EQ(200, Post("/lumo/user/anchor/anchor", EventForm("kept")).Code());
    ASSERT_EQ(0, service.Stop());
    ASSERT_TRUE(StartService());
    EXPECT_EQ(before, ReadWholeFile(service.CertPath()));
    EXPECT_EQ(200, Check("").status);
    EXPECT_EQ(1u, StoredEvents());
}

TEST_F(ServiceLifecycleTest, CertificateNamesTheListenHostToo)
{
    std::string error;
    ASSERT_TRUE(lumo_service::CertificateMaker::Make("lumo.example.org", work.File("c.pem"), work.File("k.pem"), error))
        << error;
    X509* cert = ReadCertificate(work.File("c.pem"));
    ASSERT_NE(nullptr, cert);
    EXPECT_EQ(1, X509_check_host(cert, "lumo.example.org", 0, 0, nullptr));
    EXPECT_EQ(1, X509_check_host(cert, "localhost", 0, 0, nullptr));
    X509_free(cert);
}

TEST_F(ServiceLifecycleTest, CertificateIsNotWrittenOverAnExistingFile)
{
    std::ofstream(work.File("k.pem")) << "mine";
    std::string error;
    EXPECT_FALSE(lumo_service::CertificateMaker::Make("localhost", work.File("c.pem"), work.File("k.pem"), error));
    EXPECT_FALSE(error.empty());
    EXPECT_EQ("mine", ReadWholeFile(work.File("k.pem")));
}

TEST_F(ServiceLifecycleTest, LoneCertificateStopsTheStartWithAReason)
{
    ASSERT_EQ(0, service.Stop());
    ASSERT_EQ(0, std::remove(data.File("tls/key.pem").c_str()));
    EXPECT_FALSE(StartService());
    EXPECT_EQ(1, service.Stop());
    EXPECT_NE(std::string::npos, LogText().find("exists without"));
}

TEST_F(ServiceLifecycleTest, GivenCertificateAndKeyAreServed)
{
    ASSERT_EQ(0, service.Stop());
    std::string error;
    ASSERT_TRUE(lumo_service::CertificateMaker::Make("127.0.0.1", work.File("c.pem"), work.File("k.pem"), error));
    TempDir other;
    LumoServiceProcess given(LUMO_SERVICE_PATH, other.Path(), work.File("given.log"));
    ASSERT_TRUE(given.Start({"--cert", work.File("c.pem"), "--key", work.File("k.pem")})) << given.Announcement();
    httplib::SSLClient client("127.0.0.1", given.Port());
    client.set_ca_cert_path(work.File("c.pem").c_str());
    client.enable_server_certificate_verification(true);
    const httplib::Result result = client.Get("/about");
    ASSERT_TRUE(result);
    EXPECT_EQ(200, result->status);
    struct stat info;
    EXPECT_NE(0, stat(other.File("tls").c_str(), &info));
}

TEST_F(ServiceLifecycleTest, AGivenKeyThatCannotBeReadStopsTheStart)
{
    ASSERT_EQ(0, service.Stop());
    std::string error;
    ASSERT_TRUE(lumo_service::CertificateMaker::Make("127.0.0.1", work.File("c.pem"), work.File("k.pem"), error));
    EXPECT_FALSE(StartService({"--cert", work.File("c.pem"), "--key", work.File("missing.pem")}));
    EXPECT_EQ(1, service.Stop());
    EXPECT_NE(std::string::npos, LogText().find("cannot read the key " + work.File("missing.pem")));
}

TEST_F(ServiceLifecycleTest, UnreadableGivenCertificateStopsTheStart)
{
    ASSERT_EQ(0, service.Stop());
    std::ofstream(work.File("bad.pem")) << "not a certificate";
    EXPECT_FALSE(StartService({"--cert", work.File("bad.pem"), "--key", work.File("bad.pem")}));
    EXPECT_EQ(1, service.Stop());
    EXPECT_NE(std::string::npos, LogText().find("cannot load the certificate"));
}

TEST_F(ServiceLifecycleTest, ClientThatDoesNotTrustTheCertificateIsRefused)
{
    httplib::SSLClient client("127.0.0.1", service.Port());
    client.enable_server_certificate_verification(true);
    const httplib::Result result = client.Get("/about");
    EXPECT_FALSE(result);
}

TEST_F(ServiceLifecycleTest, PlainHttpGetsNoHttpAnswer)
{
    httplib::Client plain("127.0.0.1", service.Port());
    plain.set_read_timeout(10);
    const httplib::Result result = plain.Get("/about");
    EXPECT_FALSE(result);
    // The service is still there for HTTPS.
    EXPECT_EQ(200, Get("/about").status);
}

TEST_F(ServiceLifecycleTest, PortInUseStopsTheSecondServiceWithAReason)
{
    TempDir other;
    const ToolResult second = RunTool({LUMO_SERVICE_PATH, "serve", "--data", other.Path(), "--listen",
                                       "127.0.0.1:" + std::to_string(service.Port())},
                                      "", std::chrono::seconds(30), work.File("second.log"));
    EXPECT_EQ(1, second.exitCode);
    EXPECT_NE(std::string::npos, ReadWholeFile(work.File("second.log")).find("cannot listen"));
}

TEST_F(ServiceLifecycleTest, KillNineRightAfterTheAnswersLosesNothing)
{
    AddUser("ann@example.com", "correct horse");
    const std::string token = TokenFor("ann@example.com", "correct horse");
    constexpr int kThreads = 8;
    constexpr int kEach = 10;
    std::atomic<int> answered {0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            auto client = Client();
            for (int i = 0; i < kEach; ++i) {
                const std::string info = std::to_string(t) + "/" + std::to_string(i);
                if (Read(client->Post("/lumo/user/anchor/anchor", EventForm(info), kFormType)).Code() == 200) {
                    ++answered;
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const Answer feedback = Post("/lumo/user/feedback/send", Form({{"feedback", "last words"}, {"token", token}}));
    ASSERT_EQ(200, feedback.Code());
    service.Signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, service.Stop());

    EXPECT_EQ(kThreads * kEach, answered.load());
    EXPECT_EQ(static_cast<size_t>(answered.load()), StoredEvents());
    EXPECT_NE(std::string::npos, Operator({"feedback"}).out.find("last words"));
    ASSERT_TRUE(StartService());
    EXPECT_EQ(200, Check(token).Code());
}

TEST_F(ServiceLifecycleTest, SigtermAnswersTheRequestUnderWayThenExitsCleanly)
{
    const std::string body = EventForm("in flight");
    RawTlsConnection connection(service.Port(), service.CertPath());
    ASSERT_TRUE(connection.Connected());
    // "Expect: 100-continue" makes the service say when it has taken the
    // request and waits for the body: from then on the request is under way.
    const std::string head = "POST /lumo/user/anchor/anchor HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                             "Content-Type: application/x-www-form-urlencoded\r\nExpect: 100-continue\r\n"
                             "Content-Length: "
        + std::to_string(body.size()) + "\r\n\r\n";
    ASSERT_TRUE(connection.Write(head));
    ASSERT_EQ(0u, connection.ReadUntil("\r\n\r\n").find("HTTP/1.1 100 Continue"));
    ASSERT_TRUE(connection.Write(body.substr(0, 10)));

    service.Signal(SIGTERM);
    // Wait for the service to say it is stopping: a condition, not a delay.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (LogText().find("stopping after the requests under way") == std::string::npos
           && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ASSERT_NE(std::string::npos, LogText().find("stopping after the requests under way"));
    // No new connections once stopping.
    RawTlsConnection late(service.Port(), service.CertPath());
    EXPECT_FALSE(late.Connected());

    ASSERT_TRUE(connection.Write(body.substr(10)));
    const std::string answer = connection.ReadAll();
    EXPECT_EQ(0u, answer.find("HTTP/1.1 200"));
    EXPECT_NE(std::string::npos, answer.find("{\"code\":200"));
    EXPECT_EQ(0, service.Stop());
    EXPECT_NE(std::string::npos, LogText().find("lumo-service: stopped"));
    EXPECT_NE(std::string::npos, Operator({"events"}).out.find("in flight"));
}
