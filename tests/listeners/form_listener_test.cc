#include "listeners/form_listener.h"
#include "json/json_value_access.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client/plugin_registry.h"
#include "listeners/form_fixture.h"
#include "pelorin/event.h"

namespace pelorin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;

// An interaction with the given parameters (each with one value); "id" is left out when
// `id` is empty.
JsonValue interaction(const std::vector<std::pair<std::string, std::string>>& parameters,
                      std::string_view id = "i1") {
  JsonValue value = json(R"({"defaultLocale": "en", "parameters": [{"locale": "en",
      "parameter": []}]})");
  auto& object = mutableRawJson(value).as_object();
  if (!id.empty()) object["id"] = boost::json::string(id);
  auto& list = object["parameters"].as_array()[0].as_object()["parameter"].as_array();
  for (const auto& [key, text] : parameters) {
    list.push_back(boost::json::object{{"id", key}, {"value", boost::json::array{text}}});
  }
  return value;
}

constexpr std::string_view kV2Rules = R"([{"id": "r1", "action": {"type": "formselection",
    "selector": "#submitButton"}, "formfield": {"selector": "#emailField"},
    "profileProperty": "email", "addset": "set"}])";

constexpr std::string_view kV1Rules = R"({"rules": [
    {"identifier": "r1", "action": {"type": "onchange"}, "formfield": {"selector": "#cityField"},
     "profileproperty": [{"profileproperty": "city"}], "addset": "set",
     "converter": {"mappings": [{"identifier": "m1", "o": "Amsterdam", "c": "AMS"},
                                {"id": "m2", "original": "Delft", "converted": "DFT"},
                                {"o": "Leiden"}, 4]}},
    7,
    {"action": {"type": "onchange"}, "profileproperty": [{}], "converter": "none"}]})";

class FormListenerTest : public FormServiceTest {
 protected:
  std::shared_ptr<FormListener> make(
      const std::vector<std::pair<std::string, std::string>>& parameters,
      std::string_view id = "i1") {
    JsonValue source = interaction(parameters, id);
    return std::make_shared<FormListener>(
        client, InteractionContext(source.ref(), screen.controller, std::nullopt));
  }
  std::shared_ptr<FormListener> load(
      const std::vector<std::pair<std::string, std::string>>& parameters,
      std::string_view id = "i1") {
    auto listener = make(parameters, id);
    listener->onLoad();
    return listener;
  }
  std::vector<std::string> subscribedIds() const {
    std::vector<std::string> ids;
    for (const auto& [name, records] : bus.handlersByEvent()) {
      for (const auto& record : records) ids.push_back(name + " " + record.id);
    }
    return ids;
  }
};

TEST_F(FormListenerTest, IsABuiltInPluginAfterTheBehaviorListener) {
  std::vector<PluginClass> builtIns = builtInPluginClasses();
  ASSERT_GE(builtIns.size(), 4U);
  EXPECT_EQ(builtIns[0].name(), "PelorinClient.BehaviorListener");
  EXPECT_EQ(builtIns[3].name(), "PelorinClient.FormListener");
  EXPECT_TRUE(builtIns[3].isPlugin());
  std::optional<PluginClass> found = RuntimeClasses::lookup("PelorinClient.FormListener");
  ASSERT_TRUE(found.has_value());
  EXPECT_TRUE(found->isPlugin());
}

TEST_F(FormListenerTest, VersionTwoListIsAppliedUnchanged) {
  auto listener = load({{"version", "2"}, {"form_listener_rules", std::string(kV2Rules)}});
  ASSERT_NE(listener->formListeningService(), nullptr);
  EXPECT_EQ(listener->formListeningService()->listenerId(), "i1");
  const auto& rules =
      listener->formListeningService()->eventMap().at(std::string(FormSubmitEvent::NAME));
  ASSERT_EQ(rules.size(), 1U);
  EXPECT_EQ(rules[0].toCompactString(), json(kV2Rules).ref().at(0).toCompactString());
  EXPECT_THAT(subscribedIds(), ElementsAre("PelorinClient.FormSubmitEvent i1"));
  // and it works
  screen.submit->tap();
  EXPECT_EQ(profile("email"), Strings{"ann@example.com"});
}

TEST_F(FormListenerTest, VersionOneRulesAreUpgraded) {
  auto listener = make({{"version", "1"}, {"form_listener_rules", std::string(kV1Rules)}});
  std::optional<JsonValue> rules = listener->migrate();
  ASSERT_TRUE(rules.has_value());
  EXPECT_EQ(rules->toCompactString(), json(R"([{"identifier": "r1", "action": {"type": "onchange"},
                "formfield": {"selector": "#cityField"},
                "profileproperty": [{"profileproperty": "city"}], "addset": "set",
                "converter": {"mappings": [
                  {"identifier": "m1", "o": "Amsterdam", "c": "AMS", "id": "m1",
                   "original": "Amsterdam", "converted": "AMS"},
                  {"id": "m2", "original": "Delft", "converted": "DFT"},
                  {"o": "Leiden", "original": "Leiden"}, 4]},
                "id": "r1", "profileProperty": "city"},
               {"action": {"type": "onchange"}, "profileproperty": [{}], "converter": "none",
                "profileProperty": ""}])")
                                          .toCompactString());
}

