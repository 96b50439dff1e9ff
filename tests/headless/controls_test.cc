#include "pelorin/headless/controls.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "headless/event_recorder.h"
#include "support/test_platform.h"

namespace pelorin::headless {
namespace {

using Events = std::vector<std::string>;

TEST(ButtonTest, TitleIsDrawnByTheButtonNotATextProperty) {
  auto button = std::make_shared<Button>("Buy");

  EXPECT_EQ(button->title(), "Buy");
  EXPECT_FALSE(button->hasTextProperty());
  EXPECT_EQ(button->text(), std::nullopt);
  EXPECT_EQ(button->description(), "<Button; frame = (0 0; 0 0); title = 'Buy'>");
}

TEST(ButtonTest, KeepsTheImageItWasGiven) {
  Button button;
  button.setImage(Image{"close.png", {0x89, 0x50}});

  ASSERT_TRUE(button.image().has_value());
  EXPECT_EQ(button.image()->source, "close.png");
  EXPECT_EQ(button.image()->data, (std::vector<std::uint8_t>{0x89, 0x50}));
}

TEST(TextFieldTest, TextPropertyHoldsAnEmptyStringAtFirst) {
  TextField field;

  EXPECT_TRUE(field.hasTextProperty());
  EXPECT_EQ(field.text(), "");
}

TEST(TextFieldTest, TypingBeginsEditingAndSendsEditingChangedPerInsertion) {
  auto field = std::make_shared<TextField>();
  EventRecorder recorder(*field);

  field->typeText("ann@");
  field->typeText("example.com");

  EXPECT_EQ(field->text(), "ann@example.com");
  EXPECT_TRUE(field->isEditing());
  EXPECT_EQ(recorder.events(), (Events{"editing-did-begin", "editing-changed", "editing-changed"}));
}

TEST(TextFieldTest, EndingEditingSendsEditingDidEndOnlyWhileEditing) {
  auto field = std::make_shared<TextField>();
  EventRecorder recorder(*field);

  field->endEditing();
  EXPECT_TRUE(recorder.events().empty());
  field->typeText("x");
  recorder.clear();
  field->endEditing();

  EXPECT_FALSE(field->isEditing());
  EXPECT_EQ(recorder.events(), (Events{"editing-did-end"}));
}

TEST(TextFieldTest, ReturnKeySendsEditingDidEndOnExitThenEditingDidEnd) {
  auto field = std::make_shared<TextField>();
  field->typeText("Amsterdam");
  EventRecorder recorder(*field);

  field->pressReturn();

  EXPECT_EQ(recorder.events(), (Events{"editing-did-end-on-exit", "editing-did-end"}));
  EXPECT_FALSE(field->isEditing());
  field->pressReturn();  // not editing any more: nothing
  EXPECT_EQ(recorder.events().size(), 2u);
}

TEST(TextFieldTest, TapSendsTouchesAndBeginsEditing) {
  auto field = std::make_shared<TextField>();
  EventRecorder recorder(*field);

  field->tap();

  EXPECT_EQ(recorder.events(), (Events{"touch-down", "touch-up-inside", "editing-did-begin"}));
}

TEST(TextFieldTest, SettingTextInCodeSendsNothing) {
  auto field = std::make_shared<TextField>();
  EventRecorder recorder(*field);

  field->setText("preset");

  EXPECT_EQ(field->text(), "preset");
  EXPECT_TRUE(recorder.events().empty());
}

TEST(TextFieldTest, ClearTextEmptiesTheFieldAsAnEdit) {
  auto field = std::make_shared<TextField>("old");
  EventRecorder recorder(*field);

  field->clearText();

  EXPECT_EQ(field->text(), "");
  EXPECT_EQ(recorder.events(), (Events{"editing-did-begin", "editing-changed"}));
}

TEST(TextFieldTest, DisabledFieldIgnoresTheUser) {
  auto field = std::make_shared<TextField>("kept");
  EventRecorder recorder(*field);
  field->setEnabled(false);

  field->typeText("x");
  field->tap();

  EXPECT_EQ(field->text(), "kept");
  EXPECT_TRUE(recorder.events().empty());
}

TEST(SwitchTest, ToggleFlipsAndSendsValueChangedBetweenTheTouches) {
  auto toggle = std::make_shared<Switch>();
  EventRecorder recorder(*toggle);

  toggle->toggle();
  EXPECT_TRUE(toggle->isOn());
  toggle->tap();
  EXPECT_FALSE(toggle->isOn());

  EXPECT_EQ(recorder.events(), (Events{"touch-down", "value-changed", "touch-up-inside",
                                       "touch-down", "value-changed", "touch-up-inside"}));
  EXPECT_EQ(toggle->description(), "<Switch; frame = (0 0; 0 0); on = NO>");
}

TEST(SwitchTest, SetOnInCodeSendsNothing) {
  auto toggle = std::make_shared<Switch>();
  EventRecorder recorder(*toggle);

  toggle->setOn(true);

  EXPECT_TRUE(toggle->isOn());
  EXPECT_TRUE(recorder.events().empty());
}

TEST(SliderTest, ContinuousByDefaultFromZeroToOne) {
  Slider slider;

  EXPECT_TRUE(slider.isContinuous());
  EXPECT_EQ(slider.minimumValue(), 0);
  EXPECT_EQ(slider.maximumValue(), 1);
  EXPECT_EQ(slider.value(), 0);
}

TEST(SliderTest, ContinuousDragSendsValueChangedOnEveryStep) {
  auto slider = std::make_shared<Slider>();
  EventRecorder recorder(*slider);

  slider->drag({0.2, 0.4, 0.6});

  EXPECT_DOUBLE_EQ(slider->value(), 0.6);
  EXPECT_EQ(recorder.events(), (Events{"touch-down", "value-changed", "value-changed",
                                       "value-changed", "touch-up-inside"}));
}

TEST(SliderTest, NonContinuousDragSendsValueChangedOnceOnRelease) {
  auto slider = std::make_shared<Slider>();
  slider->setContinuous(false);
  EventRecorder recorder(*slider);

  slider->drag({0.2, 0.4, 0.6});

  EXPECT_DOUBLE_EQ(slider->value(), 0.6);
  EXPECT_EQ(recorder.events(), (Events{"touch-down", "value-changed", "touch-up-inside"}));
}

TEST(SliderTest, DragBackToTheStartChangesNothingOnRelease) {
  auto slider = std::make_shared<Slider>(0, 10, 5);
  slider->setContinuous(false);
  EventRecorder recorder(*slider);

  slider->drag({7, 5});

  EXPECT_EQ(recorder.events(), (Events{"touch-down", "touch-up-inside"}));
}

TEST(SliderTest, PositionsAreClampedAndStepsWithoutChangeSendNothing) {
  auto slider = std::make_shared<Slider>(0, 10, 5);
  EventRecorder recorder(*slider);

  slider->drag({12, 15, -3});

  EXPECT_EQ(slider->value(), 0);
  EXPECT_EQ(recorder.events(),
            (Events{"touch-down", "value-changed", "value-changed", "touch-up-inside"}));
}

TEST(SliderTest, SetValueInCodeIsClampedAndSendsNothing) {
  auto slider = std::make_shared<Slider>(0, 10, 5);
  EventRecorder recorder(*slider);

  slider->setValue(42);

  EXPECT_EQ(slider->value(), 10);
  EXPECT_TRUE(recorder.events().empty());
  EXPECT_EQ(slider->description(), "<Slider; frame = (0 0; 0 0); value = 10>");
}

TEST(StepperTest, StepsWithinItsRange) {
  auto stepper = std::make_shared<Stepper>(0, 2, 1, 1);
  EventRecorder recorder(*stepper);

  stepper->increment();
  EXPECT_EQ(stepper->value(), 2);
  EXPECT_EQ(recorder.events(), (Events{"touch-down", "value-changed", "touch-up-inside"}));

  recorder.clear();
  stepper->increment();  // already at the maximum
  EXPECT_EQ(stepper->value(), 2);
  EXPECT_EQ(recorder.events(), (Events{"touch-down", "touch-up-inside"}));

  stepper->decrement();
  EXPECT_EQ(stepper->value(), 1);
}

TEST(SegmentedControlTest, SelectingASegmentSendsValueChangedWhenTheSelectionChanges) {
  auto segments = std::make_shared<SegmentedControl>(std::vector<std::string>{"S", "M", "L"});
  EventRecorder recorder(*segments);
  EXPECT_EQ(segments->selectedSegmentIndex(), std::nullopt);

  EXPECT_TRUE(segments->selectSegment(1));
  EXPECT_EQ(segments->selectedSegmentIndex(), 1u);
  EXPECT_EQ(recorder.events(), (Events{"touch-down", "value-changed", "touch-up-inside"}));

  recorder.clear();
  EXPECT_TRUE(segments->selectSegment(1));
  EXPECT_EQ(recorder.events(), (Events{"touch-down", "touch-up-inside"}));

  EXPECT_FALSE(segments->selectSegment(3));
  EXPECT_EQ(segments->titleForSegment(2), "L");
  EXPECT_EQ(segments->titleForSegment(3), std::nullopt);
  EXPECT_EQ(segments->description(), "<SegmentedControl; frame = (0 0; 0 0); selected = 'M'>");
}

TEST(SegmentedControlTest, SelectingInCodeSendsNothingAndIgnoresBadIndexes) {
  auto segments = std::make_shared<SegmentedControl>(std::vector<std::string>{"S", "M"});
  EventRecorder recorder(*segments);

  segments->setSelectedSegmentIndex(0);
  segments->setSelectedSegmentIndex(5);

  EXPECT_EQ(segments->selectedSegmentIndex(), 0u);
  EXPECT_TRUE(recorder.events().empty());
}

TEST(DatePickerTest, StartsAtThePlatformClockAndPickingADateSendsValueChanged) {
  pelorin::testing::TestPlatform test;
  auto picker = std::make_shared<DatePicker>();
  EXPECT_EQ(picker->date(), test.clock().now());
  EventRecorder recorder(*picker);
  const auto birthday = Clock::TimePoint(std::chrono::seconds(631152000));

  picker->pickDate(birthday);
  picker->pickDate(birthday);  // the same date again: no change

  EXPECT_EQ(picker->date(), birthday);
  EXPECT_EQ(recorder.events(), (Events{"value-changed"}));
}

}  // namespace
}  // namespace pelorin::headless
