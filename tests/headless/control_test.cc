#include "pelorin/headless/control.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "headless/event_recorder.h"
#include "pelorin/headless/controls.h"
#include "support/test_platform.h"

namespace pelorin::headless {
namespace {

// A target as a plug-in service would be: an object owned elsewhere, held weakly.
class Counter {
 public:
  void touched(platform::Control& /*sender*/) { ++touches; }
  int touches = 0;
};

class TwoActions {
 public:
  void first(platform::Control& /*sender*/) { calls.emplace_back("first"); }
  void second(platform::Control& /*sender*/) { calls.emplace_back("second"); }
  std::vector<std::string> calls;
};

TEST(ControlEventsTest, BitValuesAreThoseOfTheMobileToolkit) {
  EXPECT_EQ(ControlEvents::kTouchDown.bits(), 0x1u);
  EXPECT_EQ(ControlEvents::kTouchUpInside.bits(), 0x40u);
  EXPECT_EQ(ControlEvents::kValueChanged.bits(), 0x1000u);
  EXPECT_EQ(ControlEvents::kEditingDidEnd.bits(), 0x40000u);
  EXPECT_EQ(ControlEvents::kEditingDidEndOnExit.bits(), 0x80000u);
}

TEST(ControlEventsTest, MasksCombineAndIntersect) {
  const ControlEvents editing = ControlEvents::kEditingDidEnd | ControlEvents::kEditingDidEndOnExit;

  EXPECT_EQ(editing.bits(), 0xC0000u);
  EXPECT_TRUE(editing.intersects(ControlEvents::kEditingDidEnd));
  EXPECT_FALSE(editing.intersects(ControlEvents::kTouchDown));
  EXPECT_TRUE(editing.contains(ControlEvents::kEditingDidEndOnExit));
  EXPECT_TRUE(ControlEvents().empty());
}

TEST(ControlTest, ActionRunsOnlyForTheEventsOfItsMask) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<int>(0);
  std::vector<platform::Control*> senders;
  control->addTarget(
      target, [&](platform::Control& sender) { senders.push_back(&sender); },
      ControlEvents::kTouchDown);

  control->sendActions(ControlEvents::kTouchUpInside);
  control->sendActions(ControlEvents::kValueChanged);
  EXPECT_TRUE(senders.empty());
  control->sendActions(ControlEvents::kTouchDown);

  EXPECT_EQ(senders, (std::vector<platform::Control*>{control.get()}));
}

TEST(ControlTest, EntryWithSeveralEventsRunsOncePerSend) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<int>(0);
  int runs = 0;
  control->addTarget(
      target, [&](platform::Control&) { ++runs; },
      ControlEvents::kTouchDown | ControlEvents::kTouchUpInside);

  control->sendActions(ControlEvents::kTouchDown | ControlEvents::kTouchUpInside);
  EXPECT_EQ(runs, 1);
  control->tap();  // two sends: touch-down, then touch-up-inside
  EXPECT_EQ(runs, 3);
}

TEST(ControlTest, ActionsRunInTheOrderTheyWereAdded) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<int>(0);
  std::vector<int> order;
  for (int i = 1; i <= 3; ++i) {
    control->addTarget(
        target, [&order, i](platform::Control&) { order.push_back(i); },
        ControlEvents::kValueChanged);
  }

  control->sendActions(ControlEvents::kValueChanged);

  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(ControlTest, ActionOfATargetThatIsGoneNeverRuns) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<Counter>();
  control->addTarget(target, &Counter::touched, ControlEvents::kTouchDown);
  control->tap();
  EXPECT_EQ(target->touches, 1);
  EXPECT_EQ(control->targetCount(), 1u);

  std::weak_ptr<Counter> weak = target;
  target.reset();
  control->tap();

  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(control->targetCount(), 0u);
  EXPECT_TRUE(control->allControlEvents().empty());
}

TEST(ControlTest, TargetIsKeptAliveWhileItsActionRuns) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<Counter>();
  std::weak_ptr<Counter> weak = target;
  bool aliveAfterReset = false;
  control->addTarget(
      target,
      [&](platform::Control&) {
        target.reset();  // the last owner lets go during the action
        aliveAfterReset = !weak.expired();
      },
      ControlEvents::kTouchDown);

  control->sendActions(ControlEvents::kTouchDown);

  EXPECT_TRUE(aliveAfterReset);
  EXPECT_TRUE(weak.expired());
}

// As in the mobile toolkit, an identical target, action and event mask is added once.
TEST(ControlTest, IdenticalTargetActionAndEventsAddedTwiceActOnce) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<Counter>();
  control->addTarget(target, &Counter::touched, ControlEvents::kTouchDown);
  control->addTarget(target, &Counter::touched, ControlEvents::kTouchDown);
  control->addTarget(target, &Counter::touched, ControlEvents::kTouchDown);

  control->sendActions(ControlEvents::kTouchDown);

  EXPECT_EQ(target->touches, 1);
  EXPECT_EQ(control->targetCount(), 1u);
}

