#include "plugins/global_listener_properties.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_platform.h"

namespace pelorin::plugins {
namespace {

constexpr std::int64_t kNow = 1714568531000;  // the pinned clock's instant
constexpr std::int64_t kMinute = 60000;

JsonValue json(std::string_view text) { return JsonValue::parse(text).value(); }

// --- Device

TEST(DevicePropertiesTest, DescribesSystemScreenAndLanguage) {
  testing::TestPlatform test;
  const DeviceDescription device{"iOS", "11.2", {375, 812}, 3, "en_US"};

  const PropertyMap properties = deviceProperties(device);

  const PropertyMap expected = {{"currentosname", {"iOS"}},
                                {"osname", {"iOS"}},
                                {"currentosversion", {"iOS 11.2"}},
                                {"osversion", {"iOS 11.2"}},
                                {"currentscreenwidth", {"375"}},
                                {"currentscreenheight", {"812"}},
                                {"currentresolution", {"1125x2436"}},
                                {"resolution", {"1125x2436"}},
                                {"language", {"en_US"}}};
  EXPECT_EQ(properties, expected);
  EXPECT_TRUE(test.logLines().empty());
}

TEST(DevicePropertiesTest, SizesAreTruncatedToWholeNumbers) {
  testing::TestPlatform test;
  const DeviceDescription device{"iOS", "17.4", {320.9, 568.5}, 2.5, "nl_NL"};

  const PropertyMap properties = deviceProperties(device);

  EXPECT_EQ(properties.at("currentscreenwidth"), std::vector<std::string>{"320"});
  EXPECT_EQ(properties.at("currentscreenheight"), std::vector<std::string>{"568"});
  EXPECT_EQ(properties.at("resolution"), std::vector<std::string>{"802x1421"});
}

TEST(DevicePropertiesTest, NonFiniteScreenSizeIsLoggedAndLeavesOutTheScreen) {
  testing::TestPlatform test;
  const DeviceDescription device{"iOS", "17.4", {std::nan(""), 844}, 3, "en_US"};

  const PropertyMap properties = deviceProperties(device);

  const PropertyMap expected = {{"currentosname", {"iOS"}},
                                {"osname", {"iOS"}},
                                {"currentosversion", {"iOS 17.4"}},
                                {"osversion", {"iOS 17.4"}},
                                {"language", {"en_US"}}};
  EXPECT_EQ(properties, expected);
  EXPECT_EQ(test.logLines(),
            std::vector<std::string>{
                "WARNING [PL_INTERACTION]: The screen size nan x 844 at scale 3 cannot be stored"});
}

TEST(DevicePropertiesTest, PixelSizeBeyondSixtyFourBitsIsLoggedAndLeavesOutTheScreen) {
  testing::TestPlatform test;
  const DeviceDescription device{"iOS", "17.4", {390, 4e18}, 3, "en_US"};

  const PropertyMap properties = deviceProperties(device);

  EXPECT_FALSE(properties.contains("currentscreenheight"));
  EXPECT_FALSE(properties.contains("resolution"));
  EXPECT_EQ(properties.at("osname"), std::vector<std::string>{"iOS"});
  EXPECT_EQ(test.logLines(),
            std::vector<std::string>{"WARNING [PL_INTERACTION]: The screen size 390 x 4e+18 at "
                                     "scale 3 cannot be stored"});
}

TEST(DevicePropertiesTest, InfiniteScaleIsLoggedAndLeavesOutTheScreen) {
  testing::TestPlatform test;
  const DeviceDescription device{
      "iOS", "17.4", {390, 844}, std::numeric_limits<double>::infinity(), "en_US"};

  const PropertyMap properties = deviceProperties(device);

  EXPECT_FALSE(properties.contains("currentscreenwidth"));
  EXPECT_EQ(test.logLines().size(), 1U);
}

// --- App

TEST(AppPropertiesTest, DescribesTheAppFromItsInformationDictionary) {
  testing::TestPlatform test;
  const JsonValue info =
      json(R"({"CFBundleIdentifier":"com.example.shop","CFBundleDisplayName":"Shop",)"
           R"("CFBundleName":"ShopApp","CFBundleShortVersionString":"2.1"})");

  const PropertyMap properties =
      appProperties(info.ref(), "6D92078A-8246-4BA4-AE5B-76104861E7DC", "iPhone X");

  const PropertyMap expected = {{"mobile_app_id", {"com.example.shop"}},
                                {"mobile_app_name", {"Shop"}},
                                {"mobile_app_nameversion", {"Shop 2.1"}},
                                {"mobile_app_ad_id", {"6D92078A-8246-4BA4-AE5B-76104861E7DC"}},
                                {"mobile_app_vendor", {"Apple"}},
                                {"mobile_app_model", {"iPhone X"}}};
  EXPECT_EQ(properties, expected);
}

TEST(AppPropertiesTest, BundleNameStandsInForAMissingDisplayName) {
  const JsonValue info = json(R"({"CFBundleName":"ShopApp","CFBundleShortVersionString":"2.1"})");

  const PropertyMap properties = appProperties(info.ref(), std::nullopt, "iPhone X");

  EXPECT_EQ(properties.at("mobile_app_name"), std::vector<std::string>{"ShopApp"});
  EXPECT_EQ(properties.at("mobile_app_nameversion"), std::vector<std::string>{"ShopApp 2.1"});
  EXPECT_FALSE(properties.contains("mobile_app_id"));
}

TEST(AppPropertiesTest, AllZeroAdvertisingIdentifierIsNotWritten) {
  const JsonValue info = json(R"({"CFBundleIdentifier":"com.example.shop"})");

  const PropertyMap properties =
      appProperties(info.ref(), "00000000-0000-0000-0000-000000000000", "iPhone X");

  EXPECT_FALSE(properties.contains("mobile_app_ad_id"));
  EXPECT_EQ(properties.at("mobile_app_vendor"), std::vector<std::string>{"Apple"});
}

TEST(AppPropertiesTest, MissingAdvertisingIdentifierIsNotWritten) {
  const JsonValue info = json(R"({"CFBundleIdentifier":"com.example.shop"})");

  const PropertyMap properties = appProperties(info.ref(), std::nullopt, "x86_64");

  const PropertyMap expected = {{"mobile_app_id", {"com.example.shop"}},
                                {"mobile_app_vendor", {"Apple"}},
                                {"mobile_app_model", {"x86_64"}}};
  EXPECT_EQ(properties, expected);
}

TEST(AppPropertiesTest, KeysThatAreNotStringsAreLeftOut) {
  const JsonValue info = json(
      R"({"CFBundleIdentifier":7,"CFBundleDisplayName":["Shop"],"CFBundleShortVersionString":2})");

  const PropertyMap properties = appProperties(info.ref(), std::nullopt, "iPhone X");

  const PropertyMap expected = {{"mobile_app_vendor", {"Apple"}},
                                {"mobile_app_model", {"iPhone X"}}};
  EXPECT_EQ(properties, expected);
}

TEST(AppPropertiesTest, NameWithoutVersionHasNoNameVersion) {
  const JsonValue info = json(R"({"CFBundleDisplayName":"Shop"})");

  const PropertyMap properties = appProperties(info.ref(), std::nullopt, "iPhone X");

  EXPECT_EQ(properties.at("mobile_app_name"), std::vector<std::string>{"Shop"});
  EXPECT_FALSE(properties.contains("mobile_app_nameversion"));
}

TEST(AppPropertiesTest, EmptyOrMissingDictionaryWritesNothing) {
  EXPECT_TRUE(appProperties(JsonValue::object().ref(), "ID", "iPhone X").empty());
  EXPECT_TRUE(appProperties(JsonRef(), "ID", "iPhone X").empty());
}

// --- Statistics

TEST(StatisticsPropertiesTest, FirstLoadOnAFreshProfileStartsTheFirstVisit) {
  const auto properties = statisticsProperties(VisitCounters{}, kNow);

  const PropertyMap expected = {{"clickcount", {"1"}},
                                {"visits", {"1"}},
                                {"visitclicks", {"1"}},
                                {"lastvisitdate", {"1714568531000"}}};
  EXPECT_EQ(properties, expected);
}

TEST(StatisticsPropertiesTest, LoadTenMinutesLaterCountsAClickOfTheSameVisit) {
  const VisitCounters stored{std::to_string(kNow - 10 * kMinute), "1", "1", "1"};

  const auto properties = statisticsProperties(stored, kNow);

  const PropertyMap expected = {
      {"clickcount", {"2"}}, {"visitclicks", {"2"}}, {"lastvisitdate", {"1714568531000"}}};
  EXPECT_EQ(properties, expected);
}

TEST(StatisticsPropertiesTest, LoadThirtyOneMinutesLaterStartsANewVisit) {
  const VisitCounters stored{std::to_string(kNow - 31 * kMinute), "1", "2", "2"};

  const auto properties = statisticsProperties(stored, kNow);

  const PropertyMap expected = {{"clickcount", {"3"}},
                                {"visits", {"2"}},
                                {"visitclicks", {"1"}},
                                {"lastvisitdate", {"1714568531000"}}};
  EXPECT_EQ(properties, expected);
}

TEST(StatisticsPropertiesTest, ExactlyThirtyMinutesIsStillTheSameVisit) {
  const VisitCounters stored{std::to_string(kNow - 30 * kMinute), "4", "9", "3"};

  const auto properties = statisticsProperties(stored, kNow);

  ASSERT_TRUE(properties);
  EXPECT_FALSE(properties->contains("visits"));
  EXPECT_EQ(properties->at("visitclicks"), std::vector<std::string>{"4"});
}

TEST(StatisticsPropertiesTest, VisitsThatAreNotANumberCountAsZeroAndStartANewVisit) {
  const VisitCounters stored{std::to_string(kNow - kMinute), "many", "5", "5"};

  const auto properties = statisticsProperties(stored, kNow);

  const PropertyMap expected = {{"clickcount", {"6"}},
                                {"visits", {"1"}},
                                {"visitclicks", {"1"}},
                                {"lastvisitdate", {"1714568531000"}}};
  EXPECT_EQ(properties, expected);
}

TEST(StatisticsPropertiesTest, CountersWithSpacesOrFractionsCountAsZero) {
  const VisitCounters stored{std::to_string(kNow - kMinute), "2", " 5", "2.0"};

  const auto properties = statisticsProperties(stored, kNow);

  ASSERT_TRUE(properties);
  EXPECT_EQ(properties->at("clickcount"), std::vector<std::string>{"1"});
  EXPECT_EQ(properties->at("visitclicks"), std::vector<std::string>{"1"});
}

TEST(StatisticsPropertiesTest, FarFutureLastVisitDateDoesNotOverflow) {
  const VisitCounters stored{"9223372036854775807", "3", "7", "2"};

  const auto properties = statisticsProperties(stored, kNow);

  ASSERT_TRUE(properties);
  EXPECT_FALSE(properties->contains("visits"));
  EXPECT_EQ(properties->at("visitclicks"), std::vector<std::string>{"3"});
}

TEST(StatisticsPropertiesTest, ClickCountAtTheLargestValueIsLoggedAndNothingIsWritten) {
  testing::TestPlatform test;
  const VisitCounters stored{std::to_string(kNow - kMinute), "1", "9223372036854775807", "1"};

  const auto properties = statisticsProperties(stored, kNow);

  EXPECT_FALSE(properties);
  EXPECT_EQ(test.logLines(),
            std::vector<std::string>{"WARNING [PL_INTERACTION]: The counter 'clickcount' cannot "
                                     "be incremented: 9223372036854775807"});
}

TEST(StatisticsPropertiesTest, VisitsAtTheLargestValueIsLoggedAndNothingIsWritten) {
  testing::TestPlatform test;
  const VisitCounters stored{"0", "9223372036854775807", "1", "1"};

  EXPECT_FALSE(statisticsProperties(stored, kNow));
  EXPECT_EQ(test.logLines(),
            std::vector<std::string>{"WARNING [PL_INTERACTION]: The counter 'visits' cannot be "
                                     "incremented: 9223372036854775807"});
}

TEST(StatisticsPropertiesTest, VisitClicksAtTheLargestValueIsLoggedAndNothingIsWritten) {
  testing::TestPlatform test;
  const VisitCounters stored{std::to_string(kNow), "1", "1", "9223372036854775807"};

  EXPECT_FALSE(statisticsProperties(stored, kNow));
  EXPECT_EQ(test.logLines().size(), 1U);
}

TEST(StatisticsPropertiesTest, CounterBeyondSixtyFourBitsCountsAsZero) {
  const VisitCounters stored{std::to_string(kNow - kMinute), "1", "99999999999999999999", "1"};

  const auto properties = statisticsProperties(stored, kNow);

  ASSERT_TRUE(properties);
  EXPECT_EQ(properties->at("clickcount"), std::vector<std::string>{"1"});
}

// --- Origin

TEST(OriginTest, FreshProfileComesFromTheMobileApp) {
  OriginInputs inputs;
  inputs.appId = {"com.example.shop"};
  inputs.appNameVersion = {"Shop 2.1"};

  const auto origin = originFor(inputs);

  const PropertyMap expected = {{"origin_type", {"mobile_app"}},
                                {"origin_source", {"com.example.shop"}},
                                {"origin_detail", {"Shop 2.1"}}};
  EXPECT_EQ(origin, expected);
}

TEST(OriginTest, MobileAppWithoutIdentifierWritesOnlyTheType) {
  const auto origin = originFor(OriginInputs{});

  const PropertyMap expected = {{"origin_type", {"mobile_app"}}};
  EXPECT_EQ(origin, expected);
}

TEST(OriginTest, ProfileWithAnOriginTypeKeepsIt) {
  OriginInputs inputs;
  inputs.originType = {"web"};
  inputs.appId = {"com.example.shop"};

  EXPECT_EQ(originFor(inputs), std::nullopt);
}

TEST(OriginTest, ProfileWithOnlyAnOriginDetailKeepsIt) {
  OriginInputs inputs;
  inputs.originDetail = {"landing"};

  EXPECT_EQ(originFor(inputs), std::nullopt);
}

TEST(OriginTest, NewVisitorFromAConnectedSystemComesFromTheConnection) {
  OriginInputs inputs;
  inputs.visits = {"1"};
  inputs.receivedFromSystem = {"crm"};
  inputs.receivedFromConnection = {"newsletter", "import"};

  const auto origin = originFor(inputs);

  const PropertyMap expected = {{"origin_type", {"connection"}}, {"origin_source", {"crm"}}};
  EXPECT_EQ(origin, expected);
}

TEST(OriginTest, ReturningVisitorFromAConnectedSystemGetsNoOrigin) {
  OriginInputs inputs;
  inputs.visits = {"2"};
  inputs.receivedFromSystem = {"crm"};

  EXPECT_EQ(originFor(inputs), std::nullopt);
}

TEST(OriginTest, NewVisitorOfAWebsiteOnAPcComesFromTheWeb) {
  OriginInputs inputs;
  inputs.deviceType = "PC";
  inputs.visitedSites = {"shop.example.com"};
  inputs.entryPage = {"/sale"};

  const auto origin = originFor(inputs);

  const PropertyMap expected = {{"origin_type", {"web"}},
                                {"origin_source", {"shop.example.com"}},
                                {"origin_detail", {"/sale"}}};
  EXPECT_EQ(origin, expected);
}

TEST(OriginTest, NewVisitorOfAWebsiteOnAnotherDeviceComesFromTheMobileWeb) {
  OriginInputs inputs;
  inputs.deviceType = "pc";
  inputs.visits = {"one"};
  inputs.visitedSites = {"shop.example.com", "blog.example.com"};
  inputs.entryPage = {"/sale"};

  const auto origin = originFor(inputs);

  const PropertyMap expected = {{"origin_type", {"mobile_web"}}, {"origin_detail", {"/sale"}}};
  EXPECT_EQ(origin, expected);
}

TEST(OriginTest, ReturningVisitorOfAWebsiteGetsNoOrigin) {
  OriginInputs inputs;
  inputs.visits = {"3"};
  inputs.visitedSites = {"shop.example.com"};

  EXPECT_EQ(originFor(inputs), std::nullopt);
}

TEST(OriginTest, VisitedSitesAndConnectedSystemTogetherGetNoOrigin) {
  OriginInputs inputs;
  inputs.visitedSites = {"shop.example.com"};
  inputs.receivedFromSystem = {"crm"};

  EXPECT_EQ(originFor(inputs), std::nullopt);
}

TEST(OriginTest, SeveralOriginTypesAreRewrittenAsAnEmptyType) {
  OriginInputs inputs;
  inputs.originType = {"web", "mobile_app"};
  inputs.originSource = {"shop.example.com"};
  inputs.originDetail = {"/a", "/b"};

  const auto origin = originFor(inputs);

  const PropertyMap expected = {{"origin_type", {""}}, {"origin_source", {"shop.example.com"}}};
  EXPECT_EQ(origin, expected);
}

TEST(OriginTest, SeveralSourcesKeepTheSingleType) {
  OriginInputs inputs;
  inputs.originType = {"web"};
  inputs.originSource = {"a", "b"};

  const auto origin = originFor(inputs);

  const PropertyMap expected = {{"origin_type", {"web"}}};
  EXPECT_EQ(origin, expected);
}

TEST(OriginTest, OriginPropertiesTakeOnlySingleValuedLists) {
  EXPECT_EQ(originProperties("web", std::nullopt, std::vector<std::string>{}),
            (PropertyMap{{"origin_type", {"web"}}}));
  EXPECT_EQ(
      originProperties("web", std::vector<std::string>{"s"}, std::vector<std::string>{"d1", "d2"}),
      (PropertyMap{{"origin_type", {"web"}}, {"origin_source", {"s"}}}));
}

}  // namespace
}  // namespace pelorin::plugins
