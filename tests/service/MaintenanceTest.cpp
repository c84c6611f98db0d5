#include "Maintenance.h"

#include "Accounts.h"
#include "BrokenStore.h"
#include "CsrfGuard.h"
#include "Sessions.h"
#include "SqliteStore.h"
#include "TempDir.h"
#include "TestClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

using namespace lumo_service;

namespace {

constexpr int64_t kDay = 24 * 3600;

// Fails every purge and counts them, so a test knows a pass was made.
class CountingBrokenStore : public lumo_test::BrokenStore {
public:
    using BrokenStore::BrokenStore;
    Status PurgeEvents(int64_t before, int64_t keep, int64_t& removed) override
    {
        ++purges;
        return BrokenStore::PurgeEvents(before, keep, removed);
    }
    std::atomic<int> purges {0};
};

class MaintenanceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string error;
        store = SqliteStore::Open(dir.File("lumo.db"), error);
        ASSERT_TRUE(store) << error;
        ASSERT_EQ(StoreStatus::Ok, store->AddAccount("ann@example.com", "hash", Now()));
        Account account;
        ASSERT_EQ(StoreStatus::Ok, store->FindAccount("ann@example.com", account));
        accountId = account.id;
    }

    int64_t Now() const { return clock.Clock().Now(); }

    void AddEvent(int64_t time, const std::string& info) const
    {
        UsageEvent event;
        event.time = time;
        event.address = "192.0.2.1";
        event.info = info;
        ASSERT_EQ(StoreStatus::Ok, store->AddEvent(event));
    }

    std::vector<std::string> EventInfos() const
    {
        std::vector<std::string> infos;
        EXPECT_EQ(StoreStatus::Ok,
                  store->ForEachEvent(-1, [&infos](const UsageEvent& event) { infos.push_back(event.info); }));
        return infos;
    }

    StoreStatus FindSession(const std::string& hash) const
    {
        Session session;
        return store->FindSession(hash, session);
    }

    int Attempts(const std::string& key) const
    {
        int count = 0;
        int64_t oldest = 0;
        EXPECT_EQ(StoreStatus::Ok, store->CountAttempts(key, 0, count, oldest));
        return count;
    }

    // Old and new records of every kind the maintenance deletes.
    void AddOldAndNew() const
    {
        const int64_t now = Now();
        AddEvent(now - 11 * kDay, "old");
        AddEvent(now - 9 * kDay, "kept 1");
        AddEvent(now - 8 * kDay, "kept 2");
        AddEvent(now, "kept 3");
        ASSERT_EQ(StoreStatus::Ok,
                  store->AddSession(accountId, std::string(64, 'a'), now - Sessions::kLifetimeSeconds - 10, 20));
        ASSERT_EQ(StoreStatus::Ok, store->AddSession(accountId, std::string(64, 'b'), now - 10, 20));
        ASSERT_EQ(StoreStatus::Ok, store->AddAttempt("signin:old", now - Maintenance::kAttemptsKeptSeconds - 10));
        ASSERT_EQ(StoreStatus::Ok, store->AddAttempt("signin:new", now - 10));
    }

    void ExpectOnlyNewLeft() const
    {
        EXPECT_EQ((std::vector<std::string> {"kept 1", "kept 2", "kept 3"}), EventInfos());
        EXPECT_EQ(StoreStatus::NotFound, FindSession(std::string(64, 'a')));
        EXPECT_EQ(StoreStatus::Ok, FindSession(std::string(64, 'b')));
        EXPECT_EQ(0, Attempts("signin:old"));
        EXPECT_EQ(1, Attempts("signin:new"));
    }

    lumo_test::TempDir dir;
    lumo_test::TestClock clock;
    std::unique_ptr<SqliteStore> store;
    int64_t accountId = 0;
};

} // namespace

