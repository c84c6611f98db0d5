#include "PasswordHasher.h"

#include <gtest/gtest.h>
#include <sodium.h>

using lumo_service::PasswordHasher;

class PasswordHasherTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_GE(sodium_init(), 0); }

    // True when hash was made with exactly the given cost.
    static bool MadeWith(const std::string& hash, PasswordHasher::Cost cost)
    {
        return crypto_pwhash_str_needs_rehash(hash.c_str(), cost.passes, cost.memoryBytes) == 0;
    }
};

TEST_F(PasswordHasherTest, InteractiveCostIsLibsodiumsInteractiveLimits)
{
    const PasswordHasher::Cost cost = PasswordHasher::Interactive();
    EXPECT_EQ(crypto_pwhash_OPSLIMIT_INTERACTIVE, cost.passes);
    EXPECT_EQ(crypto_pwhash_MEMLIMIT_INTERACTIVE, cost.memoryBytes);
    PasswordHasher hasher(cost);
    std::string hash;
    ASSERT_TRUE(hasher.Hash("a long password", hash));
    EXPECT_EQ(0u, hash.rfind("$argon2id$", 0));
    EXPECT_TRUE(MadeWith(hash, cost));
    EXPECT_FALSE(MadeWith(hash, PasswordHasher::Least()));
}

TEST_F(PasswordHasherTest, LeastCostHashesAreArgon2idAtTheMinimum)
{
    PasswordHasher hasher(PasswordHasher::Least());
    std::string hash;
    ASSERT_TRUE(hasher.Hash("a long password", hash));
    EXPECT_EQ(0u, hash.rfind("$argon2id$", 0));
    EXPECT_TRUE(MadeWith(hash, PasswordHasher::Least()));
    EXPECT_FALSE(MadeWith(hash, PasswordHasher::Interactive()));
}

TEST_F(PasswordHasherTest, VerifiesTheRightPasswordOnlyAtEitherCost)
{
    for (const PasswordHasher::Cost cost : {PasswordHasher::Least(), PasswordHasher::Interactive()}) {
        PasswordHasher hasher(cost);
        std::string hash;
        ASSERT_TRUE(hasher.Hash("correct horse", hash));
        EXPECT_TRUE(hasher.Verify(hash, "correct horse"));
        EXPECT_FALSE(hasher.Verify(hash, "correct hors"));
        EXPECT_FALSE(hasher.Verify(hash, "Correct horse"));
    }
}

TEST_F(PasswordHasherTest, AHashVerifiesAtTheCostItWasMadeWithWhateverTheHashersCost)
{
    PasswordHasher interactive(PasswordHasher::Interactive());
    PasswordHasher least(PasswordHasher::Least());
    std::string hash;
    ASSERT_TRUE(least.Hash("correct horse", hash));
    EXPECT_TRUE(interactive.Verify(hash, "correct horse"));
}

TEST_F(PasswordHasherTest, AMissingAccountNeverVerifies)
{
    PasswordHasher hasher(PasswordHasher::Least());
    EXPECT_FALSE(hasher.Verify(std::string(), ""));
    EXPECT_FALSE(hasher.Verify(std::string(), "correct horse"));
}
