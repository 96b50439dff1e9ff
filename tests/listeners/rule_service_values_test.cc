// The number helpers behind the "merge" method and the description of a pending change.
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "listeners/profile_change.h"
#include "listeners/rule_service.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using ::testing::ElementsAre;
using Strings = std::vector<std::string>;

class RuleServiceValuesTest : public ::testing::Test {
 protected:
  testing::TestPlatform _platform;
};

TEST_F(RuleServiceValuesTest, MethodNamesMatchExactly) {
  EXPECT_EQ(methodFromString("add"), Method::add);
  EXPECT_EQ(methodFromString("merge"), Method::merge);
  EXPECT_EQ(methodFromString("set"), Method::set);
  EXPECT_EQ(methodFromString("SET"), std::nullopt);
  EXPECT_EQ(methodFromString("Add"), std::nullopt);
  EXPECT_EQ(methodFromString(" set"), std::nullopt);
  EXPECT_EQ(methodFromString(""), std::nullopt);
  EXPECT_EQ(toString(Method::merge), "merge");
}

TEST_F(RuleServiceValuesTest, ProfileChangeDescription) {
  ProfileChange change{"city", {"Utrecht", "Gouda"}, Method::add};
  EXPECT_EQ(change.description(), R"(Property: city, values ["Utrecht", "Gouda"], method: add)");
  EXPECT_EQ((ProfileChange{"n", {}, Method::set}).description(),
            "Property: n, values [], method: set");
}

TEST_F(RuleServiceValuesTest, MergeOnAPropertyWithoutValueSumsFromZero) {
  std::string current = RuleService::getFirstNonEmptyValue(std::nullopt);
  EXPECT_EQ(current, "0");
  EXPECT_EQ(RuleService::sum(current, {"2", "3"}), "5.0");
  EXPECT_THAT(_platform.logLines(),
              ElementsAre(R"(INFO [PL_RULESERVICE]: Merging currentValue 0 with ["2", "3"])"));
}

TEST_F(RuleServiceValuesTest, NewValueThatIsNotANumberIsDropped) {
  EXPECT_EQ(RuleService::sum("0", {"x"}), "0.0");
  EXPECT_EQ(RuleService::sum("1", {"x", "2.5", ""}), "3.5");
}

TEST_F(RuleServiceValuesTest, CurrentValueThatIsNotANumberGivesNothing) {
  EXPECT_EQ(RuleService::sum("xyz", {"1"}), std::nullopt);
  EXPECT_THAT(_platform.logLines(),
              ElementsAre(R"(INFO [PL_RULESERVICE]: Merging currentValue xyz with ["1"])"));
}

TEST_F(RuleServiceValuesTest, SumReadsGroupedAndDecimalCommaNumbers) {
  EXPECT_EQ(RuleService::sum("1.234,5", {"1,234.5"}), "2469.0");
  EXPECT_EQ(RuleService::sum("0", {"0,5"}), "0.5");
}

TEST_F(RuleServiceValuesTest, SumWritesTheShortestRoundTripText) {
  EXPECT_EQ(RuleService::sum("0.1", {"0.2"}), "0.30000000000000004");
  EXPECT_EQ(RuleService::sum("-2", {"0.5"}), "-1.5");
  EXPECT_EQ(RuleService::sum("1e3", {}), "1000.0");
  EXPECT_EQ(RuleService::sum("0", {"123456789012"}), "123456789012.0");
}

TEST_F(RuleServiceValuesTest, HugeNumbersStayFiniteOrGiveNothing) {
  // A value beyond the range of a double is not a number; a total that overflows is not
  // written.
  EXPECT_EQ(RuleService::sum("0", {"1e400"}), "0.0");
  EXPECT_EQ(RuleService::sum("1e308", {"1e308"}), std::nullopt);
  EXPECT_EQ(RuleService::sum("1e300", {}), "1" + std::string(300, '0') + ".0");
}

