// Applying rules: dispatch by rule type, click and form submit rules on controls, URL and
// content rules, and the log lines of each.
#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "listeners/rule_service_fixture.h"
#include "pelorin/event.h"
#include "pelorin/headless/view.h"

namespace pelorin::testing {
namespace {

using platform::ControlEvents;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;

std::vector<std::string> subscribedNames(const PelorinEventManager& bus) {
  std::vector<std::string> names;
  for (const auto& [name, records] : bus.handlersByEvent()) {
    if (!records.empty()) names.push_back(name);
  }
  return names;
}

TEST_F(RuleServiceTest, HandlingLogsTheRuleAsIndentedJson) {
  apply(R"([{"ruletype": "scoreevent", "event": "buy"}])");
  EXPECT_THAT(serviceLines(), ElementsAre("INFO [PL_RULESERVICE]: Handling {\n"
                                          "  \"ruletype\" : \"scoreevent\",\n"
                                          "  \"event\" : \"buy\"\n"
                                          "}"));
}

// The pretty printer takes only an array or an object at the top level: any other rule is
// "unknown" in the log.
TEST_F(RuleServiceTest, RuleThatIsNotAnObjectIsLoggedAsUnknownAndTreatedAsContentRule) {
  // A rule without "ruletype" is a content rule; without a content area it stops there.
  apply(R"([42, "x"])");
  EXPECT_THAT(serviceLines(),
              ElementsAre("INFO [PL_RULESERVICE]: Handling unknown",
                          "INFO [PL_RULESERVICE]: Found content rule without selector: unknown",
                          "INFO [PL_RULESERVICE]: Handling unknown",
                          "INFO [PL_RULESERVICE]: Found content rule without selector: unknown"));
}

TEST_F(RuleServiceTest, ScoreSocialEventIsRegisteredLikeScoreEvent) {
  auto service = apply(R"([{"ruletype": "scoresocialevent", "event": "share"},
                           {"ruletype": "scoreevent", "event": "buy"}])");
  ASSERT_EQ(service->eventMap().size(), 1U);
  EXPECT_EQ(service->eventMap().at("PelorinClient.AdvancedEvent").size(), 2U);
  EXPECT_THAT(subscribedNames(_bus), ElementsAre("PelorinClient.AdvancedEvent"));
}

TEST_F(RuleServiceTest, MisspeltRuleTypeIsRejectedWithAWarning) {
  auto service = apply(R"([{"ruletype": "scoreevnt", "event": "buy"}])");
  EXPECT_THAT(service->eventMap(), IsEmpty());
  EXPECT_THAT(subscribedNames(_bus), IsEmpty());
  ASSERT_EQ(serviceLines().size(), 2U);
  EXPECT_EQ(serviceLines()[1], "WARNING [PL_RULESERVICE]: Invalid or not supported rule detected");
}

TEST_F(RuleServiceTest, RuleTypeThatIsNotAStringCountsAsContentRule) {
  auto service = apply(R"([{"ruletype": 7, "contentarea": {"selector": "#banner"}}])");
  EXPECT_EQ(service->eventMap().at("PelorinClient.UpdateContentEvent").size(), 1U);
}

TEST_F(RuleServiceTest, ListThatIsNotAnArrayAppliesNothing) {
  auto service = apply(R"({"ruletype": "scoreevent"})");
  EXPECT_THAT(service->eventMap(), IsEmpty());
  EXPECT_THAT(serviceLines(), IsEmpty());
}

// --- Click rules

TEST_F(RuleServiceTest, ClickRuleOnAControlAddsATouchDownTarget) {
  auto service = apply(R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"}}])");
  EXPECT_EQ(_screen.buy->controlEventsForTarget(service.get()), ControlEvents::kTouchDown);
  EXPECT_EQ(serviceLines()[1],
            "INFO [PL_RULESERVICE]: Adding target to " + _screen.buy->description());
  EXPECT_EQ(service->eventMap().at("PelorinClient.ClickEvent").size(), 1U);
  EXPECT_THAT(subscribedNames(_bus), ElementsAre("PelorinClient.ClickEvent"));
}

TEST_F(RuleServiceTest, ClickRuleWithoutClickareaIsLoggedAndSkipped) {
  auto service = apply(R"([{"ruletype": "scoreclick", "form": {"selector": "#buyButton"}}])");
  EXPECT_THAT(service->eventMap(), IsEmpty());
  EXPECT_EQ(serviceLines()[1],
            "INFO [PL_RULESERVICE]: Found click rule without clickarea selector: {\n"
            "  \"ruletype\" : \"scoreclick\",\n"
            "  \"form\" : {\n"
            "    \"selector\" : \"#buyButton\"\n"
            "  }\n"
            "}");
  EXPECT_EQ(_screen.buy->targetCount(), 0U);
}

TEST_F(RuleServiceTest, ClickRuleOnAPlainViewRegistersForCustomClickEvents) {
  auto service = apply(R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#banner"},
                            "profileproperty": [{"profileproperty": "clicked"}],
                            "addset": "set", "values": ["banner"]}])");
  EXPECT_EQ(serviceLines()[1],
            "INFO [PL_RULESERVICE]: Element from #banner not clickable, registering event for "
            "custom ClickEvents");

  _bus.publish(std::make_shared<ClickEvent>("#banner"));

  EXPECT_EQ(profile("clicked"), Strings{"banner"});
}

TEST_F(RuleServiceTest, ClickRuleWithAnUnknownSelectorStillRegisters) {
  auto service = apply(R"([{"ruletype": "scoreclick", "clickarea": {"selector": "buyButton"}}])");
  EXPECT_EQ(serviceLines()[1],
            "INFO [PL_RULESERVICE]: Element from buyButton not clickable, registering event for "
            "custom ClickEvents");
  EXPECT_EQ(service->eventMap().at("PelorinClient.ClickEvent").size(), 1U);
  EXPECT_EQ(_screen.buy->targetCount(), 0U);
}

TEST_F(RuleServiceTest, TappingTheControlChangesTheProfile) {
  auto service = apply(R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"},
                            "profileproperty": [{"profileproperty": "buyer"}],
                            "addset": "set", "values": ["yes"]}])");
  clearLog();

  _screen.buy->tap();

  EXPECT_EQ(profile("buyer"), Strings{"yes"});
  std::vector<std::string> lines = serviceLines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0],
            "INFO [PL_RULESERVICE]: Handling event '#buyButton' - PelorinClient.ClickEvent at '' "
            "handled by [i1]");
  EXPECT_EQ(
      lines[1],
      R"(INFO [PL_RULESERVICE]: Profile Change: Property: buyer, values ["yes"], method: set)");
}

