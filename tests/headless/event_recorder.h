// Test helper: records, in order, the control events a control sends.
#ifndef PELORIN_TESTS_HEADLESS_EVENT_RECORDER_H_
#define PELORIN_TESTS_HEADLESS_EVENT_RECORDER_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "pelorin/headless/control.h"

namespace pelorin::headless {

class EventRecorder {
 public:
  // Registers one target action per known event on `control`.
  explicit EventRecorder(platform::Control& control) {
    const std::pair<ControlEvents, const char*> kNames[] = {
        {ControlEvents::kTouchDown, "touch-down"},
        {ControlEvents::kTouchUpInside, "touch-up-inside"},
        {ControlEvents::kValueChanged, "value-changed"},
        {ControlEvents::kEditingDidBegin, "editing-did-begin"},
        {ControlEvents::kEditingChanged, "editing-changed"},
        {ControlEvents::kEditingDidEnd, "editing-did-end"},
        {ControlEvents::kEditingDidEndOnExit, "editing-did-end-on-exit"},
    };
    for (const auto& [events, name] : kNames) {
      control.addTarget(
          _token, [this, name = std::string(name)](platform::Control&) { _events.push_back(name); },
          events);
    }
  }

  const std::vector<std::string>& events() const { return _events; }
  void clear() { _events.clear(); }

 private:
  std::shared_ptr<int> _token = std::make_shared<int>(0);  // the target the actions belong to
  std::vector<std::string> _events;
};

}  // namespace pelorin::headless

#endif  // PELORIN_TESTS_HEADLESS_EVENT_RECORDER_H_