TEST_F(RuleServiceValuesTest, InfinityAndNanAreNotNumbers) {
  EXPECT_EQ(RuleService::sum("inf", {"1"}), std::nullopt);
  EXPECT_EQ(RuleService::sum("0", {"nan", "-inf", "infinity", "1"}), "1.0");
}

TEST_F(RuleServiceValuesTest, ConvertToFormattable) {
  EXPECT_EQ(RuleService::convertToFormattable("1.234,5"), "1234.5");
  EXPECT_EQ(RuleService::convertToFormattable("1,234.5"), "1234.5");
  EXPECT_EQ(RuleService::convertToFormattable("1.234.567,89"), "1234567.89");
  EXPECT_EQ(RuleService::convertToFormattable("1,234,567.89"), "1234567.89");
  EXPECT_EQ(RuleService::convertToFormattable("12.5"), "12.5");
  EXPECT_EQ(RuleService::convertToFormattable("12,5"), "12.5");
  EXPECT_EQ(RuleService::convertToFormattable("42"), "42");
  EXPECT_EQ(RuleService::convertToFormattable(""), "");
}

TEST_F(RuleServiceValuesTest, RepeatedSingleSeparatorIsGrouping) {
  EXPECT_EQ(RuleService::convertToFormattable("1.234.567"), "1234567");
  EXPECT_EQ(RuleService::convertToFormattable("1,234,567"), "1234567");
  EXPECT_EQ(RuleService::parseNumber(RuleService::convertToFormattable("1.234.567")), 1234567.0);
}

TEST_F(RuleServiceValuesTest, ParseNumber) {
  EXPECT_EQ(RuleService::parseNumber("2"), 2.0);
  EXPECT_EQ(RuleService::parseNumber("+2.5"), 2.5);
  EXPECT_EQ(RuleService::parseNumber("-.5"), -0.5);
  EXPECT_EQ(RuleService::parseNumber("1e2"), 100.0);
  EXPECT_EQ(RuleService::parseNumber(" 2"), std::nullopt);
  EXPECT_EQ(RuleService::parseNumber("2 "), std::nullopt);
  EXPECT_EQ(RuleService::parseNumber("2x"), std::nullopt);
  EXPECT_EQ(RuleService::parseNumber("0x10"), std::nullopt);
  EXPECT_EQ(RuleService::parseNumber("+-2"), std::nullopt);
  EXPECT_EQ(RuleService::parseNumber(""), std::nullopt);
  EXPECT_EQ(RuleService::parseNumber("nan"), std::nullopt);
}

TEST_F(RuleServiceValuesTest, FormatNumberAlwaysHasAFraction) {
  EXPECT_EQ(RuleService::formatNumber(5), "5.0");
  EXPECT_EQ(RuleService::formatNumber(0), "0.0");
  EXPECT_EQ(RuleService::formatNumber(-0.0), "-0.0");
  EXPECT_EQ(RuleService::formatNumber(2.5), "2.5");
  EXPECT_EQ(RuleService::formatNumber(1e-7), "0.0000001");
  std::string smallest = RuleService::formatNumber(std::numeric_limits<double>::denorm_min());
  EXPECT_EQ(RuleService::parseNumber(smallest), std::numeric_limits<double>::denorm_min());
  std::string largest = RuleService::formatNumber(std::numeric_limits<double>::max());
  EXPECT_EQ(RuleService::parseNumber(largest), std::numeric_limits<double>::max());
}

TEST_F(RuleServiceValuesTest, FirstNonEmptyValue) {
  EXPECT_EQ(RuleService::getFirstNonEmptyValue(Strings{"", "  ", " 7 ", "8"}), "7");
  EXPECT_EQ(RuleService::getFirstNonEmptyValue(Strings{}), "0");
  EXPECT_EQ(RuleService::getFirstNonEmptyValue(Strings{"", " "}), "0");
  EXPECT_EQ(RuleService::getFirstNonEmptyValue(std::nullopt), "0");
}

}  // namespace
}  // namespace pelorin
