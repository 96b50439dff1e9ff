#include "pelorin/headless/controls.h"

#include <algorithm>

#include <fmt/format.h>

#include "pelorin/platform/platform.h"

namespace pelorin::headless {

// --- Button

void Button::describeDetails(std::string& out) const {
  Control::describeDetails(out);
  appendTextDetail(out, "title", _title);
}

// --- TextField

void TextField::beginEditing() {
  if (!isEnabled() || _editing) return;
  _editing = true;
  sendActions(ControlEvents::kEditingDidBegin);
}

void TextField::typeText(std::string_view typed) {
  if (!isEnabled()) return;
  beginEditing();
  _text.append(typed);
  sendActions(ControlEvents::kEditingChanged);
}

void TextField::clearText() {
  if (!isEnabled()) return;
  beginEditing();
  _text.clear();
  sendActions(ControlEvents::kEditingChanged);
}

void TextField::endEditing() {
  if (!_editing) return;
  _editing = false;
  sendActions(ControlEvents::kEditingDidEnd);
}

void TextField::pressReturn() {
  if (!isEnabled() || !_editing) return;
  sendActions(ControlEvents::kEditingDidEndOnExit);
  endEditing();
}

void TextField::tap() {
  if (!isEnabled() || isHidden()) return;
  Control::tap();
  beginEditing();
}

void TextField::describeDetails(std::string& out) const {
  Control::describeDetails(out);
  appendTextDetail(out, "text", _text);
}

// --- Switch

void Switch::toggle() {
  if (!isEnabled() || isHidden()) return;
  sendActions(ControlEvents::kTouchDown);
  _on = !_on;
  sendActions(ControlEvents::kValueChanged);
  sendActions(ControlEvents::kTouchUpInside);
}

void Switch::describeDetails(std::string& out) const {
  Control::describeDetails(out);
  out += _on ? "; on = YES" : "; on = NO";
}

// --- Slider

Slider::Slider(double minimumValue, double maximumValue, double value)
    : _minimum(minimumValue), _maximum(std::max(minimumValue, maximumValue)) {
  setValue(value);
}

void Slider::setValue(double value) { _value = std::clamp(value, _minimum, _maximum); }

void Slider::drag(const std::vector<double>& positions) {
  if (!isEnabled() || isHidden() || positions.empty()) return;
  const double start = _value;
  sendActions(ControlEvents::kTouchDown);
  for (double position : positions) {
    const double previous = _value;
    setValue(position);
    if (_continuous && _value != previous) sendActions(ControlEvents::kValueChanged);
  }
  if (!_continuous && _value != start) sendActions(ControlEvents::kValueChanged);
  sendActions(ControlEvents::kTouchUpInside);
}

void Slider::describeDetails(std::string& out) const {
  Control::describeDetails(out);
  out += fmt::format("; value = {:g}", _value);
}

// --- Stepper

Stepper::Stepper(double minimumValue, double maximumValue, double stepValue, double value)
    : _minimum(minimumValue),
      _maximum(std::max(minimumValue, maximumValue)),
      _step(stepValue > 0 ? stepValue : 1) {
  setValue(value);
}

void Stepper::setValue(double value) { _value = std::clamp(value, _minimum, _maximum); }

void Stepper::step(double by) {
  if (!isEnabled() || isHidden()) return;
  sendActions(ControlEvents::kTouchDown);
  const double previous = _value;
  setValue(_value + by);
  if (_value != previous) sendActions(ControlEvents::kValueChanged);
  sendActions(ControlEvents::kTouchUpInside);
}

void Stepper::describeDetails(std::string& out) const {
  Control::describeDetails(out);
  out += fmt::format("; value = {:g}", _value);
}

// --- SegmentedControl

std::optional<std::string> SegmentedControl::titleForSegment(std::size_t index) const {
  if (index >= _titles.size()) return std::nullopt;
  return _titles[index];
}

void SegmentedControl::setSelectedSegmentIndex(std::optional<std::size_t> index) {
  if (index && *index >= _titles.size()) return;
  _selected = index;
}

bool SegmentedControl::selectSegment(std::size_t index) {
  if (!isEnabled() || isHidden() || index >= _titles.size()) return false;
  sendActions(ControlEvents::kTouchDown);
  const bool changed = _selected != index;
  _selected = index;
  if (changed) sendActions(ControlEvents::kValueChanged);
  sendActions(ControlEvents::kTouchUpInside);
  return true;
}

void SegmentedControl::describeDetails(std::string& out) const {
  Control::describeDetails(out);
  if (_selected) {
    out += fmt::format("; selected = '{}'", _titles[*_selected]);
  } else {
    out += "; selected = nil";
  }
}

// --- DatePicker

DatePicker::DatePicker() : _date(Platform::current().clock().now()) {}

void DatePicker::pickDate(Clock::TimePoint date) {
  if (!isEnabled() || isHidden() || date == _date) return;
  _date = date;
  sendActions(ControlEvents::kValueChanged);
}

}  // namespace pelorin::headless
