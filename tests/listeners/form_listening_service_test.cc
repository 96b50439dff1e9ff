#include "listeners/form_listening_service.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "listeners/form_fixture.h"
#include "listeners/rule_service.h"
#include "pelorin/event.h"
#include "pelorin/headless/control.h"

namespace pelorin::testing {
namespace {

using platform::ControlEvents;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using Strings = std::vector<std::string>;

std::uint32_t eventsFor(const headless::Control& control, const FormListeningService& service) {
  return control.controlEventsForTarget(&service).bits();
}

// Records what a picker's own delegate is told.
class AppPickerDelegate : public headless::PickerViewDelegate {
 public:
  void didSelectRow(headless::PickerView& /*pickerView*/, std::size_t row,
                    std::size_t /*component*/) override {
    rows.push_back(row);
  }
  std::vector<std::size_t> rows;
};

constexpr std::string_view kCityRule = R"([{"id": "r1", "action": {"type": "onchange"},
    "formfield": {"selector": "#cityField"}, "profileProperty": "city", "addset": "set",
    "converter": {"mappings": [{"id": "m1", "original": "Amsterdam", "converted": "AMS"}]}}])";

TEST(FormListeningServiceConstantsTest, LogTag) {
  EXPECT_EQ(FormListeningService::LOG_TAG, "PL_FORMSERVICE");
}

TEST_F(FormServiceTest, TypingAndEndingEditingWritesTheConvertedValue) {
  // given
  auto service = apply(kCityRule);
  // when the user types, nothing is written yet
  screen.city->typeText("Amsterdam");
  EXPECT_EQ(profile("city"), std::nullopt);
  // when editing ends
  clearLog();
  screen.city->endEditing();
  // then
  EXPECT_EQ(profile("city"), Strings{"AMS"});
  EXPECT_THAT(serviceLines(),
              ElementsAre("INFO [PL_FORMSERVICE]: Handling event '#cityField' - "
                          "PelorinClient.FieldChangeEvent at '' handled by [i1]",
                          "INFO [PL_FORMSERVICE]: The content from getValues: [\"Amsterdam\"]",
                          "INFO [PL_FORMSERVICE]: Saving",
                          "INFO [PL_FORMSERVICE]: Profile Change: Property: city, values "
                          "[\"AMS\"], method: set"));
}

TEST_F(FormServiceTest, PressingReturnInATextFieldWritesOnce) {
  auto service = apply(R"([{"action": {"type": "onchange"}, "formfield": {"selector":
      "#cityField"}, "profileProperty": "city", "addset": "add"}])");
  screen.city->typeText("Utrecht");
  // editing-did-end-on-exit and editing-did-end reach the same target in one sending
  screen.city->pressReturn();
  EXPECT_EQ(profile("city"), Strings{"Utrecht"});
}

TEST_F(FormServiceTest, AppliedChangeRuleLogsAndFilesUnderFieldChange) {
  auto service = apply(kCityRule);
  const std::string ruleText = json(kCityRule).ref().at(0).toPrettyString();
  EXPECT_EQ(serviceLines(), Strings{"INFO [PL_FORMSERVICE]: Apply on change rule: " + ruleText});
  ASSERT_EQ(service->eventMap().size(), 1U);
  EXPECT_EQ(service->eventMap().begin()->first, FieldChangeEvent::NAME);
  EXPECT_EQ(eventsFor(*screen.city, *service), 0xC0000U);
}

TEST_F(FormServiceTest, ControlEventsChosenByTheControlKind) {
  // given one control of each kind on the screen
  auto segments = std::make_shared<headless::SegmentedControl>(Strings{"a", "b"});
  auto datePicker = std::make_shared<headless::DatePicker>();
  auto stepper = std::make_shared<headless::Stepper>();
  auto stepSlider = std::make_shared<headless::Slider>();
  stepSlider->setContinuous(false);
  screen.add("segments", segments);
  screen.add("datePicker", datePicker);
  screen.add("stepper", stepper);
  screen.add("stepSlider", stepSlider);
  std::string rules = "[";
  for (const char* name : {"segments", "datePicker", "stepper", "newsletterSwitch", "budgetSlider",
                           "stepSlider", "cityField"}) {
    if (rules.size() > 1) rules += ",";
    rules += R"({"action": {"type": "onchange"}, "formfield": {"selector": "#)" +
             std::string(name) + R"("}, "profileProperty": "p", "addset": "set"})";
  }
  rules += "]";
  // when
  auto service = apply(rules);
  // then
  EXPECT_EQ(eventsFor(*segments, *service), 0x1000U);
  EXPECT_EQ(eventsFor(*datePicker, *service), 0x1000U);
  EXPECT_EQ(eventsFor(*stepper, *service), 0x1000U);
  EXPECT_EQ(eventsFor(*screen.newsletter, *service), 0x1000U);
  EXPECT_EQ(eventsFor(*screen.budget, *service), 0x40U);
  EXPECT_EQ(eventsFor(*stepSlider, *service), 0x1000U);
  EXPECT_EQ(eventsFor(*screen.city, *service), 0xC0000U);
}

