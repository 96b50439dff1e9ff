#include "plugins/listener_helpers.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_platform.h"

namespace pelorin::plugins {
namespace {

TEST(ListenerHelpersTest, ProfilePropertyIsTheFirstObjectsMember) {
  const Parameters parameters = {
      {"property", {R"([{"profileproperty":"hour"},{"profileproperty":"other"}])"}}};

  EXPECT_EQ(getProfilePropertyFromParameters(parameters), "hour");
}

TEST(ListenerHelpersTest, MissingOrEmptyPropertyParameterGivesNothing) {
  testing::TestPlatform test;

  EXPECT_EQ(getProfilePropertyFromParameters({}), std::nullopt);
  EXPECT_EQ(getProfilePropertyFromParameters({{"property", {}}}), std::nullopt);
  EXPECT_EQ(getProfilePropertyFromParameters({{"property", {"[]"}}}), std::nullopt);
  EXPECT_TRUE(test.logLines().empty());
}

TEST(ListenerHelpersTest, PropertyThatIsNotAListOfStringObjectsGivesNothing) {
  EXPECT_EQ(getProfilePropertyFromParameters({{"property", {R"({"profileproperty":"h"})"}}}),
            std::nullopt);
  EXPECT_EQ(getProfilePropertyFromParameters({{"property", {R"([{"profileproperty":1}])"}}}),
            std::nullopt);
  EXPECT_EQ(getProfilePropertyFromParameters(
                {{"property", {R"([{"profileproperty":"h"},{"other":true}])"}}}),
            std::nullopt);
  EXPECT_EQ(getProfilePropertyFromParameters({{"property", {R"(["h"])"}}}), std::nullopt);
}

TEST(ListenerHelpersTest, EmptyOrMissingMemberGivesNothing) {
  EXPECT_EQ(getProfilePropertyFromParameters({{"property", {R"([{"profileproperty":""}])"}}}),
            std::nullopt);
  EXPECT_EQ(getProfilePropertyFromParameters({{"property", {R"([{"name":"hour"}])"}}}),
            std::nullopt);
}

TEST(ListenerHelpersTest, PropertyTextThatIsNotJsonIsLoggedOnce) {
  testing::TestPlatform test;

  EXPECT_EQ(getProfilePropertyFromParameters({{"property", {"[{"}}}), std::nullopt);

  const auto lines = test.logLines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("ERROR [PL_LISTENER_UTIL]: JSON error occurred: ")) << lines[0];
}

TEST(ListenerHelpersTest, CurrentTimeIsThePinnedInstantInMilliseconds) {
  testing::TestPlatform test;
  test.clock().advance(std::chrono::milliseconds(1234));

  EXPECT_EQ(currentTimeMillis(), 1714568532234);
  EXPECT_EQ(getCurrentTime(), "1714568532234");
}

TEST(ListenerHelpersTest, DecimalIntegersParseWithAnOptionalSign) {
  EXPECT_EQ(parseDecimalInteger("42"), 42);
  EXPECT_EQ(parseDecimalInteger("+42"), 42);
  EXPECT_EQ(parseDecimalInteger("-42"), -42);
  EXPECT_EQ(parseDecimalInteger("9223372036854775807"), INT64_MAX);
  EXPECT_EQ(parseDecimalInteger("-9223372036854775808"), INT64_MIN);
}

TEST(ListenerHelpersTest, OtherTextIsNotADecimalInteger) {
  EXPECT_EQ(parseDecimalInteger(""), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("+"), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("+-1"), std::nullopt);
  EXPECT_EQ(parseDecimalInteger(" 1"), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("1 "), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("1.0"), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("0x10"), std::nullopt);
  EXPECT_EQ(parseDecimalInteger("9223372036854775808"), std::nullopt);
}

}  // namespace
}  // namespace pelorin::plugins
