// The engagement service: attaching rules, giving points in score and interest mode, the
// day numbers and the two stored formats, and the log lines of each.
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plugins/engagement_fixture.h"

namespace pelorin::testing {
namespace {

using std::chrono::hours;
using std::chrono::seconds;
using std::chrono::sys_days;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TimePoint = platform::Clock::TimePoint;
using Strings = std::vector<std::string>;

// The day numbers of the pinned test instant, 2024-05-01 13:02:11 UTC.
constexpr std::int64_t kClassicDay = 4504;
constexpr std::int64_t kHalfTimeDay = 2434;

std::size_t subscriptionCount(const PelorinEventManager& bus) {
  std::size_t count = 0;
  for (const auto& [name, records] : bus.handlersByEvent()) count += records.size();
  return count;
}

// --- Attaching rules

TEST_F(EngagementServiceTest, ApplyRuleLogsTheRuleAsCompactJson) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreevent", "event": "buy"}])");
  EXPECT_THAT(engagementLines(), ElementsAre(R"(INFO [PL_ENGAGMENTSERVICE]: Apply rule: )"
                                             R"({"ruletype":"scoreevent","event":"buy"})"));
}

TEST_F(EngagementServiceTest, UnknownRuleTypeIsLoggedAndTheOtherRulesStillAttach) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreevnt", "event": "buy"},
                      {"ruletype": "interestevent", "event": "read"},
                      {"ruletype": "scoresocialevent", "event": "share"}])");

  EXPECT_THAT(
      engagementLines(),
      ElementsAre(
          R"(INFO [PL_ENGAGMENTSERVICE]: Apply rule: {"ruletype":"scoreevnt","event":"buy"})",
          "WARNING [PL_ENGAGMENTSERVICE]: Invalid or not supported rule detected",
          R"(INFO [PL_ENGAGMENTSERVICE]: Apply rule: {"ruletype":"interestevent","event":"read"})",
          R"(INFO [PL_ENGAGMENTSERVICE]: Apply rule: {"ruletype":"scoresocialevent","event":"share"})"));
  ASSERT_EQ(service->eventMap().size(), 1U);
  EXPECT_EQ(service->eventMap().at("PelorinClient.AdvancedEvent").size(), 2U);
  // Subscribed once, after the last rule.
  EXPECT_EQ(subscriptionCount(_bus), 1U);
}

TEST_F(EngagementServiceTest, RuleTypeThatIsNotAStringIsSkippedSilently) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": 7, "contentarea": {"selector": "#banner"}}, 42])");
  EXPECT_THAT(
      engagementLines(),
      ElementsAre(
          R"(INFO [PL_ENGAGMENTSERVICE]: Apply rule: {"ruletype":7,"contentarea":{"selector":"#banner"}})",
          "INFO [PL_ENGAGMENTSERVICE]: Apply rule: 42"));
  EXPECT_THAT(service->eventMap(), IsEmpty());
  EXPECT_FALSE(service->isChanged());
}

TEST_F(EngagementServiceTest, ListThatIsNotAnArrayAppliesNothing) {
  auto service = scoreService();
  apply(*service, R"({"ruletype": "scoreevent"})");
  EXPECT_THAT(service->eventMap(), IsEmpty());
  EXPECT_THAT(engagementLines(), IsEmpty());
}

// --- Content rules

TEST_F(EngagementServiceTest, ContentRuleScoresTheScreenTextAtOnceAndWaitsForUpdates) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scorecontent", "contentarea": {"selector": "#banner"},
                      "words": ["sale"], "points": 3}])");
  EXPECT_THAT(service->changes(), ElementsAre(PointEntry{"k", 3}));
  EXPECT_EQ(service->eventMap().at("PelorinClient.UpdateContentEvent").size(), 1U);
}

TEST_F(EngagementServiceTest, ContentRuleWhoseWordsAreNotOnScreenGivesNothing) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scorecontent", "contentarea": {"selector": "#banner"},
                      "words": ["winter"], "points": 3}])");
  EXPECT_FALSE(service->isChanged());
}

