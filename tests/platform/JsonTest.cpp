// The strict reader and the typed getters, mostly against input that means harm.

#include <gtest/gtest.h>

#include <string>

#include "platform/Json.h"

namespace vms {
namespace {

TEST(ParseJson, TakesWhatTheStrictReaderTakes) {
    for (const char* text :
         {"{}", "[]", R"({"a": 1, "a": 2})", "{\"a\": 1} // note", "{} trailing"}) {
        Json::Value value;
        EXPECT_TRUE(ParseJson(text, value)) << text;
    }
    Json::Value value;
    ASSERT_TRUE(ParseJson(R"({"a": 1, "a": 2})", value));
    EXPECT_EQ(value["a"].asInt(), 2);
}

TEST(ParseJson, RefusesAndLeavesNothingBehind) {
    const std::string deepArray(5'000, '[');
    std::string deepObject;
    for (int i = 0; i < 5'000; ++i)
        deepObject += R"({"a":)";
    const std::string openString = "{\"a\": \"" + std::string(1 << 20, 'x');
    const std::string numbers = "[" + std::string(1 << 20, '9');
    const char* const texts[] = {nullptr,
                                 "",
                                 " ",
                                 "5",
                                 "\"text\"",
                                 "null",
                                 "{",
                                 R"({"a":1)",
                                 "[1, 2",
                                 "{'a': 1}",
                                 "[nan]",
                                 "\x01",
                                 "\xff\xfe",
                                 "{\"a\":}",
                                 deepArray.c_str(),
                                 deepObject.c_str(),
                                 openString.c_str(),
                                 numbers.c_str()};
    for (const char* text : texts) {
        Json::Value value(7);
        EXPECT_FALSE(ParseJson(text, value)) << (text == nullptr ? "null" : text);
        EXPECT_TRUE(value.isNull());
    }
}

TEST(ParseJson, MegabyteBodyIsRead) {
    const std::string big(1 << 20, 'x');
    Json::Value value;
    ASSERT_TRUE(ParseJson(("{\"a\": \"" + big + "\"}").c_str(), value));
    std::string read;
    EXPECT_TRUE(ReadString(value, "a", read));
    EXPECT_EQ(read, big);
}

TEST(JsonGetters, TakeOnlyTheRightTypeAndRange) {
    Json::Value value;
    ASSERT_TRUE(ParseJson(R"({"text": "t", "int": -3, "whole": 2.0, "half": 2.5, "yes": true,
        "wide": 32768, "low": -32769, "edge": -32768, "big": 2147483648,
        "huge": 1e300, "long": 99999999999999999999, "null": null, "list": [1], "object": {}})",
                          value));
    std::string text = "kept";
    int number = 42;
    short small = 42;
    bool flag = false;
    for (const char* key : {"int", "yes", "null", "list", "object", "absent"})
        EXPECT_FALSE(ReadString(value, key, text)) << key;
    for (const char* key : {"text", "half", "yes", "big", "huge", "long", "null", "list", "absent"})
        EXPECT_FALSE(ReadInt(value, key, number)) << key;
    for (const char* key : {"wide", "low", "text", "huge"})
        EXPECT_FALSE(ReadInt16(value, key, small)) << key;
    for (const char* key : {"int", "text", "null", "absent"})
        EXPECT_FALSE(ReadBool(value, key, flag)) << key;
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(number, 42);
    EXPECT_EQ(small, 42);
    EXPECT_TRUE(ReadInt(value, "int", number));
    EXPECT_EQ(number, -3);
    EXPECT_TRUE(ReadInt(value, "whole", number));
    EXPECT_EQ(number, 2);
    EXPECT_TRUE(ReadInt16(value, "edge", small));
    EXPECT_EQ(small, -32768);
    EXPECT_TRUE(ReadBool(value, "yes", flag));
    EXPECT_TRUE(flag);
}

TEST(JsonGetters, AnyValueMayBeAsked) {
    int number = 0;
    for (const Json::Value& value :
         {Json::Value(), Json::Value(5), Json::Value("text"), Json::Value(Json::arrayValue)}) {
        EXPECT_TRUE(Member(value, "a").isNull());
        EXPECT_FALSE(ReadInt(value, "a", number));
    }
    Json::Value object;
    object["a"] = 1;
    EXPECT_TRUE(Member(object, nullptr).isNull());
    Json::Value list(Json::arrayValue);
    EXPECT_TRUE(FirstElement(list).isNull());
    list.append(object);
    EXPECT_EQ(FirstElement(list), object);
    EXPECT_EQ(FirstElement(object), object);
}

}  // namespace
}  // namespace vms
