#include "FailureThrottle.h"

#include "BrokenStore.h"
#include "FaultyStore.h"
#include "SqliteStore.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <memory>

using namespace lumo_service;

namespace {

// Counts attempts truly once, then fails: the soft throttle's second look.
class SecondCountFails : public lumo_test::FaultyStore {
public:
    using FaultyStore::FaultyStore;
    Status CountAttempts(const std::string& key, int64_t since, int& count, int64_t& oldest) override
    {
        return ++counts == 1 ? FaultyStore::CountAttempts(key, since, count, oldest) : Status::Unavailable;
    }
    int counts = 0;
};

class FailureThrottleTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(store = Open()); }

    std::unique_ptr<SqliteStore> Open() const
    {
        std::string error;
        std::unique_ptr<SqliteStore> opened = SqliteStore::Open(dir.File("lumo.db"), error);
        EXPECT_TRUE(opened) << error;
        return opened;
    }

    int64_t Wait(const FailureThrottle& throttle, const std::string& key, int64_t now) const
    {
        int64_t wait = -1;
        EXPECT_EQ(StoreStatus::Ok, throttle.RetryAfter(key, now, wait));
        return wait;
    }

    lumo_test::TempDir dir;
    std::unique_ptr<SqliteStore> store;
};

} // namespace

TEST_F(FailureThrottleTest, HardThrottleAllowsUpToTheLimitThenHoldsUntilTheOldestLeaves)
{
    FailureThrottle throttle(*store, "t", 3, 100);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(0, Wait(throttle, "k", 1000 + i));
        ASSERT_EQ(StoreStatus::Ok, throttle.Record("k", 1000 + i));
    }
    EXPECT_EQ(97, Wait(throttle, "k", 1003));
    EXPECT_EQ(1, Wait(throttle, "k", 1099));
    EXPECT_EQ(0, Wait(throttle, "k", 1100));
}

TEST_F(FailureThrottleTest, SoftThrottleHoldsOnlyUntilSecondsAfterTheNewest)
{
    FailureThrottle throttle(*store, "t", 3, 900, 5);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(StoreStatus::Ok, throttle.Record("k", 1000 + i));
    }
    EXPECT_EQ(5, Wait(throttle, "k", 1002));
    EXPECT_EQ(5, Wait(throttle, "k", 1006));
    EXPECT_EQ(0, Wait(throttle, "k", 1007));
    // Many more within the window still hold it for seconds only.
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(StoreStatus::Ok, throttle.Record("k", 1100 + i));
    }
    EXPECT_EQ(5, Wait(throttle, "k", 1119));
    EXPECT_EQ(0, Wait(throttle, "k", 1124));
    EXPECT_EQ(0, Wait(throttle, "k", 1899));
}

TEST_F(FailureThrottleTest, SoftThrottleWaitsForTheLimitFirst)
{
    FailureThrottle throttle(*store, "t", 3, 900, 5);
    ASSERT_EQ(StoreStatus::Ok, throttle.Record("k", 1000));
    ASSERT_EQ(StoreStatus::Ok, throttle.Record("k", 1000));
    EXPECT_EQ(0, Wait(throttle, "k", 1000));
}

TEST_F(FailureThrottleTest, AttemptsStampedAheadHoldForOnePeriodAtMost)
{
    FailureThrottle hard(*store, "hard", 1, 100);
    FailureThrottle soft(*store, "soft", 1, 100, 5);
    ASSERT_EQ(StoreStatus::Ok, hard.Record("k", 5000));
    ASSERT_EQ(StoreStatus::Ok, soft.Record("k", 5000));
    EXPECT_EQ(100, Wait(hard, "k", 4000));
    EXPECT_EQ(5, Wait(soft, "k", 4000));
}

TEST_F(FailureThrottleTest, KeysAndKindsAreCountedApartAndClearForgets)
{
    FailureThrottle signIn(*store, "signin", 1, 100);
    FailureThrottle signUp(*store, "signup", 1, 100);
    ASSERT_EQ(StoreStatus::Ok, signIn.Record("a", 1000));
    ASSERT_EQ(StoreStatus::Ok, signUp.Record("a", 1000));
    EXPECT_GT(Wait(signIn, "a", 1000), 0);
    EXPECT_EQ(0, Wait(signIn, "b", 1000));
    ASSERT_EQ(StoreStatus::Ok, signIn.Clear("a"));
    EXPECT_EQ(0, Wait(signIn, "a", 1000));
    EXPECT_GT(Wait(signUp, "a", 1000), 0);
}

TEST_F(FailureThrottleTest, CountsLiveInTheStoreUnderTheKindsPrefix)
{
    FailureThrottle throttle(*store, "addr", 2, 100);
    ASSERT_EQ(StoreStatus::Ok, throttle.Record("192.0.2.1", 1000));
    int count = 0;
    int64_t oldest = 0;
    ASSERT_EQ(StoreStatus::Ok, store->CountAttempts("addr:192.0.2.1", 0, count, oldest));
    EXPECT_EQ(1, count);
    EXPECT_EQ(1000, oldest);
}

TEST_F(FailureThrottleTest, ProcessesOnOneDatabaseCountTogetherAndARestartForgetsNothing)
{
    std::unique_ptr<SqliteStore> other = Open();
    ASSERT_TRUE(other);
    FailureThrottle here(*store, "t", 2, 100);
    FailureThrottle there(*other, "t", 2, 100);
    ASSERT_EQ(StoreStatus::Ok, here.Record("k", 1000));
    ASSERT_EQ(StoreStatus::Ok, there.Record("k", 1001));
    EXPECT_EQ(99, Wait(here, "k", 1001));
    store.reset();
    other.reset();
    store = Open();
    ASSERT_TRUE(store);
    EXPECT_EQ(99, Wait(FailureThrottle(*store, "t", 2, 100), "k", 1001));
}

TEST_F(FailureThrottleTest, StoreFailuresComeBackAsTheirStatus)
{
    for (StoreStatus failure : {StoreStatus::Error, StoreStatus::Unavailable}) {
        lumo_test::BrokenStore broken(failure);
        FailureThrottle throttle(broken, "t", 1, 100, 5);
        int64_t wait = -1;
        EXPECT_EQ(failure, throttle.RetryAfter("k", 1000, wait));
        EXPECT_EQ(0, wait);
        EXPECT_EQ(failure, throttle.Record("k", 1000));
        EXPECT_EQ(failure, throttle.Clear("k"));
    }
}

TEST_F(FailureThrottleTest, ASoftThrottleWhoseSecondLookFailsSaysSo)
{
    FailureThrottle writer(*store, "t", 1, 100, 5);
    ASSERT_EQ(StoreStatus::Ok, writer.Record("k", 1000));
    SecondCountFails failing(*store);
    FailureThrottle throttle(failing, "t", 1, 100, 5);
    int64_t wait = -1;
    EXPECT_EQ(StoreStatus::Unavailable, throttle.RetryAfter("k", 1001, wait));
    EXPECT_EQ(2, failing.counts);
}
