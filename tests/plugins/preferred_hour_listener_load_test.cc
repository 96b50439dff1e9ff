#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "plugins/plugin_fixture.h"
#include "plugins/preferred_hour_listener.h"

namespace pelorin {
namespace {

using Values = std::vector<std::string>;

constexpr const char* kHourProperty = R"([{"profileproperty":"preferred_hour"}])";

class PreferredHourListenerLoadTest : public testing::PluginTest {
 protected:
  void load(const Parameters& parameters) {
    PreferredHourListener listener(client(), context(parameters));
    listener.onLoad();
  }
};

TEST_F(PreferredHourListenerLoadTest, LoadAddsOnePointForTheHourToTheHiddenProperty) {
  _test.clock().setUtcOffset(2 * 3600);
  _test.clock().set(platform::Clock::TimePoint(std::chrono::seconds(1714602600)));  // 22:30 UTC

  load({{"property", {kHourProperty}}, {"locale", {"en-us"}}});

  const Values expected{R"({"12 AM - 1 AM":{"p4504":1},"TIME":"1714602600000"})"};
  EXPECT_EQ(client().getProfileValues("_preferred_hour"), expected);
  EXPECT_EQ(pendingChange("_preferred_hour"), std::make_pair(OperationType::ADD, expected));
  EXPECT_EQ(client().getProfileValues("preferred_hour"), std::nullopt);
}

TEST_F(PreferredHourListenerLoadTest, TwoLoadsInTheSameHourAddTwoValues) {
  load({{"property", {kHourProperty}}, {"locale", {"nl-nl"}}});
  _test.clock().advance(std::chrono::minutes(10));

  load({{"property", {kHourProperty}}, {"locale", {"nl-nl"}}});

  const Values expected{R"({"13:00 - 14:00":{"p4504":1},"TIME":"1714568531000"})",
                        R"({"13:00 - 14:00":{"p4504":1},"TIME":"1714569131000"})"};
  EXPECT_EQ(client().getProfileValues("_preferred_hour"), expected);
  EXPECT_EQ(pendingChange("_preferred_hour"), std::make_pair(OperationType::ADD, expected));
}

TEST_F(PreferredHourListenerLoadTest, MissingLocaleGivesTwentyFourHourLabels) {
  load({{"property", {kHourProperty}}});

  EXPECT_EQ(client().getProfileValues("_preferred_hour"),
            Values{R"({"13:00 - 14:00":{"p4504":1},"TIME":"1714568531000"})"});
}

TEST_F(PreferredHourListenerLoadTest, MissingPropertyEndsTheLoadSilently) {
  PreferredHourListener listener(client(), context({{"locale", {"en-us"}}}));
  _test.console().clear();

  listener.onLoad();

  EXPECT_TRUE(PelorinClient::synchronized(
      [&] { return ClientTesting::engine(client()).commitLog().isEmpty(); }));
  EXPECT_TRUE(_test.logLines().empty());
}

TEST_F(PreferredHourListenerLoadTest, ServerInteractionLoadsTheBuiltInClass) {
  loadInteraction("PelorinClient.PreferredHourListener",
                  {{"property", {kHourProperty}}, {"locale", {"en-us"}}});

  EXPECT_EQ(client().getProfileValues("_preferred_hour"),
            Values{R"({"1 PM - 2 PM":{"p4504":1},"TIME":"1714568531000"})"});
}

}  // namespace
}  // namespace pelorin