TEST_F(RuleServiceTest, OnlyTouchDownTriggersTheRule) {
  apply(R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"},
             "profileproperty": [{"profileproperty": "buyer"}],
             "addset": "set", "values": ["yes"]}])");
  _screen.buy->sendActions(ControlEvents::kTouchUpInside);
  EXPECT_EQ(profile("buyer"), std::nullopt);
  _screen.buy->sendActions(ControlEvents::kTouchDown);
  EXPECT_EQ(profile("buyer"), Strings{"yes"});
}

TEST_F(RuleServiceTest, ClickEventWithAnotherSelectorCollectsNothing) {
  apply(R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#banner"},
             "profileproperty": [{"profileproperty": "clicked"}],
             "addset": "set", "values": ["x"]}])");
  _bus.publish(std::make_shared<ClickEvent>("#other"));
  EXPECT_EQ(profile("clicked"), std::nullopt);
}

TEST_F(RuleServiceTest, ClickRuleWithAContentAreaNeedsItsWords) {
  apply(R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#banner"},
             "contentarea": {"selector": "#banner"}, "words": ["sale"],
             "profileproperty": [{"profileproperty": "sale"}], "addset": "add",
             "values": ["seen"]},
            {"ruletype": "scoreclick", "clickarea": {"selector": "#banner"},
             "contentarea": {"selector": "#banner"}, "words": ["winter"],
             "profileproperty": [{"profileproperty": "winter"}], "addset": "add",
             "values": ["seen"]}])");
  _bus.publish(std::make_shared<ClickEvent>("#banner"));
  EXPECT_EQ(profile("sale"), Strings{"seen"});
  EXPECT_EQ(profile("winter"), std::nullopt);
}

