#include "devserver/config_screen_content.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "support/temp_folder.h"

namespace pelorin::devserver {
namespace {

JsonValue json(std::string_view text) { return JsonValue::parse(text).value(); }

std::unique_ptr<ConfigScreenContent> load(std::string_view config) {
  auto content = ConfigScreenContent::fromJson(json(config).ref());
  EXPECT_TRUE(content.ok()) << (content.ok() ? "" : content.error().message);
  return content.ok() ? std::move(content).value() : nullptr;
}

std::string errorOf(std::string_view config) {
  auto content = ConfigScreenContent::fromJson(json(config).ref());
  return content.ok() ? "(no error)" : content.error().message;
}

PageView pageView(std::string screen, std::string type = "PAGEVIEW", Parameters properties = {}) {
  return PageView{.profileId = "p1",
                  .eventType = std::move(type),
                  .screenName = std::move(screen),
                  .properties = std::move(properties)};
}

std::string answer(const ConfigScreenContent& content, const PageView& view) {
  return content.resultFor(view).toCompactString();
}

constexpr std::string_view kScreens = R"({
  "screens": {
    "home": [{"pluginClass":"MyApp.Banner","id":"i1","myInteractionTypeId":"t1",
              "position":"#banner","defaultLocale":"en",
              "parameters":[{"locale":"en","parameter":[{"id":"text","value":["Hi"]}]}]},
             {"pluginClass":"MyApp.Other","id":"i2","extra":[1,2]}],
    "cart": [{"pluginClass":"MyApp.Cart","id":"i3"}]
  },
  "events": {
    "PAGEVIEW": [{"pluginClass":"MyApp.Everywhere","id":"i4"}],
    "newsletter": [{"pluginClass":"MyApp.Thanks","id":"i5"}]
  }
})";

TEST(ConfigScreenContentTest, EmptyConfigurationAnswersEmptyLists) {
  auto content = load("{}");
  ASSERT_NE(content, nullptr);
  EXPECT_EQ(answer(*content, pageView("home")),
            R"({"interactions":[],"segments":[],"connections":[]})");
}

TEST(ConfigScreenContentTest, PageViewGetsTheScreensInteractionsAsWrittenThenTheEverywhereOnes) {
  auto content = load(kScreens);
  ASSERT_NE(content, nullptr);
  EXPECT_EQ(
      answer(*content, pageView("home")),
      R"({"interactions":[{"pluginClass":"MyApp.Banner","id":"i1","myInteractionTypeId":"t1",)"
      R"("position":"#banner","defaultLocale":"en","parameters":[{"locale":"en",)"
      R"("parameter":[{"id":"text","value":["Hi"]}]}]},)"
      R"({"pluginClass":"MyApp.Other","id":"i2","extra":[1,2]},)"
      R"({"pluginClass":"MyApp.Everywhere","id":"i4"}],"segments":[],"connections":[]})");
}

TEST(ConfigScreenContentTest, ScreenWithoutInteractionsGetsOnlyTheEverywhereOnes) {
  auto content = load(kScreens);
  ASSERT_NE(content, nullptr);
  EXPECT_EQ(content->resultFor(pageView("product"))["interactions"].toCompactString(),
            R"([{"pluginClass":"MyApp.Everywhere","id":"i4"}])");
  // Screen names are compared exactly.
  EXPECT_EQ(content->resultFor(pageView("Home"))["interactions"].size(), 1U);
}

TEST(ConfigScreenContentTest, OtherEventGetsItsOwnInteractionsNotTheScreens) {
  auto content = load(kScreens);
  ASSERT_NE(content, nullptr);
  EXPECT_EQ(content->resultFor(pageView("home", "newsletter"))["interactions"].toCompactString(),
            R"([{"pluginClass":"MyApp.Thanks","id":"i5"}])");
  EXPECT_EQ(content->resultFor(pageView("home", "purchase"))["interactions"].toCompactString(),
            "[]");
}

