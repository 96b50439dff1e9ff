#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/chunked_map.h"
#include "base/chunked_vector.h"

namespace pelorin {
namespace {

using Values = std::vector<std::string>;

TEST(ChunkedVectorTest, ACopyKeepsItsElementsWhileTheSourceChanges) {
  ChunkedVector<int> numbers;
  for (int i = 0; i < 1000; ++i) numbers.push_back(i);
  const ChunkedVector<int> copy = numbers;
  for (int i = 0; i < 1000; i += 7) numbers.mutableAt(static_cast<std::size_t>(i)) = -i;
  numbers.push_back(1000);

  ASSERT_EQ(copy.size(), 1000U);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(copy[static_cast<std::size_t>(i)], i);
  ASSERT_EQ(numbers.size(), 1001U);
  EXPECT_EQ(numbers[7], -7);
  EXPECT_EQ(numbers[8], 8);
  EXPECT_EQ(numbers.back(), 1000);
}

TEST(ChunkedVectorTest, AChangedCopyLeavesTheSourceAlone) {
  ChunkedVector<std::string> texts{"a", "b"};
  ChunkedVector<std::string> copy = texts;
  copy.mutableAt(0) = "changed";
  copy.push_back("c");
  EXPECT_EQ(texts, (ChunkedVector<std::string>{"a", "b"}));
  EXPECT_EQ(copy, (ChunkedVector<std::string>{"changed", "b", "c"}));
  EXPECT_EQ(std::vector<std::string>(copy), (std::vector<std::string>{"changed", "b", "c"}));
  copy.clear();
  EXPECT_TRUE(copy.empty());
  EXPECT_EQ(copy.begin(), copy.end());
  EXPECT_EQ(texts.size(), 2U);
}

TEST(ChunkedMapTest, BehavesAsAStdMapThroughInsertsSplitsAndCopies) {
  ChunkedMap<Values> map;
  std::map<std::string, Values> expected;
  std::vector<std::pair<ChunkedMap<Values>, std::map<std::string, Values>>> copies;
  std::mt19937 random(42);
  for (int step = 0; step < 5000; ++step) {
    const std::string key = "k" + std::to_string(random() % 2000);
    const std::string value = std::to_string(step);
    map[key].push_back(value);
    expected[key].push_back(value);
    if (step % 1000 == 0) copies.emplace_back(map, expected);
  }
  ASSERT_EQ(map.size(), expected.size());
  EXPECT_TRUE(std::equal(
      map.begin(), map.end(), expected.begin(), expected.end(),
      [](const auto& a, const auto& b) { return a.first == b.first && a.second == b.second; }));
  for (const auto& [copy, then] : copies) {
    ASSERT_EQ(copy.size(), then.size());
    EXPECT_TRUE(std::equal(
        copy.begin(), copy.end(), then.begin(), then.end(),
        [](const auto& a, const auto& b) { return a.first == b.first && a.second == b.second; }));
  }
  EXPECT_NE(map.find("k7"), map.end());
  EXPECT_EQ(map.find("k7")->second, expected["k7"]);
  EXPECT_EQ(map.find("absent"), map.end());
  EXPECT_FALSE(map.contains("k2000"));
}

TEST(ChunkedMapTest, InitialListKeepsTheFirstOfAKeyGivenTwiceAndSorts) {
  const ChunkedMap<Values> map{{"b", {"2"}}, {"a", {"1"}}, {"b", {"3"}}};
  ASSERT_EQ(map.size(), 2U);
  EXPECT_EQ(map.begin()->first, "a");
  EXPECT_EQ(map.find("b")->second, Values{"2"});
  ChunkedMap<Values> emptied = map;
  emptied.clear();
  EXPECT_TRUE(emptied.empty());
  EXPECT_EQ(map.size(), 2U);
}

}  // namespace
}  // namespace pelorin
