#include "SqliteStore.h"

#include "TempDir.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <fstream>
#include <thread>
#include <vector>

using namespace lumo_service;

namespace {

int UserVersion(const std::string& path)
{
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, "PRAGMA user_version", -1, &statement, nullptr);
    const int version = sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int(statement, 0) : -1;
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return version;
}

void SetUserVersion(const std::string& path, int version)
{
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    sqlite3_exec(db, ("PRAGMA user_version = " + std::to_string(version)).c_str(), nullptr, nullptr, nullptr);
    sqlite3_close(db);
}

class SqliteStoreTest : public ::testing::Test {
protected:
    std::unique_ptr<SqliteStore> Open()
    {
        std::string error;
        std::unique_ptr<SqliteStore> store = SqliteStore::Open(Path(), error);
        EXPECT_TRUE(store) << error;
        return store;
    }
    std::string Path() const { return dir.File("lumo.db"); }

    lumo_test::TempDir dir;
};

} // namespace

TEST_F(SqliteStoreTest, NewFileGetsTheCurrentSchemaVersion)
{
    ASSERT_TRUE(Open());
    EXPECT_EQ(SqliteStore::kSchemaVersion, UserVersion(Path()));
}

TEST_F(SqliteStoreTest, FileFromANewerSchemaIsRefusedWithItsVersion)
{
    ASSERT_TRUE(Open());
    SetUserVersion(Path(), SqliteStore::kSchemaVersion + 1);
    std::string error;
    EXPECT_FALSE(SqliteStore::Open(Path(), error));
    EXPECT_NE(std::string::npos, error.find("schema version " + std::to_string(SqliteStore::kSchemaVersion + 1)));
}

TEST_F(SqliteStoreTest, FileThatIsNotADatabaseIsRefused)
{
    {
        std::ofstream(Path()) << std::string(8192, 'x');
    }
    std::string error;
    EXPECT_FALSE(SqliteStore::Open(Path(), error));
    EXPECT_FALSE(error.empty());
}

TEST_F(SqliteStoreTest, ReopenedStoreKeepsItsRows)
{
    {
        auto store = Open();
        ASSERT_EQ(StoreStatus::Ok, store->AddAccount("a@b.cd", "hash", 1));
        ASSERT_EQ(StoreStatus::Ok, store->SetVersion("YUVLumo", "3.1.0", 1));
    }
    auto store = Open();
    Account account;
    ASSERT_EQ(StoreStatus::Ok, store->FindAccount("a@b.cd", account));
    EXPECT_EQ("hash", account.passwordHash);
    EXPECT_FALSE(account.disabled);
    std::string version;
    ASSERT_EQ(StoreStatus::Ok, store->GetVersion("YUVLumo", version));
    EXPECT_EQ("3.1.0", version);
}

TEST_F(SqliteStoreTest, SecondAccountWithTheSameEmailIsADuplicate)
{
    auto store = Open();
    ASSERT_EQ(StoreStatus::Ok, store->AddAccount("a@b.cd", "h1", 1));
    EXPECT_EQ(StoreStatus::Duplicate, store->AddAccount("a@b.cd", "h2", 2));
    Account account;
    ASSERT_EQ(StoreStatus::Ok, store->FindAccount("a@b.cd", account));
    EXPECT_EQ("h1", account.passwordHash);
}

TEST_F(SqliteStoreTest, ChangesToAMissingAccountReportNotFound)
{
    auto store = Open();
    int ended = -1;
    Account account;
    EXPECT_EQ(StoreStatus::NotFound, store->FindAccount("x@y.zz", account));
    EXPECT_EQ(StoreStatus::NotFound, store->SetPassword("x@y.zz", "h", ended));
    EXPECT_EQ(StoreStatus::NotFound, store->DisableAccount("x@y.zz", ended));
    EXPECT_EQ(StoreStatus::NotFound, store->TouchSession(42, 1));
    std::string version;
    EXPECT_EQ(StoreStatus::NotFound, store->GetVersion("Other", version));
}