TEST_F(RuleServiceTest, ClickRuleWithContentAreaAnyCollectsAlways) {
  apply(R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#banner"},
             "contentarea": {"selector": "pre_body"}, "words": ["absent"],
             "profileproperty": [{"profileproperty": "p"}], "addset": "set", "values": ["v"]}])");
  _bus.publish(std::make_shared<ClickEvent>("#banner"));
  EXPECT_EQ(profile("p"), Strings{"v"});
}

TEST_F(RuleServiceTest, ClickRuleContentAreaCanBeTheEventsContext) {
  apply(R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#banner"},
             "contentarea": {"selector": "pre_context"}, "words": ["gold"],
             "profileproperty": [{"profileproperty": "tier"}], "addset": "set",
             "values": {"selectedoption": "context"}}])");
  _bus.publish(std::make_shared<ClickEvent>("#banner", Strings{"silver"}));
  EXPECT_EQ(profile("tier"), std::nullopt);
  _bus.publish(std::make_shared<ClickEvent>("#banner", Strings{"gold"}));
  EXPECT_EQ(profile("tier"), Strings{"gold"});
}

// --- Form submit rules

TEST_F(RuleServiceTest, FormSubmitRuleWithOnlyAFormSelectorCollectsNoChange) {
  auto service = apply(R"([{"ruletype": "scoreformsubmit", "form": {"selector": "#submitButton"},
                            "profileproperty": [{"profileproperty": "submitted"}],
                            "addset": "set", "values": ["yes"]}])");
  EXPECT_EQ(_screen.submit->controlEventsForTarget(service.get()), ControlEvents::kTouchDown);

  _screen.submit->tap();

  EXPECT_EQ(profile("submitted"), std::nullopt);
  EXPECT_EQ(service->eventMap().at("PelorinClient.FormSubmitEvent").size(), 1U);
}

TEST_F(RuleServiceTest, FormSubmitRuleFiresWhenItsClickareaNamesTheSameSelector) {
  apply(R"([{"ruletype": "scoreformsubmit", "form": {"selector": "#submitButton"},
             "clickarea": {"selector": "#submitButton"},
             "profileproperty": [{"profileproperty": "submitted"}],
             "addset": "set", "values": ["yes"]}])");
  _bus.publish(std::make_shared<FormSubmitEvent>("#submitButton"));
  EXPECT_EQ(profile("submitted"), Strings{"yes"});
}

TEST_F(RuleServiceTest, TappingAFormControlPublishesAFormSubmitEvent) {
  apply(R"([{"ruletype": "scoreformsubmit", "form": {"selector": "#submitButton"}}])");
  clearLog();
  _screen.submit->tap();
  std::vector<std::string> lines = _platform.logLines();
  EXPECT_NE(std::find(lines.begin(), lines.end(),
                      "INFO [PL_EVENT_MANAGER]: Publish '#submitButton' - "
                      "PelorinClient.FormSubmitEvent at ''."),
            lines.end());
}

TEST_F(RuleServiceTest, FormSubmitRuleWithoutFormSelectorIsLoggedAndSkipped) {
  auto service = apply(R"([{"ruletype": "scoreformsubmit", "form": {"id": "f"}}])");
  EXPECT_THAT(service->eventMap(), IsEmpty());
  EXPECT_EQ(serviceLines()[1],
            "INFO [PL_RULESERVICE]: Found form submit rule without form selector: {\n"
            "  \"ruletype\" : \"scoreformsubmit\",\n"
            "  \"form\" : {\n"
            "    \"id\" : \"f\"\n"
            "  }\n"
            "}");
}

TEST_F(RuleServiceTest, ClickRuleAlsoNamingAFormPublishesBothEvents) {
  apply(R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"},
             "form": {"selector": "#checkoutForm"}}])");
  clearLog();
  _screen.buy->tap();
  std::vector<std::string> published;
  for (const auto& line : _platform.logLines()) {
    if (line.find("Publish ") != std::string::npos) published.push_back(line);
  }
  EXPECT_THAT(published, ElementsAre("INFO [PL_EVENT_MANAGER]: Publish '#buyButton' - "
                                     "PelorinClient.ClickEvent at ''.",
                                     "INFO [PL_EVENT_MANAGER]: Publish '#checkoutForm' - "
                                     "PelorinClient.FormSubmitEvent at ''."));
}