TEST_F(FormServiceTest, OtherControlGetsNoTarget) {
  auto service = apply(R"([{"action": {"type": "onchange"}, "formfield": {"selector":
      "#planButton"}, "profileProperty": "plan", "addset": "set"}])");
  EXPECT_THAT(serviceLines(), Contains("INFO [PL_FORMSERVICE]: Unable to add a target to the "
                                       "element: " +
                                       screen.plan->description()));
  EXPECT_EQ(eventsFor(*screen.plan, *service), 0U);
  // still filed: the app may publish field changes for it itself
  EXPECT_EQ(service->eventMap().count(FieldChangeEvent::NAME), 1U);
}

// Counts the form service's "Handling event" lines for events of `name` with `selector`.
std::size_t handled(const std::vector<std::string>& lines, std::string_view selector,
                    std::string_view name) {
  const std::string prefix = "INFO [PL_FORMSERVICE]: Handling event '" + std::string(selector) +
                             "' - " + std::string(name);
  std::size_t count = 0;
  for (const auto& line : lines) count += line.starts_with(prefix) ? 1 : 0;
  return count;
}

TEST_F(FormServiceTest, ContinuousSliderFiresOnceOnRelease) {
  auto service = apply(R"([{"action": {"type": "onchange"}, "formfield": {"selector":
      "#budgetSlider"}, "profileProperty": "budget", "addset": "add"}])");
  ASSERT_TRUE(screen.budget->isContinuous());
  clearLog();
  // when the user drags through three positions
  screen.budget->drag({20, 50, 80});
  // then one field change, at release
  EXPECT_EQ(handled(serviceLines(), "#budgetSlider", FieldChangeEvent::NAME), 1U);
}

// Values come from the field's text: a control without one gives an empty list, however
// its state changed.
TEST_F(FormServiceTest, ControlsWithoutTextGiveNoValues) {
  auto service = apply(R"([{"action": {"type": "onchange"}, "formfield": {"selector":
      "#newsletterSwitch"}, "profileProperty": "newsletter", "addset": "add",
      "converter": {"mappings": [{"id": "1", "original": "true", "converted": "yes"}]}},
      {"action": {"type": "onchange"}, "formfield": {"selector": "#budgetSlider"},
       "profileProperty": "budget", "addset": "add"}])");
  clearLog();
  screen.newsletter->toggle();
  screen.budget->drag({80});
  EXPECT_EQ(handled(serviceLines(), "#newsletterSwitch", FieldChangeEvent::NAME), 1U);
  EXPECT_EQ(handled(serviceLines(), "#budgetSlider", FieldChangeEvent::NAME), 1U);
  EXPECT_THAT(serviceLines(), Contains("INFO [PL_FORMSERVICE]: The content from getValues: []"));
  EXPECT_THAT(serviceLines(), Not(Contains("INFO [PL_FORMSERVICE]: The content from getValues: "
                                           "[\"true\"]")));
  EXPECT_THAT(profile("newsletter").value_or(Strings{}), IsEmpty());
  EXPECT_THAT(profile("budget").value_or(Strings{}), IsEmpty());
}

