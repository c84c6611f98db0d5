#include "FailureThrottle.h"

#include <gtest/gtest.h>

using lumo_service::FailureThrottle;

TEST(FailureThrottleTest, AllowsUpToTheLimitThenSaysHowLongToWait)
{
    FailureThrottle throttle(3, 100);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(0, throttle.RetryAfter("k", 1000 + i));
        throttle.Record("k", 1000 + i);
    }
    EXPECT_EQ(97, throttle.RetryAfter("k", 1003));
}

TEST(FailureThrottleTest, OldAttemptsLeaveTheWindow)
{
    FailureThrottle throttle(2, 100);
    throttle.Record("k", 1000);
    throttle.Record("k", 1050);
    EXPECT_GT(throttle.RetryAfter("k", 1099), 0);
    EXPECT_EQ(0, throttle.RetryAfter("k", 1100));
}

TEST(FailureThrottleTest, KeysAreCountedApartAndClearForgets)
{
    FailureThrottle throttle(1, 100);
    throttle.Record("a", 1000);
    EXPECT_GT(throttle.RetryAfter("a", 1000), 0);
    EXPECT_EQ(0, throttle.RetryAfter("b", 1000));
    throttle.Clear("a");
    EXPECT_EQ(0, throttle.RetryAfter("a", 1000));
}

TEST(FailureThrottleTest, ManyKeysDoNotForgetRecentOnes)
{
    FailureThrottle throttle(1, 100);
    throttle.Record("recent", 5000);
    for (int i = 0; i < 20000; ++i) {
        throttle.Record("old" + std::to_string(i), 1000);
    }
    throttle.Record("trigger", 5000);
    EXPECT_GT(throttle.RetryAfter("recent", 5001), 0);
}