TEST_F(EngagementServiceTest, ContentRuleWithoutSelectorIsLoggedAndSkipped) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "interestcontent", "points": 3}])");
  EXPECT_EQ(engagementLines().back(),
            "INFO [PL_ENGAGMENTSERVICE]: Found a rule without a selector");
  EXPECT_THAT(service->eventMap(), IsEmpty());
}

TEST_F(EngagementServiceTest, ContentUpdateWithPreMobileInAnyCaseIsScoredForEverySelector) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scorecontent", "contentarea": {"selector": "Pre_Mobile_Area"},
                      "words": ["sale"], "points": 2}])");
  ASSERT_FALSE(service->isChanged());

  _bus.publish(std::make_shared<UpdateContentEvent>("#somewhere", Strings{"Big SALE"}));

  EXPECT_THAT(stored("_engagement"),
              ElementsAre(json(R"({"TIME": "1714568531000", "k": {"p4504": 2}})")));
}

TEST_F(EngagementServiceTest, ContentUpdateMustNameTheRulesSelectorInAnyCase) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scorecontent", "contentarea": {"selector": "#Price"},
                      "words": ["x"], "points": 2}])");
  _bus.publish(std::make_shared<UpdateContentEvent>("#banner", Strings{"x"}));
  _bus.publish(std::make_shared<UpdateContentEvent>(Strings{"x"}));
  EXPECT_EQ(_client.getProfileValues("_engagement"), std::nullopt);

  _bus.publish(std::make_shared<UpdateContentEvent>("#price", Strings{"x"}));

  EXPECT_THAT(stored("_engagement"),
              ElementsAre(json(R"({"TIME": "1714568531000", "k": {"p4504": 2}})")));
}

// --- Click and form submit rules

TEST_F(EngagementServiceTest, TappingAnObservedControlPublishesAClickAndScoresIt) {
  auto service = scoreService();
  apply(*service,
        R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"}, "points": 5}])");
  EXPECT_EQ(_screen.buy->controlEventsForTarget(service.get()),
            platform::ControlEvents::kTouchDown);
  clearLog();

  _screen.buy->tap();

  EXPECT_THAT(
      engagementLines(),
      ElementsAre(
          "INFO [PL_ENGAGMENTSERVICE]: Clicked on " + _screen.buy->description() +
              R"(, with rules [{"ruletype":"scoreclick","clickarea":{"selector":"#buyButton"},"points":5}])",
          "INFO [PL_ENGAGMENTSERVICE]: Handling event '#buyButton' - "
          "PelorinClient.ClickEvent at '' handled by [i1]",
          R"(INFO [PL_ENGAGMENTSERVICE]: Saving: _engagement - {"TIME":"1714568531000","k":{"p4504":5}})"));
  EXPECT_THAT(stored("_engagement"),
              ElementsAre(json(R"({"TIME": "1714568531000", "k": {"p4504": 5}})")));
}

// The service is the control's target once however many rules name the control: a tap
// publishes one click event per rule, and each rule scores each event once.
TEST_F(EngagementServiceTest, TwoClickRulesOnOneControlScoreEachEventOncePerRule) {
  auto service = scoreService();
  apply(*service,
        R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"}, "points": 1},
            {"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"}, "points": 10}])");

  clearLog();

  _screen.buy->tap();

  // Two click events, each scored by both rules: 22 points in all.
  std::vector<std::string> saves;
  for (const std::string& line : engagementLines()) {
    if (line.starts_with("INFO [PL_ENGAGMENTSERVICE]: Saving: ")) saves.push_back(line);
  }
  const std::string save = R"(INFO [PL_ENGAGMENTSERVICE]: Saving: _engagement - )"
                           R"({"TIME":"1714568531000","k":{"p4504":11}})";
  EXPECT_THAT(saves, ElementsAre(save, save));
}