TEST_F(SqliteStoreTest, NewPasswordEndsEverySessionOfThatAccountOnly)
{
    auto store = Open();
    ASSERT_EQ(StoreStatus::Ok, store->AddAccount("a@b.cd", "h", 1));
    ASSERT_EQ(StoreStatus::Ok, store->AddAccount("c@d.ef", "h", 1));
    Account a, c;
    store->FindAccount("a@b.cd", a);
    store->FindAccount("c@d.ef", c);
    ASSERT_EQ(StoreStatus::Ok, store->AddSession(a.id, "s1", 1));
    ASSERT_EQ(StoreStatus::Ok, store->AddSession(a.id, "s2", 1));
    ASSERT_EQ(StoreStatus::Ok, store->AddSession(c.id, "s3", 1));
    int ended = 0;
    ASSERT_EQ(StoreStatus::Ok, store->SetPassword("a@b.cd", "h2", ended));
    EXPECT_EQ(2, ended);
    Session session;
    EXPECT_EQ(StoreStatus::NotFound, store->FindSession("s1", session));
    EXPECT_EQ(StoreStatus::NotFound, store->FindSession("s2", session));
    EXPECT_EQ(StoreStatus::Ok, store->FindSession("s3", session));
}

TEST_F(SqliteStoreTest, TouchNeverMovesTheLastCheckBack)
{
    auto store = Open();
    store->AddAccount("a@b.cd", "h", 1);
    Account a;
    store->FindAccount("a@b.cd", a);
    store->AddSession(a.id, "s", 100);
    Session session;
    ASSERT_EQ(StoreStatus::Ok, store->FindSession("s", session));
    ASSERT_EQ(StoreStatus::Ok, store->TouchSession(session.id, 500));
    ASSERT_EQ(StoreStatus::Ok, store->TouchSession(session.id, 300));
    store->FindSession("s", session);
    EXPECT_EQ(500, session.lastCheck);
}

TEST_F(SqliteStoreTest, EventsFromManyThreadsAreAllStoredAndListedOldestFirst)
{
    auto store = Open();
    constexpr int kThreads = 16;
    constexpr int kEach = 50;
    std::vector<std::thread> threads;
    std::atomic<int> failures {0};
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kEach; ++i) {
                UsageEvent event;
                event.time = i;
                event.info = std::to_string(t) + ":" + std::to_string(i);
                if (store->AddEvent(event) != StoreStatus::Ok) {
                    ++failures;
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(0, failures.load());
    std::vector<UsageEvent> events;
    ASSERT_EQ(StoreStatus::Ok, store->ListEvents(-1, events));
    ASSERT_EQ(static_cast<size_t>(kThreads * kEach), events.size());
    for (size_t i = 1; i < events.size(); ++i) {
        EXPECT_LT(events[i - 1].id, events[i].id);
    }
    std::vector<UsageEvent> newest;
    ASSERT_EQ(StoreStatus::Ok, store->ListEvents(3, newest));
    ASSERT_EQ(3u, newest.size());
    EXPECT_EQ(events.back().id, newest.back().id);
    EXPECT_EQ(events[events.size() - 3].id, newest.front().id);
}

TEST_F(SqliteStoreTest, TextIsStoredByteForByte)
{
    auto store = Open();
    UsageEvent event;
    event.info = "'); DROP TABLE events; -- \"路径\" %s \\ \n";
    event.page = "Robert'); --";
    ASSERT_EQ(StoreStatus::Ok, store->AddEvent(event));
    std::vector<UsageEvent> events;
    ASSERT_EQ(StoreStatus::Ok, store->ListEvents(-1, events));
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ(event.info, events[0].info);
    EXPECT_EQ(event.page, events[0].page);
}

TEST_F(SqliteStoreTest, FeedbackListsTheAccountEmail)
{
    auto store = Open();
    store->AddAccount("a@b.cd", "h", 1);
    Account a;
    store->FindAccount("a@b.cd", a);
    FeedbackEntry entry;
    entry.accountId = a.id;
    entry.text = "好用";
    entry.time = 7;
    entry.address = "127.0.0.1";
    ASSERT_EQ(StoreStatus::Ok, store->AddFeedback(entry));
    std::vector<FeedbackEntry> entries;
    ASSERT_EQ(StoreStatus::Ok, store->ListFeedback(-1, entries));
    ASSERT_EQ(1u, entries.size());
    EXPECT_EQ("a@b.cd", entries[0].email);
    EXPECT_EQ("好用", entries[0].text);
    EXPECT_EQ(7, entries[0].time);
}

TEST_F(SqliteStoreTest, TwoStoresOnOneFileSeeEachOthersWrites)
{
    auto first = Open();
    auto second = Open();
    ASSERT_EQ(StoreStatus::Ok, first->SetVersion("YUVLumo", "3.2", 1));
    std::string version;
    ASSERT_EQ(StoreStatus::Ok, second->GetVersion("YUVLumo", version));
    EXPECT_EQ("3.2", version);
}
