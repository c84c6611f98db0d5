#include "SessionToken.h"

#include <sodium.h>

#include <gtest/gtest.h>

#include <set>

using lumo_service::SessionToken;

TEST(SessionTokenTest, TokensAre64HexDigitsAndDiffer)
{
    ASSERT_GE(sodium_init(), 0);
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const std::string token = SessionToken::Generate();
        EXPECT_TRUE(SessionToken::LooksValid(token)) << token;
        seen.insert(token);
    }
    EXPECT_EQ(100u, seen.size());
}

TEST(SessionTokenTest, HashIsSha256InHex)
{
    EXPECT_EQ("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad", SessionToken::Hash("abc"));
}

TEST(SessionTokenTest, OnlyLowerCaseHexOfTheRightLengthLooksValid)
{
    EXPECT_FALSE(SessionToken::LooksValid(""));
    EXPECT_FALSE(SessionToken::LooksValid(std::string(63, 'a')));
    EXPECT_FALSE(SessionToken::LooksValid(std::string(65, 'a')));
    EXPECT_FALSE(SessionToken::LooksValid(std::string(64, 'A')));
    EXPECT_FALSE(SessionToken::LooksValid(std::string(63, 'a') + "g"));
    EXPECT_TRUE(SessionToken::LooksValid(std::string(64, 'f')));
}