TEST_F(EngagementServiceTest, ClickRuleOnAViewThatIsNotAControlWaitsForClickEvents) {
  auto service = scoreService();
  apply(*service,
        R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#banner"}, "points": 1}])");
  EXPECT_EQ(engagementLines()[1],
            "INFO [PL_ENGAGMENTSERVICE]: Unable to get the view with the selector: #banner");
  EXPECT_EQ(service->eventMap().at("PelorinClient.ClickEvent").size(), 1U);

  _bus.publish(std::make_shared<ClickEvent>("#other"));
  EXPECT_EQ(_client.getProfileValues("_engagement"), std::nullopt);
  _bus.publish(std::make_shared<ClickEvent>("#banner"));

  EXPECT_THAT(stored("_engagement"),
              ElementsAre(json(R"({"TIME": "1714568531000", "k": {"p4504": 1}})")));
}

TEST_F(EngagementServiceTest, ClickRuleWithoutClickareaIsLoggedAndSkipped) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreclick", "form": {"selector": "#buyButton"}}])");
  EXPECT_EQ(engagementLines()[1],
            R"(INFO [PL_ENGAGMENTSERVICE]: Found a click rule without a clickarea selector: )"
            R"({"ruletype":"scoreclick","form":{"selector":"#buyButton"}})");
  EXPECT_THAT(service->eventMap(), IsEmpty());
  EXPECT_EQ(_screen.buy->targetCount(), 0U);
}

TEST_F(EngagementServiceTest, FormSubmitRuleWithoutFormIsLoggedAndSkipped) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "interestformsubmit"}])");
  EXPECT_EQ(engagementLines()[1],
            R"(INFO [PL_ENGAGMENTSERVICE]: Found a form submit rule without a form selector: )"
            R"({"ruletype":"interestformsubmit"})");
  EXPECT_THAT(service->eventMap(), IsEmpty());
}

TEST_F(EngagementServiceTest, FormSubmitRuleObservesTheControlAndScoresFormSubmitEvents) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreformsubmit", "form": {"selector": "#submitButton"},
                      "points": 4}])");
  EXPECT_EQ(_screen.submit->controlEventsForTarget(service.get()),
            platform::ControlEvents::kTouchDown);
  EXPECT_EQ(service->eventMap().at("PelorinClient.FormSubmitEvent").size(), 1U);

  _bus.publish(std::make_shared<FormSubmitEvent>("#submitButton"));

  EXPECT_THAT(stored("_engagement"),
              ElementsAre(json(R"({"TIME": "1714568531000", "k": {"p4504": 4}})")));
}

TEST_F(EngagementServiceTest, TouchRuleScoresTheContentAreaInTheEventsContext) {
  auto service = rankingService();
  apply(*service, R"([{"ruletype": "interestclick", "clickarea": {"selector": "#banner"},
                      "contentarea": {"selector": "pre_context"}, "interests": ["pre_context"],
                      "points": 2}])");

  _bus.publish(std::make_shared<ClickEvent>("#banner", Strings{"Gold", "Silver"}));

  EXPECT_THAT(stored("_i1"), ElementsAre(json(R"({"TIME": "1714568531000", "days": 2434,
      "data": [{"n": "gold", "p": 2}, {"n": "silver", "p": 2}]})")));
}

// --- URL rules

TEST_F(EngagementServiceTest, ScoreUrlRuleOutsideTheListLogsAndStillRecordsItsPoints) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreurl", "url": "elsewhere", "points": 4}])");
  EXPECT_EQ(engagementLines()[1],
            R"(INFO [PL_ENGAGMENTSERVICE]: Unable to get the current screenName with the url )"
            R"(rule: {"ruletype":"scoreurl","url":"elsewhere","points":4})");
  EXPECT_THAT(service->changes(), ElementsAre(PointEntry{"k", 4}));
  // Scored once, when attached; never filed for events.
  EXPECT_THAT(service->eventMap(), IsEmpty());
}

