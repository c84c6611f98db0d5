// Sign-in and sign-up throttles with explicit addresses, on a real store
// whose operations can be made to fail one at a time.
#include "Accounts.h"

#include "FaultyStore.h"
#include "PasswordHasher.h"
#include "Sessions.h"
#include "SqliteStore.h"
#include "TempDir.h"
#include "TestClock.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <memory>

using namespace lumo_service;

namespace {

constexpr const char* kEmail = "ann@example.com";
constexpr const char* kPassword = "correct horse";
constexpr const char* kHome = "198.51.100.7";

class AccountsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_GE(sodium_init(), 0);
        std::string error;
        real = SqliteStore::Open(dir.File("lumo.db"), error);
        ASSERT_TRUE(real) << error;
        store = std::make_unique<lumo_test::FaultyStore>(*real);
        sessions = std::make_unique<Sessions>(*store, clock.Clock());
        accounts = std::make_unique<Accounts>(*store, hasher, *sessions, clock.Clock());
        int64_t retryAfter = 0;
        ASSERT_EQ(AccountResult::Ok, accounts->Register(kEmail, kPassword, std::string(), retryAfter));
    }

    SignInResult SignIn(const std::string& address, const std::string& password, int64_t* retryAfter = nullptr)
    {
        std::string token;
        int64_t wait = -1;
        const SignInResult result = accounts->SignIn(kEmail, password, address, token, wait);
        if (retryAfter != nullptr) {
            *retryAfter = wait;
        }
        return result;
    }

    static std::string Machine(int n) { return "203.0.113." + std::to_string(n); }

    lumo_test::TempDir dir;
    lumo_test::TestClock clock;
    PasswordHasher hasher {PasswordHasher::Least()};
    std::unique_ptr<SqliteStore> real;
    std::unique_ptr<lumo_test::FaultyStore> store;
    std::unique_ptr<Sessions> sessions;
    std::unique_ptr<Accounts> accounts;
};

} // namespace

TEST_F(AccountsTest, FiveFailuresLockThePairOnly)
{
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(SignInResult::WrongCredentials, SignIn(Machine(1), "wrong password"));
    }
    int64_t retryAfter = 0;
    EXPECT_EQ(SignInResult::Throttled, SignIn(Machine(1), kPassword, &retryAfter));
    EXPECT_GT(retryAfter, Accounts::kFailureWindowSeconds - 5);
    EXPECT_LE(retryAfter, Accounts::kFailureWindowSeconds);
    EXPECT_EQ(SignInResult::Ok, SignIn(kHome, kPassword));
}

TEST_F(AccountsTest, FailuresFromEverywhereDelayTheEmailByAFewSecondsAtMost)
{
    for (int i = 0; i < Accounts::kFailuresBeforeDelay; ++i) {
        ASSERT_EQ(SignInResult::WrongCredentials, SignIn(Machine(i), "wrong password"));
    }
    int64_t retryAfter = 0;
    EXPECT_EQ(SignInResult::Throttled, SignIn(kHome, kPassword, &retryAfter));
    EXPECT_EQ(Accounts::kDelaySeconds, retryAfter);
    clock.Set(Accounts::kDelaySeconds);
    EXPECT_EQ(SignInResult::Ok, SignIn(kHome, kPassword));
}

