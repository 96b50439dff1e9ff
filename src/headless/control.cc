#include "pelorin/headless/control.h"

namespace pelorin::headless {

void Control::sendActions(ControlEvents events) {
  // An action may drop the last owner of this control.
  auto self = weak_from_this().lock();
  _targets.send(*this, events);
}

void Control::tap() {
  if (!isEnabled() || isHidden()) return;
  sendActions(ControlEvents::kTouchDown);
  sendActions(ControlEvents::kTouchUpInside);
}

void Control::describeDetails(std::string& out) const {
  if (!_enabled) out += "; enabled = NO";
}

}  // namespace pelorin::headless
