#include "base/describe.h"

#include <gtest/gtest.h>

namespace pelorin {
namespace {

TEST(DescribeTest, ListOfStrings) {
  EXPECT_EQ(describe(std::vector<std::string>{}), "[]");
  EXPECT_EQ(describe(std::vector<std::string>{"a", "b\"c"}), R"(["a", "b\"c"])");
}

TEST(DescribeTest, MapOfLists) {
  EXPECT_EQ(describe(std::map<std::string, std::vector<std::string>>{}), "[:]");
  EXPECT_EQ(describe(std::map<std::string, std::vector<std::string>>{{"a", {"1"}}, {"b", {}}}),
            R"(["a": ["1"], "b": []])");
}

}  // namespace
}  // namespace pelorin
