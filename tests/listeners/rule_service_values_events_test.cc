// Custom-event rules, the value sources of a rule and how changes are written.
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "listeners/rule_service_fixture.h"
#include "pelorin/event.h"

namespace pelorin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;

// An advanced-event rule for "buy" writing `values` into "p" with `method`; `extra` adds
// members.
std::string eventRule(std::string_view values, std::string_view method = "set",
                      std::string_view extra = "") {
  return R"([{"ruletype": "scoreevent", "event": "buy", )" + std::string(extra) +
         R"("profileproperty": [{"profileproperty": "p"}], "addset": ")" + std::string(method) +
         R"(", "values": )" + std::string(values) + "}]";
}

void publishBuy(PelorinEventManager& bus, std::optional<Strings> context = std::nullopt) {
  bus.publish(std::make_shared<AdvancedEvent>("buy", std::move(context)));
}

// --- Advanced events

TEST_F(RuleServiceTest, AdvancedRuleFiresForItsEventName) {
  apply(eventRule(R"(["yes"])"));
  _bus.publish(std::make_shared<AdvancedEvent>("sell"));
  EXPECT_EQ(profile("p"), std::nullopt);
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), Strings{"yes"});
}

TEST_F(RuleServiceTest, AdvancedRuleWithoutEventNameNeverFires) {
  apply(R"([{"ruletype": "scoreevent", "event": 5,
             "profileproperty": [{"profileproperty": "p"}], "addset": "set", "values": ["x"]}])");
  publishBuy(_bus);
  _bus.publish(std::make_shared<AdvancedEvent>(""));
  EXPECT_EQ(profile("p"), std::nullopt);
}

TEST_F(RuleServiceTest, AdvancedRuleWritesTheEventsContext) {
  apply(eventRule(R"({"selectedoption": "context"})"));
  publishBuy(_bus, Strings{"shoes", "hats"});
  EXPECT_EQ(profile("p"), (Strings{"shoes", "hats"}));
}

TEST_F(RuleServiceTest, ContextPositionPicksOneElement) {
  apply(eventRule(R"({"selectedoption": "context"})", "set", R"("contextposition": "2", )"));
  publishBuy(_bus, Strings{"shoes", "hats"});
  EXPECT_EQ(profile("p"), Strings{"hats"});
}

TEST_F(RuleServiceTest, ContextPositionBeyondTheContextYieldsNoValue) {
  apply(eventRule(R"({"selectedoption": "context"})", "set", R"("contextposition": "2", )"));
  publishBuy(_bus, Strings{"shoes"});
  EXPECT_EQ(profile("p"), std::nullopt);
}

TEST_F(RuleServiceTest, ContextPositionZeroOrNegativeYieldsNoValue) {
  apply(R"([{"ruletype": "scoreevent", "event": "buy", "contextposition": "0",
             "profileproperty": [{"profileproperty": "zero"}], "addset": "set",
             "values": {"selectedoption": "context"}},
            {"ruletype": "scoreevent", "event": "buy", "contextposition": "-1",
             "profileproperty": [{"profileproperty": "negative"}], "addset": "set",
             "values": {"selectedoption": "context"}},
            {"ruletype": "scoreevent", "event": "buy",
             "contextposition": "99999999999999999999999",
             "profileproperty": [{"profileproperty": "huge"}], "addset": "set",
             "values": {"selectedoption": "context"}}])");
  publishBuy(_bus, Strings{"shoes"});
  EXPECT_EQ(profile("zero"), std::nullopt);
  EXPECT_EQ(profile("negative"), std::nullopt);
  EXPECT_EQ(profile("huge"), std::nullopt);
}

TEST_F(RuleServiceTest, ContextPositionThatIsNotADecimalStringIsIgnored) {
  apply(R"([{"ruletype": "scoreevent", "event": "buy", "contextposition": 2,
             "profileproperty": [{"profileproperty": "number"}], "addset": "set",
             "values": {"selectedoption": "context"}},
            {"ruletype": "scoreevent", "event": "buy", "contextposition": "two",
             "profileproperty": [{"profileproperty": "word"}], "addset": "set",
             "values": {"selectedoption": "context"}}])");
  publishBuy(_bus, Strings{"shoes", "hats"});
  EXPECT_EQ(profile("number"), (Strings{"shoes", "hats"}));
  EXPECT_EQ(profile("word"), (Strings{"shoes", "hats"}));
}