// A picker cannot be observed as it changes: the rule waits for the update-values events
// the app publishes, and the picker's delegate stays the app's.
TEST_F(FormServiceTest, PickerIsNotObservedAndKeepsTheAppsDelegate) {
  auto appDelegate = std::make_shared<AppPickerDelegate>();
  screen.sizes->setDelegate(appDelegate);
  auto service = apply(R"([{"action": {"type": "onchange"}, "formfield": {"selector":
      "#sizePicker"}, "profileProperty": "size", "addset": "add"}])");
  EXPECT_THAT(serviceLines(),
              ElementsAre("INFO [PL_FORMSERVICE]: Apply on value change rule: {\n"
                          "  \"action\" : {\n"
                          "    \"type\" : \"onchange\"\n"
                          "  },\n"
                          "  \"formfield\" : {\n"
                          "    \"selector\" : \"#sizePicker\"\n"
                          "  },\n"
                          "  \"profileProperty\" : \"size\",\n"
                          "  \"addset\" : \"add\"\n"
                          "}",
                          "INFO [PL_FORMSERVICE]: Can't listen to UIPickerView realtime, throw a "
                          "FieldChangeEvent instead"));
  EXPECT_EQ(service->eventMap().count(UpdateValuesEvent::NAME), 1U);
  EXPECT_EQ(screen.sizes->delegate(), appDelegate);
  // when the user picks the third row and the app reports it
  clearLog();
  screen.sizes->pickRow(2, 0);
  EXPECT_EQ(profile("size"), std::nullopt);
  bus.publish(std::make_shared<UpdateValuesEvent>("#sizePicker", Strings{"L"}));
  // then the app's delegate was told and the value is written once
  EXPECT_THAT(appDelegate->rows, ElementsAre(2U));
  EXPECT_EQ(profile("size"), Strings{"L"});
  EXPECT_EQ(screen.sizes->delegate(), appDelegate);
}

// A picker read by a selection rule gives the titles of its selected rows.
TEST_F(FormServiceTest, PickerIsReadThroughItsSelectedRows) {
  auto service = apply(R"([{"action": {"type": "clickselection", "selector": "#planButton"},
      "formfield": {"selector": "#sizePicker"}, "profileProperty": "size", "addset": "set"}])");
  screen.sizes->pickRow(1, 0);
  clearLog();
  screen.plan->tap();
  EXPECT_EQ(profile("size"), Strings{"M"});
  EXPECT_THAT(serviceLines(), Contains("INFO [PL_FORMSERVICE]: Index: 0 rowindex: 1"));
}

// Every rule filed under a control acts, whatever its type: the field change of an
// "onchange" rule and the tap of a "clickselection" rule on one control.
TEST_F(FormServiceTest, ControlActionsPublishForEveryRuleOfTheControl) {
  auto service = apply(R"([
      {"action": {"type": "clickselection", "selector": "#cityField"},
       "formfield": {"selector": "#emailField"}, "profileProperty": "email", "addset": "set"},
      {"action": {"type": "onchange", "selector": "#cityField"},
       "formfield": {"selector": "#cityField"}, "profileProperty": "city", "addset": "set"}])");
  clearLog();
  screen.city->sendActions(ControlEvents::kEditingDidEnd);
  EXPECT_EQ(handled(serviceLines(), "#cityField", FieldChangeEvent::NAME), 1U);
  EXPECT_EQ(handled(serviceLines(), "#emailField", FieldChangeEvent::NAME), 1U);
  clearLog();
  screen.city->sendActions(ControlEvents::kTouchDown);
  EXPECT_EQ(handled(serviceLines(), "#cityField", ClickEvent::NAME), 2U);
  EXPECT_EQ(profile("email"), Strings{"ann@example.com"});
}

TEST_F(FormServiceTest, UpdateValuesForAnotherFieldAreIgnored) {
  auto service = apply(R"([{"action": {"type": "onchange"}, "formfield": {"selector":
      "#caption"}, "profileProperty": "caption", "addset": "set",
      "converter": {"mappings": [{"original": "b", "converted": "B"}]}}])");
  bus.publish(std::make_shared<UpdateValuesEvent>("#other", Strings{"a"}));
  bus.publish(std::make_shared<UpdateValuesEvent>(Strings{"a"}));
  EXPECT_EQ(profile("caption"), std::nullopt);
  bus.publish(std::make_shared<UpdateValuesEvent>("#caption", Strings{"a", "b"}));
  EXPECT_EQ(profile("caption"), (Strings{"a", "B"}));
}

