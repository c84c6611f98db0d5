// Requests the service must refuse cleanly, and what it must never keep or
// write down.
#include "ServiceFixture.h"

#include <dirent.h>

#include <string>

using namespace lumo_test;

namespace {

constexpr const char* kAnchor = "/lumo/user/anchor/anchor";

class ServiceHardeningTest : public ServiceFixture {
protected:
    size_t StoredEvents() const
    {
        const ToolResult listed = Operator({"events"});
        EXPECT_EQ(0, listed.exitCode);
        return static_cast<size_t>(std::count(listed.out.begin(), listed.out.end(), '\n'));
    }

    static void ExpectJsonRefusal(const Answer& answer, int status)
    {
        ASSERT_TRUE(answer.reached);
        EXPECT_EQ(status, answer.status) << answer.body;
        EXPECT_EQ(status, answer.Code()) << answer.body;
        EXPECT_FALSE(answer.Message().empty());
        EXPECT_EQ("application/json; charset=utf-8", answer.headers.find("Content-Type")->second);
    }
};

} // namespace

TEST_F(ServiceHardeningTest, MissingFieldIsNamedInA400)
{
    const Answer answer = Post("/lumo/user/login/login", Form({{"email", "a@b.cd"}}));
    ExpectJsonRefusal(answer, 400);
    EXPECT_NE(std::string::npos, answer.Message().find("password"));
    ExpectJsonRefusal(Post("/lumo/user/token/check", Form({{"token", "x"}})), 400);
    ExpectJsonRefusal(Post("/lumo/user/feedback/send", Form({{"feedback", "x"}})), 400);
    ExpectJsonRefusal(Post(kAnchor, Form({{"type", "INFO"}})), 400);
    EXPECT_EQ(0u, StoredEvents());
}

TEST_F(ServiceHardeningTest, WrongOrMissingContentTypeIs415)
{
    ExpectJsonRefusal(Post(kAnchor, EventForm("x"), "application/json"), 415);
    ExpectJsonRefusal(Post(kAnchor, EventForm("x"), "text/plain"), 415);
    ExpectJsonRefusal(Post(kAnchor, EventForm("x"), ""), 415);
    EXPECT_EQ(0u, StoredEvents());
}

TEST_F(ServiceHardeningTest, ContentTypeWithACharsetIsAccepted)
{
    EXPECT_EQ(200, Post(kAnchor, EventForm("x"), "application/x-www-form-urlencoded; charset=UTF-8").Code());
}

TEST_F(ServiceHardeningTest, BadEncodingIs400)
{
    ExpectJsonRefusal(Post(kAnchor, EventForm("x") + "%zz"), 400);
    ExpectJsonRefusal(Post(kAnchor, EventForm("x") + "%FF"), 400);
    ExpectJsonRefusal(Post(kAnchor, EventForm("x") + "&info=again"), 400);
    ExpectJsonRefusal(Post(kAnchor, EventForm(std::string("a\0b", 3))), 400);
    EXPECT_EQ(0u, StoredEvents());
}

TEST_F(ServiceHardeningTest, ARepeatedFieldOfAnyNameIsRefusedInAShortAnswer)
{
    // 10,000 control characters, each escaped in JSON as six bytes, would
    // come back as 60,000 bytes if the reason quoted the name whole.
    std::string name;
    for (int i = 0; i < 10000; ++i) {
        name += "%01";
    }
    const Answer answer = Post(kAnchor, name + "=1&" + name + "=2");
    ExpectJsonRefusal(answer, 400);
    EXPECT_NE(std::string::npos, answer.Message().find("given more than once")) << answer.body;
    EXPECT_LT(answer.body.size(), 1024u);
    EXPECT_EQ(0u, StoredEvents());
}

TEST_F(ServiceHardeningTest, FieldOverItsLimitIs400)
{
    const Answer answer = Post(kAnchor, EventForm(std::string(16 * 1024 + 1, 'x')));
    ExpectJsonRefusal(answer, 400);
    EXPECT_NE(std::string::npos, answer.Message().find("info"));
    ExpectJsonRefusal(Post("/lumo/user/token/check", Form({{"token", std::string(129, 'a')}, {"platform", "x"}})), 400);
    EXPECT_EQ(200, Post(kAnchor, EventForm(std::string(16 * 1024, 'x'))).Code());
}

