// The endpoints the application calls, against a real lumo-service.
#include "ServiceFixture.h"
#include "TextLines.h"

#include <QDateTime>
#include <QJsonDocument>

#include <cstdlib>
#include <string>

using namespace lumo_test;

namespace {

constexpr const char* kEmail = "ann@example.com";
constexpr const char* kPassword = "correct horse";
constexpr long long kDay = 24 * 3600;

class ServiceApiTest : public ServiceFixture {
protected:
    void SetUp() override
    {
        ServiceFixture::SetUp();
        AddUser(kEmail, kPassword);
    }

    std::vector<QJsonObject> Records(const char* command) const
    {
        const ToolResult listed = Operator({command});
        EXPECT_EQ(0, listed.exitCode);
        std::vector<QJsonObject> records;
        for (const std::string& line : SplitLines(listed.out)) {
            records.push_back(QJsonDocument::fromJson(QByteArray::fromStdString(line)).object());
        }
        return records;
    }

    Answer SendFeedback(const std::string& text, const std::string& token) const
    {
        return Post("/lumo/user/feedback/send", Form({{"feedback", text}, {"token", token}}));
    }

    static std::vector<std::pair<std::string, std::string>> EventFields(const std::string& info)
    {
        return {{"type", "INFO"},           {"version", "3.0.0"},         {"platform", "Linux"},
                {"app", "YUVLumo"},         {"page", "MainWindow"},       {"block", "NULL"},
                {"action", "NULL"},         {"info", info}};
    }
};

} // namespace

TEST_F(ServiceApiTest, RightPasswordGivesA256BitTokenInTheModel)
{
    const Answer answer = Login(kEmail, kPassword);
    ASSERT_TRUE(answer.reached);
    EXPECT_EQ(200, answer.status);
    EXPECT_EQ(200, answer.Code());
    const std::string token = answer.Model("token");
    EXPECT_EQ(64u, token.size());
    EXPECT_EQ(std::string::npos, token.find_first_not_of("0123456789abcdef"));
}

TEST_F(ServiceApiTest, EmailLetterCaseDoesNotMatterForSignIn)
{
    EXPECT_EQ(200, Login("Ann@EXAMPLE.com", kPassword).Code());
}

TEST_F(ServiceApiTest, WrongPasswordAndUnknownEmailGetTheSameAnswer)
{
    const Answer wrong = Login(kEmail, "wrong password");
    const Answer unknown = Login("nobody@example.com", kPassword);
    EXPECT_EQ(200, wrong.status);
    EXPECT_EQ(401, wrong.Code());
    EXPECT_FALSE(wrong.Message().empty());
    EXPECT_TRUE(wrong.json.value("model").isUndefined());
    EXPECT_EQ(wrong.status, unknown.status);
    EXPECT_EQ(wrong.body, unknown.body);
}

TEST_F(ServiceApiTest, ValidTokenChecksWith200)
{
    const Answer answer = Check(TokenFor(kEmail, kPassword));
    EXPECT_EQ(200, answer.status);
    EXPECT_EQ(200, answer.Code());
}

TEST_F(ServiceApiTest, UnknownMalformedAndEmptyTokensGive502)
{
    EXPECT_EQ(502, Check(std::string(64, 'a')).Code());
    EXPECT_EQ(502, Check("not a token").Code());
    const Answer empty = Check("");
    EXPECT_EQ(200, empty.status);
    EXPECT_EQ(502, empty.Code());
}

TEST_F(ServiceApiTest, SigningInAgainIssuesANewTokenAndKeepsTheOldOne)
{
    const std::string first = TokenFor(kEmail, kPassword);
    const std::string second = TokenFor(kEmail, kPassword);
    EXPECT_NE(first, second);
    EXPECT_EQ(200, Check(first).Code());
    EXPECT_EQ(200, Check(second).Code());
}

TEST_F(ServiceApiTest, SessionExpires30DaysAfterItsLastCheckWith501)
{
    const std::string token = TokenFor(kEmail, kPassword);
    SetClockOffset(30 * kDay + 1);
    const Answer answer = Check(token);
    EXPECT_EQ(200, answer.status);
    EXPECT_EQ(501, answer.Code());
    EXPECT_FALSE(answer.Message().empty());
}

TEST_F(ServiceApiTest, EachSuccessfulCheckStartsAnother30Days)
{
    const std::string token = TokenFor(kEmail, kPassword);
    SetClockOffset(29 * kDay);
    EXPECT_EQ(200, Check(token).Code());
    SetClockOffset(58 * kDay);
    EXPECT_EQ(200, Check(token).Code());
    SetClockOffset(88 * kDay + 1);
    EXPECT_EQ(501, Check(token).Code());
}

