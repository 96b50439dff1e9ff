#include "listeners/behavior_listener.h"
#include "json/json_value_access.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client/plugin_registry.h"
#include "listeners/rule_service_fixture.h"
#include "pelorin/event.h"

namespace pelorin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;

// An interaction whose "listener_rules" parameter holds `listenerRules`; "id" is left out
// when `id` is empty.
JsonValue interaction(std::string_view listenerRules, std::string_view id = "i1") {
  JsonValue value = json(R"({"defaultLocale": "en", "parameters": [{"locale": "en",
      "parameter": [{"id": "listener_rules", "value": []}]}]})");
  auto& object = mutableRawJson(value).as_object();
  if (!id.empty()) object["id"] = boost::json::string(id);
  object["parameters"].as_array()[0].as_object()["parameter"].as_array()[0].as_object()["value"] =
      boost::json::array{boost::json::string(listenerRules)};
  return value;
}

class BehaviorListenerTest : public RuleServiceTest {
 protected:
  std::shared_ptr<BehaviorListener> load(std::string_view listenerRules,
                                         std::string_view id = "i1") {
    JsonValue source = interaction(listenerRules, id);
    auto listener = std::make_shared<BehaviorListener>(
        _client, InteractionContext(source.ref(), _screen.controller, std::nullopt));
    listener->onLoad();
    return listener;
  }

  std::vector<std::string> subscribedIds() const {
    std::vector<std::string> ids;
    for (const auto& [name, records] : _bus.handlersByEvent()) {
      for (const auto& record : records) ids.push_back(name + " " + record.id);
    }
    return ids;
  }
};

constexpr std::string_view kBuyRules = R"({"rules": [
    {"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"},
     "profileproperty": [{"profileproperty": "buyer"}], "addset": "set", "values": ["yes"]},
    {"ruletype": "scoreevent", "event": "share",
     "profileproperty": [{"profileproperty": "shared"}], "addset": "add", "values": ["yes"]},
    {"ruletype": "scorecontent", "contentarea": {"selector": "pre_body"}, "words": ["sale"],
     "profileproperty": [{"profileproperty": "interest"}], "addset": "add",
     "values": ["sale"]}]})";

TEST_F(BehaviorListenerTest, IsTheFirstBuiltInPlugin) {
  std::vector<PluginClass> builtIns = builtInPluginClasses();
  ASSERT_FALSE(builtIns.empty());
  EXPECT_EQ(builtIns[0].name(), "PelorinClient.BehaviorListener");
  EXPECT_TRUE(builtIns[0].isPlugin());
  std::optional<PluginClass> found = RuntimeClasses::lookup("PelorinClient.BehaviorListener");
  ASSERT_TRUE(found.has_value());
  EXPECT_TRUE(found->isPlugin());
}

TEST_F(BehaviorListenerTest, OnLoadAppliesTheRulesAndSavesAtOnce) {
  auto listener = load(kBuyRules);

  ASSERT_NE(listener->ruleService(), nullptr);
  EXPECT_EQ(listener->ruleService()->listenerId(), "i1");
  EXPECT_FALSE(listener->ruleService()->isChanged());
  EXPECT_EQ(profile("interest"), Strings{"sale"});
  EXPECT_THAT(subscribedIds(),
              ElementsAre("PelorinClient.AdvancedEvent i1", "PelorinClient.ClickEvent i1",
                          "PelorinClient.UpdateContentEvent i1"));
}

TEST_F(BehaviorListenerTest, TapAndCustomEventChangeTheProfile) {
  auto listener = load(kBuyRules);
  _screen.buy->tap();
  _bus.publish(std::make_shared<AdvancedEvent>("share"));
  EXPECT_EQ(profile("buyer"), Strings{"yes"});
  EXPECT_EQ(profile("shared"), Strings{"yes"});
}

// A missing parameter reads as "", which is decoded and logs its JSON error.
TEST_F(BehaviorListenerTest, MissingParameterLogsTheJsonErrorAndDoesNothing) {
  JsonValue source = json(R"({"id": "i1"})");
  BehaviorListener listener(_client, InteractionContext(source.ref(), {}, std::nullopt));
  clearLog();
  listener.onLoad();
  EXPECT_EQ(listener.ruleService(), nullptr);
  EXPECT_THAT(_bus.handlersByEvent(), IsEmpty());
  EXPECT_THAT(_platform.logLines(),
              ElementsAre("ERROR [PL_LISTENER_UTIL]: JSON error occurred: incomplete JSON"));
}

TEST_F(BehaviorListenerTest, EmptyParameterLogsTheJsonErrorAndDoesNothing) {
  JsonValue source = interaction("");
  BehaviorListener listener(_client,
                            InteractionContext(source.ref(), _screen.controller, std::nullopt));
  clearLog();
  listener.onLoad();
  EXPECT_EQ(listener.ruleService(), nullptr);
  EXPECT_THAT(_platform.logLines(),
              ElementsAre("ERROR [PL_LISTENER_UTIL]: JSON error occurred: incomplete JSON"));
}

TEST_F(BehaviorListenerTest, ParameterThatIsNotAnObjectDoesNothing) {
  EXPECT_EQ(load(R"([{"ruletype": "scoreevent"}])")->ruleService(), nullptr);
  EXPECT_EQ(load("not json")->ruleService(), nullptr);
  EXPECT_THAT(_bus.handlersByEvent(), IsEmpty());
}

TEST_F(BehaviorListenerTest, InteractionWithoutIdentifierDoesNothing) {
  auto listener = load(kBuyRules, "");
  EXPECT_EQ(listener->ruleService(), nullptr);
  EXPECT_EQ(_screen.buy->targetCount(), 0U);
}

TEST_F(BehaviorListenerTest, ObjectWithoutRulesListDoesNothing) {
  EXPECT_EQ(load(R"({"rule": []})")->ruleService(), nullptr);
  EXPECT_EQ(load(R"({"rules": {"ruletype": "scoreevent"}})")->ruleService(), nullptr);
}

TEST_F(BehaviorListenerTest, OnDestroyEndsOnlyItsOwnSubscriptions) {
  auto listener = load(kBuyRules);
  auto other = load(R"({"rules": [{"ruletype": "scoreevent", "event": "x"}]})", "i2");

  listener->onDestroy();

  EXPECT_THAT(subscribedIds(), ElementsAre("PelorinClient.AdvancedEvent i2"));
  _bus.publish(std::make_shared<AdvancedEvent>("share"));
  EXPECT_EQ(profile("shared"), std::nullopt);
}

// Clearing with no identifier clears every handler, as the bus defines it.
TEST_F(BehaviorListenerTest, OnDestroyWithoutIdentifierClearsEveryHandler) {
  auto other = load(R"({"rules": [{"ruletype": "scoreevent", "event": "x"}]})", "i2");
  auto listener = load(kBuyRules, "");
  ASSERT_THAT(subscribedIds(), ElementsAre("PelorinClient.AdvancedEvent i2"));
  listener->onDestroy();
  EXPECT_THAT(subscribedIds(), IsEmpty());
}

TEST_F(BehaviorListenerTest, TargetOfADestroyedListenerGoesAwayWithIt) {
  auto listener = load(kBuyRules);
  listener->onDestroy();
  listener.reset();
  EXPECT_EQ(_screen.buy->targetCount(), 0U);
  _screen.buy->tap();
  EXPECT_EQ(profile("buyer"), std::nullopt);
}

}  // namespace
}  // namespace pelorin::testing