// --- URL rules

TEST_F(RuleServiceTest, UrlRuleWithoutScreenNameIsLogged) {
  auto service = apply(R"([{"ruletype": "scoreurl", "url": "url"}])");
  EXPECT_EQ(serviceLines()[1],
            "INFO [PL_RULESERVICE]: Unable to get the current screen name with the url rule: {\n"
            "  \"ruletype\" : \"scoreurl\",\n"
            "  \"url\" : \"url\"\n"
            "}");
  EXPECT_THAT(service->eventMap(), IsEmpty());
}

TEST_F(RuleServiceTest, UrlRuleMatchingTheScreenNameCollectsAChangeAtOnce) {
  showScreen("Checkout/Payment");
  auto service = apply(R"([{"ruletype": "scoreurl", "url": "url", "words": ["payment"],
                            "profileproperty": [{"profileproperty": "stage"}],
                            "addset": "set", "values": ["paying"]}])");
  EXPECT_TRUE(service->isChanged());
  EXPECT_THAT(service->eventMap(), IsEmpty());
  EXPECT_EQ(profile("stage"), std::nullopt);

  service->save();

  EXPECT_FALSE(service->isChanged());
  EXPECT_EQ(profile("stage"), Strings{"paying"});
}

TEST_F(RuleServiceTest, UrlRuleWithMatchesComparesTheWholeScreenName) {
  showScreen("Checkout/Payment");
  auto service = apply(R"([{"ruletype": "scoreurl", "url": "or", "words": ["payment"],
                            "containsmatches": "matches",
                            "profileproperty": [{"profileproperty": "stage"}],
                            "addset": "set", "values": ["paying"]}])");
  EXPECT_FALSE(service->isChanged());
}

// A literal search for an empty text finds nothing: a blank word is no match.
TEST_F(RuleServiceTest, UrlRuleWithABlankWordDoesNotMatch) {
  showScreen("Home");
  auto service = apply(R"([{"ruletype": "scoreurl", "url": "url", "words": ["  "],
                            "profileproperty": [{"profileproperty": "stage"}],
                            "addset": "set", "values": ["home"]},
                           {"ruletype": "scoreurl", "url": "url", "words": [""],
                            "profileproperty": [{"profileproperty": "stage"}],
                            "addset": "set", "values": ["home"]}])");
  EXPECT_FALSE(service->isChanged());
}

TEST_F(RuleServiceTest, UrlRuleMatchesAScreenNameInAnotherScript) {
  showScreen("ΚΑΤΆΣΤΗΜΑ/Über uns");
  auto service = apply(R"([{"ruletype": "scoreurl", "url": "url", "words": ["κατάστημα/über"],
                            "profileproperty": [{"profileproperty": "stage"}],
                            "addset": "set", "values": ["store"]}])");
  EXPECT_TRUE(service->isChanged());
}

// --- Several rules on one control: each pair of service and action acts once per tap, so
// n rules publish n events and each rule runs once per event.

class RulesOnOneControlTest : public RuleServiceTest, public ::testing::WithParamInterface<int> {};

TEST_P(RulesOnOneControlTest, EachRuleRunsOncePerEvent) {
  const int n = GetParam();
  std::string rules = "[";
  for (int i = 0; i < n; ++i) {
    if (i > 0) rules += ",";
    rules += R"({"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"},
                 "profileproperty": [{"profileproperty": "clicks"}],
                 "addset": "merge", "values": ["1"]})";
  }
  rules += "]";
  auto service = apply(rules);
  clearLog();

  _screen.buy->tap();

  std::size_t events = 0;
  std::size_t merges = 0;
  for (const std::string& line : serviceLines()) {
    if (line.starts_with("INFO [PL_RULESERVICE]: Handling event ")) ++events;
    if (line.starts_with("INFO [PL_RULESERVICE]: Merging currentValue ")) ++merges;
  }
  EXPECT_EQ(events, static_cast<std::size_t>(n));
  EXPECT_EQ(merges, static_cast<std::size_t>(n * n));
  // n events, each summed by n rules.
  EXPECT_EQ(profile("clicks"), Strings{std::to_string(n * n) + ".0"});
  EXPECT_EQ(_screen.buy->controlEventsForTarget(service.get()), ControlEvents::kTouchDown);
}