TEST_F(ServiceApiTest, PasswordResetEndsOldSessionsAndOnlyTheNewPasswordSignsIn)
{
    const std::string token = TokenFor(kEmail, kPassword);
    const ToolResult reset = Operator({"user", "reset", kEmail}, "a brand new one\n");
    ASSERT_EQ(0, reset.exitCode);
    EXPECT_EQ("reset ann@example.com; 1 sessions ended\n", reset.out);
    EXPECT_EQ(502, Check(token).Code());
    EXPECT_EQ(401, Login(kEmail, kPassword).Code());
    EXPECT_EQ(200, Login(kEmail, "a brand new one").Code());
}

TEST_F(ServiceApiTest, DisabledAccountCannotSignInAndItsSessionsEnd)
{
    const std::string token = TokenFor(kEmail, kPassword);
    ASSERT_EQ(0, Operator({"user", "disable", kEmail}).exitCode);
    EXPECT_EQ(502, Check(token).Code());
    EXPECT_EQ(403, Login(kEmail, kPassword).Code());
    // A wrong password still reads as a wrong password.
    EXPECT_EQ(401, Login(kEmail, "wrong password").Code());
}

TEST_F(ServiceApiTest, FiveFailuresLockTheEmailFromTheirAddressEvenForTheRightPasswordUntilTheWindowPasses)
{
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(401, Login(kEmail, "wrong password").Code());
    }
    const Answer locked = Login(kEmail, kPassword);
    EXPECT_EQ(429, locked.Code());
    EXPECT_NE(std::string::npos, locked.Message().find("15"));
    SetClockOffset(15 * 60);
    EXPECT_EQ(200, Login(kEmail, kPassword).Code());
}

TEST_F(ServiceApiTest, LockedUnknownEmailAnswersLikeALockedKnownOne)
{
    for (int i = 0; i < 5; ++i) {
        Login(kEmail, "wrong password");
        Login("nobody@example.com", "wrong password");
    }
    const Answer known = Login(kEmail, "wrong password");
    const Answer unknown = Login("nobody@example.com", "wrong password");
    EXPECT_EQ(429, known.Code());
    EXPECT_EQ(known.body, unknown.body);
}

TEST_F(ServiceApiTest, FeedbackIsStoredForTheTokensAccount)
{
    const Answer answer = SendFeedback("播放时卡顿 & crash=yes", TokenFor(kEmail, kPassword));
    EXPECT_EQ(200, answer.Code());
    EXPECT_FALSE(answer.Message().empty());
    const auto feedback = Records("feedback");
    ASSERT_EQ(1u, feedback.size());
    EXPECT_EQ(kEmail, feedback[0].value("email").toString().toStdString());
    EXPECT_EQ("播放时卡顿 & crash=yes", feedback[0].value("feedback").toString().toStdString());
    EXPECT_EQ("127.0.0.1", feedback[0].value("address").toString().toStdString());
}

TEST_F(ServiceApiTest, FeedbackWithoutAValidSessionIsRefusedWithAMessage)
{
    const Answer unknown = SendFeedback("text", "");
    EXPECT_EQ(200, unknown.status);
    EXPECT_EQ(502, unknown.Code());
    EXPECT_FALSE(unknown.Message().empty());
    const std::string token = TokenFor(kEmail, kPassword);
    SetClockOffset(31 * kDay);
    EXPECT_EQ(501, SendFeedback("text", token).Code());
    EXPECT_TRUE(Records("feedback").empty());
}

TEST_F(ServiceApiTest, FeedbackOf4000CharactersIsTakenAndOneMoreIsRefused)
{
    const std::string token = TokenFor(kEmail, kPassword);
    std::string longest;
    for (int i = 0; i < 4000; ++i) {
        longest += "字";
    }
    EXPECT_EQ(200, SendFeedback(longest, token).Code());
    const Answer tooLong = SendFeedback(longest + "x", token);
    EXPECT_EQ(200, tooLong.status);
    EXPECT_EQ(413, tooLong.Code());
    EXPECT_NE(std::string::npos, tooLong.Message().find("4000"));
    EXPECT_EQ(1u, Records("feedback").size());
}

TEST_F(ServiceApiTest, EmptyFeedbackIsRefusedWithAMessage)
{
    const Answer answer = SendFeedback("", TokenFor(kEmail, kPassword));
    EXPECT_EQ(400, answer.Code());
    EXPECT_FALSE(answer.Message().empty());
    EXPECT_TRUE(Records("feedback").empty());
}