TEST_F(AccountsTest, APairToldToWaitGetsInAfterTheDelayWhateverOthersDo)
{
    for (int i = 0; i < Accounts::kFailuresBeforeDelay; ++i) {
        ASSERT_EQ(SignInResult::WrongCredentials, SignIn(Machine(i), "wrong password"));
    }
    int64_t retryAfter = 0;
    ASSERT_EQ(SignInResult::Throttled, SignIn(Machine(50), "wrong password", &retryAfter));
    ASSERT_EQ(SignInResult::Throttled, SignIn(kHome, kPassword, &retryAfter));
    clock.Set(2);
    EXPECT_EQ(SignInResult::Throttled, SignIn(kHome, kPassword, &retryAfter));
    // What is left of the 5 s; a second may have turned since it was said.
    EXPECT_GE(retryAfter, Accounts::kDelaySeconds - 3);
    EXPECT_LE(retryAfter, Accounts::kDelaySeconds - 2);
    clock.Set(Accounts::kDelaySeconds);
    // Another pair that waited its turn fails again, which would hold
    // every pair not yet told for another 5 s.
    ASSERT_EQ(SignInResult::WrongCredentials, SignIn(Machine(50), "wrong password"));
    EXPECT_EQ(SignInResult::Throttled, SignIn(Machine(51), kPassword, &retryAfter));
    EXPECT_EQ(Accounts::kDelaySeconds, retryAfter);
    EXPECT_EQ(SignInResult::Ok, SignIn(kHome, kPassword));
}

TEST_F(AccountsTest, APairLetThroughIsStillLockedByItsOwnFailures)
{
    for (int i = 0; i < Accounts::kFailuresBeforeDelay; ++i) {
        ASSERT_EQ(SignInResult::WrongCredentials, SignIn(Machine(i), "wrong password"));
    }
    ASSERT_EQ(SignInResult::Throttled, SignIn(Machine(50), "wrong password"));
    clock.Set(Accounts::kDelaySeconds);
    for (int i = 0; i < Accounts::kFailuresPerPair; ++i) {
        ASSERT_EQ(SignInResult::WrongCredentials, SignIn(Machine(50), "wrong password")) << i;
    }
    int64_t retryAfter = 0;
    EXPECT_EQ(SignInResult::Throttled, SignIn(Machine(50), kPassword, &retryAfter));
    EXPECT_GT(retryAfter, 60);
}

TEST_F(AccountsTest, TwentyFailuresThrottleTheAddressForEveryEmail)
{
    std::string token;
    int64_t retryAfter = 0;
    for (int i = 0; i < Accounts::kFailuresPerAddress; ++i) {
        ASSERT_EQ(SignInResult::WrongCredentials,
                  accounts->SignIn("guess" + std::to_string(i) + "@example.com", "wrong", Machine(1), token,
                                   retryAfter));
    }
    EXPECT_EQ(SignInResult::Throttled, SignIn(Machine(1), kPassword, &retryAfter));
    EXPECT_GT(retryAfter, 60);
    EXPECT_EQ(SignInResult::Ok, SignIn(Machine(2), kPassword));
}

TEST_F(AccountsTest, ASuccessClearsThePairButNotTheAddress)
{
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(SignInResult::WrongCredentials, SignIn(Machine(1), "wrong password"));
    }
    ASSERT_EQ(SignInResult::Ok, SignIn(Machine(1), kPassword));
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(SignInResult::WrongCredentials, SignIn(Machine(1), "wrong password"));
    }
    int count = 0;
    int64_t oldest = 0;
    ASSERT_EQ(StoreStatus::Ok, real->CountAttempts("addr:" + Machine(1), 0, count, oldest));
    EXPECT_EQ(8, count);
    ASSERT_EQ(StoreStatus::Ok, real->CountAttempts(std::string("signin:") + kEmail + "|" + Machine(1), 0, count,
                                                   oldest));
    EXPECT_EQ(4, count);
}

TEST_F(AccountsTest, SignInIsAnErrorWhenAnyStoreStepFails)
{
    struct Case {
        const char* method;
        const char* password;
    };
    const Case cases[] = {
        {"CountAttempts", kPassword}, {"FindAccount", kPassword},        {"AddAttempt", "wrong password"},
        {"ClearAttempts", kPassword}, {"AddSession", kPassword},
    };
    for (const Case& c : cases) {
        for (StoreStatus failure : {StoreStatus::Error, StoreStatus::Unavailable}) {
            store->Fail(c.method, failure);
            EXPECT_EQ(failure == StoreStatus::Error ? SignInResult::Error : SignInResult::Unavailable,
                      SignIn(kHome, c.password))
                << c.method;
        }
    }
    store->Fail(std::string(), StoreStatus::Ok);
    EXPECT_EQ(SignInResult::Ok, SignIn(kHome, kPassword));
}

