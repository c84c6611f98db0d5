// The web pages, read as a browser without JavaScript would.
#include "ServiceFixture.h"

#include <string>

using namespace lumo_test;

namespace {

// The sign-up form as a browser holds it: its CSRF cookie and hidden value.
struct RegisterForm {
    std::string cookie;
    std::string csrf;
};

class ServicePagesTest : public ServiceFixture {
protected:
    RegisterForm OpenForm() const
    {
        const Answer page = Get("/register");
        RegisterForm form;
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

    Answer Submit(const RegisterForm& form, const std::string& email, const std::string& password,
                  const std::string& again) const
    {
        auto client = Client();
        httplib::Headers headers;
        if (!form.cookie.empty()) {
            headers.emplace("Cookie", form.cookie);
        }
        const std::string body =
            Form({{"csrf", form.csrf}, {"email", email}, {"password", password}, {"password2", again}});
        return Read(client->Post("/register", headers, body, kFormType));
    }

    Answer Register(const std::string& email, const std::string& password, const std::string& again) const
    {
        return Submit(OpenForm(), email, password, again);
    }
};

} // namespace

TEST_F(ServicePagesTest, RegisterFormCarriesACsrfValueAndAStrictCookie)
{
    const Answer page = Get("/register");
    EXPECT_EQ(200, page.status);
    EXPECT_EQ("text/html; charset=utf-8", page.headers.find("Content-Type")->second);
    EXPECT_NE(std::string::npos, page.body.find("注册账号"));
    EXPECT_NE(std::string::npos, page.body.find("Create an account"));
    EXPECT_EQ(std::string::npos, page.body.find("<script"));
    const std::string cookie = page.headers.find("Set-Cookie")->second;
    EXPECT_EQ(0u, cookie.find("__Host-lumo_csrf="));
    EXPECT_NE(std::string::npos, cookie.find("Secure"));
    EXPECT_NE(std::string::npos, cookie.find("HttpOnly"));
    EXPECT_NE(std::string::npos, cookie.find("SameSite=Strict"));
    EXPECT_EQ(64u, OpenForm().csrf.size());
}

TEST_F(ServicePagesTest, RegisteredAccountSignsInThroughTheApi)
{
    const Answer done = Register("new@example.com", "long enough", "long enough");
    EXPECT_EQ(200, done.status);
    EXPECT_NE(std::string::npos, done.body.find("注册成功"));
    EXPECT_NE(std::string::npos, done.body.find("new@example.com"));
    EXPECT_EQ(200, Login("new@example.com", "long enough").Code());
}

TEST_F(ServicePagesTest, PostWithoutTheCookieOrWithAForgedValueIsRefused)
{
    RegisterForm form = OpenForm();
    RegisterForm noCookie = form;
    noCookie.cookie.clear();
    const Answer withoutCookie = Submit(noCookie, "new@example.com", "long enough", "long enough");
    EXPECT_EQ(403, withoutCookie.status);
    EXPECT_NE(std::string::npos, withoutCookie.body.find("表单已过期或无效"));
    RegisterForm forged = form;
    forged.csrf = std::string(64, '0');
    EXPECT_EQ(403, Submit(forged, "new@example.com", "long enough", "long enough").status);
    RegisterForm otherCookie = OpenForm();
    otherCookie.csrf = form.csrf;
    EXPECT_EQ(403, Submit(otherCookie, "new@example.com", "long enough", "long enough").status);
    EXPECT_EQ(401, Login("new@example.com", "long enough").Code());
}

TEST_F(ServicePagesTest, ASubmittedFormCannotBeSentAgain)
{
    const RegisterForm form = OpenForm();
    ASSERT_EQ(200, Submit(form, "new@example.com", "long enough", "long enough").status);
    const Answer replayed = Submit(form, "other@example.com", "long enough", "long enough");
    EXPECT_EQ(403, replayed.status);
    EXPECT_NE(std::string::npos, replayed.body.find("表单已过期或无效"));
    EXPECT_EQ(401, Login("other@example.com", "long enough").Code());
}

TEST_F(ServicePagesTest, AFormRefusedForItsContentIsUsedUpToo)
{
    const RegisterForm form = OpenForm();
    ASSERT_EQ(400, Submit(form, "new@example.com", "long enough", "differs").status);
    EXPECT_EQ(403, Submit(form, "new@example.com", "long enough", "long enough").status);
}

TEST_F(ServicePagesTest, AFormExpiresAnHourAfterItWasServed)
{
    const RegisterForm late = OpenForm();
    const RegisterForm inTime = OpenForm();
    SetClockOffset(3600 - 10);
    EXPECT_EQ(200, Submit(inTime, "first@example.com", "long enough", "long enough").status);
    SetClockOffset(3600);
    const Answer expired = Submit(late, "second@example.com", "long enough", "long enough");
    EXPECT_EQ(403, expired.status);
    EXPECT_NE(std::string::npos, expired.body.find("表单已过期或无效"));
    EXPECT_EQ(200, Register("second@example.com", "long enough", "long enough").status);
}

TEST_F(ServicePagesTest, AnotherProcessServingTheSameCertificateTakesTheFormOnce)
{
    const RegisterForm form = OpenForm();
    LumoServiceProcess other(LUMO_SERVICE_PATH, data.Path(), work.File("other.log"));
    ASSERT_TRUE(other.Start({"--test-clock-offset-file", ClockFile()})) << other.Announcement();
    httplib::SSLClient client("127.0.0.1", other.Port());
    client.set_ca_cert_path(other.CertPath().c_str());
    client.enable_server_certificate_verification(true);
    const httplib::Headers headers {{"Cookie", form.cookie}};
    const std::string body = Form(
        {{"csrf", form.csrf}, {"email", "new@example.com"}, {"password", "long enough"}, {"password2", "long enough"}});
    EXPECT_EQ(200, Read(client.Post("/register", headers, body, kFormType)).status);
    EXPECT_EQ(403, Submit(form, "new@example.com", "long enough", "long enough").status);
}

TEST_F(ServicePagesTest, AServiceWithAnotherKeyRefusesTheForm)
{
    const RegisterForm form = OpenForm();
    TempDir otherData;
    LumoServiceProcess other(LUMO_SERVICE_PATH, otherData.Path(), work.File("other.log"));
    ASSERT_TRUE(other.Start()) << other.Announcement();
    httplib::SSLClient client("127.0.0.1", other.Port());
    client.set_ca_cert_path(other.CertPath().c_str());
    client.enable_server_certificate_verification(true);
    const httplib::Headers headers {{"Cookie", form.cookie}};
    const std::string body = Form(
        {{"csrf", form.csrf}, {"email", "new@example.com"}, {"password", "long enough"}, {"password2", "long enough"}});
    EXPECT_EQ(403, Read(client.Post("/register", headers, body, kFormType)).status);
}

TEST_F(ServicePagesTest, EachFailureGetsItsOwnMessageAndKeepsTheEmail)
{
    struct Case {
        std::string email, password, again;
        int status;
        const char* message;
    };
    AddUser("taken@example.com", "correct horse");
    const std::vector<Case> cases {
        {"not-an-address", "long enough", "long enough", 400, "邮箱地址无效"},
        {"new@example.com", "short", "short", 400, "密码至少需要 8 个字符"},
        {"new@example.com", "New@Example.com", "New@Example.com", 400, "密码不能与邮箱相同"},
        {"new@example.com", "long enough", "long enougH", 400, "两次输入的密码不一致"},
        {"Taken@example.com", "long enough", "long enough", 409, "该邮箱已注册"},
    };
    for (const Case& c : cases) {
        const Answer answer = Register(c.email, c.password, c.again);
        EXPECT_EQ(c.status, answer.status) << c.message;
        EXPECT_NE(std::string::npos, answer.body.find(c.message)) << answer.body;
        EXPECT_NE(std::string::npos, answer.body.find("value=\"" + c.email + "\"")) << c.message;
        EXPECT_NE(std::string::npos, answer.headers.find("Set-Cookie")->second.find("__Host-lumo_csrf="));
    }
    EXPECT_EQ(401, Login("new@example.com", "long enough").Code());
}

TEST_F(ServicePagesTest, EchoedEmailIsEscaped)
{
    const Answer answer = Register("<script>alert(1)</script>\"@x", "long enough", "long enough");
    EXPECT_EQ(400, answer.status);
    EXPECT_EQ(std::string::npos, answer.body.find("<script>"));
    EXPECT_NE(std::string::npos, answer.body.find("&lt;script&gt;alert(1)&lt;/script&gt;&quot;@x"));
}

TEST_F(ServicePagesTest, AnEmailLongerThanAnyAddressIsNotEchoed)
{
    // 20,000 quotes, sent as 60,000 bytes, would come back escaped as 120,000.
    const std::string quotes(20000, '"');
    const Answer answer = Register(quotes + "@example.com", "long enough", "long enough");
    EXPECT_EQ(400, answer.status);
    EXPECT_NE(std::string::npos, answer.body.find("邮箱地址无效"));
    EXPECT_NE(std::string::npos, answer.body.find("required value=\"\">"));
    EXPECT_LT(answer.body.size(), 16u * 1024);
    const std::string longest = std::string(64, 'a') + "@" + std::string(185, 'b') + ".com";
    ASSERT_EQ(254u, longest.size());
    EXPECT_NE(std::string::npos, Register(longest, "short", "short").body.find("value=\"" + longest + "\""));
}

TEST_F(ServicePagesTest, TwentyAccountsAnHourFromOneAddress)
{
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(200, Register("user" + std::to_string(i) + "@example.com", "long enough", "long enough").status);
    }
    const Answer refused = Register("user20@example.com", "long enough", "long enough");
    EXPECT_EQ(429, refused.status);
    EXPECT_NE(std::string::npos, refused.body.find("注册过于频繁"));
    SetClockOffset(3600);
    EXPECT_EQ(200, Register("user20@example.com", "long enough", "long enough").status);
}

