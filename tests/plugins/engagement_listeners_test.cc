// The engagement score and ranking plug-ins: their parameters, the property they choose,
// the service they make, and their registration.
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client/plugin_registry.h"
#include "json/json_value_access.h"
#include "plugins/engagement_fixture.h"
#include "plugins/engagement_ranking_listener.h"
#include "plugins/engagement_score_listener.h"

namespace pelorin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;

constexpr std::string_view kRules =
    R"({"rules": [{"ruletype": "scorecontent", "contentarea": {"selector": "#banner"},
                   "words": ["sale"], "interests": ["pre_any"], "points": 3},
                  {"ruletype": "scoreevent", "event": "buy", "interests": ["Shoes"],
                   "points": 2}]})";

// The context of an interaction with `parameters` (one value each); no "id" when `id` is "".
InteractionContext contextWith(const std::map<std::string, std::string>& parameters,
                               std::string_view id = "i1") {
  boost::json::array list;
  for (const auto& [name, value] : parameters) {
    list.push_back(boost::json::object{{"id", name}, {"value", boost::json::array{value}}});
  }
  boost::json::object interaction{{"defaultLocale", "en"},
                                  {"parameters", boost::json::array{boost::json::object{
                                                     {"locale", "en"}, {"parameter", list}}}}};
  if (!id.empty()) interaction["id"] = id;
  const JsonValue source = toJsonValue(std::move(interaction));
  return InteractionContext(source.ref(), std::shared_ptr<headless::ViewController>(),
                            std::nullopt);
}

class EngagementListenersTest : public EngagementServiceTest {
 protected:
  template <typename Listener>
  std::shared_ptr<Listener> load(const std::map<std::string, std::string>& parameters,
                                 std::string_view id = "i1") {
    auto listener = std::make_shared<Listener>(_client, contextWith(parameters, id));
    listener->onLoad();
    return listener;
  }
  // Log lines besides those of the contexts' locale selection.
  std::vector<std::string> linesBesidesLocales() const {
    std::vector<std::string> lines;
    for (const auto& line : _platform.logLines()) {
      if (line.find("[PL_INTERACTION]") == std::string::npos) lines.push_back(line);
    }
    return lines;
  }
  static std::optional<std::string> chosenProperty(std::string propertyRules) {
    return EngagementScoreListener::getProfilePropertyFromRules(
        contextWith({{"propertyRules", std::move(propertyRules)},
                     {"property", R"([{"profileproperty": "classic"}])"}}));
  }
};

// --- Registration

TEST_F(EngagementListenersTest, BothAreBuiltInPluginsBetweenTheBehaviourAndFormListeners) {
  std::vector<PluginClass> builtIns = builtInPluginClasses();
  ASSERT_GE(builtIns.size(), 4U);
  EXPECT_EQ(builtIns[1].name(), "PelorinClient.EngagementRankingListener");
  EXPECT_EQ(builtIns[2].name(), "PelorinClient.EngagementScoreListener");
  EXPECT_TRUE(builtIns[1].isPlugin());
  EXPECT_TRUE(builtIns[2].isPlugin());
  ASSERT_TRUE(RuntimeClasses::lookup("PelorinClient.EngagementScoreListener").has_value());
  ASSERT_TRUE(RuntimeClasses::lookup("PelorinClient.EngagementRankingListener").has_value());
}

// --- The score's property

TEST_F(EngagementListenersTest, HighestDecayChoosesTheFirstOfEqualDecays) {
  EXPECT_EQ(chosenProperty(R"([{"profileproperty": "a", "decay": 3},
                               {"profileproperty": "b", "decay": 7},
                               {"profileproperty": "c", "decay": 7}])"),
            "b");
}

TEST_F(EngagementListenersTest, DecaysOfZeroOrBelowChooseNothing) {
  EXPECT_EQ(chosenProperty(R"([{"profileproperty": "a", "decay": 0},
                               {"profileproperty": "b", "decay": -4}])"),
            std::nullopt);
}

TEST_F(EngagementListenersTest, ObjectsWithoutAStringPropertyOrAnIntegerDecayAreSkipped) {
  EXPECT_EQ(chosenProperty(R"([{"profileproperty": "a", "decay": "9"},
                               {"profileproperty": 5, "decay": 9},
                               {"profileproperty": "b", "decay": 1.5},
                               {"profileproperty": "c", "decay": 2}])"),
            "c");
}

