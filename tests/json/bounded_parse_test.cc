#include "json/bounded_parse.h"
#include "json/json_value_access.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace pelorin::json {
namespace {

// "[0,0,...,0]" of about `bytes` bytes: the answer that takes most memory per byte of text.
std::string tinyElements(std::size_t bytes) {
  std::string text = "[0";
  while (text.size() + 3 <= bytes) text += ",0";
  text += "]";
  return text;
}

constexpr std::size_t kText = std::size_t{64} * 1024;

TEST(BoundedParseTest, TinyElementsPastTheLimitFailWithinIt) {
  const std::string text = tinyElements(kText);
  std::string error;
  std::size_t peak = 0;
  EXPECT_FALSE(parseBounded(text, 2 * kText, &error, &peak).has_value());
  EXPECT_EQ(error, "the document takes more than 131072 bytes to parse");
  EXPECT_LE(peak, 2 * kText);
  EXPECT_EQ(memoryLimitMessage(2 * kText), error);
}

// Without a limit the same text takes many times its size (the parser's stack holds every
// element, then the array holds them again): the bound is what keeps it small.
TEST(BoundedParseTest, TinyElementsTakeManyTimesTheirSizeUnbounded) {
  const std::string text = tinyElements(kText);
  std::size_t peak = 0;
  auto value = parseBounded(text, SIZE_MAX, nullptr, &peak);
  ASSERT_TRUE(value.has_value());
  EXPECT_EQ(value->size(), (text.size() - 1) / 2);
  EXPECT_GT(peak, 8 * text.size());
}

// An answer of ordinary members (texts, objects) takes less than twice its size.
TEST(BoundedParseTest, OrdinaryAnswerParsesWithinTwiceItsSize) {
  std::string text = "[";
  for (int i = 0; i < 100; ++i) {
    if (i > 0) text += ",";
    text += R"({"id":")" + std::to_string(i) + R"(","result":{"name":")" + std::string(500, 'x') +
            R"("}})";
  }
  text += "]";
  std::string error;
  std::size_t peak = 0;
  auto value = parseBounded(text, 2 * text.size(), &error, &peak);
  ASSERT_TRUE(value.has_value()) << error;
  EXPECT_GT(peak, text.size() / 2);
  EXPECT_LE(peak, 2 * text.size());
  EXPECT_EQ(*value, *JsonValue::parse(text));
}

TEST(BoundedParseTest, InvalidTextGivesTheParsersError) {
  std::string bounded;
  std::string plain;
  EXPECT_FALSE(parseBounded("[1,", 1024, &bounded).has_value());
  EXPECT_FALSE(JsonValue::parse("[1,", &plain).has_value());
  EXPECT_EQ(bounded, plain);
  EXPECT_FALSE(parseBounded("[1] x", 1024, &bounded).has_value());
  EXPECT_FALSE(JsonValue::parse("[1] x", &plain).has_value());
  EXPECT_EQ(bounded, plain);
}

// The limit holds while parsing only: the document may then grow like any other.
TEST(BoundedParseTest, DocumentGrowsPastTheLimitAfterParsing) {
  auto value = parseBounded(R"({"a":[]})", 1024);
  ASSERT_TRUE(value.has_value());
  boost::json::array& array = mutableRawJson(*value).as_object()["a"].as_array();
  for (int i = 0; i < 10000; ++i) array.emplace_back("a text longer than the small buffer");
  EXPECT_EQ((*value)["a"].size(), 10000U);
  JsonValue copy = *value;
  EXPECT_EQ(copy, *value);
}

TEST(BoundedParseTest, ResourceCountsAndRefusesPastItsCap) {
  CappedMemoryResource resource(100);
  void* a = resource.allocate(60, 8);
  EXPECT_EQ(resource.inUse(), 60U);
  EXPECT_THROW(static_cast<void>(resource.allocate(41, 8)), std::bad_alloc);
  void* b = resource.allocate(40, 8);
  EXPECT_EQ(resource.inUse(), 100U);
  resource.deallocate(a, 60, 8);
  resource.deallocate(b, 40, 8);
  EXPECT_EQ(resource.inUse(), 0U);
  EXPECT_EQ(resource.peak(), 100U);
  resource.lift();
  void* c = resource.allocate(1000, 8);
  resource.deallocate(c, 1000, 8);
  EXPECT_EQ(resource.peak(), 100U);
}

}  // namespace
}  // namespace pelorin::json