INSTANTIATE_TEST_SUITE_P(OneTwoThree, RulesOnOneControlTest, ::testing::Values(1, 2, 3));

// --- Content rules

// Content is read as Unicode text: accented capitals match their lower-case words.
TEST_F(RuleServiceTest, ContentRuleMatchesAccentedCapitals) {
  _screen.banner->addSubview(std::make_shared<headless::Label>("ÉTÉ SALE"));
  _screen.banner->addSubview(std::make_shared<headless::Label>("ÜBER\u00a0"));
  auto service = apply(R"([{"contentarea": {"selector": "#banner"}, "words": ["été"],
                            "profileproperty": [{"profileproperty": "season"}],
                            "addset": "set", "values": ["summer"]},
                           {"contentarea": {"selector": "#banner"}, "words": ["über"],
                            "containsmatches": "matches",
                            "profileproperty": [{"profileproperty": "page"}],
                            "addset": "set", "values": ["about"]}])");
  EXPECT_EQ(service->pendingChanges(),
            (std::vector<ProfileChange>{{"season", {"summer"}, Method::set},
                                        {"page", {"about"}, Method::set}}));
}

TEST_F(RuleServiceTest, ContentRuleMatchingTheScreenCollectsAChange) {
  auto service = apply(R"([{"ruletype": "scorecontent", "contentarea": {"selector": "pre_body"},
                            "words": ["spring sale"],
                            "profileproperty": [{"profileproperty": "interest"}],
                            "addset": "add", "values": ["sale"]}])");
  EXPECT_EQ(service->pendingChanges(),
            (std::vector<ProfileChange>{{"interest", {"sale"}, Method::add}}));
  EXPECT_EQ(service->eventMap().at("PelorinClient.UpdateContentEvent").size(), 1U);
}

TEST_F(RuleServiceTest, ContentRuleNotMatchingIsStillRegisteredForUpdates) {
  auto service = apply(R"([{"contentarea": {"selector": "#banner"}, "words": ["winter"],
                            "profileproperty": [{"profileproperty": "interest"}],
                            "addset": "add", "values": ["winter"]}])");
  EXPECT_FALSE(service->isChanged());
  EXPECT_EQ(service->eventMap().at("PelorinClient.UpdateContentEvent").size(), 1U);

  _bus.publish(std::make_shared<UpdateContentEvent>("#banner", Strings{"Winter coats"}));

  EXPECT_EQ(profile("interest"), Strings{"winter"});
}

TEST_F(RuleServiceTest, ContentRuleWithoutSelectorIsLoggedAndNotRegistered) {
  auto service = apply(R"([{"ruletype": "scorecontent", "words": ["x"]}])");
  EXPECT_THAT(service->eventMap(), IsEmpty());
  EXPECT_EQ(serviceLines()[1],
            "INFO [PL_RULESERVICE]: Found content rule without selector: {\n"
            "  \"ruletype\" : \"scorecontent\",\n"
            "  \"words\" : [\n"
            "    \"x\"\n"
            "  ]\n"
            "}");
}

TEST_F(RuleServiceTest, ContentRuleRegistrationsAccumulateWithEachUpdate) {
  // Each evaluation adds 1 to "views": the n-th update evaluates the rule n times.
  auto service = apply(R"([{"contentarea": {"selector": "#banner"}, "words": ["pre_any"],
                            "profileproperty": [{"profileproperty": "views"}],
                            "addset": "merge", "values": ["1"]}])");
  service->save();
  EXPECT_EQ(profile("views"), Strings{"1.0"});
  const auto& updates = service->eventMap().at("PelorinClient.UpdateContentEvent");

  _bus.publish(std::make_shared<UpdateContentEvent>(Strings{"a"}));
  EXPECT_EQ(profile("views"), Strings{"2.0"});
  EXPECT_EQ(updates.size(), 2U);

  _bus.publish(std::make_shared<UpdateContentEvent>(Strings{"b"}));
  EXPECT_EQ(profile("views"), Strings{"4.0"});
  EXPECT_EQ(updates.size(), 3U);

  _bus.publish(std::make_shared<UpdateContentEvent>(Strings{"c"}));
  EXPECT_EQ(profile("views"), Strings{"7.0"});
  EXPECT_EQ(updates.size(), 4U);
}