TEST_F(EngagementListenersTest, EmptyPropertyRulesChooseNothingEvenWithAPropertyParameter) {
  EXPECT_EQ(chosenProperty("[]"), std::nullopt);
}

TEST_F(EngagementListenersTest, PropertyRulesThatAreNotJsonFallBackToTheProperty) {
  EXPECT_EQ(chosenProperty("[{"), "classic");
  ASSERT_EQ(linesBesidesLocales().size(), 1U);
  EXPECT_THAT(linesBesidesLocales()[0],
              ::testing::StartsWith("ERROR [PL_LISTENER_UTIL]: JSON error occurred: "));
}

TEST_F(EngagementListenersTest, PropertyRulesThatAreNotAListOfObjectsFallBackToTheProperty) {
  EXPECT_EQ(chosenProperty(R"({"profileproperty": "a", "decay": 3})"), "classic");
  EXPECT_EQ(chosenProperty(R"(["a"])"), "classic");
}

TEST_F(EngagementListenersTest, WithoutPropertyRulesThePropertyParameterIsUsed) {
  EXPECT_EQ(EngagementScoreListener::getProfilePropertyFromRules(
                contextWith({{"property", R"([{"profileproperty": "classic"}])"}})),
            "classic");
  EXPECT_EQ(EngagementScoreListener::getProfilePropertyFromRules(contextWith({})), std::nullopt);
}

// --- Score listener

TEST_F(EngagementListenersTest, ScoreListenerScoresUnderKAndSavesAtOnce) {
  auto listener = load<EngagementScoreListener>(
      {{"engagement_rules", std::string(kRules)},
       {"propertyRules", R"([{"profileproperty": "engagement", "decay": 30}])"}});

  const auto& service = listener->engagementService();
  ASSERT_NE(service, nullptr);
  EXPECT_EQ(service->listenerId(), "i1");
  EXPECT_EQ(service->propertyName(), "engagement");
  EXPECT_FALSE(service->isInterest());
  EXPECT_FALSE(service->useHalfTime());
  EXPECT_THAT(service->allInterests(), IsEmpty());
  // The content rule scored the banner while it was attached; the save followed.
  EXPECT_FALSE(service->isChanged());
  EXPECT_THAT(stored("_engagement"),
              ElementsAre(json(R"({"TIME": "1714568531000", "k": {"p4504": 3}})")));

  _bus.publish(std::make_shared<AdvancedEvent>("buy"));

  EXPECT_THAT(stored("_engagement"),
              ElementsAre(json(R"({"TIME": "1714568531000", "k": {"p4504": 3}})"),
                          json(R"({"TIME": "1714568531000", "k": {"p4504": 2}})")));
}

TEST_F(EngagementListenersTest, ScoreListenerWhoseDecaysAreAllZeroDoesNothing) {
  auto listener = load<EngagementScoreListener>(
      {{"engagement_rules", std::string(kRules)},
       {"propertyRules", R"([{"profileproperty": "engagement", "decay": 0}])"}});
  EXPECT_EQ(listener->engagementService(), nullptr);
  EXPECT_THAT(_bus.handlersByEvent(), IsEmpty());
}

TEST_F(EngagementListenersTest, ScoreListenerWithoutRulesOrIdentifierDoesNothing) {
  EXPECT_EQ(load<EngagementScoreListener>({{"property", R"([{"profileproperty": "engagement"}])"}})
                ->engagementService(),
            nullptr);
  EXPECT_EQ(load<EngagementScoreListener>(
                {{"engagement_rules", "[1]"}, {"property", R"([{"profileproperty": "e"}])"}})
                ->engagementService(),
            nullptr);
  EXPECT_EQ(load<EngagementScoreListener>({{"engagement_rules", std::string(kRules)},
                                           {"property", R"([{"profileproperty": "e"}])"}},
                                          "")
                ->engagementService(),
            nullptr);
  // The missing "engagement_rules" reads as "", which is decoded and logs its JSON error.
  EXPECT_THAT(linesBesidesLocales(),
              ElementsAre("ERROR [PL_LISTENER_UTIL]: JSON error occurred: incomplete JSON"));
}

