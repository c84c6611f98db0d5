#include "core/KestStrRpl.h"
#include "core/KestString.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using Kest::KestString;

TEST(KestString, DefaultIsEmptyAndNull)
{
    KestString s;
    EXPECT_EQ(1, s.IsEmpty());
    EXPECT_EQ(nullptr, s.GetStr());
    EXPECT_STREQ("", s.CStr());
}

TEST(KestString, NullCStringGivesEmpty)
{
    KestString s(nullptr);
    EXPECT_EQ(1, s.IsEmpty());
}

TEST(KestString, ConstructionCopiesTheText)
{
    char text[] = "hello";
    KestString s(text);
    text[0] = 'j';
    EXPECT_STREQ("hello", s.GetStr());
}

TEST(KestString, AssigningAnEmptyStringKeepsTheOldText)
{
    KestString s("x");
    s = KestString();
    EXPECT_STREQ("x", s.GetStr());
}

TEST(KestString, AssignmentCopiesDeeply)
{
    KestString a("abc");
    KestString b("old");
    b = a;
    a = KestString("zzz");
    EXPECT_STREQ("abc", b.GetStr());
    EXPECT_NE(a.GetStr(), b.GetStr());
}

TEST(KestString, SelfAssignmentKeepsTheText)
{
    KestString s("same");
    KestString& alias = s;
    s = alias;
    EXPECT_STREQ("same", s.GetStr());
}

TEST(KestString, CopyOfEmptyIsEmpty)
{
    KestString empty;
    KestString copy(empty);
    EXPECT_EQ(1, copy.IsEmpty());
}

TEST(KestString, EmptyCStringIsNotEmptyButTheirSumIs)
{
    KestString a("");
    KestString b("");
    EXPECT_EQ(0, a.IsEmpty());
    EXPECT_NE(nullptr, a.GetStr());
    EXPECT_EQ(1, (a + b).IsEmpty());
}

TEST(KestString, Equality)
{
    EXPECT_TRUE(KestString() == KestString());
    EXPECT_FALSE(KestString() == KestString(""));
    EXPECT_FALSE(KestString("a") == KestString());
    EXPECT_TRUE(KestString("abc") == KestString("abc"));
    EXPECT_FALSE(KestString("abc") == KestString("abd"));
    EXPECT_TRUE(KestString("abc") != KestString("abd"));
}

TEST(KestString, Ordering)
{
    EXPECT_TRUE(KestString("abc") < KestString("abd"));
    EXPECT_TRUE(KestString("b") > KestString("abc"));
    EXPECT_FALSE(KestString("abc") < KestString("abc"));
}

TEST(KestString, Concatenation)
{
    EXPECT_STREQ("foobar", (KestString("foo") + KestString("bar")).GetStr());
    EXPECT_STREQ("foo", (KestString("foo") + KestString()).GetStr());
    EXPECT_STREQ("bar", (KestString() + KestString("bar")).GetStr());
    EXPECT_STREQ("bar", (KestString("") + KestString("bar")).GetStr());
    EXPECT_EQ(1, (KestString() + KestString()).IsEmpty());
}

TEST(KestString, AppendInPlace)
{
    KestString s("a");
    s += KestString("b");
    s += "c";
    EXPECT_STREQ("abc", s.GetStr());

    KestString empty;
    empty += KestString();
    EXPECT_EQ(1, empty.IsEmpty());

    KestString blank("");
    blank += KestString("");
    EXPECT_EQ(0, blank.IsEmpty());
    EXPECT_STREQ("", blank.GetStr());
}

TEST(KestString, ClearStr)
{
    KestString s("abc");
    EXPECT_EQ(0, s.ClearStr());
    EXPECT_EQ(1, s.IsEmpty());
}

TEST(KestString, SplitSkipsEmptyPieces)
{
    KestString s("a,,b,");
    ASSERT_EQ(2, s.Split(nullptr, ","));
    std::vector<KestString> parts(2);
    EXPECT_EQ(2, s.Split(parts.data(), ","));
    EXPECT_STREQ("a", parts[0].GetStr());
    EXPECT_STREQ("b", parts[1].GetStr());
}

TEST(KestString, SplitUsesEveryDelimiterCharacter)
{
    KestString s(" x;y z;;");
    ASSERT_EQ(3, s.Split(nullptr, "; "));
    std::vector<KestString> parts(3);
    s.Split(parts.data(), "ignored");
    EXPECT_STREQ("x", parts[0].GetStr());
    EXPECT_STREQ("y", parts[1].GetStr());
    EXPECT_STREQ("z", parts[2].GetStr());
}

