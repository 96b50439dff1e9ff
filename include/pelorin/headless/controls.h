// The concrete controls of the headless toolkit. Each has programmatic setters, which send
// no events (as in a real toolkit), and user actions for hosts and tests (`tap`,
// `typeText`, `toggle`, `drag`, ...), which send the events a real user would cause.
//
// Thread safety: none; main thread only, like every toolkit object.
#ifndef PELORIN_HEADLESS_CONTROLS_H_
#define PELORIN_HEADLESS_CONTROLS_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/export.h"
#include "pelorin/headless/control.h"
#include "pelorin/platform/services.h"

namespace pelorin::headless {

using platform::Clock;

// A push button. Its title and image are drawn by the button itself: a button has no text
// property, so its title is not part of the visible text of a screen.
class PELORIN_EXPORT Button : public Control {
 public:
  Button() = default;
  explicit Button(std::optional<std::string> title) : _title(std::move(title)) {}

  std::string_view className() const override { return "Button"; }
  ControlKind kind() const override { return ControlKind::kButton; }

  const std::optional<std::string>& title() const { return _title; }
  void setTitle(std::optional<std::string> title) { _title = std::move(title); }
  const std::optional<Image>& image() const { return _image; }
  void setImage(std::optional<Image> image) { _image = std::move(image); }

 protected:
  void describeDetails(std::string& out) const override;

 private:
  std::optional<std::string> _title;
  std::optional<Image> _image;
};

// A one-line editable text. Its text property always holds a string ("" when empty).
//
// User actions and the events they send, when the field is enabled:
//   beginEditing()  editing-did-begin (once, when not yet editing)
//   typeText("ab")  begins editing if needed, appends, editing-changed
//   clearText()     begins editing if needed, empties, editing-changed
//   endEditing()    editing-did-end (only while editing)
//   pressReturn()   editing-did-end-on-exit, then ends editing: editing-did-end
class PELORIN_EXPORT TextField : public Control {
 public:
  TextField() = default;
  explicit TextField(std::string text) : _text(std::move(text)) {}

  std::string_view className() const override { return "TextField"; }
  ControlKind kind() const override { return ControlKind::kTextField; }
  bool hasTextProperty() const override { return true; }
  std::optional<std::string> text() const override { return _text; }

  void setText(std::string text) { _text = std::move(text); }
  const std::string& placeholder() const { return _placeholder; }
  void setPlaceholder(std::string placeholder) { _placeholder = std::move(placeholder); }
  bool isEditing() const { return _editing; }

  void beginEditing();
  void typeText(std::string_view typed);
  void clearText();
  void endEditing();
  void pressReturn();
  // A tap on a field starts editing it, after its touch events.
  void tap() override;

 protected:
  void describeDetails(std::string& out) const override;

 private:
  std::string _text;
  std::string _placeholder;
  bool _editing = false;
};

// An on/off switch. A tap (or `toggle()`) flips it: touch-down, value-changed,
// touch-up-inside.
class PELORIN_EXPORT Switch : public Control {
 public:
  explicit Switch(bool on = false) : _on(on) {}

  std::string_view className() const override { return "Switch"; }
  ControlKind kind() const override { return ControlKind::kSwitch; }

  bool isOn() const { return _on; }
  void setOn(bool on) { _on = on; }
  void toggle();
  void tap() override { toggle(); }

 protected:
  void describeDetails(std::string& out) const override;

 private:
  bool _on;
};

// A slider between a minimum and a maximum (0 and 1 by default). Continuous by default:
// while the user drags, every step that changes the value sends value-changed; a slider
// that is not continuous sends value-changed once, on release, when the value changed.
// The release sends touch-up-inside either way.
class PELORIN_EXPORT Slider : public Control {
 public:
  Slider() = default;
  Slider(double minimumValue, double maximumValue, double value);

  std::string_view className() const override { return "Slider"; }
  ControlKind kind() const override { return ControlKind::kSlider; }

  double value() const { return _value; }
  // Clamped to the range.
  void setValue(double value);
  double minimumValue() const { return _minimum; }
  double maximumValue() const { return _maximum; }
  bool isContinuous() const override { return _continuous; }
  void setContinuous(bool continuous) { _continuous = continuous; }

  // The user puts a finger on the thumb (touch-down), moves it through `positions` in
  // order (each clamped to the range) and lifts it at the last one.
  //
  //   slider.drag({0.2, 0.4, 0.6});  // continuous: three value-changed, then touch-up-inside
  void drag(const std::vector<double>& positions);

 protected:
  void describeDetails(std::string& out) const override;

 private:
  double _minimum = 0;
  double _maximum = 1;
  double _value = 0;
  bool _continuous = true;
};

// Plus and minus buttons that step a value within a range (0 to 100 by 1 by default).
// `increment()`/`decrement()`: touch-down, value-changed when the value changed,
// touch-up-inside.
class PELORIN_EXPORT Stepper : public Control {
 public:
  Stepper() = default;
  Stepper(double minimumValue, double maximumValue, double stepValue, double value);

  std::string_view className() const override { return "Stepper"; }
  ControlKind kind() const override { return ControlKind::kStepper; }

  double value() const { return _value; }
  void setValue(double value);
  double stepValue() const { return _step; }
  void increment() { step(_step); }
  void decrement() { step(-_step); }

 protected:
  void describeDetails(std::string& out) const override;

 private:
  void step(double by);

  double _minimum = 0;
  double _maximum = 100;
  double _step = 1;
  double _value = 0;
};

// A row of titled segments, at most one selected. `selectSegment(i)`: touch-down,
// value-changed when the selection changed, touch-up-inside.
class PELORIN_EXPORT SegmentedControl : public Control {
 public:
  explicit SegmentedControl(std::vector<std::string> titles = {}) : _titles(std::move(titles)) {}

  std::string_view className() const override { return "SegmentedControl"; }
  ControlKind kind() const override { return ControlKind::kSegmentedControl; }

  std::size_t numberOfSegments() const { return _titles.size(); }
  std::optional<std::string> titleForSegment(std::size_t index) const;
  std::optional<std::size_t> selectedSegmentIndex() const { return _selected; }
  // An index out of range is ignored.
  void setSelectedSegmentIndex(std::optional<std::size_t> index);
  // False (and nothing sent) when the index is out of range or the control is disabled.
  bool selectSegment(std::size_t index);

 protected:
  void describeDetails(std::string& out) const override;

 private:
  std::vector<std::string> _titles;
  std::optional<std::size_t> _selected;
};

// Picks a date; starts at the platform clock's current time. The user spinning its wheels
// to another date sends value-changed.
class PELORIN_EXPORT DatePicker : public Control {
 public:
  DatePicker();
  explicit DatePicker(Clock::TimePoint date) : _date(date) {}

  std::string_view className() const override { return "DatePicker"; }
  ControlKind kind() const override { return ControlKind::kDatePicker; }

  Clock::TimePoint date() const { return _date; }
  void setDate(Clock::TimePoint date) { _date = date; }
  void pickDate(Clock::TimePoint date);

 private:
  Clock::TimePoint _date;
};

}  // namespace pelorin::headless

#endif  // PELORIN_HEADLESS_CONTROLS_H_