// A missing or "" "interests" or "engagement_rules" is decoded as "" and logs the error.
TEST_F(EngagementListenersTest, RankingListenerWithAMissingOrEmptyParameterLogsTheJsonError) {
  EXPECT_EQ(load<EngagementRankingListener>({{"engagement_rules", std::string(kRules)}})
                ->engagementService(),
            nullptr);
  EXPECT_EQ(load<EngagementRankingListener>(
                {{"engagement_rules", ""}, {"interests", R"({"values": ["Sale"]})"}})
                ->engagementService(),
            nullptr);
  EXPECT_THAT(linesBesidesLocales(),
              ElementsAre("ERROR [PL_LISTENER_UTIL]: JSON error occurred: incomplete JSON",
                          "ERROR [PL_LISTENER_UTIL]: JSON error occurred: incomplete JSON"));
}

TEST_F(EngagementListenersTest, EngagementRulesWithoutRulesMakeTheServiceAndAttachNothing) {
  auto listener =
      load<EngagementScoreListener>({{"engagement_rules", R"({"other": []})"},
                                     {"property", R"([{"profileproperty": "engagement"}])"}});
  ASSERT_NE(listener->engagementService(), nullptr);
  EXPECT_THAT(listener->engagementService()->eventMap(), IsEmpty());
  EXPECT_THAT(engagementLines(), IsEmpty());
}

// --- Ranking listener

TEST_F(EngagementListenersTest, RankingListenerWritesToTheHiddenPropertyOfItsIdentifier) {
  auto listener =
      load<EngagementRankingListener>({{"engagement_rules", std::string(kRules)},
                                       {"interests", R"({"values": ["Sale", "Winter"]})"}},
                                      "x42");

  const auto& service = listener->engagementService();
  ASSERT_NE(service, nullptr);
  EXPECT_EQ(service->listenerId(), "x42");
  EXPECT_EQ(service->internalPropertyName(), "_x42");
  EXPECT_TRUE(service->isInterest());
  EXPECT_TRUE(service->useHalfTime());
  EXPECT_THAT(service->allInterests(), ElementsAre("Sale", "Winter"));
  EXPECT_THAT(stored("_x42"), ElementsAre(json(R"({"TIME": "1714568531000", "days": 2434,
      "data": [{"n": "sale", "p": 3}]})")));

  _bus.publish(std::make_shared<AdvancedEvent>("buy"));

  EXPECT_EQ(stored("_x42").size(), 2U);
  EXPECT_EQ(stored("_x42")[1], json(R"({"TIME": "1714568531000", "days": 2434,
      "data": [{"n": "shoes", "p": 2}]})"));
}

TEST_F(EngagementListenersTest, RankingListenerNeedsInterestsAndRules) {
  EXPECT_EQ(load<EngagementRankingListener>({{"engagement_rules", std::string(kRules)}})
                ->engagementService(),
            nullptr);
  EXPECT_EQ(
      load<EngagementRankingListener>({{"interests", R"({"values": []})"}})->engagementService(),
      nullptr);
  EXPECT_EQ(load<EngagementRankingListener>(
                {{"engagement_rules", std::string(kRules)}, {"interests", R"({"values": []})"}}, "")
                ->engagementService(),
            nullptr);
}

TEST_F(EngagementListenersTest, InterestValuesThatAreNotAllStringsNameNoInterests) {
  auto listener = load<EngagementRankingListener>(
      {{"engagement_rules", R"({"rules": []})"}, {"interests", R"({"values": ["a", 1]})"}});
  ASSERT_NE(listener->engagementService(), nullptr);
  EXPECT_THAT(listener->engagementService()->allInterests(), IsEmpty());
}

// --- Destruction

TEST_F(EngagementListenersTest, OnDestroyEndsTheSubscriptionsOfTheInteraction) {
  auto score =
      load<EngagementScoreListener>({{"engagement_rules", std::string(kRules)},
                                     {"property", R"([{"profileproperty": "engagement"}])"}},
                                    "score-1");
  auto ranking = load<EngagementRankingListener>(
      {{"engagement_rules", std::string(kRules)}, {"interests", R"({"values": []})"}}, "ranking-1");
  ASSERT_EQ(_bus.handlersByEvent().at("PelorinClient.AdvancedEvent").size(), 2U);

  score->onDestroy();

  const auto handlers = _bus.handlersByEvent().at("PelorinClient.AdvancedEvent");
  ASSERT_EQ(handlers.size(), 1U);
  EXPECT_EQ(handlers[0].id, "ranking-1");
  _bus.publish(std::make_shared<AdvancedEvent>("buy"));
  EXPECT_EQ(stored("_engagement").size(), 1U);  // only the content rule's save of onLoad
}

}  // namespace
}  // namespace pelorin::testing
