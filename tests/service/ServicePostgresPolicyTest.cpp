// Throttles, event buckets and forms across two lumo-service processes on
// one PostgreSQL database, both serving the same certificate, and what they
// answer while the database is down.
#include "CertificateMaker.h"
#include "PostgresServer.h"
#include "ServiceFixture.h"
#include "ServiceNode.h"

#include <chrono>
#include <memory>

using namespace lumo_test;

namespace {

constexpr const char* kEmail = "ann@example.com";
constexpr const char* kPassword = "correct horse";
constexpr const char* kAnchorPath = "/lumo/user/anchor/anchor";
constexpr const char* kFormType = "application/x-www-form-urlencoded";
constexpr int kBurst = 120;

std::string EventBody()
{
    return Form({{"type", "INFO"}, {"version", "3.0.0"}, {"platform", "Linux"}, {"app", "YUVLumo"},
                 {"page", "MainWindow"}, {"block", "NULL"}, {"action", "NULL"}, {"info", "shared"}});
}

// The sign-up form as a browser holds it.
struct OpenForm {
    std::string cookie;
    std::string csrf;
};

OpenForm FetchForm(const ServiceNode& node)
{
    const Answer page = ReadAnswer(node.Client()->Get("/register"));
    OpenForm form;
    const auto setCookie = page.headers.find("Set-Cookie");
    if (setCookie != page.headers.end()) {
        form.cookie = setCookie->second.substr(0, setCookie->second.find(';'));
    }
    const std::string marker = "name=\"csrf\" value=\"";
    const size_t start = page.body.find(marker);
    if (start != std::string::npos) {
        const size_t begin = start + marker.size();
        form.csrf = page.body.substr(begin, page.body.find('"', begin) - begin);
    }
    return form;
}

Answer Submit(const ServiceNode& node, const OpenForm& form, const std::string& email)
{
    const httplib::Headers headers {{"Cookie", form.cookie}};
    const std::string body =
        Form({{"csrf", form.csrf}, {"email", email}, {"password", "long enough"}, {"password2", "long enough"}});
    return ReadAnswer(node.Client()->Post("/register", headers, body, kFormType));
}

class ServicePostgresPolicyTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { server = std::make_unique<PostgresServer>(); }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override
    {
        signal(SIGPIPE, SIG_IGN);
        std::string error;
        ASSERT_TRUE(lumo_service::CertificateMaker::Make("127.0.0.1", work.File("cert.pem"), work.File("key.pem"),
                                                         error))
            << error;
        ASSERT_TRUE(server->Start(error)) << error;
        std::string database;
        ASSERT_TRUE(server->CreateDatabase(database, error)) << error;
        url = server->Url(database);
        ASSERT_TRUE(first.Start(url, work.File("cert.pem"), work.File("key.pem"))) << first.Log();
        ASSERT_TRUE(second.Start(url, work.File("cert.pem"), work.File("key.pem"))) << second.Log();
        const ToolResult added = RunTool({LUMO_SERVICE_PATH, "--data", operatorData.Path(), "--db", url, "user", "add",
                                          kEmail},
                                         std::string(kPassword) + "\n", std::chrono::seconds(60),
                                         work.File("operator.log"));
        ASSERT_EQ(0, added.exitCode) << ReadWholeFile(work.File("operator.log"));
    }

    static std::unique_ptr<PostgresServer> server;
    TempDir work;
    TempDir operatorData;
    std::string url;
    ServiceNode first {"first", work};
    ServiceNode second {"second", work};
};

std::unique_ptr<PostgresServer> ServicePostgresPolicyTest::server;

} // namespace

TEST_F(ServicePostgresPolicyTest, FailuresOnOneProcessLockThePairOnTheOther)
{
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(401, (i % 2 == 0 ? first : second).Login(kEmail, "wrong password", "127.0.0.2").Code()) << i;
    }
    EXPECT_EQ(429, first.Login(kEmail, kPassword, "127.0.0.2").Code());
    EXPECT_EQ(429, second.Login(kEmail, kPassword, "127.0.0.2").Code());
    EXPECT_EQ(200, second.Login(kEmail, kPassword, "127.0.0.3").Code());
}

TEST_F(ServicePostgresPolicyTest, OneAddressHasOneEventBucketAcrossBothProcesses)
{
    const auto start = std::chrono::steady_clock::now();
    auto toFirst = first.Client();
    auto toSecond = second.Client();
    toFirst->set_keep_alive(true);
    toSecond->set_keep_alive(true);
    int accepted = 0;
    int status = 200;
    for (int i = 0; i < 400 && status == 200; ++i) {
        status = ReadAnswer((i % 2 == 0 ? toFirst : toSecond)->Post(kAnchorPath, EventBody(), kFormType)).status;
        accepted += status == 200;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(429, status);
    EXPECT_GE(accepted, kBurst);
    EXPECT_LE(accepted, kBurst + static_cast<int>(2 * seconds) + 1);
}

TEST_F(ServicePostgresPolicyTest, AFormServedByOneProcessIsTakenByTheOtherOnce)
{
    const OpenForm form = FetchForm(first);
    ASSERT_FALSE(form.csrf.empty());
    EXPECT_EQ(200, Submit(second, form, "new@example.com").status);
    EXPECT_EQ(403, Submit(first, form, "other@example.com").status);
    EXPECT_EQ(403, Submit(second, form, "other@example.com").status);
}

TEST_F(ServicePostgresPolicyTest, WhileTheDatabaseIsDownSignInEventsAndFormsAnswer503)
{
    const OpenForm form = FetchForm(first);
    server->Stop();
    const Answer signIn = first.Login(kEmail, kPassword);
    EXPECT_EQ(503, signIn.status) << signIn.body;
    EXPECT_EQ(503, signIn.Code());
    const Answer event = second.Post(kAnchorPath, EventBody());
    EXPECT_EQ(503, event.status) << event.body;
    EXPECT_EQ(503, event.Code());
    const Answer signUp = Submit(first, form, "new@example.com");
    EXPECT_EQ(503, signUp.status);
    EXPECT_NE(std::string::npos, signUp.body.find("服务暂时不可用"));
    EXPECT_EQ(503, ReadAnswer(second.Client()->Get("/about")).status);
    std::string error;
    ASSERT_TRUE(server->Start(error)) << error;
    EXPECT_EQ(200, first.Login(kEmail, kPassword).Code());
    EXPECT_EQ(200, second.Post(kAnchorPath, EventBody()).Code());
    EXPECT_EQ(200, Submit(second, FetchForm(second), "new@example.com").status);
}