TEST_F(EngagementServiceTest, UrlRuleScoresTheCurrentScreenName) {
  showScreen("Checkout");
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreurl", "url": "urlreferrer", "words": ["checkout"],
                      "containsmatches": "matches", "points": 6},
                     {"ruletype": "scoreurl", "url": "or", "words": ["home"], "points": 1}])");
  EXPECT_THAT(service->changes(), ElementsAre(PointEntry{"k", 6}));
  EXPECT_EQ(engagementLines().size(), 2U);  // the two "Apply rule" lines
}

TEST_F(EngagementServiceTest, UrlRuleWithoutAScreenNameIsScoredAgainstNothing) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreurl", "url": "url", "words": ["checkout"],
                      "points": 6}])");
  EXPECT_EQ(engagementLines()[1],
            R"(INFO [PL_ENGAGMENTSERVICE]: Unable to get the current screenName with the url )"
            R"(rule: {"ruletype":"scoreurl","url":"url","words":["checkout"],"points":6})");
  EXPECT_FALSE(service->isChanged());
}

// --- Interests

TEST_F(EngagementServiceTest, InterestPreAnyPicksTheKnownInterestsTheContentMentions) {
  auto service = rankingService({"Sports", "News"});
  apply(*service, R"([{"ruletype": "interestevent", "event": "read", "interests": ["pre_any"],
                      "points": 2}])");

  _bus.publish(std::make_shared<AdvancedEvent>("read", Strings{"Sports results"}));

  EXPECT_THAT(stored("_i1"), ElementsAre(json(R"({"TIME": "1714568531000", "days": 2434,
      "data": [{"n": "sports", "p": 2}]})")));
}

TEST_F(EngagementServiceTest, InterestPreContextRecordsEachContentStringLowerCased) {
  auto service = rankingService();
  apply(*service, R"([{"ruletype": "interestcontent", "contentarea": {"selector": "#list"},
                      "interests": ["pre_context"], "points": 1}])");

  _bus.publish(std::make_shared<UpdateContentEvent>("#list", Strings{"Shoes", "HATS"}));

  EXPECT_THAT(stored("_i1"), ElementsAre(json(R"({"TIME": "1714568531000", "days": 2434,
      "data": [{"n": "shoes", "p": 1}, {"n": "hats", "p": 1}]})")));
}

TEST_F(EngagementServiceTest, InterestListNamesEveryElementAsText) {
  auto service = rankingService();
  apply(*service, R"([{"ruletype": "interestevent", "event": "read",
                      "interests": ["Shoes", 3, 2.5, true, null], "points": 1}])");

  _bus.publish(std::make_shared<AdvancedEvent>("read"));

  EXPECT_THAT(stored("_i1"), ElementsAre(json(R"({"TIME": "1714568531000", "days": 2434,
      "data": [{"n": "shoes", "p": 1}, {"n": "3", "p": 1}, {"n": "2.5", "p": 1},
               {"n": "true", "p": 1}, {"n": "", "p": 1}]})")));
}

// Interest names are lower-cased with the Unicode default mapping.
TEST_F(EngagementServiceTest, InterestNamesAreLowerCasedAsUnicodeText) {
  auto service = rankingService();
  apply(*service, R"([{"ruletype": "interestevent", "event": "read",
                      "interests": ["ÉCONOMIE", "ΣΟΦΊΑ", "İSTANBUL", "東京", "🎉PARTY"],
                      "points": 1}])");

  _bus.publish(std::make_shared<AdvancedEvent>("read"));

  EXPECT_THAT(stored("_i1"), ElementsAre(json(R"({"TIME": "1714568531000", "days": 2434,
      "data": [{"n": "économie", "p": 1}, {"n": "σοφία", "p": 1},
               {"n": "i\u0307stanbul", "p": 1}, {"n": "東京", "p": 1},
               {"n": "🎉party", "p": 1}]})")));
}