TEST_F(RuleServiceTest, ContentRuleFiledAgainIsTheSameRuleNotACopy) {
  auto service = apply(R"([{"contentarea": {"selector": "#banner"}, "words": ["pre_any"],
                            "profileproperty": [{"profileproperty": "views"}],
                            "addset": "add", "values": ["1"]}])");
  _bus.publish(std::make_shared<UpdateContentEvent>(Strings{"a"}));
  _bus.publish(std::make_shared<UpdateContentEvent>(Strings{"b"}));

  const auto& updates = service->eventMap().at("PelorinClient.UpdateContentEvent");
  ASSERT_EQ(updates.size(), 3U);
  EXPECT_EQ(updates[1].identity(), updates[0].identity());
  EXPECT_EQ(updates[2].identity(), updates[0].identity());
}

// A text view that counts how often its text is read.
class CountingLabel : public headless::Label {
 public:
  using Label::Label;
  std::optional<std::string> text() const override {
    ++reads;
    return Label::text();
  }
  mutable int reads = 0;
};

TEST_F(RuleServiceTest, EntriesOfOneRuleShareOneEvaluationPerUpdate) {
  // The values come from the screen: the rule's entries of one update read it once, and
  // still add their value once per entry, in order.
  auto label = std::make_shared<CountingLabel>("Spring sale");
  _screen.controller->view()->addSubview(label);
  _screen.controller->addOutlet("counted", label);
  apply(R"([{"contentarea": {"selector": "#banner"}, "words": ["pre_any"],
             "profileproperty": [{"profileproperty": "seen"}], "addset": "add",
             "values": {"selectedoption": "selector", "selector": "#counted"}}])");
  EXPECT_EQ(label->reads, 1);

  _bus.publish(std::make_shared<UpdateContentEvent>(Strings{"a"}));
  _bus.publish(std::make_shared<UpdateContentEvent>(Strings{"b"}));
  _bus.publish(std::make_shared<UpdateContentEvent>(Strings{"c"}));

  // 1 + 2 + 3 entries, one reading per update.
  EXPECT_EQ(label->reads, 4);
  EXPECT_EQ(profile("seen"), Strings{"Spring sale"});
  const std::vector<std::string> lines = serviceLines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) {
                            return line.find("Profile Change: ") != std::string::npos;
                          }),
            7);
}

TEST_F(RuleServiceTest, EntriesWithRegexpValuesLogTheirFaultOncePerEntry) {
  showScreen("Checkout");
  apply(R"x([{"contentarea": {"selector": "#banner"}, "words": ["pre_any"],
              "profileproperty": [{"profileproperty": "r"}], "addset": "add",
              "values": {"selectedoption": "regexp", "regexp": "(unclosed"}}])x");
  clearLog();

  _bus.publish(std::make_shared<UpdateContentEvent>(Strings{"a"}));
  _bus.publish(std::make_shared<UpdateContentEvent>(Strings{"b"}));

  // One entry in the first update, two in the second.
  const std::string warning = "WARNING [PL_RULESERVICE]: No valid reg. exp: '(unclosed'";
  const std::vector<std::string> lines = serviceLines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), warning), 3);
}

TEST_F(RuleServiceTest, ChangesAreWrittenRuleByRule) {
  // The second rule merges on top of what the first one wrote for the same event.
  apply(R"([{"ruletype": "scoreevent", "event": "buy",
             "profileproperty": [{"profileproperty": "total"}], "addset": "set", "values": ["10"]},
            {"ruletype": "scoreevent", "event": "buy",
             "profileproperty": [{"profileproperty": "total"}], "addset": "merge",
             "values": ["5"]}])");
  _bus.publish(std::make_shared<AdvancedEvent>("buy"));
  EXPECT_EQ(profile("total"), Strings{"15.0"});
}

TEST(RuleServiceDeathTest, ApplyingRulesWithoutAClientAborts) {
  TestPlatform platform;
  EXPECT_DEATH(
      {
        auto service = std::make_shared<RuleService>();
        JsonValue rules = json(R"([{"ruletype": "scoreurl"}])");
        service->applyRules(rules.ref());
      },
      "before the client was set");
}

}  // namespace
}  // namespace pelorin::testing