TEST_F(ServiceHardeningTest, BodyOver64KiBIs413AndTheConnectionStaysUsable)
{
    auto client = Client();
    const Answer big = Read(client->Post(kAnchor, EventForm(std::string(64 * 1024, 'x')), kFormType));
    ExpectJsonRefusal(big, 413);
    const Answer next = Read(client->Post(kAnchor, EventForm("after"), kFormType));
    EXPECT_EQ(200, next.Code());
    EXPECT_EQ(1u, StoredEvents());
}

TEST_F(ServiceHardeningTest, ChunkedBodyOver64KiBIs413)
{
    auto client = Client();
    const std::string body = EventForm(std::string(70 * 1024, 'x'));
    size_t offset = 0;
    const httplib::Result result = client->Post(
        kAnchor,
        [&](size_t, httplib::DataSink& sink) {
            const size_t piece = std::min<size_t>(8192, body.size() - offset);
            if (piece == 0) {
                sink.done();
                return true;
            }
            sink.write(body.data() + offset, piece);
            offset += piece;
            return true;
        },
        kFormType);
    ExpectJsonRefusal(Read(result), 413);
    EXPECT_EQ(0u, StoredEvents());
}

TEST_F(ServiceHardeningTest, UnknownPathIsAJson404)
{
    ExpectJsonRefusal(Get("/lumo/user/nothing"), 404);
    ExpectJsonRefusal(Post("/", ""), 404);
}

TEST_F(ServiceHardeningTest, GetOnAFormEndpointIs405)
{
    const Answer answer = Get("/lumo/user/login/login");
    ExpectJsonRefusal(answer, 405);
    EXPECT_EQ("POST", answer.headers.find("Allow")->second);
}

TEST_F(ServiceHardeningTest, EveryAnswerCarriesTheSecurityHeaders)
{
    for (const Answer& answer : {Get("/register"), Get("/about"), Check(""), Get("/missing")}) {
        ASSERT_TRUE(answer.reached);
        const auto csp = answer.headers.find("Content-Security-Policy");
        ASSERT_NE(answer.headers.end(), csp);
        EXPECT_NE(std::string::npos, csp->second.find("default-src 'none'"));
        EXPECT_NE(std::string::npos, csp->second.find("frame-ancestors 'none'"));
        EXPECT_EQ("nosniff", answer.headers.find("X-Content-Type-Options")->second);
        EXPECT_EQ("DENY", answer.headers.find("X-Frame-Options")->second);
        EXPECT_EQ("no-referrer", answer.headers.find("Referrer-Policy")->second);
        EXPECT_NE(answer.headers.end(), answer.headers.find("Strict-Transport-Security"));
    }
}

TEST_F(ServiceHardeningTest, NoPasswordOrTokenReachesTheLogOrTheDatabaseInTheClear)
{
    const std::string password = "Very-Secret-Passw0rd";
    AddUser("ann@example.com", password);
    const std::string token = TokenFor("ann@example.com", password);
    ASSERT_EQ(64u, token.size());
    EXPECT_EQ(200, Check(token).Code());
    EXPECT_EQ(401, Login("ann@example.com", "Another-Secret-Guess").Code());
    EXPECT_EQ(200, Post("/lumo/user/feedback/send", Form({{"feedback", "hello"}, {"token", token}})).Code());
    // A token sent in a query string must not be logged either.
    Get("/lumo/user/version/get_latest_version?app_name=YUVLumo&token=" + token);

    const std::string log = LogText();
    EXPECT_NE(std::string::npos, log.find("POST /lumo/user/login/login 200"));
    EXPECT_EQ(std::string::npos, log.find(password));
    EXPECT_EQ(std::string::npos, log.find("Another-Secret-Guess"));
    EXPECT_EQ(std::string::npos, log.find(token));

    ASSERT_EQ(0, service.Stop());
    DIR* dir = opendir(data.Path().c_str());
    ASSERT_NE(nullptr, dir);
    int filesRead = 0;
    while (dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name.compare(0, 7, "lumo.db") != 0) {
            continue;
        }
        const std::string bytes = ReadWholeFile(data.File(name));
        ++filesRead;
        EXPECT_EQ(std::string::npos, bytes.find(password)) << name;
        EXPECT_EQ(std::string::npos, bytes.find(token)) << name;
    }
    closedir(dir);
    EXPECT_GE(filesRead, 1);
}
