#include "pelorin/json_value.h"

#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "json/utf8.h"

namespace pelorin {
namespace {

JsonValue parsed(std::string_view text) {
  auto value = JsonValue::parse(text);
  EXPECT_TRUE(value.has_value()) << text;
  return value ? *value : JsonValue();
}

TEST(JsonValueTest, LenientAccessorsYieldDefaultsForMissingMembers) {
  JsonValue doc = parsed(R"({"s":"x","n":3,"b":true,"a":[1],"o":{}})");
  EXPECT_EQ(doc["missing"].string(), "");
  EXPECT_EQ(doc["missing"].integer(), 0);
  EXPECT_FALSE(doc["missing"].boolean());
  EXPECT_EQ(doc["missing"].size(), 0U);
  EXPECT_TRUE(doc["missing"].elements().empty());
  EXPECT_TRUE(doc["missing"].members().empty());
  EXPECT_FALSE(doc["missing"].exists());
  EXPECT_FALSE(doc["s"]["deeper"][3].exists());
}

TEST(JsonValueTest, LenientAccessorsYieldDefaultsForMistypedMembers) {
  JsonValue doc = parsed(R"({"s":"x","n":3,"b":true})");
  EXPECT_EQ(doc["n"].string(), "");
  EXPECT_EQ(doc["s"].integer(), 0);
  EXPECT_FALSE(doc["s"].boolean());
  EXPECT_DOUBLE_EQ(doc["b"].number(), 0.0);
  EXPECT_EQ(doc["s"].size(), 0U);
}

TEST(JsonValueTest, OptionalAccessorsYieldNothingWhenMistyped) {
  JsonValue doc = parsed(R"({"s":"x","n":3,"d":2.5,"b":false,"l":["a","b"],"m":["a",1]})");
  EXPECT_EQ(doc["s"].asString(), "x");
  EXPECT_EQ(doc["n"].asString(), std::nullopt);
  EXPECT_EQ(doc["n"].asInt(), 3);
  EXPECT_EQ(doc["d"].asInt(), std::nullopt);
  EXPECT_EQ(doc["d"].asDouble(), 2.5);
  EXPECT_EQ(doc["b"].asBool(), false);
  EXPECT_EQ(doc["s"].asBool(), std::nullopt);
  EXPECT_EQ(doc["l"].asStringList(), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(doc["m"].asStringList(), std::nullopt);
  EXPECT_EQ(doc["missing"].asStringList(), std::nullopt);
}

TEST(JsonValueTest, IntegerTruncatesDoublesAndRejectsHugeNumbers) {
  JsonValue doc = parsed(R"([3.0, 3.7, -3.7, 1e300, 18446744073709551615])");
  EXPECT_EQ(doc[0].asInt(), 3);
  EXPECT_EQ(doc[1].integer(), 3);
  EXPECT_EQ(doc[2].integer(), -3);
  EXPECT_EQ(doc[3].integer(), 0);
  EXPECT_EQ(doc[4].asInt(), std::nullopt);
}

TEST(JsonValueTest, ArrayAndObjectAccess) {
  JsonValue doc = parsed(R"({"b":1,"a":[10,20]})");
  ASSERT_EQ(doc.members().size(), 2U);
  EXPECT_EQ(doc.members()[0].first, "b");  // document order is kept
  EXPECT_EQ(doc["a"][1].integer(), 20);
  EXPECT_FALSE(doc["a"][2].exists());
  EXPECT_TRUE(doc.contains("a"));
  EXPECT_FALSE(doc.contains("c"));
}

TEST(JsonValueTest, ParseReportsFailureWithoutThrowing) {
  std::string error;
  EXPECT_FALSE(JsonValue::parse("{\"a\":", &error).has_value());
  EXPECT_FALSE(error.empty());
  EXPECT_FALSE(JsonValue::parse("").has_value());
  EXPECT_FALSE(JsonValue::parse("[1] [2]").has_value());
  EXPECT_FALSE(JsonValue::parse("\"\xff\"").has_value());
}

TEST(JsonValueTest, CompactSerialisationHasNoWhiteSpace) {
  JsonValue doc = parsed(R"({ "a" : [1, 2.5, "x", true, null], "b" : {} })");
  EXPECT_EQ(doc.toCompactString(), R"({"a":[1,2.5,"x",true,null],"b":{}})");
}

TEST(JsonValueTest, CompactSerialisationEscapesStrings) {
  JsonValue doc(std::string("q\"b\\n\n\x01\xc3\xa9/"));
  EXPECT_EQ(doc.toCompactString(), "\"q\\\"b\\\\n\\n\\u0001\xc3\xa9/\"");
  EXPECT_EQ(JsonValue::parse(doc.toCompactString())->string(), "q\"b\\n\n\x01\xc3\xa9/");
}

TEST(JsonValueTest, DoublesUseShortestRoundTripText) {
  EXPECT_EQ(parsed("[2.5, 0.1, 1e100, -0.0]").toCompactString(), "[2.5,0.1,1e+100,-0]");
}

TEST(JsonValueTest, PrettyFormIndentsByTwoSpaces) {
  JsonValue doc = parsed(R"({"a":[1,"x"],"b":{},"c":[],"d":{"e":null}})");
  EXPECT_EQ(doc.toPrettyString(),
            "{\n"
            "  \"a\" : [\n"
            "    1,\n"
            "    \"x\"\n"
            "  ],\n"
            "  \"b\" : {},\n"
            "  \"c\" : [],\n"
            "  \"d\" : {\n"
            "    \"e\" : null\n"
            "  }\n"
            "}");
}

TEST(JsonValueTest, PrettyFormOfScalars) {
  EXPECT_EQ(parsed("\"x\"").toPrettyString(), "\"x\"");
  EXPECT_EQ(JsonRef().toPrettyString(), "null");
}

TEST(JsonValueTest, FromStringsBuildsAnArray) {
  EXPECT_EQ(JsonValue::fromStrings({"a", "b"}).toCompactString(), R"(["a","b"])");
}

TEST(JsonValueTest, CopiedRefOwnsItsValue) {
  JsonValue copy;
  {
    JsonValue doc = parsed(R"({"a":{"b":1}})");
    copy = JsonValue(doc["a"]);
  }
  EXPECT_EQ(copy["b"].integer(), 1);
}

TEST(JsonValueTest, MadeFromScalars) {
  EXPECT_EQ(JsonValue().toCompactString(), "null");
  EXPECT_EQ(JsonValue(nullptr).toCompactString(), "null");
  EXPECT_EQ(JsonValue(true).toCompactString(), "true");
  EXPECT_EQ(JsonValue(false).toCompactString(), "false");
  EXPECT_EQ(JsonValue(42).toCompactString(), "42");
  EXPECT_EQ(JsonValue(-7L).toCompactString(), "-7");
  EXPECT_EQ(JsonValue(std::numeric_limits<std::uint64_t>::max()).toCompactString(),
            "18446744073709551615");
  EXPECT_EQ(JsonValue(2.5).toCompactString(), "2.5");
  EXPECT_EQ(JsonValue(0.5F).toCompactString(), "0.5");
  EXPECT_EQ(JsonValue("https://pelorin.example").toCompactString(), "\"https://pelorin.example\"");
  EXPECT_EQ(JsonValue(std::string("a\"b")).toCompactString(), "\"a\\\"b\"");
  EXPECT_EQ(JsonValue(std::string_view("view")).string(), "view");
  EXPECT_TRUE(JsonValue(42).isInteger());
  EXPECT_TRUE(JsonValue("x").isString());
  EXPECT_TRUE(JsonValue(true).isBool());
}

TEST(JsonValueTest, MadeFromListsAndMaps) {
  EXPECT_EQ(JsonValue(std::vector<std::string>{"a", "b"}).toCompactString(), R"(["a","b"])");
  EXPECT_EQ(JsonValue(std::vector<int>{1, 2}).toCompactString(), "[1,2]");
  EXPECT_EQ(JsonValue(std::vector<std::vector<bool>>{{true}, {}}).toCompactString(), "[[true],[]]");
  EXPECT_EQ(JsonValue(std::map<std::string, std::string>{{"b", "2"}, {"a", "1"}}).toCompactString(),
            R"({"a":"1","b":"2"})");
  EXPECT_EQ(JsonValue::array({1, "two", true, nullptr}).toCompactString(),
            R"([1,"two",true,null])");
  EXPECT_EQ(JsonValue::array().toCompactString(), "[]");
  EXPECT_EQ(JsonValue::object().toCompactString(), "{}");
  EXPECT_EQ(
      JsonValue::object({{"z", 1}, {"a", JsonValue::array({"x"})}, {"z", 2}}).toCompactString(),
      R"({"z":2,"a":["x"]})");
}

TEST(JsonValueTest, SetEraseAndAppendBuildDocuments) {
  JsonValue doc;
  doc.set("name", "Ada").set("age", 36).set("name", "Grace");
  EXPECT_EQ(doc.toCompactString(), R"({"name":"Grace","age":36})");
  EXPECT_TRUE(doc.erase("age"));
  EXPECT_FALSE(doc.erase("age"));
  EXPECT_EQ(doc.toCompactString(), R"({"name":"Grace"})");

  JsonValue list = JsonValue(3);
  list.append("a").append(JsonValue::object({{"k", false}}));
  EXPECT_EQ(list.toCompactString(), R"(["a",{"k":false}])");
  EXPECT_FALSE(list.erase("k"));
}

TEST(JsonValueTest, CopiesAndMovesKeepTheDocument) {
  JsonValue original = JsonValue::object({{"list", JsonValue::array({1, 2})}});
  JsonValue copy = original;
  copy.set("more", true);
  EXPECT_EQ(original.toCompactString(), R"({"list":[1,2]})");
  EXPECT_EQ(copy.toCompactString(), R"({"list":[1,2],"more":true})");
  JsonValue moved = std::move(copy);
  EXPECT_EQ(moved.toCompactString(), R"({"list":[1,2],"more":true})");
  copy = moved;
  EXPECT_TRUE(copy == moved);
  copy = std::move(original);
  EXPECT_EQ(copy.toCompactString(), R"({"list":[1,2]})");
  EXPECT_FALSE(copy == moved);
}

TEST(Utf8Test, AcceptsWellFormedText) {
  EXPECT_TRUE(isValidUtf8(""));
  EXPECT_TRUE(isValidUtf8("plain"));
  EXPECT_TRUE(isValidUtf8("\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"));
}

TEST(Utf8Test, RejectsMalformedText) {
  EXPECT_FALSE(isValidUtf8("\xff"));
  EXPECT_FALSE(isValidUtf8("\xc3"));              // truncated
  EXPECT_FALSE(isValidUtf8("\xc0\xaf"));          // overlong
  EXPECT_FALSE(isValidUtf8("\xed\xa0\x80"));      // surrogate
  EXPECT_FALSE(isValidUtf8("\xf4\x90\x80\x80"));  // beyond U+10FFFF
}

}  // namespace
}  // namespace pelorin
