#include "JsonObject.h"

#include <gtest/gtest.h>

using lumo_service::JsonObject;

TEST(JsonObjectTest, WritesMembersInOrderCompactly)
{
    const std::string text =
        JsonObject().Add("code", 200).Add("message", "ok").Add("model", JsonObject().Add("token", "t")).Text();
    EXPECT_EQ("{\"code\":200,\"message\":\"ok\",\"model\":{\"token\":\"t\"}}", text);
}

TEST(JsonObjectTest, EscapesQuotesBackslashesAndControls)
{
    EXPECT_EQ("\"a\\\"b\\\\c\\nd\\u0001\\te\\u007f\"", JsonObject::Quote("a\"b\\c\nd\x01\te\x7f"));
}

TEST(JsonObjectTest, KeepsUtf8AsItIs)
{
    EXPECT_EQ("\"路径 ✓\"", JsonObject::Quote("路径 ✓"));
}

TEST(JsonObjectTest, EmptyObject)
{
    EXPECT_EQ("{}", JsonObject().Text());
}
