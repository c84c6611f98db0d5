#include "FormBody.h"

#include <gtest/gtest.h>

using lumo_service::FormBody;

namespace {

std::map<std::string, std::string> Parsed(const std::string& body)
{
    std::map<std::string, std::string> fields;
    std::string problem;
    EXPECT_TRUE(FormBody::Parse(body, fields, problem)) << body << ": " << problem;
    return fields;
}

bool Refused(const std::string& body)
{
    std::map<std::string, std::string> fields;
    std::string problem;
    const bool parsed = FormBody::Parse(body, fields, problem);
    return !parsed && !problem.empty();
}

} // namespace

TEST(FormBodyTest, DecodesPercentEscapesAndPlus)
{
    const auto fields = Parsed("info=a%26b%3Dc&text=one+two%2B&empty=&bare");
    EXPECT_EQ("a&b=c", fields.at("info"));
    EXPECT_EQ("one two+", fields.at("text"));
    EXPECT_EQ("", fields.at("empty"));
    EXPECT_EQ("", fields.at("bare"));
}

TEST(FormBodyTest, DecodesUtf8)
{
    EXPECT_EQ("路径", Parsed("p=%E8%B7%AF%E5%BE%84").at("p"));
    EXPECT_EQ("路径", Parsed("p=路径").at("p"));
}

TEST(FormBodyTest, EmptyBodyHasNoFields)
{
    EXPECT_TRUE(Parsed("").empty());
}

TEST(FormBodyTest, RefusesBrokenEscapes)
{
    EXPECT_TRUE(Refused("a=%"));
    EXPECT_TRUE(Refused("a=%4"));
    EXPECT_TRUE(Refused("a=%zz"));
    EXPECT_TRUE(Refused("a=%G0"));
}

TEST(FormBodyTest, RefusesTextThatIsNotUtf8AndNul)
{
    EXPECT_TRUE(Refused("a=%FF"));
    EXPECT_TRUE(Refused("a=%C0%AF"));          // overlong "/"
    EXPECT_TRUE(Refused("a=%ED%A0%80"));       // a surrogate
    EXPECT_TRUE(Refused("a=%E8%B7"));          // cut short
    EXPECT_TRUE(Refused("a=b%00c"));
}

TEST(FormBodyTest, RefusesRepeatedEmptyNamedAndTooManyFields)
{
    EXPECT_TRUE(Refused("a=1&a=2"));
    EXPECT_TRUE(Refused("=1"));
    EXPECT_TRUE(Refused("a=1&&b=2"));
    EXPECT_TRUE(Refused("a=1&"));
    std::string many;
    for (size_t i = 0; i <= FormBody::kMaxFields; ++i) {
        many += (many.empty() ? "f" : "&f") + std::to_string(i) + "=1";
    }
    EXPECT_TRUE(Refused(many));
}

TEST(FormBodyTest, ARepeatedFieldIsNamedInTheReason)
{
    std::map<std::string, std::string> fields;
    std::string problem;
    EXPECT_FALSE(FormBody::Parse("token=1&token=2", fields, problem));
    EXPECT_EQ("field \"token\" given more than once", problem);
}

TEST(FormBodyTest, ALongRepeatedNameIsCutBetweenCharactersInTheReason)
{
    // 21 ASCII bytes, then three-byte characters: byte 64 falls inside one.
    std::string name = "abcdefghijklmnopqrstu";
    std::string encoded = name;
    for (int i = 0; i < 4000; ++i) {
        name += "\xe4\xb8\xad";
        encoded += "%E4%B8%AD";
    }
    std::map<std::string, std::string> fields;
    std::string problem;
    EXPECT_FALSE(FormBody::Parse(encoded + "=1&" + encoded + "=2", fields, problem));
    EXPECT_EQ("field \"" + name.substr(0, 63) + "...\" given more than once", problem);
    EXPECT_TRUE(FormBody::IsUtf8(problem));
}

TEST(FormBodyTest, ContentTypeIgnoresCaseAndParameters)
{
    EXPECT_TRUE(FormBody::IsFormContentType("application/x-www-form-urlencoded"));
    EXPECT_TRUE(FormBody::IsFormContentType("Application/X-WWW-Form-Urlencoded; charset=UTF-8"));
    EXPECT_FALSE(FormBody::IsFormContentType(""));
    EXPECT_FALSE(FormBody::IsFormContentType("application/json"));
    EXPECT_FALSE(FormBody::IsFormContentType("multipart/form-data; boundary=x"));
    EXPECT_FALSE(FormBody::IsFormContentType("application/x-www-form-urlencodedx"));
}