TEST_F(FormServiceTest, FormSubmitButtonCarriesTheFields) {
  // given two form rules triggered by the submit button
  screen.city->setText("Delft");
  auto service = apply(R"([
      {"action": {"type": "formselection", "selector": "#submitButton"},
       "formfield": {"selector": "#cityField"}, "profileProperty": "city", "addset": "set"},
      {"action": {"type": "formselection", "selector": "#submitButton"},
       "formfield": {"selector": "#emailField"}, "profileProperty": "email", "addset": "set"}])");
  EXPECT_EQ(eventsFor(*screen.submit, *service), 0x1U);
  EXPECT_EQ(profile("city"), std::nullopt);
  // when
  screen.submit->tap();
  // then
  EXPECT_EQ(profile("city"), Strings{"Delft"});
  EXPECT_EQ(profile("email"), Strings{"ann@example.com"});
  EXPECT_EQ(service->eventMap().count(FormSubmitEvent::NAME), 1U);
}

TEST_F(FormServiceTest, ClickSelectionReadsTheField) {
  screen.city->setText("Leiden");
  auto service = apply(R"([{"action": {"type": "clickselection", "selector": "#planButton"},
      "formfield": {"selector": "#cityField"}, "profileProperty": "city", "addset": "add"}])");
  const std::string ruleText =
      json(R"({"action": {"type": "clickselection", "selector": "#planButton"},
      "formfield": {"selector": "#cityField"}, "profileProperty": "city", "addset": "add"})")
          .toPrettyString();
  EXPECT_EQ(serviceLines(), Strings{"INFO [PL_FORMSERVICE]: Apply on click rule: " + ruleText});
  screen.plan->tap();
  EXPECT_EQ(profile("city"), Strings{"Leiden"});
}

TEST_F(FormServiceTest, ValueTextValueTakesTheEventContext) {
  screen.city->setText("Leiden");
  auto service = apply(R"([{"action": {"type": "clickselection", "selector": "#planButton"},
      "valuetext": "value", "formfield": {"selector": "#cityField"},
      "profileProperty": "plan", "addset": "set"}])");
  bus.publish(std::make_shared<ClickEvent>("#planButton", Strings{"gold"}));
  EXPECT_EQ(profile("plan"), Strings{"gold"});
  // any other "valuetext" reads the field
  auto other = apply(R"([{"action": {"type": "clickselection", "selector": "#planButton"},
      "valuetext": "text", "formfield": {"selector": "#cityField"},
      "profileProperty": "plan2", "addset": "set"}])");
  other->setListenerId("i2");
  other->subscribeListeners();
  bus.publish(std::make_shared<ClickEvent>("#planButton", Strings{"gold"}));
  EXPECT_EQ(profile("plan2"), Strings{"Leiden"});
}

TEST_F(FormServiceTest, ClickOnAnotherSelectorIsIgnored) {
  auto service = apply(R"([{"action": {"type": "clickselection", "selector": "#planButton"},
      "formfield": {"selector": "#emailField"}, "profileProperty": "email", "addset": "set"}])");
  bus.publish(std::make_shared<ClickEvent>("#submitButton"));
  EXPECT_EQ(profile("email"), std::nullopt);
}

TEST_F(FormServiceTest, SelectionRuleWithoutViewIsLoggedAndSkipped) {
  auto service = apply(R"([
      {"action": {"type": "clickselection", "selector": "#missing"}},
      {"action": {"type": "formselection", "selector": "#gone"}},
      {"action": {"type": "formselection"}}])");
  EXPECT_THAT(serviceLines(),
              ElementsAre("INFO [PL_FORMSERVICE]: Unable to get the view with the selector: "
                          "#missing, for a click action",
                          "INFO [PL_FORMSERVICE]: Unable to get the view with the selector: "
                          "#gone, for a form action",
                          "INFO [PL_FORMSERVICE]: Unable to get the view with the selector: "
                          ", for a form action"));
  EXPECT_THAT(service->eventMap(), IsEmpty());
}

TEST_F(FormServiceTest, MergeAppendsWhereTheRuleServiceSums) {
  // given a profile holding "2" and a field holding "3"
  client.setProfileValues("count", {"2"});
  client.setProfileValues("total", {"2"});
  screen.city->setText("3");
  // when the form service applies a "merge" rule
  auto service = apply(R"([{"action": {"type": "formselection", "selector": "#submitButton"},
      "formfield": {"selector": "#cityField"}, "profileProperty": "count",
      "addset": "merge"}])");
  screen.submit->tap();
  // then the value is appended
  EXPECT_EQ(profile("count"), (Strings{"2", "3"}));
  // while the rule service sums the same kind of rule
  auto ruleService = std::make_shared<RuleService>();
  ruleService->setClient(client);
  ruleService->setListenerId("i2");
  ruleService->applyRules(json(R"([{"ruletype": "scoreevent", "event": "e",
      "profileproperty": [{"profileproperty": "total"}], "addset": "merge",
      "values": ["3"]}])")
                              .ref());
  bus.publish(std::make_shared<AdvancedEvent>("e"));
  EXPECT_EQ(profile("total"), Strings{"5.0"});
}