TEST_F(ServicePagesTest, MalformedRegisterPostIsAJsonRefusal)
{
    auto client = Client();
    const Answer answer = Read(client->Post("/register", "email=%zz", kFormType));
    EXPECT_EQ(400, answer.status);
    EXPECT_EQ(400, answer.Code());
    EXPECT_EQ(415, Read(client->Post("/register", "{}", "application/json")).status);
}

TEST_F(ServicePagesTest, ForgotPageExplainsTheOperatorReset)
{
    const Answer page = Get("/forgot");
    EXPECT_EQ(200, page.status);
    EXPECT_NE(std::string::npos, page.body.find("忘记密码"));
    EXPECT_NE(std::string::npos, page.body.find("user reset"));
    EXPECT_NE(std::string::npos, page.body.find("operator"));
}

TEST_F(ServicePagesTest, AboutAndDownloadShowTheLatestVersion)
{
    EXPECT_NE(std::string::npos, Get("/about").body.find("<strong id=\"version\">3.0.0</strong>"));
    EXPECT_NE(std::string::npos, Get("/download").body.find("<strong id=\"version\">3.0.0</strong>"));
    ASSERT_EQ(0, Operator({"version", "set", "YUVLumo", "3.4.0"}).exitCode);
    const Answer about = Get("/about");
    EXPECT_NE(std::string::npos, about.body.find("<strong id=\"version\">3.4.0</strong>"));
    EXPECT_NE(std::string::npos, about.body.find("YUV Lumo 是一款"));
    EXPECT_NE(std::string::npos, Get("/download").body.find("<strong id=\"version\">3.4.0</strong>"));
}

TEST_F(ServicePagesTest, StyleSheetIsServedAsCss)
{
    const Answer css = Get("/style.css");
    EXPECT_EQ(200, css.status);
    EXPECT_EQ("text/css; charset=utf-8", css.headers.find("Content-Type")->second);
    EXPECT_NE(std::string::npos, css.body.find("WenQuanYi Micro Hei"));
}