// Whole numbers are written exactly as the JSON held them, never in exponent form.
TEST_F(EngagementServiceTest, InterestNumbersAreWrittenAsPlainDecimals) {
  auto service = rankingService();
  apply(*service, R"([{"ruletype": "interestevent", "event": "read",
                      "interests": [18446744073709551615, -9223372036854775808, 1e20, 4.0,
                                    0.25],
                      "points": 1}])");

  _bus.publish(std::make_shared<AdvancedEvent>("read"));

  EXPECT_THAT(stored("_i1"), ElementsAre(json(R"({"TIME": "1714568531000", "days": 2434,
      "data": [{"n": "18446744073709551615", "p": 1}, {"n": "-9223372036854775808", "p": 1},
               {"n": "100000000000000000000", "p": 1}, {"n": "4", "p": 1},
               {"n": "0.25", "p": 1}]})")));
}

// Text read from the screen enters as valid UTF-8, so one ill-formed label does not cost
// the save its other points.
TEST_F(EngagementServiceTest, SaveKeepsItsEntriesWhenAScreenTextIsNotUtf8) {
  _screen.banner->addSubview(std::make_shared<headless::Label>("Caf\xe9"));
  auto service = rankingService();
  apply(*service, R"([{"ruletype": "interestcontent", "contentarea": {"selector": "#banner"},
                      "interests": ["pre_context"], "points": 1}])");

  service->save();

  EXPECT_THAT(stored("_i1"), ElementsAre(json(R"({"TIME": "1714568531000", "days": 2434,
      "data": [{"n": "20% off", "p": 1}, {"n": "caf\ufffd", "p": 1},
               {"n": "spring sale", "p": 1}]})")));
}

// On destruction the service clears every handler of its listener identifier.
TEST_F(EngagementServiceTest, DestroyingTheServiceClearsItsIdentifiersHandlers) {
  auto service = scoreService();
  apply(*service, "[]");
  auto other = std::make_shared<RuleService>();
  other->setClient(_client);
  other->setListenerId("i1");
  JsonValue rules = json(R"([{"ruletype": "scoreevent", "event": "x"}])");
  other->applyRules(rules.ref());
  auto third = std::make_shared<RuleService>();
  third->setClient(_client);
  third->setListenerId("i2");
  third->applyRules(rules.ref());
  ASSERT_EQ(subscriptionCount(_bus), 2U);

  service.reset();

  ASSERT_EQ(subscriptionCount(_bus), 1U);
  EXPECT_EQ(_bus.handlersByEvent().at(std::string(AdvancedEvent::NAME)).front().id, "i2");
}

TEST_F(EngagementServiceTest, InterestListNeedsTheRulesWords) {
  auto service = rankingService();
  apply(*service, R"([{"ruletype": "interestevent", "event": "read", "interests": ["shoes"],
                      "words": ["boots"], "points": 1}])");
  _bus.publish(std::make_shared<AdvancedEvent>("read", Strings{"new sneakers"}));
  EXPECT_EQ(_client.getProfileValues("_i1"), std::nullopt);
}

TEST_F(EngagementServiceTest, InterestSelectorReadsTheTextUnderIt) {
  auto service = rankingService();
  apply(*service, R"([{"ruletype": "interestevent", "event": "read",
                      "interests": {"selector": "#banner"}, "points": 3}])");

  _bus.publish(std::make_shared<AdvancedEvent>("read"));

  EXPECT_THAT(stored("_i1"), ElementsAre(json(R"({"TIME": "1714568531000", "days": 2434,
      "data": [{"n": "20% off", "p": 3}, {"n": "spring sale", "p": 3}]})")));
}

TEST_F(EngagementServiceTest, InterestRuleWithoutInterestsGivesNothing) {
  auto service = rankingService();
  apply(*service, R"([{"ruletype": "interestevent", "event": "read", "points": 3}])");
  _bus.publish(std::make_shared<AdvancedEvent>("read"));
  EXPECT_EQ(_client.getProfileValues("_i1"), std::nullopt);
}

// --- Advanced events