TEST_F(FormServiceTest, SubmitTypeIsNotSupported) {
  auto service = apply(R"([{"action": {"type": "submit", "selector": "#submitButton"},
      "formfield": {"selector": "#cityField"}, "profileProperty": "city", "addset": "set"}])");
  EXPECT_EQ(serviceLines(),
            Strings{"INFO [PL_FORMSERVICE]: Appling a rule with the type 'submit' is not "
                    "supported"});
  EXPECT_THAT(service->eventMap(), IsEmpty());
  EXPECT_EQ(eventsFor(*screen.submit, *service), 0U);
}

TEST_F(FormServiceTest, ValueWithoutMappingIsWrittenAsEntered) {
  auto service = apply(kCityRule);
  screen.city->typeText("Rotterdam");
  screen.city->endEditing();
  EXPECT_EQ(profile("city"), Strings{"Rotterdam"});
}

TEST_F(FormServiceTest, FirstMatchingMappingWins) {
  JsonValue mappings = json(R"([{"original": "b", "converted": "B1"}, 5,
      {"original": "b", "converted": "B2"}, {"original": 7, "converted": "x"}])");
  EXPECT_EQ(FormListeningService::getConvertedValue("b", mappings.ref()), "B1");
  EXPECT_EQ(FormListeningService::getConvertedValue("7", mappings.ref()), "7");
  JsonValue rule = json(R"({"converter": {"mappings": "none"}})");
  EXPECT_EQ(FormListeningService::convertValues(rule.ref(), {"a"}), Strings{"a"});
}

// The first mapping whose "original" equals the value converts it; its "converted" is read
// leniently, "" when it is missing or not a text.
TEST_F(FormServiceTest, FirstMatchingMappingGivesItsConvertedReadLeniently) {
  JsonValue mappings = json(R"([{"original": "a"}, {"original": "a", "converted": "1"},
      {"original": "n", "converted": 5}, {"original": "n", "converted": "N"}])");
  EXPECT_EQ(FormListeningService::getConvertedValue("a", mappings.ref()), "");
  EXPECT_EQ(FormListeningService::getConvertedValue("n", mappings.ref()), "");
}

TEST_F(FormServiceTest, RuleWithoutPropertyOrMethodWritesNothing) {
  screen.city->setText("Delft");
  auto service = apply(R"([
      {"action": {"type": "formselection", "selector": "#submitButton"},
       "formfield": {"selector": "#cityField"}, "profileProperty": 5, "addset": "set"},
      {"action": {"type": "formselection", "selector": "#submitButton"},
       "formfield": {"selector": "#cityField"}, "profileProperty": "city", "addset": "Set"}])");
  screen.submit->tap();
  EXPECT_EQ(profile("city"), std::nullopt);
  EXPECT_THAT(service->pendingChanges(), IsEmpty());
  EXPECT_THAT(serviceLines(),
              Not(Contains(::testing::StartsWith("INFO [PL_FORMSERVICE]: Profile Change"))));
}

TEST_F(FormServiceTest, MalformedRulesAreSkipped) {
  auto service = apply(R"([1, "x", null, [], {"action": 5}, {"action": {"type": 3}},
      {"action": {"type": "onchange", "selector": 1}, "formfield": 2},
      {"action": {"type": "clickselection", "selector": ["#planButton"]}}])");
  EXPECT_EQ(service->eventMap().count(UpdateValuesEvent::NAME), 1U);
  EXPECT_EQ(service->eventMap().size(), 1U);
  // a rule list that is not a list applies nothing
  auto none = apply(R"({"action": {"type": "onchange"}})");
  EXPECT_THAT(none->eventMap(), IsEmpty());
}

TEST_F(FormServiceTest, ServiceGoneLeavesControlsQuiet) {
  auto service = apply(kCityRule);
  service.reset();
  bus.clearEventHandlers();
  screen.city->typeText("Amsterdam");
  screen.city->endEditing();
  EXPECT_EQ(profile("city"), std::nullopt);
}

}  // namespace
}  // namespace pelorin::testing