TEST_F(MaintenanceTest, APassDeletesOldEventsExpiredSessionsAndOldAttemptsOnly)
{
    AddOldAndNew();
    Maintenance maintenance(*store, clock.Clock(), 1000, 10);
    EXPECT_EQ(StoreStatus::Ok, maintenance.RunOnce());
    ExpectOnlyNewLeft();
}

TEST_F(MaintenanceTest, APassKeepsTheNewestEventsOnly)
{
    const int64_t now = Now();
    for (int i = 0; i < 8; ++i) {
        AddEvent(now - 8 + i, "event " + std::to_string(i));
    }
    Maintenance maintenance(*store, clock.Clock(), 3, 400);
    EXPECT_EQ(StoreStatus::Ok, maintenance.RunOnce());
    EXPECT_EQ((std::vector<std::string> {"event 5", "event 6", "event 7"}), EventInfos());
}

TEST_F(MaintenanceTest, TheServiceClockDecidesWhatIsOld)
{
    AddEvent(Now(), "now");
    clock.Set(11 * kDay);
    Maintenance maintenance(*store, clock.Clock(), 1000, 10);
    EXPECT_EQ(StoreStatus::Ok, maintenance.RunOnce());
    EXPECT_TRUE(EventInfos().empty());
}

TEST_F(MaintenanceTest, AttemptsStayAsLongAsTheLongestWindowThatCountsThem)
{
    const int64_t now = Now();
    ASSERT_EQ(StoreStatus::Ok, store->AddAttempt("csrf:used", now - CsrfGuard::kUsedKeptSeconds + 1));
    ASSERT_EQ(StoreStatus::Ok, store->AddAttempt("signup:192.0.2.1", now - Accounts::kRegistrationWindowSeconds + 1));
    ASSERT_EQ(StoreStatus::Ok, store->AddAttempt("addr:192.0.2.1", now - Accounts::kFailureWindowSeconds + 1));
    Maintenance maintenance(*store, clock.Clock(), 1000, 10);
    EXPECT_EQ(StoreStatus::Ok, maintenance.RunOnce());
    EXPECT_EQ(1, Attempts("csrf:used"));
    EXPECT_EQ(1, Attempts("signup:192.0.2.1"));
    EXPECT_EQ(1, Attempts("addr:192.0.2.1"));
}

TEST_F(MaintenanceTest, StartMakesAPassAtOnceAndStopDoesNotWaitForTheNext)
{
    AddOldAndNew();
    Maintenance maintenance(*store, clock.Clock(), 1000, 10);
    maintenance.Start();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (Attempts("signin:old") > 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const auto stopping = std::chrono::steady_clock::now();
    maintenance.Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - stopping, std::chrono::seconds(2));
    ExpectOnlyNewLeft();
}

TEST_F(MaintenanceTest, AStopBeforeStartAndASecondStopAreHarmless)
{
    Maintenance maintenance(*store, clock.Clock(), 1000, 10);
    maintenance.Stop();
    AddOldAndNew();
    maintenance.Start();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (Attempts("signin:old") > 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    maintenance.Stop();
    maintenance.Stop();
    ExpectOnlyNewLeft();
}

TEST_F(MaintenanceTest, AStoreFailureComesBackAsItsStatus)
{
    for (StoreStatus failure : {StoreStatus::Error, StoreStatus::Unavailable}) {
        lumo_test::BrokenStore broken(failure);
        Maintenance maintenance(broken, clock.Clock(), 1000, 10);
        EXPECT_EQ(failure, maintenance.RunOnce());
    }
}

TEST_F(MaintenanceTest, AFailedPassIsLogged)
{
    CountingBrokenStore broken(StoreStatus::Unavailable);
    Maintenance maintenance(broken, clock.Clock(), 1000, 10);
    testing::internal::CaptureStderr();
    maintenance.Start();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (broken.purges == 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    maintenance.Stop();
    const std::string logged = testing::internal::GetCapturedStderr();
    EXPECT_EQ(1, broken.purges);
    EXPECT_NE(std::string::npos,
              logged.find("lumo-service: cannot delete what is past keeping; trying again in a minute"))
        << logged;
}