// The content an event rule is scored against, seen through a "pre_context" interest.
class AdvancedEventContentTest : public EngagementServiceTest {
 protected:
  std::vector<JsonValue> scoredContent(std::string_view positionMember,
                                       std::optional<Strings> context) {
    auto service = rankingService();
    apply(*service, R"([{"ruletype": "interestevent", "event": "buy", "interests": ["pre_context"],
                        "points": 1)" +
                        std::string(positionMember) + "}]");
    clearLog();
    _bus.publish(std::make_shared<AdvancedEvent>("buy", std::move(context)));
    return stored("_i1");
  }
  static JsonValue entryFor(std::string_view name) {
    return json(R"({"TIME": "1714568531000", "days": 2434, "data": [{"n": ")" + std::string(name) +
                R"(", "p": 1}]})");
  }
};

TEST_F(AdvancedEventContentTest, WithoutContextTheContentIsABar) {
  EXPECT_THAT(scoredContent("", std::nullopt), ElementsAre(entryFor("|")));
}

TEST_F(AdvancedEventContentTest, WithoutPositionTheContextIsJoinedWithBars) {
  EXPECT_THAT(scoredContent("", Strings{"a", "b"}), ElementsAre(entryFor("a|b")));
}

TEST_F(AdvancedEventContentTest, PositionCountsFromOne) {
  EXPECT_THAT(scoredContent(R"(, "contextposition": "2")", Strings{"a", "b"}),
              ElementsAre(entryFor("b")));
}

TEST_F(AdvancedEventContentTest, PositionThatIsNotAnIntegerJoinsTheContext) {
  EXPECT_THAT(scoredContent(R"(, "contextposition": "two")", Strings{"a", "b"}),
              ElementsAre(entryFor("a|b")));
  EXPECT_THAT(scoredContent(R"(, "contextposition": 2)", Strings{"c", "d"}),
              ElementsAre(entryFor("a|b"), entryFor("c|d")));
}

TEST_F(AdvancedEventContentTest, PositionZeroIsLoggedAndTheRuleSkipped) {
  EXPECT_THAT(scoredContent(R"(, "contextposition": "0")", Strings{"a", "b"}), IsEmpty());
  EXPECT_THAT(
      engagementLines(),
      ElementsAre("INFO [PL_ENGAGMENTSERVICE]: Handling event 'buy' - "
                  "PelorinClient.AdvancedEvent at '' handled by [i1]",
                  "WARNING [PL_ENGAGMENTSERVICE]: The context position 0 is outside the "
                  "context of 2 values; the rule is skipped: "
                  R"({"ruletype":"interestevent","event":"buy","interests":["pre_context"],)"
                  R"("points":1,"contextposition":"0"})"));
}

TEST_F(AdvancedEventContentTest, PositionBeyondTheContextIsLoggedAndTheRuleSkipped) {
  EXPECT_THAT(scoredContent(R"(, "contextposition": "3")", Strings{"a", "b"}), IsEmpty());
  ASSERT_EQ(engagementLines().size(), 2U);
  EXPECT_THAT(engagementLines()[1],
              ::testing::StartsWith("WARNING [PL_ENGAGMENTSERVICE]: The context position 3 is "
                                    "outside the context of 2 values; the rule is skipped: "));
}

TEST_F(AdvancedEventContentTest, NegativeOrHugePositionIsLoggedAndTheRuleSkipped) {
  EXPECT_THAT(scoredContent(R"(, "contextposition": "-1")", Strings{"a"}), IsEmpty());
  EXPECT_THAT(scoredContent(R"(, "contextposition": "9223372036854775807")", Strings{"a"}),
              IsEmpty());
}

TEST_F(EngagementServiceTest, AdvancedEventWithAnotherNameIsIgnored) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreevent", "event": "buy", "points": 1}])");
  _bus.publish(std::make_shared<AdvancedEvent>("Buy"));
  EXPECT_EQ(_client.getProfileValues("_engagement"), std::nullopt);
}

