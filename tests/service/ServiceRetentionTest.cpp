// What the service keeps as it runs: usage events within the retention and
// a bounded number of sessions per account.
#include "ServiceFixture.h"
#include "TextLines.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

using namespace lumo_test;

namespace {

constexpr const char* kEmail = "ann@example.com";
constexpr const char* kPassword = "correct horse";

class ServiceRetentionTest : public ServiceFixture {
protected:
    size_t StoredEvents() const { return SplitLines(Operator({"events"}).out).size(); }

    Answer PostEvent(const std::string& info) const
    {
        return Post("/lumo/user/anchor/anchor",
                    EventForm(info));
    }

    // The stored count once it reaches want, or what it is after 10 s.
    size_t StoredEventsOnceAt(size_t want) const
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        size_t count = StoredEvents();
        while (count != want && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            count = StoredEvents();
        }
        return count;
    }
};

} // namespace

TEST_F(ServiceRetentionTest, EventsBeyondTheNewestKeptAreDeletedWhileServing)
{
    ASSERT_EQ(0, service.Stop());
    ASSERT_TRUE(StartService({"--events-keep", "5"})) << service.Announcement();
    for (int i = 0; i < 12; ++i) {
        ASSERT_EQ(200, PostEvent("event " + std::to_string(i)).Code());
    }
    ASSERT_EQ(12u, StoredEvents());
    // The pass made at start is the one a restart brings forward.
    ASSERT_EQ(0, service.Stop());
    ASSERT_TRUE(StartService({"--events-keep", "5"})) << service.Announcement();
    EXPECT_EQ(5u, StoredEventsOnceAt(5));
    const std::string listed = Operator({"events"}).out;
    EXPECT_NE(std::string::npos, listed.find("event 11"));
    EXPECT_EQ(std::string::npos, listed.find("event 6\""));
}

TEST_F(ServiceRetentionTest, EventsOlderThanTheDaysKeptAreDeletedWhileServing)
{
    ASSERT_EQ(0, service.Stop());
    ASSERT_TRUE(StartService({"--events-days", "2"})) << service.Announcement();
    ASSERT_EQ(200, PostEvent("old").Code());
    ASSERT_EQ(0, service.Stop());
    SetClockOffset(3 * 24 * 3600);
    ASSERT_TRUE(StartService({"--events-days", "2"})) << service.Announcement();
    ASSERT_EQ(200, PostEvent("new").Code());
    EXPECT_EQ(1u, StoredEventsOnceAt(1));
    EXPECT_NE(std::string::npos, Operator({"events"}).out.find("new"));
}

TEST_F(ServiceRetentionTest, AnAccountKeepsItsNewestTwentySessions)
{
    AddUser(kEmail, kPassword);
    std::vector<std::string> tokens;
    for (int i = 0; i < 25; ++i) {
        tokens.push_back(TokenFor(kEmail, kPassword));
        ASSERT_FALSE(tokens.back().empty()) << i;
    }
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(502, Check(tokens[i]).Code()) << i;
    }
    for (int i = 5; i < 25; ++i) {
        EXPECT_EQ(200, Check(tokens[i]).Code()) << i;
    }
}
