#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "common/JsonObject.h"

using tools::JsonObject;

TEST(JsonObject, MembersInOrderWithNullsForMissingValues)
{
    JsonObject json;
    json.Text("name", std::wstring(L"USB001")).Number("type", 2ull).Text("queue", std::optional<std::wstring>());
    json.Number("port", std::optional<unsigned long long>()).Null("other");
    EXPECT_EQ(json.Str(), "{\"name\": \"USB001\", \"type\": 2, \"queue\": null, \"port\": null, \"other\": null}");
    EXPECT_EQ(JsonObject().Str(), "{}");
}

TEST(JsonObject, TextIsEscapedAndWrittenInUtf8)
{
    EXPECT_EQ(JsonObject::Quote(L"a\"b\\c\r\n\t\x01"), "\"a\\\"b\\\\c\\r\\n\\t\\u0001\"");
    EXPECT_EQ(JsonObject::Quote(L"\\\\server\\Ουρά"), "\"\\\\\\\\server\\\\\xce\x9f\xcf\x85\xcf\x81\xce\xac\"");
}