TEST_F(AccountsTest, SignInIsAnErrorWhenTheDelaysRecordFails)
{
    for (int i = 0; i < Accounts::kFailuresBeforeDelay; ++i) {
        ASSERT_EQ(SignInResult::WrongCredentials, SignIn(Machine(i), "wrong password"));
    }
    store->Fail("CountAttempts", StoreStatus::Unavailable, "waited:");
    EXPECT_EQ(SignInResult::Unavailable, SignIn(kHome, kPassword));
    store->Fail("AddAttempt", StoreStatus::Error, "waited:");
    EXPECT_EQ(SignInResult::Error, SignIn(kHome, kPassword));
    store->Fail(std::string(), StoreStatus::Ok);
    ASSERT_EQ(SignInResult::Throttled, SignIn(kHome, kPassword));
    clock.Set(Accounts::kDelaySeconds);
    store->Fail("ClearAttempts", StoreStatus::Unavailable, "waited:");
    EXPECT_EQ(SignInResult::Unavailable, SignIn(kHome, kPassword));
}

TEST_F(AccountsTest, TwentySignUpsAnHourFromOneAddress)
{
    int64_t retryAfter = 0;
    for (int i = 0; i < Accounts::kRegistrationsPerAddress; ++i) {
        ASSERT_EQ(AccountResult::Ok,
                  accounts->Register("user" + std::to_string(i) + "@example.com", kPassword, Machine(1), retryAfter));
    }
    EXPECT_EQ(AccountResult::Throttled, accounts->Register("late@example.com", kPassword, Machine(1), retryAfter));
    EXPECT_GT(retryAfter, 3500);
    EXPECT_EQ(AccountResult::Ok, accounts->Register("late@example.com", kPassword, Machine(2), retryAfter));
}

TEST_F(AccountsTest, ASignUpThatCannotBeCountedMakesNoAccount)
{
    int64_t retryAfter = 0;
    for (const char* method : {"CountAttempts", "AddAttempt", "AddAccount"}) {
        store->Fail(method, StoreStatus::Unavailable);
        EXPECT_EQ(AccountResult::Unavailable,
                  accounts->Register("new@example.com", kPassword, Machine(1), retryAfter))
            << method;
        store->Fail(method, StoreStatus::Error);
        EXPECT_EQ(AccountResult::Error, accounts->Register("new@example.com", kPassword, Machine(2), retryAfter))
            << method;
        Account account;
        EXPECT_EQ(StoreStatus::NotFound, real->FindAccount("new@example.com", account)) << method;
    }
    store->Fail(std::string(), StoreStatus::Ok);
    EXPECT_EQ(AccountResult::Ok, accounts->Register("new@example.com", kPassword, Machine(3), retryAfter));
}

TEST_F(AccountsTest, AResetEndsTheEmailsDelayAndFailsWhenItCannot)
{
    for (int i = 0; i < Accounts::kFailuresBeforeDelay; ++i) {
        ASSERT_EQ(SignInResult::WrongCredentials, SignIn(Machine(i), "wrong password"));
    }
    int ended = 0;
    store->Fail("ClearAttempts", StoreStatus::Error);
    EXPECT_EQ(AccountResult::Error, accounts->ResetPassword(kEmail, "new password 1", ended));
    store->Fail(std::string(), StoreStatus::Ok);
    EXPECT_EQ(SignInResult::Throttled, SignIn(kHome, kPassword));
    ASSERT_EQ(AccountResult::Ok, accounts->ResetPassword(kEmail, "new password 1", ended));
    EXPECT_EQ(SignInResult::Ok, SignIn(kHome, "new password 1"));
}