TEST(KestString, SplitSecondPhaseDoesNotSplitAgain)
{
    KestString s("1/2/3");
    ASSERT_EQ(3, s.Split(nullptr, "/"));
    s = KestString("changed");
    std::vector<KestString> parts(3);
    EXPECT_EQ(3, s.Split(parts.data(), "/"));
    EXPECT_STREQ("3", parts[2].GetStr());
}

TEST(KestString, SplitOfEmptyHasNoParts)
{
    KestString s;
    EXPECT_EQ(0, s.Split(nullptr, ","));
    KestString onlyDelims(",,,");
    EXPECT_EQ(0, onlyDelims.Split(nullptr, ","));
}

TEST(KestString, ReplaceEveryOccurrence)
{
    KestString s("aXbX");
    EXPECT_EQ(0, s.Replace("X", "YY"));
    EXPECT_STREQ("aYYbYY", s.GetStr());
}

TEST(KestString, ReplaceInEmptyGivesNonNullEmptyText)
{
    KestString s;
    s.Replace("X", "Y");
    EXPECT_EQ(0, s.IsEmpty());
    EXPECT_STREQ("", s.GetStr());
}

TEST(KestString, ReplaceStopsAt2047Bytes)
{
    const std::string longText(3000, 'a');
    KestString s(longText.c_str());
    s.Replace("b", "c");
    EXPECT_EQ(2047, s.Length());
}

TEST(KestString, ReplaceOverTheLimitNeverOverruns)
{
    // The count runs out on a replacement and wraps: the copy then goes on to
    // the end of the input, far past 2048 bytes.
    std::string text(2046, 'a');
    text += "XXXX";
    text += std::string(5000, 'b');
    KestString s(text.c_str());
    s.Replace("X", "YY");
    std::string expected(2046, 'a');
    expected += "YYYYYYYY";
    expected += std::string(5000, 'b');
    EXPECT_EQ(expected, std::string(s.GetStr()));
}

TEST(KestString, Numbers)
{
    EXPECT_STREQ("3.50", KestString::Number(3.5f, "%.2f").GetStr());
    EXPECT_STREQ("0042", KestString::Number(42, "%04d").GetStr());
    EXPECT_STREQ("-9000000000", KestString::Number(-9000000000L).GetStr());
    EXPECT_STREQ("123456789012345", KestString::Number(123456789012345LL).GetStr());
}

TEST(StrRpl, AbsentPatternCopiesInput)
{
    char in[] = "hello world";
    char out[64] = {0};
    EXPECT_EQ(out, strrpl(in, out, sizeof(out), "xyz", "Q"));
    EXPECT_STREQ("hello world", out);
}

TEST(StrRpl, ReplacesAndShrinks)
{
    char in[] = "one two one";
    char out[64] = {0};
    strrpl(in, out, sizeof(out), "one", "1");
    EXPECT_STREQ("1 two 1", out);
}

TEST(StrRpl, RefusesBadArguments)
{
    char in[] = "abc";
    char empty[] = "";
    char out[16] = "keep";
    EXPECT_EQ(nullptr, strrpl(nullptr, out, 16, "a", "b"));
    EXPECT_EQ(nullptr, strrpl(in, nullptr, 16, "a", "b"));
    EXPECT_EQ(nullptr, strrpl(in, out, 16, nullptr, "b"));
    EXPECT_EQ(nullptr, strrpl(in, out, 16, "a", nullptr));
    EXPECT_EQ(nullptr, strrpl(empty, out, 16, "a", "b"));
    EXPECT_EQ(nullptr, strrpl(in, out, 16, "", "b"));
    EXPECT_EQ(nullptr, strrpl(in, out, 0, "a", "b"));
    EXPECT_STREQ("keep", out);
}

TEST(StrRpl, AppendsToExistingText)
{
    char in[] = "b";
    char out[16] = "a";
    strrpl(in, out, sizeof(out), "x", "y");
    EXPECT_STREQ("ab", out);
}

TEST(StrRpl, CountsAtMostOutsizeMinusOne)
{
    char in[] = "abcdef";
    char out[16] = {0};
    strrpl(in, out, 4, "x", "y");
    EXPECT_STREQ("abc", out);
}

TEST(StrRpl, ReplacementLongerThanWhatRemainsIsWrittenWholeAndWraps)
{
    char in[] = "aXbcdefgh";
    char out[64] = {0};
    // One byte counted for 'a', then the three-byte replacement with one byte
    // left: the count wraps and the copy runs to the end of the input.
    strrpl(in, out, 3, "X", "123");
    EXPECT_STREQ("a123bcdefgh", out);
}