TEST_F(RuleServiceTest, ContextPositionDoesNotStopFixedValues) {
  apply(eventRule(R"(["bought"])", "set", R"("contextposition": "3", )"));
  publishBuy(_bus, Strings{"shoes"});
  EXPECT_EQ(profile("p"), Strings{"bought"});
}

// --- Collecting a change

TEST_F(RuleServiceTest, MethodInCapitalsYieldsNoChange) {
  apply(eventRule(R"(["x"])", "SET"));
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), std::nullopt);
}

TEST_F(RuleServiceTest, RuleWithoutProfilePropertyYieldsNoChange) {
  apply(R"([{"ruletype": "scoreevent", "event": "buy", "profileproperty": "p",
             "addset": "set", "values": ["x"]},
            {"ruletype": "scoreevent", "event": "buy", "profileproperty": [{"profileproperty": 1}],
             "addset": "set", "values": ["x"]},
            {"ruletype": "scoreevent", "event": "buy", "profileproperty": [],
             "addset": "set", "values": ["x"]}])");
  clearLog();
  publishBuy(_bus);
  for (const auto& line : serviceLines()) EXPECT_EQ(line.find("Profile Change"), std::string::npos);
}

// --- Values

TEST_F(RuleServiceTest, ValuesDatetimeIsTheCurrentTimeInMilliseconds) {
  apply(eventRule(R"("datetime")"));
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), Strings{"1714568531000"});
}

TEST_F(RuleServiceTest, ValuesOtherStringYieldsNothing) {
  apply(eventRule(R"("date")"));
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), std::nullopt);
}

TEST_F(RuleServiceTest, ValuesListMustHoldOnlyStrings) {
  apply(eventRule(R"(["a", 1])"));
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), std::nullopt);
}

TEST_F(RuleServiceTest, EmptyValuesListYieldsNoChange) {
  auto service = apply(eventRule("[]"));
  publishBuy(_bus);
  EXPECT_FALSE(service->isChanged());
  EXPECT_EQ(profile("p"), std::nullopt);
}

TEST_F(RuleServiceTest, ValuesFromASelector) {
  apply(eventRule(R"({"selectedoption": "selector", "selector": "#banner"})"));
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), (Strings{"20% off", "Spring sale"}));
}

TEST_F(RuleServiceTest, ValuesFromASelectorWithoutTextYieldNothing) {
  apply(eventRule(R"({"selectedoption": "selector", "selector": "#buyButton"})"));
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), std::nullopt);
}

TEST_F(RuleServiceTest, ValuesDatetimeAndDateOptions) {
  apply(R"([{"ruletype": "scoreevent", "event": "buy",
             "profileproperty": [{"profileproperty": "time"}], "addset": "set",
             "values": {"selectedoption": "datetime"}},
            {"ruletype": "scoreevent", "event": "buy",
             "profileproperty": [{"profileproperty": "day"}], "addset": "set",
             "values": {"selectedoption": "date"}}])");
  publishBuy(_bus);
  EXPECT_EQ(profile("time"), Strings{"1714568531000"});
  EXPECT_EQ(profile("day"), Strings{"1714521600000"});
}

TEST_F(RuleServiceTest, ValuesParameterAndUnknownOptionsYieldNothing) {
  apply(R"([{"ruletype": "scoreevent", "event": "buy",
             "profileproperty": [{"profileproperty": "parameter"}], "addset": "set",
             "values": {"selectedoption": "parameter", "parameter": "x"}},
            {"ruletype": "scoreevent", "event": "buy",
             "profileproperty": [{"profileproperty": "other"}], "addset": "set",
             "values": {"selectedoption": "cookie"}}])");
  publishBuy(_bus);
  EXPECT_EQ(profile("parameter"), std::nullopt);
  EXPECT_EQ(profile("other"), std::nullopt);
}

TEST_F(RuleServiceTest, RegexpValuesAreTheWholeMatchesOverTheScreenName) {
  showScreen("Product-1234-Shoes-56");
  apply(eventRule(R"x({"selectedoption": "regexp", "regexp": "(\\d)(\\d+)"})x"));
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), (Strings{"1234", "56"}));
}