TEST(ControlTest, SameTargetWithAnotherActionOrOtherEventsIsAddedAgain) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<TwoActions>();
  control->addTarget(target, &TwoActions::first, ControlEvents::kTouchDown);
  control->addTarget(target, &TwoActions::second, ControlEvents::kTouchDown);
  control->addTarget(target, &TwoActions::first,
                     ControlEvents::kTouchDown | ControlEvents::kTouchUpInside);

  control->sendActions(ControlEvents::kTouchDown);

  EXPECT_EQ(target->calls, (std::vector<std::string>{"first", "second", "first"}));
}

TEST(ControlTest, AnotherTargetOfTheSameClassIsAddedAgain) {
  auto control = std::make_shared<Control>();
  auto one = std::make_shared<Counter>();
  auto two = std::make_shared<Counter>();
  control->addTarget(one, &Counter::touched, ControlEvents::kTouchDown);
  control->addTarget(two, &Counter::touched, ControlEvents::kTouchDown);

  control->sendActions(ControlEvents::kTouchDown);

  EXPECT_EQ(one->touches, 1);
  EXPECT_EQ(two->touches, 1);
}

// Once the first target is gone, a new one at the same address is a new pair.
TEST(ControlTest, PairOfATargetThatWentAwayCanBeAddedAgain) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<Counter>();
  control->addTarget(target, &Counter::touched, ControlEvents::kTouchDown);
  control->removeTarget(target.get(), ControlEvents::kTouchDown);
  control->addTarget(target, &Counter::touched, ControlEvents::kTouchDown);

  control->sendActions(ControlEvents::kTouchDown);

  EXPECT_EQ(target->touches, 1);
}

// Services of screens that come and go add their targets to a control that is never
// tapped: the entries of the targets that are gone are let go when the next one is added
// (their actions with them), and the live ones keep their order and the repeat rule.
TEST(ControlTest, AddingATargetLetsGoOfTheEntriesOfTargetsThatAreGone) {
  auto control = std::make_shared<Control>();
  auto kept = std::make_shared<TwoActions>();
  control->addTarget(kept, &TwoActions::first, ControlEvents::kTouchDown);
  auto token = std::make_shared<int>(0);
  for (int screen = 0; screen < 100; ++screen) {
    auto service = std::make_shared<Counter>();
    control->addTarget(service, &Counter::touched, ControlEvents::kTouchDown);
    control->addTarget(
        service, [token](platform::Control&) { ++*token; }, ControlEvents::kTouchDown);
  }
  // Only the entries of the last service hold the token besides this test.
  EXPECT_EQ(token.use_count(), 2);
  control->addTarget(kept, &TwoActions::second, ControlEvents::kTouchDown);
  EXPECT_EQ(token.use_count(), 1);
  control->addTarget(kept, &TwoActions::first, ControlEvents::kTouchDown);  // a repeat

  control->sendActions(ControlEvents::kTouchDown);

  EXPECT_EQ(kept->calls, (std::vector<std::string>{"first", "second"}));
  EXPECT_EQ(*token, 0);
  EXPECT_EQ(control->targetCount(), 1u);
}

TEST(ControlTest, FunctionObjectsAddedTwiceActTwice) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<int>(0);
  Control::Action count = [target](platform::Control&) { ++*target; };
  control->addTarget(target, count, ControlEvents::kTouchDown);
  control->addTarget(target, count, ControlEvents::kTouchDown);

  control->sendActions(ControlEvents::kTouchDown);

  EXPECT_EQ(*target, 2);
}

TEST(ControlTest, EmptyActionOrEmptyMaskIsIgnored) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<int>(0);

  control->addTarget(target, Control::Action(), ControlEvents::kTouchDown);
  control->addTarget(
      target, [](platform::Control&) {}, ControlEvents());

  EXPECT_EQ(control->targetCount(), 0u);
}

TEST(ControlTest, TargetlessActionRunsAsLongAsTheControlLives) {
  auto control = std::make_shared<Control>();
  int runs = 0;
  control->addAction([&](platform::Control&) { ++runs; }, ControlEvents::kTouchUpInside);

  control->tap();
  control->tap();

  EXPECT_EQ(runs, 2);
  EXPECT_EQ(control->targetCount(), 0u);
  EXPECT_EQ(control->allControlEvents(), ControlEvents::kTouchUpInside);
}

TEST(ControlTest, EventsForATargetAreTheUnionOfItsEntries) {
  auto control = std::make_shared<Control>();
  auto service = std::make_shared<Counter>();
  auto other = std::make_shared<Counter>();
  control->addTarget(service, &Counter::touched, ControlEvents::kEditingDidEndOnExit);
  control->addTarget(service, &Counter::touched, ControlEvents::kEditingDidEnd);
  control->addTarget(other, &Counter::touched, ControlEvents::kTouchDown);

  EXPECT_EQ(control->controlEventsForTarget(service.get()),
            ControlEvents::kEditingDidEnd | ControlEvents::kEditingDidEndOnExit);
  EXPECT_EQ(control->controlEventsForTarget(other.get()), ControlEvents::kTouchDown);
  EXPECT_TRUE(control->controlEventsForTarget(nullptr).empty());
  EXPECT_EQ(control->targetCount(), 2u);
}

