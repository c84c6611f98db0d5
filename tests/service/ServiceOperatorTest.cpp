// The operator's commands, run beside the serving process.
#include "ServiceFixture.h"
#include "TextLines.h"

#include <QJsonDocument>

using namespace lumo_test;

namespace {

class ServiceOperatorTest : public ServiceFixture {
protected:
    void PostEvent(const std::string& info) const
    {
        ASSERT_EQ(200, Post("/lumo/user/anchor/anchor",
                            Form({{"type", "INFO"},
                                  {"version", "3.0.0"},
                                  {"platform", "Linux"},
                                  {"app", "YUVLumo"},
                                  {"page", "p"},
                                  {"block", "b"},
                                  {"action", "a"},
                                  {"info", info}}))
                           .Code());
    }

    static std::vector<std::string> Infos(const std::string& listing)
    {
        std::vector<std::string> infos;
        for (const std::string& line : SplitLines(listing)) {
            infos.push_back(QJsonDocument::fromJson(QByteArray::fromStdString(line))
                                .object()
                                .value("info")
                                .toString()
                                .toStdString());
        }
        return infos;
    }
};

} // namespace

TEST_F(ServiceOperatorTest, UserAddReadsThePasswordFromStandardInput)
{
    const ToolResult added = Operator({"user", "add", "Ann@Example.com"}, "correct horse\n");
    EXPECT_EQ(0, added.exitCode);
    EXPECT_EQ("added Ann@Example.com\n", added.out);
    EXPECT_EQ(200, Login("ann@example.com", "correct horse").Code());
}

TEST_F(ServiceOperatorTest, UserAddRefusesWhatRegistrationRefuses)
{
    EXPECT_EQ(1, Operator({"user", "add", "not-an-address"}, "correct horse\n").exitCode);
    EXPECT_EQ(1, Operator({"user", "add", "ann@example.com"}, "short\n").exitCode);
    EXPECT_EQ(1, Operator({"user", "add", "ann@example.com"}, "ann@example.com\n").exitCode);
    EXPECT_EQ(1, Operator({"user", "add", "ann@example.com"}, "").exitCode);
    EXPECT_NE(std::string::npos, LogText().find("no password on standard input"));
    AddUser("ann@example.com", "correct horse");
    EXPECT_EQ(1, Operator({"user", "add", "ANN@example.com"}, "another one\n").exitCode);
    EXPECT_NE(std::string::npos, LogText().find("already registered"));
    EXPECT_EQ(200, Login("ann@example.com", "correct horse").Code());
}

TEST_F(ServiceOperatorTest, ResetAndDisableOfAMissingAccountFail)
{
    EXPECT_EQ(1, Operator({"user", "reset", "nobody@example.com"}, "correct horse\n").exitCode);
    EXPECT_EQ(1, Operator({"user", "disable", "nobody@example.com"}).exitCode);
    EXPECT_NE(std::string::npos, LogText().find("no such account"));
}

TEST_F(ServiceOperatorTest, ResetRefusesAShortPasswordAndKeepsTheOldOne)
{
    AddUser("ann@example.com", "correct horse");
    const std::string token = TokenFor("ann@example.com", "correct horse");
    EXPECT_EQ(1, Operator({"user", "reset", "ann@example.com"}, "short\n").exitCode);
    EXPECT_EQ(200, Check(token).Code());
    EXPECT_EQ(200, Login("ann@example.com", "correct horse").Code());
}

TEST_F(ServiceOperatorTest, DisableSaysHowManySessionsEnded)
{
    AddUser("ann@example.com", "correct horse");
    TokenFor("ann@example.com", "correct horse");
    TokenFor("ann@example.com", "correct horse");
    const ToolResult disabled = Operator({"user", "disable", "ann@example.com"});
    EXPECT_EQ(0, disabled.exitCode);
    EXPECT_EQ("disabled ann@example.com; 2 sessions ended\n", disabled.out);
}

TEST_F(ServiceOperatorTest, VersionSetPrintsWhatItStoredAndRefusesNonsense)
{
    const ToolResult set = Operator({"version", "set", "YUVLumo", "3.2.1"});
    EXPECT_EQ(0, set.exitCode);
    EXPECT_EQ("YUVLumo 3.2.1\n", set.out);
    EXPECT_EQ(1, Operator({"version", "set", "YUVLumo", "3.2-beta"}).exitCode);
    EXPECT_EQ(1, Operator({"version", "set", "YUV Lumo", "3.3"}).exitCode);
    EXPECT_EQ("3.2.1", Post("/lumo/user/version/get_latest_version?app_name=YUVLumo", "").Model("version"));
}

TEST_F(ServiceOperatorTest, EventsPrintOneJsonObjectALineOldestFirst)
{
    PostEvent("first");
    PostEvent("second\nline");
    PostEvent("third");
    const ToolResult all = Operator({"events"});
    ASSERT_EQ(0, all.exitCode);
    EXPECT_EQ((std::vector<std::string> {"first", "second\nline", "third"}), Infos(all.out));
    EXPECT_EQ((std::vector<std::string> {"second\nline", "third"}), Infos(Operator({"events", "--limit", "2"}).out));
    EXPECT_TRUE(Operator({"events", "--limit", "0"}).out.empty());
}

TEST_F(ServiceOperatorTest, FeedbackListHonoursTheLimit)
{
    AddUser("ann@example.com", "correct horse");
    const std::string token = TokenFor("ann@example.com", "correct horse");
    for (const char* text : {"one", "two", "three"}) {
        ASSERT_EQ(200, Post("/lumo/user/feedback/send", Form({{"feedback", text}, {"token", token}})).Code());
    }
    const auto lines = SplitLines(Operator({"feedback", "--limit", "1"}).out);
    ASSERT_EQ(1u, lines.size());
    EXPECT_NE(std::string::npos, lines[0].find("\"feedback\":\"three\""));
}

TEST_F(ServiceOperatorTest, BadCommandLinesExitWith2AndHelpWith0)
{
    EXPECT_EQ(2, RunTool({LUMO_SERVICE_PATH}).exitCode);
    EXPECT_EQ(2, RunTool({LUMO_SERVICE_PATH, "events"}).exitCode);
    EXPECT_EQ(2, Operator({"frobnicate"}).exitCode);
    EXPECT_EQ(2, Operator({"events", "--limit", "x"}).exitCode);
    const ToolResult help = RunTool({LUMO_SERVICE_PATH, "--help"});
    EXPECT_EQ(0, help.exitCode);
    EXPECT_NE(std::string::npos, help.out.find("user add EMAIL"));
}

TEST_F(ServiceOperatorTest, DataFolderThatIsAFileIsRefused)
{
    std::ofstream(work.File("file")) << "x";
    EXPECT_EQ(1, RunTool({LUMO_SERVICE_PATH, "--data", work.File("file"), "events"}, "", std::chrono::seconds(30),
                         work.File("file.log"))
                     .exitCode);
    EXPECT_NE(std::string::npos, ReadWholeFile(work.File("file.log")).find("not a folder"));
}