TEST_F(RuleServiceTest, RegexpWithoutMatchYieldsNothing) {
  showScreen("Home");
  apply(eventRule(R"({"selectedoption": "regexp", "regexp": "\\d+"})"));
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), std::nullopt);
}

TEST_F(RuleServiceTest, RegexpThatDoesNotCompileIsLogged) {
  showScreen("Home");
  apply(eventRule(R"x({"selectedoption": "regexp", "regexp": "(unclosed"})x"));
  clearLog();
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), std::nullopt);
  EXPECT_EQ(serviceLines()[1], "WARNING [PL_RULESERVICE]: No valid reg. exp: '(unclosed'");
}

// Long patterns compile (ICU's own limits decide): the matcher keeps its own bounded stack.
TEST_F(RuleServiceTest, RegexpLongAndNestedPatternsCompile) {
  showScreen("a1a2");
  const std::string longPattern = std::string(5000, 'x') + "|a[0-9]";
  const std::string deepPattern = std::string(50, '(') + "a[0-9]" + std::string(50, ')');
  apply(R"([{"ruletype": "scoreevent", "event": "buy",
             "profileproperty": [{"profileproperty": "p"}], "addset": "add",
             "values": {"selectedoption": "regexp", "regexp": ")" +
        longPattern + R"("}},
            {"ruletype": "scoreevent", "event": "buy",
             "profileproperty": [{"profileproperty": "deep"}], "addset": "add",
             "values": {"selectedoption": "regexp", "regexp": ")" +
        deepPattern + R"("}}])");
  clearLog();
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), (Strings{"a1", "a2"}));
  EXPECT_EQ(profile("deep"), (Strings{"a1", "a2"}));
  for (const auto& line : serviceLines()) EXPECT_FALSE(line.starts_with("WARNING")) << line;
}

TEST_F(RuleServiceTest, RegexpOverALongScreenName) {
  showScreen(std::string(5000, 'a') + "b");
  apply(eventRule(R"({"selectedoption": "regexp", "regexp": "a+b"})"));
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), (Strings{std::string(5000, 'a') + "b"}));
}

// Matched over the screen name's Unicode characters, not its UTF-8 bytes.
TEST_F(RuleServiceTest, RegexpMatchesUnicodeCharacters) {
  showScreen("Café/Menü");
  apply(R"x([{"ruletype": "scoreevent", "event": "buy",
              "profileproperty": [{"profileproperty": "words"}], "addset": "add",
              "values": {"selectedoption": "regexp", "regexp": "\\w+"}},
             {"ruletype": "scoreevent", "event": "buy",
              "profileproperty": [{"profileproperty": "first"}], "addset": "add",
              "values": {"selectedoption": "regexp", "regexp": "^.{4}"}}])x");
  publishBuy(_bus);
  EXPECT_EQ(profile("words"), (Strings{"Café", "Menü"}));
  EXPECT_EQ(profile("first"), (Strings{"Café"}));
}

TEST_F(RuleServiceTest, RegexpTakesIcuSyntax) {
  showScreen("CheckOut/Ωmega/東京");
  apply(R"x([{"ruletype": "scoreevent", "event": "buy",
              "profileproperty": [{"profileproperty": "nocase"}], "addset": "add",
              "values": {"selectedoption": "regexp", "regexp": "(?i)checkout"}},
             {"ruletype": "scoreevent", "event": "buy",
              "profileproperty": [{"profileproperty": "behind"}], "addset": "add",
              "values": {"selectedoption": "regexp", "regexp": "(?<=/)\\p{Han}+"}},
             {"ruletype": "scoreevent", "event": "buy",
              "profileproperty": [{"profileproperty": "upper"}], "addset": "add",
              "values": {"selectedoption": "regexp", "regexp": "\\p{Lu}"}}])x");
  publishBuy(_bus);
  EXPECT_EQ(profile("nocase"), (Strings{"CheckOut"}));
  EXPECT_EQ(profile("behind"), (Strings{"東京"}));
  EXPECT_EQ(profile("upper"), (Strings{"C", "O", "Ω"}));
}