TEST(ControlTest, RemoveTargetStopsTheRemovedEventsOnly) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<Counter>();
  control->addTarget(target, &Counter::touched,
                     ControlEvents::kTouchDown | ControlEvents::kTouchUpInside);

  control->removeTarget(target.get(), ControlEvents::kTouchDown);
  control->tap();
  EXPECT_EQ(target->touches, 1);
  control->removeTarget(target.get(), ControlEvents::kTouchUpInside);
  control->tap();

  EXPECT_EQ(target->touches, 1);
  EXPECT_EQ(control->targetCount(), 0u);
}

TEST(ControlTest, RemoveTargetWithNoTargetRemovesEveryEntry) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<Counter>();
  int targetless = 0;
  control->addTarget(target, &Counter::touched, ControlEvents::kTouchDown);
  control->addAction([&](platform::Control&) { ++targetless; }, ControlEvents::kTouchDown);

  control->removeTarget(nullptr, ControlEvents::kAllEvents);
  control->tap();

  EXPECT_EQ(target->touches, 0);
  EXPECT_EQ(targetless, 0);
}

TEST(ControlTest, EntryRemovedByAnEarlierActionDoesNotRun) {
  auto control = std::make_shared<Control>();
  auto first = std::make_shared<int>(0);
  auto second = std::make_shared<Counter>();
  control->addTarget(
      first,
      [&](platform::Control& sender) {
        sender.removeTarget(second.get(), ControlEvents::kAllEvents);
      },
      ControlEvents::kTouchDown);
  control->addTarget(second, &Counter::touched, ControlEvents::kTouchDown);

  control->sendActions(ControlEvents::kTouchDown);

  EXPECT_EQ(second->touches, 0);
}

TEST(ControlTest, EntryAddedByAnActionWaitsForTheNextSend) {
  auto control = std::make_shared<Control>();
  auto target = std::make_shared<Counter>();
  bool added = false;
  control->addAction(
      [&](platform::Control& sender) {
        if (added) return;
        added = true;
        sender.addTarget(target, &Counter::touched, ControlEvents::kTouchDown);
      },
      ControlEvents::kTouchDown);

  control->sendActions(ControlEvents::kTouchDown);
  EXPECT_EQ(target->touches, 0);
  control->sendActions(ControlEvents::kTouchDown);
  EXPECT_EQ(target->touches, 1);
}

TEST(ControlTest, TapSendsTouchDownThenTouchUpInside) {
  auto button = std::make_shared<Button>("Buy");
  EventRecorder recorder(*button);

  button->tap();

  EXPECT_EQ(recorder.events(), (std::vector<std::string>{"touch-down", "touch-up-inside"}));
}

TEST(ControlTest, DisabledOrHiddenControlIgnoresTapsButSendActionsStillWorks) {
  auto button = std::make_shared<Button>("Buy");
  EventRecorder recorder(*button);
  button->setEnabled(false);

  button->tap();
  EXPECT_TRUE(recorder.events().empty());
  button->sendActions(ControlEvents::kTouchDown);
  EXPECT_EQ(recorder.events(), (std::vector<std::string>{"touch-down"}));

  recorder.clear();
  button->setEnabled(true);
  button->setHidden(true);
  button->tap();
  EXPECT_TRUE(recorder.events().empty());
}

TEST(ControlTest, ActionMayDropTheLastOwnerOfItsControl) {
  auto control = std::make_shared<Control>();
  std::weak_ptr<Control> weak = control;
  int runs = 0;
  control->addAction(
      [&](platform::Control&) {
        ++runs;
        control.reset();
      },
      ControlEvents::kTouchDown);
  control->addAction([&](platform::Control&) { ++runs; }, ControlEvents::kTouchDown);

  weak.lock()->sendActions(ControlEvents::kTouchDown);

  EXPECT_EQ(runs, 2);
  EXPECT_TRUE(weak.expired());
}

TEST(ControlTest, EveryControlHasItsKind) {
  pelorin::testing::TestPlatform test;  // the date picker reads the clock
  EXPECT_EQ(Control().kind(), ControlKind::kOther);
  EXPECT_EQ(Button().kind(), ControlKind::kButton);
  EXPECT_EQ(TextField().kind(), ControlKind::kTextField);
  EXPECT_EQ(Switch().kind(), ControlKind::kSwitch);
  EXPECT_EQ(Slider().kind(), ControlKind::kSlider);
  EXPECT_EQ(Stepper().kind(), ControlKind::kStepper);
  EXPECT_EQ(SegmentedControl().kind(), ControlKind::kSegmentedControl);
  EXPECT_EQ(DatePicker().kind(), ControlKind::kDatePicker);
  EXPECT_EQ(toString(ControlKind::kSegmentedControl), "segmented control");
}

TEST(ControlTest, ControlIsAViewFoundInTheTree) {
  auto screen = std::make_shared<View>();
  auto button = std::make_shared<Button>("Buy");
  screen->addSubview(button);

  auto* found = dynamic_cast<Control*>(screen->subviews()[0].get());

  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->kind(), ControlKind::kButton);
}

}  // namespace
}  // namespace pelorin::headless
