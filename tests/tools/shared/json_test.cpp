// The JSON that the programs for game developers write.
#include "tools/shared/json.h"

#include <gtest/gtest.h>

#include <math.h>

TEST(Json, KeepsTheOrderOfNamesAndBreaksLinesWhenAsked)
{
    Json json = Json::object({{"name", "level"}, {"sizes", Json::array({1, -2, 3.5})}, {"empty", Json::array()}});
    json["known"] = true;
    json["name"] = Json();
    json["first"]["second"] = "third";

    EXPECT_EQ(json.text(), R"({"name":null,"sizes":[1,-2,3.5],"empty":[],"known":true,"first":{"second":"third"}})");
    EXPECT_EQ(json.text(1), "{\n \"name\": null,\n \"sizes\": [\n  1,\n  -2,\n  3.5\n ],\n"
                            " \"empty\": [],\n \"known\": true,\n \"first\": {\n  \"second\": \"third\"\n }\n}");
}

TEST(Json, WritesWholeNumbersWithAllDigitsAndOthersSoThatTheyReadBack)
{
    EXPECT_EQ(Json(18446744073709551615ull).text(), "18446744073709551615");
    EXPECT_EQ(Json(INT64_MIN).text(), "-9223372036854775808");
    EXPECT_EQ(Json(1.0).text(), "1.0");
    EXPECT_EQ(Json(0.1).text(), "0.1");
    EXPECT_EQ(Json(0.00001).text(), "1e-05");
    EXPECT_EQ(Json(1e300).text(), "1e+300");
    EXPECT_EQ(Json(INFINITY).text(), "null"); // JSON has no infinity
}

TEST(Json, EscapesControlCharactersAndReplacesBytesThatAreNoUtf8)
{
    EXPECT_EQ(quotedForJson("a\"\\\n\x01\x7f"), "\"a\\\"\\\\\\n\\u0001\x7f\"");
    EXPECT_EQ(quotedForJson("\xe2\x82\xac"), "\"\xe2\x82\xac\"");
    const std::string replaced = "\"\xef\xbf\xbd\"";
    EXPECT_EQ(quotedForJson("\xff"), replaced);
    EXPECT_EQ(quotedForJson("\xe2\x82"), replaced);                       // the last byte is missing
    EXPECT_EQ(quotedForJson("\xc0\xaf"), "\"\xef\xbf\xbd\xef\xbf\xbd\""); // too long for its character
    EXPECT_EQ(quotedForJson("\xed\xa0\x80"), "\"\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\""); // a surrogate
}
