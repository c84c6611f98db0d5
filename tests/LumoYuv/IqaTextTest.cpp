// lumo-iqa's escaping: JSON string literals for any bytes, one-line text for
// messages and the text header.

#include "IqaText.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using lumo_iqa::JsonString;
using lumo_iqa::OneLine;
using lumo_iqa::Quoted;

TEST(JsonStringTest, PlainTextIsQuotedAsItIs)
{
    EXPECT_EQ(JsonString(""), "\"\"");
    EXPECT_EQ(JsonString("/v/clip 1.yuv"), "\"/v/clip 1.yuv\"");
}

TEST(JsonStringTest, QuoteBackslashAndControlBytesAreEscaped)
{
    EXPECT_EQ(JsonString("a\"b\\c"), "\"a\\\"b\\\\c\"");
    EXPECT_EQ(JsonString(std::string("\n\t\x01\x1f", 4)), "\"\\u000a\\u0009\\u0001\\u001f\"");
    EXPECT_EQ(JsonString(std::string("\0", 1)), "\"\\u0000\"");
    EXPECT_EQ(JsonString("\x7f"), "\"\x7f\"");
}

TEST(JsonStringTest, ValidUtf8IsKept)
{
    for (const std::string text : {"\xc3\xa9", "\xe4\xb8\xad\xe6\x96\x87", "\xf0\x9f\x98\x80",
                                   "\xef\xbf\xbd", "\xf4\x8f\xbf\xbf", "\xed\x9f\xbf"}) {
        EXPECT_EQ(JsonString(text), "\"" + text + "\"") << text;
    }
}

TEST(JsonStringTest, EachByteOutsideValidUtf8BecomesTheReplacementCharacter)
{
    const std::string r = "\\ufffd";
    // Stray continuation, lone lead bytes, overlong forms, surrogates, code
    // points past U+10FFFF, a sequence cut short at the end.
    EXPECT_EQ(JsonString("\x80"), "\"" + r + "\"");
    EXPECT_EQ(JsonString("\xff\xfe"), "\"" + r + r + "\"");
    EXPECT_EQ(JsonString("\xc0\xaf"), "\"" + r + r + "\"");
    EXPECT_EQ(JsonString("\xe0\x80\xaf"), "\"" + r + r + r + "\"");
    EXPECT_EQ(JsonString("\xed\xa0\x80"), "\"" + r + r + r + "\"");
    EXPECT_EQ(JsonString("\xf4\x90\x80\x80"), "\"" + r + r + r + r + "\"");
    EXPECT_EQ(JsonString("a\xe2\x82"), "\"a" + r + r + "\"");
    // A broken sequence does not swallow the valid text after it.
    EXPECT_EQ(JsonString("\xe2\x82z\xc3\xa9"), "\"" + r + r + "z\xc3\xa9\"");
}

TEST(OneLineTest, LineBreaksAndControlBytesBecomeEscapes)
{
    EXPECT_EQ(OneLine("a\nb\rc\td"), "a\\nb\\rc\\td");
    EXPECT_EQ(OneLine("back\\slash"), "back\\\\slash");
    EXPECT_EQ(OneLine(std::string("\x01\x1b\x7f", 3)), "\\x01\\x1b\\x7f");
    EXPECT_EQ(OneLine(std::string("\0", 1)), "\\x00");
    // Anything else, UTF-8 or not, stays.
    EXPECT_EQ(OneLine("\xc3\xa9\xff"), "\xc3\xa9\xff");
}

TEST(QuotedTest, QuotesTheOneLineForm)
{
    EXPECT_EQ(Quoted("x\ny.yuv"), "'x\\ny.yuv'");
}

} // namespace
