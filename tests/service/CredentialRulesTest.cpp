#include "CredentialRules.h"

#include <gtest/gtest.h>

using lumo_service::CredentialRules;
using lumo_service::PasswordProblem;

TEST(CredentialRulesTest, PlainAddressesArePlausible)
{
    EXPECT_TRUE(CredentialRules::PlausibleEmail("ann@example.com"));
    EXPECT_TRUE(CredentialRules::PlausibleEmail("o'brien+lumo@mail.example.co.uk"));
    EXPECT_TRUE(CredentialRules::PlausibleEmail("用户@例子.中国"));
}

TEST(CredentialRulesTest, AddressesWithoutAtOrDomainOrWithSpacesAreNot)
{
    for (const char* bad : {"", "ann", "ann@", "@example.com", "ann@example", "ann@@example.com", "a b@example.com",
                            "ann@exa mple.com", "ann@-example.com", "ann@example..com", "ann.@example.com",
                            "<ann>@example.com", "ann@example.com\n"}) {
        EXPECT_FALSE(CredentialRules::PlausibleEmail(bad)) << bad;
    }
    EXPECT_FALSE(CredentialRules::PlausibleEmail(std::string(250, 'a') + "@example.com"));
}

TEST(CredentialRulesTest, NormalizingLowerCasesAsciiLettersOnly)
{
    EXPECT_EQ("ann@example.com", CredentialRules::NormalizeEmail("Ann@EXAMPLE.com"));
    EXPECT_EQ("用户@例子.中国", CredentialRules::NormalizeEmail("用户@例子.中国"));
}

TEST(CredentialRulesTest, PasswordsNeedEightCharactersCountedAsCodePoints)
{
    EXPECT_EQ(PasswordProblem::TooShort, CredentialRules::CheckPassword("1234567", "a@b.cd"));
    EXPECT_EQ(PasswordProblem::None, CredentialRules::CheckPassword("12345678", "a@b.cd"));
    // Seven Chinese characters are 21 bytes but still seven characters.
    EXPECT_EQ(PasswordProblem::TooShort, CredentialRules::CheckPassword("密码密码密码密", "a@b.cd"));
    EXPECT_EQ(PasswordProblem::None, CredentialRules::CheckPassword("密码密码密码密码", "a@b.cd"));
}

TEST(CredentialRulesTest, PasswordMustNotBeTheEmailInAnyLetterCase)
{
    EXPECT_EQ(PasswordProblem::SameAsEmail, CredentialRules::CheckPassword("Ann@Example.com", "ann@example.com"));
}

TEST(CredentialRulesTest, PasswordsOver1024BytesAreRefused)
{
    EXPECT_EQ(PasswordProblem::None, CredentialRules::CheckPassword(std::string(1024, 'x'), "a@b.cd"));
    EXPECT_EQ(PasswordProblem::TooLong, CredentialRules::CheckPassword(std::string(1025, 'x'), "a@b.cd"));
}