constexpr std::string_view kSegments = R"({"segments": [
  {"id":"everyone","name":"All"},
  {"id":"utrecht","name":"Utrecht","when":{"property":"city","equals":"Utrecht"}},
  {"id":"sport","name":"Sport","when":{"property":"interests","contains":"sport"}},
  {"id":"carts","name":"Carts","when":{"property":"cart","exists":true}},
  {"id":"no-cart","name":"No cart","when":{"property":"cart","exists":false}},
  {"id":"both","name":"Both","when":[{"property":"city","equals":"Utrecht"},
                                     {"property":"cart","exists":true}]}
]})";

std::string segmentsFor(const ConfigScreenContent& content, Parameters properties) {
  return content.resultFor(pageView("home", "PAGEVIEW", std::move(properties)))["segments"]
      .toCompactString();
}

TEST(ConfigScreenContentTest, SegmentWithoutRulesTakesInEveryone) {
  auto content = load(kSegments);
  ASSERT_NE(content, nullptr);
  EXPECT_EQ(segmentsFor(*content, {}),
            R"([{"id":"everyone","name":"All"},{"id":"no-cart","name":"No cart"}])");
}

TEST(ConfigScreenContentTest, EqualsMatchesOneValueExactly) {
  auto content = load(kSegments);
  ASSERT_NE(content, nullptr);
  EXPECT_NE(segmentsFor(*content, {{"city", {"Amsterdam", "Utrecht"}}}).find(R"("utrecht")"),
            std::string::npos);
  EXPECT_EQ(segmentsFor(*content, {{"city", {"utrecht"}}}).find(R"("utrecht")"), std::string::npos);
  EXPECT_EQ(segmentsFor(*content, {{"city", {"Utrecht Centraal"}}}).find(R"("utrecht")"),
            std::string::npos);
}

TEST(ConfigScreenContentTest, ContainsMatchesAPartOfAValue) {
  auto content = load(kSegments);
  ASSERT_NE(content, nullptr);
  EXPECT_NE(segmentsFor(*content, {{"interests", {"news", "motorsport"}}}).find(R"("sport")"),
            std::string::npos);
  EXPECT_EQ(segmentsFor(*content, {{"interests", {"news"}}}).find(R"("sport")"), std::string::npos);
}

TEST(ConfigScreenContentTest, ExistsAsksForAtLeastOneValue) {
  auto content = load(kSegments);
  ASSERT_NE(content, nullptr);
  EXPECT_EQ(segmentsFor(*content, {{"cart", {}}}),
            R"([{"id":"everyone","name":"All"},{"id":"no-cart","name":"No cart"}])");
  EXPECT_EQ(segmentsFor(*content, {{"cart", {"shoes"}}}),
            R"([{"id":"everyone","name":"All"},{"id":"carts","name":"Carts"}])");
}

TEST(ConfigScreenContentTest, ListOfRulesMustAllHoldAndSegmentsKeepTheirOrder) {
  auto content = load(kSegments);
  ASSERT_NE(content, nullptr);
  EXPECT_EQ(segmentsFor(*content, {{"city", {"Utrecht"}}, {"cart", {"shoes"}}}),
            R"([{"id":"everyone","name":"All"},{"id":"utrecht","name":"Utrecht"},)"
            R"({"id":"carts","name":"Carts"},{"id":"both","name":"Both"}])");
}

TEST(ConfigScreenContentTest, ConnectionsAreAnsweredAsWrittenForEveryEvent) {
  auto content = load(R"({"connections":[
      {"id":"crm","parameters":[{"locale":"en","parameter":[{"id":"k","value":["v"]}]},
                                {"parameter":[]}]},
      {"id":"bare"}]})");
  ASSERT_NE(content, nullptr);
  const std::string expected =
      R"([{"id":"crm","parameters":[{"locale":"en","parameter":[{"id":"k","value":["v"]}]},)"
      R"({"parameter":[]}]},{"id":"bare"}])";
  EXPECT_EQ(content->resultFor(pageView("home"))["connections"].toCompactString(), expected);
  EXPECT_EQ(content->resultFor(pageView("x", "newsletter"))["connections"].toCompactString(),
            expected);
}

