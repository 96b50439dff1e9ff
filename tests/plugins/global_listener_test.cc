#include "plugins/global_listener.h"

#include <chrono>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "plugins/plugin_fixture.h"

namespace pelorin {
namespace {

using Values = std::vector<std::string>;
using std::chrono::minutes;

constexpr const char* kNow = "1714568531000";  // the pinned clock's instant

class GlobalListenerTest : public testing::PluginTest {
 protected:
  GlobalListenerTest() {
    _test.bundle().set("CFBundleIdentifier", JsonValue("com.example.shop"));
    _test.bundle().set("CFBundleDisplayName", JsonValue("Shop"));
    _test.bundle().set("CFBundleShortVersionString", JsonValue("2.1"));
  }

  void load() {
    GlobalListener listener(client(), context({}));
    listener.onLoad();
  }
};

TEST_F(GlobalListenerTest, FirstLoadOnAFreshProfileCountsTheFirstVisitAndClick) {
  load();

  EXPECT_EQ(values("clickcount"), Values{"1"});
  EXPECT_EQ(values("visits"), Values{"1"});
  EXPECT_EQ(values("visitclicks"), Values{"1"});
  EXPECT_EQ(values("lastvisitdate"), Values{kNow});
}

TEST_F(GlobalListenerTest, SecondLoadTenMinutesLaterIsTheSameVisit) {
  load();
  _test.clock().advance(minutes(10));

  load();

  EXPECT_EQ(values("clickcount"), Values{"2"});
  EXPECT_EQ(values("visitclicks"), Values{"2"});
  EXPECT_EQ(values("visits"), Values{"1"});
  EXPECT_EQ(values("lastvisitdate"), Values{"1714569131000"});
}

TEST_F(GlobalListenerTest, LoadThirtyOneMinutesAfterTheLastStartsANewVisit) {
  load();
  _test.clock().advance(minutes(10));
  load();
  _test.clock().advance(minutes(31));

  load();

  EXPECT_EQ(values("clickcount"), Values{"3"});
  EXPECT_EQ(values("visits"), Values{"2"});
  EXPECT_EQ(values("visitclicks"), Values{"1"});
  EXPECT_EQ(values("lastvisitdate"), Values{"1714570991000"});
}

TEST_F(GlobalListenerTest, VisitsThatAreNotANumberCountAsZeroAndStartANewVisit) {
  client().setProfileValue("visits", "many");
  client().setProfileValue("lastvisitdate", kNow);
  client().setProfileValue("visitclicks", "4");

  load();

  EXPECT_EQ(values("visits"), Values{"1"});
  EXPECT_EQ(values("visitclicks"), Values{"1"});
}

TEST_F(GlobalListenerTest, OverflowingCounterIsLoggedAndLeavesTheStatistics) {
  client().setProfileValue("clickcount", "9223372036854775807");
  _test.console().clear();

  load();

  EXPECT_EQ(values("clickcount"), Values{"9223372036854775807"});
  EXPECT_TRUE(values("lastvisitdate").empty());
  const auto lines = _test.logLines();
  EXPECT_NE(std::find(lines.begin(), lines.end(),
                      "WARNING [PL_INTERACTION]: The counter 'clickcount' cannot be "
                      "incremented: 9223372036854775807"),
            lines.end());
}

TEST_F(GlobalListenerTest, DescribesTheDeviceAndScreen) {
  _test.ui().setScreen(platform::Size{375, 812}, 3);
  _test.device().setSystemVersion("11.2");
  _test.clock().setLocale("nl_NL");

  load();

  EXPECT_EQ(values("currentosname"), Values{"iOS"});
  EXPECT_EQ(values("osname"), Values{"iOS"});
  EXPECT_EQ(values("currentosversion"), Values{"iOS 11.2"});
  EXPECT_EQ(values("osversion"), Values{"iOS 11.2"});
  EXPECT_EQ(values("currentscreenwidth"), Values{"375"});
  EXPECT_EQ(values("currentscreenheight"), Values{"812"});
  EXPECT_EQ(values("currentresolution"), Values{"1125x2436"});
  EXPECT_EQ(values("resolution"), Values{"1125x2436"});
  EXPECT_EQ(values("language"), Values{"nl_NL"});
}

TEST_F(GlobalListenerTest, NonFiniteScreenIsLoggedAndLeavesOutTheScreenProperties) {
  _test.ui().setScreen(platform::Size{std::numeric_limits<double>::infinity(), 844}, 3);

  load();

  EXPECT_TRUE(values("currentscreenwidth").empty());
  EXPECT_TRUE(values("resolution").empty());
  EXPECT_EQ(values("osname"), Values{"iOS"});
  const auto lines = _test.logLines();
  EXPECT_NE(std::find(lines.begin(), lines.end(),
                      "WARNING [PL_INTERACTION]: The screen size inf x 844 at scale 3 cannot be "
                      "stored"),
            lines.end());
}

TEST_F(GlobalListenerTest, DescribesTheApp) {
  _test.device().setAdvertisingIdentifier("6D92078A-8246-4BA4-AE5B-76104861E7DC");

  load();

  EXPECT_EQ(values("mobile_app_id"), Values{"com.example.shop"});
  EXPECT_EQ(values("mobile_app_name"), Values{"Shop"});
  EXPECT_EQ(values("mobile_app_nameversion"), Values{"Shop 2.1"});
  EXPECT_EQ(values("mobile_app_ad_id"), Values{"6D92078A-8246-4BA4-AE5B-76104861E7DC"});
  EXPECT_EQ(values("mobile_app_vendor"), Values{"Apple"});
  EXPECT_EQ(values("mobile_app_model"), Values{"iPhone X"});
}

TEST_F(GlobalListenerTest, AllZeroAdvertisingIdentifierIsNotWritten) {
  _test.device().setAdvertisingIdentifier("00000000-0000-0000-0000-000000000000");

  load();

  EXPECT_EQ(client().getProfileValues("mobile_app_ad_id"), std::nullopt);
  EXPECT_EQ(pendingChange("mobile_app_ad_id"), std::nullopt);
}

TEST_F(GlobalListenerTest, UnknownModelIsStoredUnchanged) {
  _test.device().setHardwareModel("iPhone15,2");

  load();

  EXPECT_EQ(values("mobile_app_model"), Values{"iPhone15,2"});
}

TEST_F(GlobalListenerTest, SimulatorIsStoredAsSimulator) {
  _test.device().setHardwareModel("x86_64");

  load();

  EXPECT_EQ(values("mobile_app_model"), Values{"Simulator"});
  EXPECT_EQ(GlobalListener::platformRawString(), "x86_64");
  EXPECT_EQ(GlobalListener::platformNiceString(), "Simulator");
}

TEST_F(GlobalListenerTest, NoInformationDictionaryWritesNoAppProperties) {
  _test.bundle().setDictionary(std::nullopt);

  load();

  EXPECT_EQ(client().getProfileValues("mobile_app_vendor"), std::nullopt);
  EXPECT_EQ(client().getProfileValues("mobile_app_model"), std::nullopt);
  EXPECT_EQ(values("clickcount"), Values{"1"});
}

TEST_F(GlobalListenerTest, FreshProfileComesFromTheMobileApp) {
  load();

  EXPECT_EQ(values("origin_type"), Values{"mobile_app"});
  EXPECT_EQ(values("origin_source"), Values{"com.example.shop"});
  EXPECT_EQ(values("origin_detail"), Values{"Shop 2.1"});
}

TEST_F(GlobalListenerTest, ProfileWithAnOriginTypeKeepsItOnEveryLoad) {
  client().setProfileValue("origin_type", "web");

  load();
  _test.clock().advance(minutes(40));
  load();

  EXPECT_EQ(values("origin_type"), Values{"web"});
  EXPECT_EQ(client().getProfileValues("origin_source"), std::nullopt);
  EXPECT_EQ(client().getProfileValues("origin_detail"), std::nullopt);
}

TEST_F(GlobalListenerTest, NewVisitorFromAWebsiteOnAPcComesFromTheWeb) {
  client().setProfileValue("devicetype", "PC");
  client().setProfileValue("visitedsites", "shop.example.com");
  client().setProfileValue("entrypage", "/sale");

  load();

  EXPECT_EQ(values("origin_type"), Values{"web"});
  EXPECT_EQ(values("origin_source"), Values{"shop.example.com"});
  EXPECT_EQ(values("origin_detail"), Values{"/sale"});
}

TEST_F(GlobalListenerTest, SeveralOriginTypesAreRewrittenInTheSingleValuedForm) {
  client().setProfileValues("origin_type", {"web", "mobile_app"});
  client().setProfileValue("origin_source", "shop.example.com");

  load();

  EXPECT_EQ(pendingChange("origin_type"), std::make_pair(OperationType::SET, Values{""}));
  EXPECT_EQ(values("origin_source"), Values{"shop.example.com"});
}

TEST_F(GlobalListenerTest, EveryPropertyIsSetNotAdded) {
  client().setProfileValue("clickcount", "7");

  load();

  EXPECT_EQ(pendingChange("clickcount"), std::make_pair(OperationType::SET, Values{"8"}));
  EXPECT_EQ(pendingChange("osname"), std::make_pair(OperationType::SET, Values{"iOS"}));
  EXPECT_EQ(pendingChange("mobile_app_vendor"),
            std::make_pair(OperationType::SET, Values{"Apple"}));
}

TEST_F(GlobalListenerTest, ServerInteractionLoadsTheBuiltInClass) {
  loadInteraction("PelorinClient.GlobalListener", {});

  EXPECT_EQ(values("clickcount"), Values{"1"});
  EXPECT_EQ(values("mobile_app_model"), Values{"iPhone X"});
}

TEST_F(GlobalListenerTest, PropertyNamesAreTheWireNames) {
  EXPECT_EQ(GlobalListener::Property::APP_ID, "mobile_app_id");
  EXPECT_EQ(GlobalListener::Property::APP_NAME, "mobile_app_name");
  EXPECT_EQ(GlobalListener::Property::APP_NAME_VERSION, "mobile_app_nameversion");
  EXPECT_EQ(GlobalListener::Property::APP_VENDOR, "mobile_app_vendor");
  EXPECT_EQ(GlobalListener::Property::APP_MODEL, "mobile_app_model");
  EXPECT_EQ(GlobalListener::Property::APP_AD_ID, "mobile_app_ad_id");
}

}  // namespace
}  // namespace pelorin
