#include "EventQuota.h"

#include "BrokenStore.h"
#include "SqliteStore.h"
#include "TempDir.h"
#include "TestClock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

using namespace lumo_service;

namespace {

UsageEvent Event(const std::string& address, size_t infoBytes = 10)
{
    UsageEvent event;
    event.address = address;
    event.type = "INFO";
    event.version = "3.0.0";
    event.platform = "Linux";
    event.app = "YUVLumo";
    event.page = "MainWindow";
    event.block = "NULL";
    event.action = "NULL";
    event.info = std::string(infoBytes, 'i');
    return event;
}

// Hands out tokens, then fails to store the event.
class FailingAfterTheBucket : public lumo_test::BrokenStore {
public:
    using BrokenStore::BrokenStore;
    Status TakeToken(const std::string&, int64_t, double, double, bool& taken) override
    {
        taken = true;
        return Status::Ok;
    }
};

class EventQuotaTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string error;
        store = SqliteStore::Open(dir.File("lumo.db"), error);
        ASSERT_TRUE(store) << error;
    }

    int StoredEvents() const
    {
        int count = 0;
        EXPECT_EQ(StoreStatus::Ok, store->ForEachEvent(-1, [&count](const UsageEvent&) { ++count; }));
        return count;
    }

    lumo_test::TempDir dir;
    lumo_test::TestClock clock;
    std::unique_ptr<SqliteStore> store;
};

} // namespace

TEST_F(EventQuotaTest, AnAddressGetsItsBurstThenIsThrottledAndRefills)
{
    EventQuota quota(*store, clock.Clock(), dir.Path(), 0);
    const auto start = std::chrono::steady_clock::now();
    int stored = 0;
    while (stored < 1000 && quota.Add(Event("192.0.2.1")) == EventOutcome::Stored) {
        ++stored;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    // Tokens come back at kPerMinute while the burst is being taken.
    EXPECT_GE(stored, static_cast<int>(EventQuota::kBurst));
    EXPECT_LE(stored, static_cast<int>(EventQuota::kBurst + EventQuota::kPerMinute / 60.0 * seconds) + 1);
    EXPECT_EQ(stored, StoredEvents());
    EXPECT_EQ(EventOutcome::Throttled, quota.Add(Event("192.0.2.1")));
    EXPECT_EQ(stored, StoredEvents());
    clock.Set(10);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(EventOutcome::Stored, quota.Add(Event("192.0.2.1"))) << i;
    }
}

TEST_F(EventQuotaTest, EachAddressHasItsOwnBucket)
{
    EventQuota quota(*store, clock.Clock(), dir.Path(), 0);
    while (quota.Add(Event("192.0.2.1")) == EventOutcome::Stored) {
    }
    EXPECT_EQ(EventOutcome::Stored, quota.Add(Event("192.0.2.2")));
}

TEST_F(EventQuotaTest, AnEventOfTheCapIsStoredOneByteMoreIsNot)
{
    EventQuota quota(*store, clock.Clock(), dir.Path(), 0);
    const size_t others = EventQuota::Size(Event("a", 0));
    EXPECT_EQ(EventOutcome::Stored, quota.Add(Event("192.0.2.1", EventQuota::kMaxEventBytes - others)));
    EXPECT_EQ(EventOutcome::TooLarge, quota.Add(Event("192.0.2.1", EventQuota::kMaxEventBytes - others + 1)));
    UsageEvent longPage = Event("192.0.2.1", EventQuota::kMaxEventBytes - others);
    longPage.page += "x";
    EXPECT_EQ(EventOutcome::TooLarge, quota.Add(longPage));
    EXPECT_EQ(1, StoredEvents());
}

TEST_F(EventQuotaTest, SizeCountsEveryFieldButNotTheAddress)
{
    UsageEvent event;
    event.address = "203.0.113.200";
    event.type = "1";
    event.version = "22";
    event.platform = "333";
    event.app = "4444";
    event.page = "55555";
    event.block = "666666";
    event.action = "7777777";
    event.info = "88888888";
    EXPECT_EQ(36u, EventQuota::Size(event));
}

TEST_F(EventQuotaTest, AReserveBeyondTheFreeSpaceRefusesEventsWithoutTakingTokens)
{
    EventQuota full(*store, clock.Clock(), dir.Path(), 999999999);
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(EventOutcome::NoRoom, full.Add(Event("192.0.2.1")));
    }
    EXPECT_EQ(0, StoredEvents());
    EventQuota roomy(*store, clock.Clock(), dir.Path(), 1);
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(EventOutcome::Stored, roomy.Add(Event("192.0.2.1"))) << i;
    }
}

TEST_F(EventQuotaTest, AMissingDataFolderIsAnError)
{
    EventQuota quota(*store, clock.Clock(), dir.File("gone"), 1);
    EXPECT_EQ(EventOutcome::Error, quota.Add(Event("192.0.2.1")));
    EXPECT_EQ(0, StoredEvents());
}

TEST_F(EventQuotaTest, StoreFailuresComeBackAsUnavailableOrError)
{
    lumo_test::BrokenStore gone(StoreStatus::Unavailable);
    lumo_test::BrokenStore broken(StoreStatus::Error);
    EXPECT_EQ(EventOutcome::Unavailable, EventQuota(gone, clock.Clock(), dir.Path(), 0).Add(Event("192.0.2.1")));
    EXPECT_EQ(EventOutcome::Error, EventQuota(broken, clock.Clock(), dir.Path(), 0).Add(Event("192.0.2.1")));
}

TEST_F(EventQuotaTest, AFailureToStoreTheEventComesBackToo)
{
    FailingAfterTheBucket gone(StoreStatus::Unavailable);
    FailingAfterTheBucket broken(StoreStatus::Error);
    EXPECT_EQ(EventOutcome::Unavailable, EventQuota(gone, clock.Clock(), dir.Path(), 0).Add(Event("192.0.2.1")));
    EXPECT_EQ(EventOutcome::Error, EventQuota(broken, clock.Clock(), dir.Path(), 0).Add(Event("192.0.2.1")));
}