// --- Points

TEST_F(EngagementServiceTest, PointsAreTheIntegerValueOfANumber) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreurl", "url": "x", "points": 2.7},
                     {"ruletype": "scoreurl", "url": "x", "points": "5"},
                     {"ruletype": "scoreurl", "url": "x"},
                     {"ruletype": "scoreurl", "url": "x", "points": -3}])");
  EXPECT_THAT(service->changes(), ElementsAre(PointEntry{"k", 2}, PointEntry{"k", 0},
                                              PointEntry{"k", 0}, PointEntry{"k", -3}));
}

TEST_F(EngagementServiceTest, ScoreRuleWhoseWordsDoNotMatchGivesNothing) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreevent", "event": "buy", "words": ["shoes"],
                      "points": 1}])");
  _bus.publish(std::make_shared<AdvancedEvent>("buy", Strings{"hats"}));
  EXPECT_EQ(_client.getProfileValues("_engagement"), std::nullopt);
  _bus.publish(std::make_shared<AdvancedEvent>("buy", Strings{"Shoes"}));
  EXPECT_THAT(stored("_engagement"),
              ElementsAre(json(R"({"TIME": "1714568531000", "k": {"p4504": 1}})")));
}

TEST_F(EngagementServiceTest, TwoFiringsBeforeASaveAreSummedInTheClassicFormat) {
  auto service =
      std::make_shared<EngagementService>(_client, "i1", "interests", true, Strings(), false);
  apply(*service, R"([{"ruletype": "interesturl", "url": "x", "interests": ["Shoes"], "points": 2},
                     {"ruletype": "interesturl", "url": "x", "interests": ["shoes"], "points": 3},
                     {"ruletype": "interesturl", "url": "x", "interests": ["hats"], "points": 1}])");
  clearLog();

  service->save();

  EXPECT_THAT(stored("_interests"), ElementsAre(json(R"({"TIME": "1714568531000",
      "shoes": {"p4504": 5}, "hats": {"p4504": 1}})")));
  EXPECT_THAT(engagementLines(), ElementsAre(R"(INFO [PL_ENGAGMENTSERVICE]: Saving: _interests - )"
                                             R"({"TIME":"1714568531000","shoes":{"p4504":5},)"
                                             R"("hats":{"p4504":1}})"));
}

TEST_F(EngagementServiceTest, TwoFiringsBeforeASaveAreTwoEntriesInTheHalfTimeFormat) {
  auto service = rankingService();
  apply(*service, R"([{"ruletype": "interesturl", "url": "x", "interests": ["Shoes"], "points": 2},
                     {"ruletype": "interesturl", "url": "x", "interests": ["shoes"], "points": 3}])");
  clearLog();

  service->save();

  EXPECT_THAT(stored("_i1"), ElementsAre(json(R"({"TIME": "1714568531000", "days": 2434,
      "data": [{"n": "shoes", "p": 2}, {"n": "shoes", "p": 3}]})")));
  EXPECT_THAT(engagementLines(),
              ElementsAre(R"(INFO [PL_ENGAGMENTSERVICE]: Saving: _i1 - )"
                          R"({"TIME":"1714568531000","days":2434,)"
                          R"("data":[{"n":"shoes","p":2},{"n":"shoes","p":3}]})"));
}

TEST_F(EngagementServiceTest, PointsSumThatOverflowsIsLoggedAndTheEntrySkipped) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreurl", "url": "x", "points": 9223372036854775807},
                     {"ruletype": "scoreurl", "url": "x", "points": 1},
                     {"ruletype": "scoreurl", "url": "x", "points": -2}])");
  clearLog();

  service->save();

  EXPECT_THAT(stored("_engagement"), ElementsAre(json(R"({"TIME": "1714568531000",
      "k": {"p4504": 9223372036854775805}})")));
  EXPECT_EQ(engagementLines()[0],
            "WARNING [PL_ENGAGMENTSERVICE]: The points of 'k' overflow the sum; 1 points are "
            "skipped");
}