TEST_F(ServiceApiTest, LatestVersionIs300UntilTheOperatorSetsOne)
{
    const Answer before = Post("/lumo/user/version/get_latest_version?app_name=YUVLumo", "");
    EXPECT_EQ(200, before.Code());
    EXPECT_EQ("3.0.0", before.Model("version"));
    ASSERT_EQ(0, Operator({"version", "set", "YUVLumo", "3.1.0"}).exitCode);
    const Answer after = Post("/lumo/user/version/get_latest_version?app_name=YUVLumo", "");
    EXPECT_EQ("3.1.0", after.Model("version"));
    EXPECT_EQ("3.1.0", Get("/lumo/user/version/get_latest_version?app_name=YUVLumo").Model("version"));
}

TEST_F(ServiceApiTest, VersionOfAnotherAppIsItsOwn)
{
    EXPECT_EQ(404, Post("/lumo/user/version/get_latest_version?app_name=Other", "").Code());
    ASSERT_EQ(0, Operator({"version", "set", "Other", "1.2"}).exitCode);
    EXPECT_EQ("1.2", Post("/lumo/user/version/get_latest_version?app_name=Other", "").Model("version"));
    EXPECT_EQ("3.0.0", Post("/lumo/user/version/get_latest_version?app_name=YUVLumo", "").Model("version"));
}

TEST_F(ServiceApiTest, VersionQueryWithoutOrWithABadAppNameIsRefused)
{
    const Answer missing = Post("/lumo/user/version/get_latest_version", "");
    EXPECT_EQ(400, missing.status);
    EXPECT_EQ(400, missing.Code());
    const Answer bad = Post("/lumo/user/version/get_latest_version?app_name=a%27%3B--", "");
    EXPECT_EQ(400, bad.Code());
}

TEST_F(ServiceApiTest, UsageEventIsStoredWithTimeAndSenderAddress)
{
    const Answer answer = Post("/lumo/user/anchor/anchor", Form(EventFields("[user_email]a@b.cd; [info] NULL")));
    EXPECT_EQ(200, answer.status);
    EXPECT_EQ(200, answer.Code());
    const auto events = Records("events");
    ASSERT_EQ(1u, events.size());
    const QJsonObject& event = events[0];
    EXPECT_EQ("INFO", event.value("type").toString());
    EXPECT_EQ("3.0.0", event.value("version").toString());
    EXPECT_EQ("Linux", event.value("platform").toString());
    EXPECT_EQ("YUVLumo", event.value("app").toString());
    EXPECT_EQ("MainWindow", event.value("page").toString());
    EXPECT_EQ("NULL", event.value("block").toString());
    EXPECT_EQ("NULL", event.value("action").toString());
    EXPECT_EQ("[user_email]a@b.cd; [info] NULL", event.value("info").toString());
    EXPECT_EQ("127.0.0.1", event.value("address").toString());
    const QDateTime time = QDateTime::fromString(event.value("time").toString(), Qt::ISODate);
    ASSERT_TRUE(time.isValid());
    EXPECT_LE(std::abs(time.secsTo(QDateTime::currentDateTimeUtc())), 60);
}

TEST_F(ServiceApiTest, SqlMetacharactersAndNonAsciiInEveryEventFieldAreStoredVerbatim)
{
    const std::string nasty = "'); DROP TABLE events; -- \" \\ %27 路径 ✓";
    std::vector<std::pair<std::string, std::string>> fields;
    for (const char* name : {"type", "version", "platform", "app", "page", "block", "action", "info"}) {
        fields.emplace_back(name, std::string(name) + nasty);
    }
    ASSERT_EQ(200, Post("/lumo/user/anchor/anchor", Form(fields)).Code());
    ASSERT_EQ(200, Post("/lumo/user/anchor/anchor", Form(fields)).Code());
    const auto events = Records("events");
    ASSERT_EQ(2u, events.size());
    for (const auto& field : fields) {
        EXPECT_EQ(field.second, events[1].value(QString::fromStdString(field.first)).toString().toStdString());
    }
}

TEST_F(ServiceApiTest, SqlMetacharactersAndNonAsciiInSignInFieldsAreJustText)
{
    const std::string email = "o'brien%27--@例子.中国";
    const std::string password = "p' OR '1'='1 密码";
    AddUser(email, password);
    EXPECT_EQ(200, Login(email, password).Code());
    EXPECT_EQ(401, Login(email, "' OR '1'='1").Code());
    EXPECT_EQ(401, Login("' OR 1=1 --", "' OR '1'='1").Code());
    const std::string token = TokenFor(email, password);
    EXPECT_EQ(502, Check("' OR 1=1 --").Code());
    EXPECT_EQ(200, SendFeedback("'); DELETE FROM accounts; --", token).Code());
    EXPECT_EQ(200, Login(kEmail, kPassword).Code());
}