TEST(ConfigScreenContentTest, ConfigurationMustBeAnObjectOfKnownMembers) {
  EXPECT_EQ(errorOf("[]"), "the configuration must be a JSON object");
  EXPECT_EQ(errorOf(R"({"screen":{}})"),
            R"(screen: unknown member; expected "screens", "events", "segments" or "connections")");
}

TEST(ConfigScreenContentTest, InteractionListsMustHoldObjects) {
  EXPECT_EQ(errorOf(R"({"screens":[]})"), "screens: must be an object of interaction lists");
  EXPECT_EQ(errorOf(R"({"screens":{"home":{}}})"),
            "screens.home: must be an array of interactions");
  EXPECT_EQ(errorOf(R"({"events":{"newsletter":[{},"x"]}})"),
            "events.newsletter[1]: an interaction must be an object");
}

TEST(ConfigScreenContentTest, SegmentsNeedStringIdAndName) {
  EXPECT_EQ(errorOf(R"({"segments":{}})"), "segments: must be an array");
  EXPECT_EQ(errorOf(R"({"segments":[1]})"), "segments[0]: a segment must be an object");
  EXPECT_EQ(errorOf(R"({"segments":[{"id":"a","name":"A"},{"id":7,"name":"B"}]})"),
            "segments[1].id: must be a string");
  EXPECT_EQ(errorOf(R"({"segments":[{"id":"a"}]})"), "segments[0].name: must be a string");
  EXPECT_EQ(errorOf(R"({"segments":[{"id":"a","name":"A","wehn":{}}]})"),
            R"(segments[0].wehn: unknown member; expected "id", "name" or "when")");
}

TEST(ConfigScreenContentTest, RulesNeedAPropertyAndExactlyOneTest) {
  const auto when = [](std::string_view rule) {
    return errorOf(R"({"segments":[{"id":"a","name":"A","when":)" + std::string(rule) + "}]}");
  };
  EXPECT_EQ(when("7"), "segments[0].when: must be a rule or an array of rules");
  EXPECT_EQ(when("[7]"), "segments[0].when[0]: a rule must be an object");
  EXPECT_EQ(when(R"({"equals":"x"})"), "segments[0].when.property: must be a non-empty string");
  EXPECT_EQ(when(R"({"property":"","equals":"x"})"),
            "segments[0].when.property: must be a non-empty string");
  EXPECT_EQ(when(R"({"property":"city"})"),
            R"(segments[0].when: needs exactly one of "equals", "contains", "exists")");
  EXPECT_EQ(when(R"({"property":"city","equals":"a","contains":"b"})"),
            R"(segments[0].when: needs exactly one of "equals", "contains", "exists")");
  EXPECT_EQ(when(R"({"property":"city","equals":1})"), "segments[0].when.equals: must be a string");
  EXPECT_EQ(when(R"([{"property":"city","equals":"a"},{"property":"c","contains":[]}])"),
            "segments[0].when[1].contains: must be a string");
  EXPECT_EQ(when(R"({"property":"city","exists":"yes"})"),
            "segments[0].when.exists: must be true or false");
  EXPECT_EQ(
      when(R"({"property":"city","matches":"U.*"})"),
      R"(segments[0].when.matches: unknown member; expected "property" and one of "equals", "contains", "exists")");
}

TEST(ConfigScreenContentTest, ConnectionsMustBeObjects) {
  EXPECT_EQ(errorOf(R"({"connections":{}})"), "connections: must be an array");
  EXPECT_EQ(errorOf(R"({"connections":[{},[]]})"),
            "connections[1]: a connection must be an object");
}

