// Sign-in throttles against a real lumo-service. The service listens on
// 127.0.0.1; clients bound to other loopback addresses (127.0.0.2 and on)
// are the other machines.
#include "ServiceFixture.h"

#include <string>

using namespace lumo_test;

namespace {

constexpr const char* kEmail = "ann@example.com";
constexpr const char* kPassword = "correct horse";
constexpr const char* kSecondsMessage = "登录尝试过于频繁";
constexpr const char* kMinutesMessage = "登录失败次数过多";

class ServiceThrottleTest : public ServiceFixture {
protected:
    void SetUp() override
    {
        ServiceFixture::SetUp();
        AddUser(kEmail, kPassword);
    }

    Answer LoginFrom(const std::string& address, const std::string& email, const std::string& password,
                     const LumoServiceProcess& to) const
    {
        httplib::SSLClient client("127.0.0.1", to.Port());
        client.set_ca_cert_path(to.CertPath().c_str());
        client.enable_server_certificate_verification(true);
        client.set_interface(address);
        return Read(client.Post("/lumo/user/login/login", Form({{"email", email}, {"password", password}}),
                                kFormType));
    }

    Answer LoginFrom(const std::string& address, const std::string& email, const std::string& password) const
    {
        return LoginFrom(address, email, password, service);
    }

    static std::string Machine(int n) { return "127.0.0." + std::to_string(n); }
};

} // namespace

TEST_F(ServiceThrottleTest, TheRealUserElsewhereSignsInAfterAnAttackersFiftyFailures)
{
    // Fifty failures from ten machines, each past the e-mail's delay.
    long long offset = 0;
    for (int i = 0; i < 50; ++i) {
        SetClockOffset(offset);
        ASSERT_EQ(401, LoginFrom(Machine(2 + i % 10), kEmail, "wrong password").Code()) << i;
        offset += 5;
    }
    const Answer delayed = Login(kEmail, kPassword);
    EXPECT_EQ(200, delayed.status);
    EXPECT_EQ(429, delayed.Code());
    EXPECT_NE(std::string::npos, delayed.Message().find(kSecondsMessage)) << delayed.Message();
    EXPECT_NE(std::string::npos, delayed.Message().find("5 seconds")) << delayed.Message();
    SetClockOffset(offset);
    EXPECT_EQ(200, Login(kEmail, kPassword).Code());
}

TEST_F(ServiceThrottleTest, AFloodOfFailuresDelaysTheEmailBySecondsOnly)
{
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(401, LoginFrom(Machine(2 + i), kEmail, "wrong password").Code()) << i;
    }
    // The eleventh machine is slowed as well: failures come a few seconds
    // apart at most, whoever makes them.
    EXPECT_EQ(429, LoginFrom(Machine(12), kEmail, "wrong password").Code());
    const Answer delayed = Login(kEmail, kPassword);
    EXPECT_EQ(429, delayed.Code());
    EXPECT_NE(std::string::npos, delayed.Message().find("try again in 5 seconds")) << delayed.Message();
    SetClockOffset(5);
    // The attacker, having waited too, fails again just before the user
    // comes back: the user, told to wait, is not held off again.
    EXPECT_EQ(401, LoginFrom(Machine(12), kEmail, "wrong password").Code());
    EXPECT_EQ(429, LoginFrom(Machine(13), kEmail, kPassword).Code());
    EXPECT_EQ(200, Login(kEmail, kPassword).Code());
}

TEST_F(ServiceThrottleTest, TheAttackersOwnPairIsLockedForTheWindow)
{
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(401, LoginFrom(Machine(2), kEmail, "wrong password").Code()) << i;
    }
    const Answer locked = LoginFrom(Machine(2), kEmail, kPassword);
    EXPECT_EQ(429, locked.Code());
    EXPECT_NE(std::string::npos, locked.Message().find(kMinutesMessage)) << locked.Message();
    EXPECT_NE(std::string::npos, locked.Message().find("15 minutes")) << locked.Message();
    EXPECT_EQ(200, LoginFrom(Machine(3), kEmail, kPassword).Code());
    EXPECT_EQ(200, Login(kEmail, kPassword).Code());
    SetClockOffset(14 * 60);
    EXPECT_EQ(429, LoginFrom(Machine(2), kEmail, kPassword).Code());
    SetClockOffset(15 * 60);
    EXPECT_EQ(200, LoginFrom(Machine(2), kEmail, kPassword).Code());
}

TEST_F(ServiceThrottleTest, TwentyFailuresFromOneAddressThrottleItAlone)
{
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(401, LoginFrom(Machine(2), "guess" + std::to_string(i) + "@example.com", "wrong").Code()) << i;
    }
    const Answer throttled = LoginFrom(Machine(2), kEmail, kPassword);
    EXPECT_EQ(429, throttled.Code());
    EXPECT_NE(std::string::npos, throttled.Message().find(kMinutesMessage)) << throttled.Message();
    EXPECT_EQ(200, LoginFrom(Machine(3), kEmail, kPassword).Code());
    SetClockOffset(15 * 60);
    EXPECT_EQ(200, LoginFrom(Machine(2), kEmail, kPassword).Code());
}

TEST_F(ServiceThrottleTest, ASuccessClearsThePairsFailures)
{
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(401, LoginFrom(Machine(2), kEmail, "wrong password").Code());
    }
    ASSERT_EQ(200, LoginFrom(Machine(2), kEmail, kPassword).Code());
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(401, LoginFrom(Machine(2), kEmail, "wrong password").Code());
    }
    EXPECT_EQ(200, LoginFrom(Machine(2), kEmail, kPassword).Code());
}

TEST_F(ServiceThrottleTest, ALockHoldsAcrossARestartAndAnotherProcessOnTheSameData)
{
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(401, LoginFrom(Machine(2), kEmail, "wrong password").Code());
    }
    LumoServiceProcess other(LUMO_SERVICE_PATH, data.Path(), work.File("other.log"));
    ASSERT_TRUE(other.Start({"--test-clock-offset-file", ClockFile()})) << other.Announcement();
    EXPECT_EQ(429, LoginFrom(Machine(2), kEmail, kPassword, other).Code());
    ASSERT_EQ(0, service.Stop());
    ASSERT_TRUE(StartService()) << service.Announcement();
    EXPECT_EQ(429, LoginFrom(Machine(2), kEmail, kPassword).Code());
    EXPECT_EQ(200, LoginFrom(Machine(3), kEmail, kPassword, other).Code());
}

TEST_F(ServiceThrottleTest, OperatorResetEndsTheEmailsDelay)
{
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(401, LoginFrom(Machine(2 + i), kEmail, "wrong password").Code()) << i;
    }
    ASSERT_EQ(429, Login(kEmail, kPassword).Code());
    ASSERT_EQ(0, Operator({"user", "reset", kEmail}, "new password 1\n").exitCode);
    EXPECT_EQ(200, Login(kEmail, "new password 1").Code());
}
