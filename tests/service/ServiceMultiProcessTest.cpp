// Two lumo-service processes on one PostgreSQL database, as a deployment
// behind a load balancer runs them.
#include "PostgresServer.h"
#include "ServiceFixture.h"
#include "ServiceNode.h"
#include "TextLines.h"

#include <QJsonDocument>

#include <algorithm>
#include <chrono>
#include <memory>

using namespace lumo_test;

namespace {

class ServiceMultiProcessTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { server = std::make_unique<PostgresServer>(); }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override
    {
        signal(SIGPIPE, SIG_IGN);
        std::string error;
        ASSERT_TRUE(server->Start(error)) << error;
        std::string database;
        ASSERT_TRUE(server->CreateDatabase(database, error)) << error;
        url = server->Url(database);
        ASSERT_TRUE(first.Start(url)) << first.Log();
        ASSERT_TRUE(second.Start(url)) << second.Log();
    }

    ToolResult Operator(const std::vector<std::string>& args, const std::string& input = std::string()) const
    {
        std::vector<std::string> argv {LUMO_SERVICE_PATH, "--data", operatorData.Path(), "--db", url};
        argv.insert(argv.end(), args.begin(), args.end());
        return RunTool(argv, input, std::chrono::seconds(60), work.File("operator.log"));
    }

    void AddUser(const std::string& email, const std::string& password) const
    {
        const ToolResult added = Operator({"user", "add", email}, password + "\n");
        ASSERT_EQ(0, added.exitCode) << ReadWholeFile(work.File("operator.log"));
    }

    static std::vector<std::string> Field(const std::string& listing, const char* name)
    {
        std::vector<std::string> values;
        for (const std::string& line : SplitLines(listing)) {
            values.push_back(QJsonDocument::fromJson(QByteArray::fromStdString(line))
                                 .object()
                                 .value(name)
                                 .toString()
                                 .toStdString());
        }
        std::sort(values.begin(), values.end());
        return values;
    }

    static std::unique_ptr<PostgresServer> server;
    TempDir work;
    TempDir operatorData;
    std::string url;
    ServiceNode first {"first", work};
    ServiceNode second {"second", work};
};

std::unique_ptr<PostgresServer> ServiceMultiProcessTest::server;

} // namespace

TEST_F(ServiceMultiProcessTest, SessionSignedInThroughOneIsValidOnTheOther)
{
    AddUser("ann@example.com", "correct horse");
    const std::string token = first.Token("ann@example.com", "correct horse");
    ASSERT_FALSE(token.empty());
    EXPECT_EQ(200, second.Check(token).Code());
    EXPECT_EQ(200, first.Check(token).Code());
    EXPECT_EQ(502, second.Check(std::string(token.size(), 'A')).Code());
}

TEST_F(ServiceMultiProcessTest, ResetAndDisableAreSeenByBoth)
{
    AddUser("ann@example.com", "correct horse");
    const std::string one = first.Token("ann@example.com", "correct horse");
    const std::string two = second.Token("ann@example.com", "correct horse");
    ASSERT_EQ(0, Operator({"user", "reset", "ann@example.com"}, "battery staple\n").exitCode);
    for (const ServiceNode* node : {&first, &second}) {
        EXPECT_EQ(502, node->Check(one).Code());
        EXPECT_EQ(502, node->Check(two).Code());
        EXPECT_EQ(401, node->Post("/lumo/user/login/login",
                                  Form({{"email", "ann@example.com"}, {"password", "correct horse"}}))
                           .Code());
    }
    const std::string three = second.Token("ann@example.com", "battery staple");
    EXPECT_EQ(200, first.Check(three).Code());
    const ToolResult disabled = Operator({"user", "disable", "ann@example.com"});
    ASSERT_EQ(0, disabled.exitCode);
    EXPECT_EQ("disabled ann@example.com; 1 sessions ended\n", disabled.out);
    for (const ServiceNode* node : {&first, &second}) {
        EXPECT_EQ(502, node->Check(three).Code());
        EXPECT_EQ(403, node->Post("/lumo/user/login/login",
                                  Form({{"email", "ann@example.com"}, {"password", "battery staple"}}))
                           .Code());
    }
}

TEST_F(ServiceMultiProcessTest, EventsAndFeedbackPostedToBothAreListedOnceEach)
{
    AddUser("ann@example.com", "correct horse");
    const std::string token = first.Token("ann@example.com", "correct horse");
    int sent = 0;
    for (const ServiceNode* node : {&first, &second, &first, &second}) {
        const std::string name = std::to_string(sent++);
        ASSERT_EQ(200, node->Post("/lumo/user/anchor/anchor", EventForm("event " + name)).Code());
        ASSERT_EQ(200, node->Post("/lumo/user/feedback/send", Form({{"feedback", "note " + name}, {"token", token}}))
                           .Code());
    }
    const ToolResult events = Operator({"events"});
    ASSERT_EQ(0, events.exitCode);
    EXPECT_EQ((std::vector<std::string> {"event 0", "event 1", "event 2", "event 3"}), Field(events.out, "info"));
    const ToolResult feedback = Operator({"feedback"});
    ASSERT_EQ(0, feedback.exitCode);
    EXPECT_EQ((std::vector<std::string> {"note 0", "note 1", "note 2", "note 3"}), Field(feedback.out, "feedback"));
    EXPECT_EQ((std::vector<std::string>(4, "ann@example.com")), Field(feedback.out, "email"));
}

TEST_F(ServiceMultiProcessTest, DatabaseDownAnswers503PromptlyAndRecoversWithoutRestarts)
{
    AddUser("ann@example.com", "correct horse");
    const std::string token = first.Token("ann@example.com", "correct horse");
    ASSERT_EQ(200, second.Check(token).Code());
    server->Stop();
    for (const ServiceNode* node : {&first, &second}) {
        const auto start = std::chrono::steady_clock::now();
        const Answer answer = node->Check(token);
        const auto elapsed = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(503, answer.status) << answer.body;
        EXPECT_EQ(503, answer.Code());
        EXPECT_LT(elapsed, std::chrono::seconds(5));
    }
    EXPECT_EQ(503, first.Post("/lumo/user/anchor/anchor", EventForm("while down")).status);
    EXPECT_EQ(503, second.Post("/lumo/user/feedback/send", Form({{"feedback", "lost"}, {"token", token}})).status);
    EXPECT_EQ(503, first.Post("/lumo/user/version/get_latest_version?app_name=YUVLumo", "").status);
    std::string error;
    ASSERT_TRUE(server->Start(error)) << error;
    for (const ServiceNode* node : {&first, &second}) {
        const Answer answer = node->Check(token);
        EXPECT_EQ(200, answer.status) << answer.body;
        EXPECT_EQ(200, answer.Code());
    }
    EXPECT_FALSE(second.Token("ann@example.com", "correct horse").empty());
    EXPECT_EQ(200, second.Post("/lumo/user/anchor/anchor", EventForm("after")).Code());
    EXPECT_EQ((std::vector<std::string> {"after"}), Field(Operator({"events"}).out, "info"));
}