class ConfigScreenContentFileTest : public ::testing::Test {
 protected:
  std::string write(const std::string& name, const std::string& text) {
    std::string path = _folder.path() + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

  pelorin::testing::TempFolder _folder;
};

TEST_F(ConfigScreenContentFileTest, ReadsAFile) {
  auto content = ConfigScreenContent::fromFile(
      write("config.json", R"({"screens":{"home":[{"pluginClass":"A","id":"i1"}]}})"));
  ASSERT_TRUE(content.ok());
  EXPECT_EQ(content.value()->resultFor(pageView("home"))["interactions"].toCompactString(),
            R"([{"pluginClass":"A","id":"i1"}])");
}

TEST_F(ConfigScreenContentFileTest, ErrorsNameTheFile) {
  const std::string missing = _folder.path() + "/missing.json";
  auto unreadable = ConfigScreenContent::fromFile(missing);
  ASSERT_FALSE(unreadable.ok());
  EXPECT_EQ(unreadable.error().message, missing + ": cannot be read");

  const std::string garbage = write("garbage.json", "{screens");
  auto notJson = ConfigScreenContent::fromFile(garbage);
  ASSERT_FALSE(notJson.ok());
  EXPECT_TRUE(notJson.error().message.starts_with(garbage + ": not JSON: "))
      << notJson.error().message;

  const std::string wrong = write("wrong.json", R"({"segments":[{"id":"a","name":"A"},
                                          {"id":"b","name":"B","when":{"property":"p","equals":3}}]})");
  auto invalid = ConfigScreenContent::fromFile(wrong);
  ASSERT_FALSE(invalid.ok());
  EXPECT_EQ(invalid.error().message, wrong + ": segments[1].when.equals: must be a string");
}

// The example shipped beside the devserver stays a valid configuration that starts a
// plug-in on the home screen.
TEST(ConfigScreenContentExampleTest, ExampleConfigurationStartsABannerOnHome) {
  auto content = ConfigScreenContent::fromFile(PELORIN_DEVSERVER_EXAMPLE_CONFIG);
  ASSERT_TRUE(content.ok()) << content.error().message;
  JsonValue result =
      content.value()->resultFor(pageView("home", "PAGEVIEW", {{"city", {"Utrecht"}}}));
  ASSERT_EQ(result["interactions"].size(), 1U);
  EXPECT_EQ(result["interactions"][0]["pluginClass"].string(), "MyApp.Banner");
  EXPECT_EQ(result["interactions"][0]["id"].string(), "interaction-1");
  EXPECT_EQ(result["segments"].toCompactString(),
            R"([{"id":"everyone","name":"All visitors"},)"
            R"({"id":"utrecht","name":"Visitors from Utrecht"}])");
  EXPECT_EQ(result["connections"][0]["id"].string(), "crm");
}

TEST(ConfigScreenContentExampleTest, ExampleShopScreenStartsAScoreAndARanking) {
  auto content = ConfigScreenContent::fromFile(PELORIN_DEVSERVER_EXAMPLE_CONFIG);
  ASSERT_TRUE(content.ok()) << content.error().message;
  JsonValue result = content.value()->resultFor(pageView("shop", "PAGEVIEW", {}));
  ASSERT_EQ(result["interactions"].size(), 2U);
  EXPECT_EQ(result["interactions"][0]["pluginClass"].string(),
            "PelorinClient.EngagementScoreListener");
  EXPECT_EQ(result["interactions"][1]["pluginClass"].string(),
            "PelorinClient.EngagementRankingListener");
  // Every parameter holds the JSON text the plug-ins decode.
  for (const JsonRef& interaction : result["interactions"].elements()) {
    for (const JsonRef& parameter : interaction["parameters"][0]["parameter"].elements()) {
      const auto decoded = JsonValue::parse(parameter["value"][0].string());
      EXPECT_TRUE(decoded && (decoded->isObject() || decoded->isArray()))
          << parameter["id"].string();
    }
  }
}

}  // namespace
}  // namespace pelorin::devserver
