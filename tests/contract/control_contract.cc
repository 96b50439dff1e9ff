// The contract of `platform::Control`: each kind's events per user action (the table in
// docs/toolkit.md), the identical-repeat rule, and targets held weakly.
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "contract/event_log.h"
#include "contract/toolkit_driver.h"

namespace pelorin::contract {
namespace {

using platform::ControlEvents;
using platform::ControlKind;
using Events = std::vector<std::string>;

// A target as a plug-in service is: owned elsewhere, held weakly by the control.
class Service {
 public:
  void touched(platform::Control& /*sender*/) { ++touches; }
  void other(platform::Control& /*sender*/) { ++others; }
  int touches = 0;
  int others = 0;
};

platform::Control& controlOf(const std::shared_ptr<platform::View>& view) {
  platform::Control* control = view->asControl();
  if (control == nullptr) throw std::logic_error("not a control");
  return *control;
}

// --- Kinds

TEST_P(ControlContractTest, EachControlHasItsKind) {
  EXPECT_EQ(controlOf(driver().makeButton("Buy")).kind(), ControlKind::kButton);
  EXPECT_EQ(controlOf(driver().makeTextField("")).kind(), ControlKind::kTextField);
  EXPECT_EQ(controlOf(driver().makeSwitch()).kind(), ControlKind::kSwitch);
  EXPECT_EQ(controlOf(driver().makeSlider(true)).kind(), ControlKind::kSlider);
  EXPECT_EQ(controlOf(driver().makeStepper()).kind(), ControlKind::kStepper);
  EXPECT_EQ(controlOf(driver().makeSegmentedControl()).kind(), ControlKind::kSegmentedControl);
  EXPECT_EQ(controlOf(driver().makeDatePicker()).kind(), ControlKind::kDatePicker);
}

TEST_P(ControlContractTest, OnlyAContinuousSliderIsContinuous) {
  EXPECT_TRUE(controlOf(driver().makeSlider(true)).isContinuous());
  EXPECT_FALSE(controlOf(driver().makeSlider(false)).isContinuous());
  EXPECT_FALSE(controlOf(driver().makeButton("Buy")).isContinuous());
  EXPECT_FALSE(controlOf(driver().makeSwitch()).isContinuous());
}

// --- Events per user action

TEST_P(ControlContractTest, TapOnAButtonSendsTouchDownThenTouchUpInside) {
  auto button = driver().makeButton("Buy");
  EventLog log(controlOf(button));

  driver().tap(*button);

  EXPECT_EQ(log.events(), (Events{"touch-down", "touch-up-inside"}));
}

TEST_P(ControlContractTest, TypingBeginsEditingOnceAndChangesPerCall) {
  auto field = driver().makeTextField("");
  EventLog log(controlOf(field));

  driver().typeText(*field, "a");
  driver().typeText(*field, "b");

  EXPECT_EQ(log.events(), (Events{"editing-did-begin", "editing-changed", "editing-changed"}));
}

TEST_P(ControlContractTest, LeavingAFieldSendsEditingDidEnd) {
  auto field = driver().makeTextField("");
  driver().typeText(*field, "a");
  EventLog log(controlOf(field));

  driver().endEditing(*field);

  EXPECT_EQ(log.events(), (Events{"editing-did-end"}));
}

TEST_P(ControlContractTest, ReturnSendsEditingDidEndOnExitThenEditingDidEnd) {
  auto field = driver().makeTextField("");
  driver().typeText(*field, "a");
  EventLog log(controlOf(field));

  driver().pressReturn(*field);

  EXPECT_EQ(log.events(), (Events{"editing-did-end-on-exit", "editing-did-end"}));
}

TEST_P(ControlContractTest, TapOnASwitchTogglesItWithValueChanged) {
  auto toggle = driver().makeSwitch();
  EventLog log(controlOf(toggle));

  driver().tap(*toggle);

  EXPECT_EQ(log.events(), (Events{"touch-down", "value-changed", "touch-up-inside"}));
}

TEST_P(ControlContractTest, ContinuousSliderSendsValueChangedPerStep) {
  auto slider = driver().makeSlider(true);
  EventLog log(controlOf(slider));

  driver().drag(*slider, {0.2, 0.5});

  EXPECT_EQ(log.events(),
            (Events{"touch-down", "value-changed", "value-changed", "touch-up-inside"}));
}

TEST_P(ControlContractTest, SliderThatIsNotContinuousSendsValueChangedOnceOnRelease) {
  auto slider = driver().makeSlider(false);
  EventLog log(controlOf(slider));

  driver().drag(*slider, {0.2, 0.5});

  EXPECT_EQ(log.events(), (Events{"touch-down", "value-changed", "touch-up-inside"}));
}

TEST_P(ControlContractTest, StepperIncrementSendsValueChanged) {
  auto stepper = driver().makeStepper();
  EventLog log(controlOf(stepper));

  driver().increment(*stepper);

  EXPECT_EQ(log.events(), (Events{"touch-down", "value-changed", "touch-up-inside"}));
}

TEST_P(ControlContractTest, SegmentSelectionSendsValueChangedOnlyWhenItChanges) {
  auto segments = driver().makeSegmentedControl();
  EventLog log(controlOf(segments));

  driver().selectSegment(*segments, 1);
  EXPECT_EQ(log.events(), (Events{"touch-down", "value-changed", "touch-up-inside"}));
  log.clear();
  driver().selectSegment(*segments, 1);

  EXPECT_EQ(log.events(), (Events{"touch-down", "touch-up-inside"}));
}

TEST_P(ControlContractTest, PickingADateSendsValueChanged) {
  auto picker = driver().makeDatePicker();
  EventLog log(controlOf(picker));

  driver().pickDate(*picker);

  EXPECT_EQ(log.events(), (Events{"value-changed"}));
}

// --- Targets

TEST_P(ControlContractTest, AnActionRunsOnlyForTheEventsOfItsMask) {
  auto button = driver().makeButton("Buy");
  auto service = std::make_shared<Service>();
  std::vector<platform::Control*> senders;
  controlOf(button).addTarget(
      service, [&](platform::Control& sender) { senders.push_back(&sender); },
      ControlEvents::kTouchUpInside);

  driver().tap(*button);

  EXPECT_EQ(senders, (std::vector<platform::Control*>{&controlOf(button)}));
}

TEST_P(ControlContractTest, TheIdenticalTargetActionAddedAgainActsOnce) {
  auto button = driver().makeButton("Buy");
  auto service = std::make_shared<Service>();
  platform::Control& control = controlOf(button);
  control.addTarget(service, &Service::touched, ControlEvents::kTouchDown);
  control.addTarget(service, &Service::touched, ControlEvents::kTouchDown);
  control.addTarget(service, &Service::touched, ControlEvents::kTouchDown);

  driver().tap(*button);

  EXPECT_EQ(service->touches, 1);
}

TEST_P(ControlContractTest, ADifferentActionEventsOrTargetIsNotARepeat) {
  auto button = driver().makeButton("Buy");
  auto service = std::make_shared<Service>();
  auto second = std::make_shared<Service>();
  platform::Control& control = controlOf(button);
  control.addTarget(service, &Service::touched, ControlEvents::kTouchDown);
  control.addTarget(service, &Service::other, ControlEvents::kTouchDown);
  control.addTarget(service, &Service::touched, ControlEvents::kTouchUpInside);
  control.addTarget(second, &Service::touched, ControlEvents::kTouchDown);

  driver().tap(*button);

  EXPECT_EQ(service->touches, 2);
  EXPECT_EQ(service->others, 1);
  EXPECT_EQ(second->touches, 1);
}

TEST_P(ControlContractTest, FunctionObjectsAddAnEntryEachTime) {
  auto button = driver().makeButton("Buy");
  auto service = std::make_shared<Service>();
  int runs = 0;
  platform::Control& control = controlOf(button);
  control.addTarget(
      service, [&](platform::Control&) { ++runs; }, ControlEvents::kTouchDown);
  control.addTarget(
      service, [&](platform::Control&) { ++runs; }, ControlEvents::kTouchDown);

  driver().tap(*button);

  EXPECT_EQ(runs, 2);
}

TEST_P(ControlContractTest, ATargetThatIsGoneIsNotCalled) {
  auto button = driver().makeButton("Buy");
  int runs = 0;
  {
    auto service = std::make_shared<Service>();
    controlOf(button).addTarget(
        service, [&](platform::Control&) { ++runs; }, ControlEvents::kTouchDown);
  }

  driver().tap(*button);

  EXPECT_EQ(runs, 0);
}

TEST_P(ControlContractTest, RemovedEventsNoLongerReachTheTarget) {
  auto button = driver().makeButton("Buy");
  auto service = std::make_shared<Service>();
  platform::Control& control = controlOf(button);
  control.addTarget(service, &Service::touched,
                    ControlEvents::kTouchDown | ControlEvents::kTouchUpInside);

  control.removeTarget(service.get(), ControlEvents::kTouchDown);
  driver().tap(*button);
  EXPECT_EQ(service->touches, 1);
  control.removeTarget(service.get(), ControlEvents::kAllEvents);
  driver().tap(*button);

  EXPECT_EQ(service->touches, 1);
}

TEST_P(ControlContractTest, AControlSeenTwiceKeepsItsTargets) {
  auto screen = driver().makeScreen("Checkout");
  driver().addOutlet(*screen, "buyButton", driver().makeButton("Buy"));
  auto service = std::make_shared<Service>();
  screen->viewForProperty("buyButton")
      ->asControl()
      ->addTarget(service, &Service::touched, ControlEvents::kTouchDown);
  screen->viewForProperty("buyButton")
      ->asControl()
      ->addTarget(service, &Service::touched, ControlEvents::kTouchDown);

  driver().tap(*screen->viewForProperty("buyButton"));

  EXPECT_EQ(service->touches, 1);
}

// A toolkit may run these suites in a program of their own (toolkit_driver.h).
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ControlContractTest);

}  // namespace
}  // namespace pelorin::contract
