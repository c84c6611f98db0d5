#include "Sessions.h"

#include "PostgresServer.h"
#include "PostgresStore.h"
#include "ServiceClock.h"
#include "SqliteStore.h"

#include "TempDir.h"

#include <gtest/gtest.h>

#include <vector>

using namespace lumo_service;
using namespace lumo_test;

TEST(SessionsTest, SigningInAgainAndAgainEndsTheLeastRecentlyCheckedBeyondTheLimit)
{
    TempDir dir;
    std::string error;
    auto store = SqliteStore::Open(dir.File("lumo.db"), error);
    ASSERT_TRUE(store) << error;
    ASSERT_EQ(StoreStatus::Ok, store->AddAccount("a@b.cd", "h", 1));
    Account account;
    ASSERT_EQ(StoreStatus::Ok, store->FindAccount("a@b.cd", account));
    const ServiceClock clock;
    Sessions sessions(*store, clock);
    std::vector<std::string> tokens(Sessions::kMaxPerAccount + 1);
    for (std::string& token : tokens) {
        ASSERT_EQ(StoreStatus::Ok, sessions.Issue(account.id, token));
    }
    int64_t accountId = 0;
    EXPECT_EQ(SessionState::Unknown, sessions.Check(tokens.front(), accountId));
    for (size_t i = 1; i < tokens.size(); ++i) {
        EXPECT_EQ(SessionState::Valid, sessions.Check(tokens[i], accountId)) << i;
        EXPECT_EQ(account.id, accountId);
    }
}

TEST(SessionsTest, DatabaseOutOfReachIsUnavailableNotUnknown)
{
    PostgresServer server;
    std::string error;
    std::string database;
    ASSERT_TRUE(server.Start(error)) << error;
    ASSERT_TRUE(server.CreateDatabase(database, error)) << error;
    auto store = PostgresStore::Open(server.Url(database), error);
    ASSERT_TRUE(store) << error;
    ASSERT_EQ(StoreStatus::Ok, store->AddAccount("a@b.cd", "h", 1));
    Account account;
    ASSERT_EQ(StoreStatus::Ok, store->FindAccount("a@b.cd", account));
    const ServiceClock clock;
    Sessions sessions(*store, clock);
    std::string token;
    ASSERT_EQ(StoreStatus::Ok, sessions.Issue(account.id, token));
    server.Stop();
    int64_t accountId = 0;
    EXPECT_EQ(SessionState::Unavailable, sessions.Check(token, accountId));
    std::string another;
    EXPECT_EQ(StoreStatus::Unavailable, sessions.Issue(account.id, another));
    ASSERT_TRUE(server.Start(error)) << error;
    EXPECT_EQ(SessionState::Valid, sessions.Check(token, accountId));
}