// Nested quantifiers over a text that almost matches: the search stops at its limit.
TEST_F(RuleServiceTest, RegexpThatRunsOutOfTimeYieldsNoValues) {
  const std::string screen = std::string(64, 'a') + "!";
  showScreen(screen);
  apply(eventRule(R"({"selectedoption": "regexp", "regexp": "(a+)+$"})"));
  clearLog();
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), std::nullopt);
  std::vector<std::string> warnings;
  for (const auto& line : serviceLines()) {
    if (line.starts_with("WARNING")) warnings.push_back(line);
  }
  EXPECT_THAT(warnings, ElementsAre("WARNING [PL_RULESERVICE]: The reg. exp. '(a+)+$' took too "
                                    "long on the screen name '" +
                                    screen + "'; no values"));
}

TEST_F(RuleServiceTest, RegexpMemberThatIsNotAStringIsTheEmptyPattern) {
  // The empty pattern matches the empty text at every position.
  showScreen("ab");
  apply(eventRule(R"({"selectedoption": "regexp", "regexp": 5})", "add"));
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), (Strings{""}));
}

// --- Writing changes

TEST_F(RuleServiceTest, SetReplacesAndAddAppends) {
  _client.setProfileValues("p", {"old"});
  _client.setProfileValues("q", {"old"});
  apply(R"([{"ruletype": "scoreevent", "event": "buy",
             "profileproperty": [{"profileproperty": "p"}], "addset": "set", "values": ["new"]},
            {"ruletype": "scoreevent", "event": "buy",
             "profileproperty": [{"profileproperty": "q"}], "addset": "add", "values": ["new"]}])");
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), Strings{"new"});
  EXPECT_EQ(profile("q"), (Strings{"old", "new"}));
}

TEST_F(RuleServiceTest, MergeOnAPropertyWithoutValueWritesTheSum) {
  apply(eventRule(R"(["2", "3"])", "merge"));
  clearLog();
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), Strings{"5.0"});
  EXPECT_THAT(
      serviceLines(),
      ElementsAre(
          "INFO [PL_RULESERVICE]: Handling event 'buy' - "
          "PelorinClient.AdvancedEvent at '' handled by [i1]",
          R"(INFO [PL_RULESERVICE]: Profile Change: Property: p, values ["2", "3"], method: merge)",
          R"(INFO [PL_RULESERVICE]: Merging currentValue 0 with ["2", "3"])",
          "INFO [PL_RULESERVICE]: Summed value: 5.0"));
}

TEST_F(RuleServiceTest, MergeWithAValueThatIsNotANumberWritesZero) {
  apply(eventRule(R"(["x"])", "merge"));
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), Strings{"0.0"});
}

TEST_F(RuleServiceTest, MergeOntoACurrentValueThatIsNotANumberWritesNothing) {
  _client.setProfileValues("p", {"xyz"});
  apply(eventRule(R"(["1"])", "merge"));
  clearLog();
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), Strings{"xyz"});
  for (const auto& line : serviceLines()) EXPECT_EQ(line.find("Summed value"), std::string::npos);
}

TEST_F(RuleServiceTest, MergeStartsFromTheFirstNonBlankValue) {
  _client.setProfileValues("p", {" ", "1.234,5", "9"});
  apply(eventRule(R"(["0.5"])", "merge"));
  publishBuy(_bus);
  EXPECT_EQ(profile("p"), Strings{"1235.0"});
}

TEST_F(RuleServiceTest, SaveWritesPendingChangesInOrder) {
  showScreen("Checkout");
  auto service = apply(R"([{"ruletype": "scoreurl", "words": ["checkout"],
                            "profileproperty": [{"profileproperty": "p"}], "addset": "set",
                            "values": ["first"]},
                           {"ruletype": "scoreurl", "words": ["checkout"],
                            "profileproperty": [{"profileproperty": "p"}], "addset": "add",
                            "values": ["second"]}])");
  EXPECT_EQ(service->pendingChanges().size(), 2U);
  service->save();
  EXPECT_EQ(profile("p"), (Strings{"first", "second"}));
  EXPECT_THAT(service->pendingChanges(), IsEmpty());
}

}  // namespace
}  // namespace pelorin::testing
