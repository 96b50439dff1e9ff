// Controls of the headless toolkit: views that send actions to targets when control events
// happen (target-action with control-event masks), implementing `platform::Control`.
//
// Thread safety: none; main thread only, like every toolkit object.
//
//   auto buy = std::make_shared<Button>("Buy");
//   buy->addTarget(service, [](platform::Control& sender) { ... },
//                  ControlEvents::kTouchUpInside);
//   buy->tap();  // touch-down, then touch-up-inside: the action runs once
#ifndef PELORIN_HEADLESS_CONTROL_H_
#define PELORIN_HEADLESS_CONTROL_H_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "pelorin/export.h"
#include "pelorin/headless/view.h"
#include "pelorin/platform/control.h"

namespace pelorin::headless {

using platform::ControlEvents;
using platform::ControlKind;

// The base of every control. On its own (kind kOther) it is a generic control that an app
// subclasses; the concrete ones are in controls.h. Targets are kept by a
// `platform::ControlTargets`: see `platform::Control` for the rules.
class PELORIN_EXPORT Control : public View, public platform::Control {
 public:
  std::string_view className() const override { return "Control"; }
  ControlKind kind() const override { return ControlKind::kOther; }
  bool isContinuous() const override { return false; }
  platform::Control* asControl() override { return this; }
  platform::View& asView() override { return *this; }

  bool isEnabled() const { return _enabled; }
  // A disabled control ignores the user (tap, typing, dragging...); `sendActions` still
  // works.
  void setEnabled(bool enabled) { _enabled = enabled; }

  void addTargetAction(platform::TargetAction entry) override { _targets.add(std::move(entry)); }
  void removeTarget(const void* target, ControlEvents events) override {
    _targets.remove(target, events);
  }
  // An action that the control itself owns, with no target: it runs for as long as the
  // control lives.
  void addAction(Action action, ControlEvents events) {
    _targets.addAction(std::move(action), events);
  }

  // The events that the live target `target` is registered for (empty when none).
  ControlEvents controlEventsForTarget(const void* target) const {
    return _targets.eventsForTarget(target);
  }
  // The union of the events of every live entry.
  ControlEvents allControlEvents() const { return _targets.allEvents(); }
  // How many live targets (distinct objects) have entries.
  std::size_t targetCount() const { return _targets.targetCount(); }

  // Runs, in the order they were added, the actions of every live entry registered for at
  // least one of `events`, once each. Entries added by an action wait for the next call;
  // entries that an action removes do not run.
  void sendActions(ControlEvents events);

  // The user taps the control: when enabled, touch-down then touch-up-inside. Some
  // controls do more (a switch toggles).
  void tap() override;

 protected:
  void describeDetails(std::string& out) const override;

 private:
  platform::ControlTargets _targets;
  bool _enabled = true;
};

}  // namespace pelorin::headless

#endif  // PELORIN_HEADLESS_CONTROL_H_