TEST_F(EngagementServiceTest, SaveRightAfterASaveWritesNothing) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreurl", "url": "x", "points": 4}])");
  service->save();
  ASSERT_EQ(stored("_engagement").size(), 1U);
  clearLog();

  EXPECT_FALSE(service->isChanged());
  service->save();

  EXPECT_EQ(stored("_engagement").size(), 1U);
  EXPECT_THAT(engagementLines(), IsEmpty());
  EXPECT_THAT(_platform.logLines(), IsEmpty());  // not even the client was called
}

TEST_F(EngagementServiceTest, EachSaveAddsOneMoreValueToTheHiddenProperty) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreevent", "event": "buy", "points": 1}])");
  _bus.publish(std::make_shared<AdvancedEvent>("buy"));
  _platform.clock().advance(std::chrono::milliseconds(5));
  _bus.publish(std::make_shared<AdvancedEvent>("buy"));

  EXPECT_THAT(stored("_engagement"),
              ElementsAre(json(R"({"TIME": "1714568531000", "k": {"p4504": 1}})"),
                          json(R"({"TIME": "1714568531005", "k": {"p4504": 1}})")));
  EXPECT_EQ(_client.getProfileValues("engagement"), std::nullopt);
}

TEST_F(EngagementServiceTest, EventWithoutRulesOfItsClassIsOnlyLogged) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreevent", "event": "buy", "points": 1}])");
  clearLog();
  service->handleEvent(std::make_shared<ClickEvent>("#buyButton"));
  EXPECT_THAT(engagementLines(), ElementsAre("INFO [PL_ENGAGMENTSERVICE]: Handling event "
                                             "'#buyButton' - PelorinClient.ClickEvent without "
                                             "location handled by []"));
}

// --- Day numbers

TEST_F(EngagementServiceTest, HalfTimeDayZeroIsTheFirstOfSeptember2017) {
  _platform.clock().set(TimePoint(sys_days{std::chrono::year{2017} / 9 / 1}));
  EXPECT_EQ(rankingService()->days(), 0);
  _platform.clock().set(TimePoint(sys_days{std::chrono::year{2017} / 9 / 1}) - seconds(1));
  EXPECT_EQ(rankingService()->days(), -1);
  _platform.clock().set(TimePoint(sys_days{std::chrono::year{2017} / 9 / 2}) - seconds(1));
  EXPECT_EQ(rankingService()->days(), 0);
}

TEST_F(EngagementServiceTest, ClassicDayOneIsTheSecondOfJanuary2012) {
  _platform.clock().set(TimePoint(sys_days{std::chrono::year{2012} / 1 / 2}) + hours(12));
  EXPECT_EQ(scoreService()->days(), 1);
  _platform.clock().set(TimePoint(sys_days{std::chrono::year{2012} / 1 / 2}) - seconds(1));
  EXPECT_EQ(scoreService()->days(), 0);
  _platform.clock().set(TimePoint(sys_days{std::chrono::year{2012} / 1 / 1}));
  EXPECT_EQ(scoreService()->days(), 0);
}

TEST_F(EngagementServiceTest, PinnedInstantInBothFormats) {
  EXPECT_EQ(scoreService()->days(), kClassicDay);
  EXPECT_EQ(rankingService()->days(), kHalfTimeDay);
}

TEST_F(EngagementServiceTest, DayNumberIsTakenOnceWhenTheServiceIsMade) {
  auto service = scoreService();
  apply(*service, R"([{"ruletype": "scoreevent", "event": "buy", "points": 1}])");
  _platform.clock().advance(std::chrono::hours(48));

  _bus.publish(std::make_shared<AdvancedEvent>("buy"));

  EXPECT_THAT(stored("_engagement"),
              ElementsAre(json(R"({"TIME": "1714741331000", "k": {"p4504": 1}})")));
}

}  // namespace
}  // namespace pelorin::testing
