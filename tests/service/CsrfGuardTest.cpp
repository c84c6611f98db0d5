#include "CsrfGuard.h"

#include <gtest/gtest.h>

using lumo_service::CsrfGuard;

class CsrfGuardTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_GE(sodium_init(), 0); }
};

TEST_F(CsrfGuardTest, IssuedPairVerifies)
{
    CsrfGuard guard;
    std::string cookie;
    std::string form;
    guard.Issue(cookie, form);
    EXPECT_EQ(64u, cookie.size());
    EXPECT_TRUE(guard.Verify(cookie, form));
}

TEST_F(CsrfGuardTest, FormValueOfAnotherCookieOrGuardFails)
{
    CsrfGuard guard;
    CsrfGuard restarted;
    std::string cookieA, formA, cookieB, formB;
    guard.Issue(cookieA, formA);
    guard.Issue(cookieB, formB);
    EXPECT_NE(cookieA, cookieB);
    EXPECT_FALSE(guard.Verify(cookieA, formB));
    EXPECT_FALSE(restarted.Verify(cookieA, formA));
}

TEST_F(CsrfGuardTest, EmptyOrMalformedValuesFail)
{
    CsrfGuard guard;
    std::string cookie, form;
    guard.Issue(cookie, form);
    EXPECT_FALSE(guard.Verify("", form));
    EXPECT_FALSE(guard.Verify(cookie, ""));
    EXPECT_FALSE(guard.Verify(cookie, form.substr(1)));
    EXPECT_FALSE(guard.Verify(cookie, std::string(form.size(), 'z')));
    std::string flipped = form;
    flipped[0] = flipped[0] == '0' ? '1' : '0';
    EXPECT_FALSE(guard.Verify(cookie, flipped));
}

TEST_F(CsrfGuardTest, CookieIsSecureHttpOnlyAndStrict)
{
    const std::string header = CsrfGuard::CookieHeader("abc");
    EXPECT_EQ(0u, header.find("__Host-lumo_csrf=abc;"));
    EXPECT_NE(std::string::npos, header.find("Secure"));
    EXPECT_NE(std::string::npos, header.find("HttpOnly"));
    EXPECT_NE(std::string::npos, header.find("SameSite=Strict"));
    EXPECT_NE(std::string::npos, header.find("Path=/"));
}

TEST_F(CsrfGuardTest, CookieIsFoundAmongOthers)
{
    EXPECT_EQ("v1", CsrfGuard::CookieFrom("__Host-lumo_csrf=v1"));
    EXPECT_EQ("v2", CsrfGuard::CookieFrom("a=b; __Host-lumo_csrf=v2; c=d"));
    EXPECT_EQ("", CsrfGuard::CookieFrom("a=b; x__Host-lumo_csrf=v3"));
    EXPECT_EQ("", CsrfGuard::CookieFrom(""));
}
