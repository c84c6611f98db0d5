#include "core/KestTime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <regex>
#include <string>

using Kest::KestTime;

TEST(KestTime, GetTimeIsEpochMilliseconds)
{
    const int64_t before = std::chrono::duration_cast<std::chrono::milliseconds>(
                               std::chrono::system_clock::now().time_since_epoch())
                               .count();
    const int64_t t = KestTime::GetTime();
    EXPECT_GE(t, before);
    EXPECT_LT(t - before, 1000);
    // After 2020-01-01: seconds would be ten digits, milliseconds thirteen.
    EXPECT_GT(t, 1577836800000LL);
}

TEST(KestTime, TimeFormatShape)
{
    const std::string text = KestTime::TimeFormat().CStr();
    EXPECT_TRUE(std::regex_match(text, std::regex(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2})"))) << text;
}

namespace {

std::string LocalTimeText()
{
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    char text[64];
    strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

} // namespace

TEST(KestTime, TimeFormatIsLocalTime)
{
    const std::string before = LocalTimeText();
    const std::string text = KestTime::TimeFormat().CStr();
    const std::string after = LocalTimeText();
    EXPECT_TRUE(text == before || text == after) << text;
}

TEST(KestTime, SleepWaitsAtLeastTheGivenTime)
{
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, KestTime::KestSleepMilliseconds(30));
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed, std::chrono::milliseconds(30));
}
