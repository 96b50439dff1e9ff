#include "base/decimal_integer.h"

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

namespace pelorin {
namespace {

TEST(DecimalIntegerTest, DigitsParseWithAnOptionalSign) {
  EXPECT_EQ(parseDecimalInteger("42"), 42);
  EXPECT_EQ(parseDecimalInteger("+42"), 42);
  EXPECT_EQ(parseDecimalInteger("-42"), -42);
  EXPECT_EQ(parseDecimalInteger("007"), 7);
  EXPECT_EQ(parseDecimalInteger("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(parseDecimalInteger("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
}

TEST(DecimalIntegerTest, OtherTextIsNotADecimalInteger) {
  EXPECT_EQ(parseDecimalInteger(""), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("+"), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("-"), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("+-1"), std::nullopt);
  EXPECT_EQ(parseDecimalInteger(" 1"), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("1 "), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("1.0"), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("0x10"), std::nullopt);
}

TEST(DecimalIntegerTest, ValuesBeyondSixtyFourBitsAreNotIntegers) {
  EXPECT_EQ(parseDecimalInteger("9223372036854775808"), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("-9223372036854775809"), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("99999999999999999999999"), std::nullopt);
}

}  // namespace
}  // namespace pelorin