TEST_F(FormListenerTest, UpgradedRulesWork) {
  auto listener = load({{"form_listener_rules", std::string(kV1Rules)}, {"version", "1.0"}});
  ASSERT_NE(listener->formListeningService(), nullptr);
  screen.city->typeText("Amsterdam");
  screen.city->endEditing();
  EXPECT_EQ(profile("city"), Strings{"AMS"});
}

TEST_F(FormListenerTest, WithoutVersionNothingIsApplied) {
  auto listener = load({{"form_listener_rules", std::string(kV2Rules)}});
  EXPECT_EQ(listener->formListeningService(), nullptr);
  EXPECT_EQ(listener->migrate(), std::nullopt);
  EXPECT_THAT(subscribedIds(), IsEmpty());
}

TEST_F(FormListenerTest, WithoutRulesNothingIsApplied) {
  auto listener = load({{"version", "2"}});
  EXPECT_EQ(listener->formListeningService(), nullptr);
}

TEST_F(FormListenerTest, VersionTwoThatIsNotAListGivesNoRules) {
  EXPECT_EQ(make({{"version", "2"}, {"form_listener_rules", R"({"rules": []})"}})->migrate(),
            std::nullopt);
  auto broken = make({{"version", "2"}, {"form_listener_rules", "[1,"}});
  clearLog();
  EXPECT_EQ(broken->migrate(), std::nullopt);
  EXPECT_EQ(platform.logLines(),
            Strings{"ERROR [PL_LISTENER_UTIL]: JSON error occurred: incomplete JSON"});
}

// A present "" is a value, not a missing parameter: a "" version is not "2", so its rules
// are upgraded from version 1.
TEST_F(FormListenerTest, EmptyVersionIsAValueAndItsRulesAreUpgraded) {
  auto listener = load({{"version", ""}, {"form_listener_rules", std::string(kV1Rules)}});
  std::optional<JsonValue> rules = listener->migrate();
  ASSERT_TRUE(rules.has_value());
  EXPECT_EQ(rules->size(), 2U);
  ASSERT_NE(listener->formListeningService(), nullptr);
  screen.city->typeText("Amsterdam");
  screen.city->endEditing();
  EXPECT_EQ(profile("city"), Strings{"AMS"});
}

TEST_F(FormListenerTest, EmptyRulesTextOfVersionTwoLogsTheJsonError) {
  auto listener = make({{"version", "2"}, {"form_listener_rules", ""}});
  clearLog();
  EXPECT_EQ(listener->migrate(), std::nullopt);
  EXPECT_EQ(platform.logLines(),
            Strings{"ERROR [PL_LISTENER_UTIL]: JSON error occurred: incomplete JSON"});
}

// "profileproperty" counts as a list of objects only when every element is an object.
TEST_F(FormListenerTest, VersionOneProfilePropertyNeedsEveryElementToBeAnObject) {
  auto listener = make({{"version", "1"}, {"form_listener_rules", R"({"rules": [
                            {"profileproperty": [{"profileproperty": "city"}, 5]},
                            {"profileproperty": [{"profileproperty": "town"}, {}]}]})"}});
  std::optional<JsonValue> rules = listener->migrate();
  ASSERT_TRUE(rules.has_value());
  EXPECT_EQ(rules->toCompactString(),
            R"([{"profileproperty":[{"profileproperty":"city"},5]},)"
            R"({"profileproperty":[{"profileproperty":"town"},{}],"profileProperty":"town"}])");
}

TEST_F(FormListenerTest, VersionOneWithoutRulesListGivesNoRules) {
  EXPECT_EQ(make({{"version", "1"}, {"form_listener_rules", R"({"rules": 3})"}})->migrate(),
            std::nullopt);
  EXPECT_EQ(make({{"version", "1"}, {"form_listener_rules", R"([])"}})->migrate(), std::nullopt);
  EXPECT_EQ(make({{"version", "1"}, {"form_listener_rules", "nope"}})->migrate(), std::nullopt);
}

TEST_F(FormListenerTest, WithoutInteractionIdNothingIsApplied) {
  auto listener = load({{"version", "2"}, {"form_listener_rules", std::string(kV2Rules)}}, "");
  EXPECT_EQ(listener->formListeningService(), nullptr);
  EXPECT_THAT(subscribedIds(), IsEmpty());
}

TEST_F(FormListenerTest, OnDestroyEndsTheSubscriptions) {
  auto listener = load({{"version", "2"}, {"form_listener_rules", std::string(kV2Rules)}});
  ASSERT_FALSE(subscribedIds().empty());
  listener->onDestroy();
  EXPECT_THAT(subscribedIds(), IsEmpty());
}

TEST(FormListenerMigrationTest, DropsRulesThatAreNotObjects) {
  JsonValue rules = json(R"([1, "a", null, [], {"identifier": 5}])");
  EXPECT_EQ(FormListener::migrateToV2(rules.ref()).toCompactString(),
            R"([{"identifier":5,"id":5}])");
  EXPECT_EQ(FormListener::migrateToV2(JsonRef()).toCompactString(), "[]");
}

}  // namespace
}  // namespace pelorin::testing
