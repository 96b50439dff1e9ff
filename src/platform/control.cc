#include "pelorin/platform/control.h"

#include <algorithm>
#include <set>

namespace pelorin::platform {
namespace {

// Identity of a weakly held target, usable even after it has gone.
const void* targetOf(const std::weak_ptr<void>& target) {
  auto strong = target.lock();
  return strong.get();
}

}  // namespace

std::string_view toString(ControlKind kind) {
  switch (kind) {
    case ControlKind::kButton:
      return "button";
    case ControlKind::kTextField:
      return "text field";
    case ControlKind::kSwitch:
      return "switch";
    case ControlKind::kSlider:
      return "slider";
    case ControlKind::kStepper:
      return "stepper";
    case ControlKind::kSegmentedControl:
      return "segmented control";
    case ControlKind::kDatePicker:
      return "date picker";
    case ControlKind::kOther:
      return "other";
  }
  return "other";
}

void Control::addTarget(std::weak_ptr<void> target, Action action, ControlEvents events) {
  if (!action || events.empty()) return;
  addEntry(std::move(target), std::move(action), events, nullptr);
}

bool Control::hasEntry(const void* target, const Selector& selector, ControlEvents events) const {
  return std::any_of(_entries.begin(), _entries.end(), [&](const Entry& entry) {
    return entry.hasTarget && entry.selector && entry.events == events &&
           targetOf(entry.target) == target && entry.selector->equals(selector);
  });
}

void Control::addEntry(std::weak_ptr<void> target, Action action, ControlEvents events,
                       std::shared_ptr<const Selector> selector) {
  _entries.push_back(Entry{++_lastEntryId, std::move(target), true, std::move(action), events,
                           std::move(selector)});
}

void Control::addAction(Action action, ControlEvents events) {
  if (!action || events.empty()) return;
  _entries.push_back(Entry{++_lastEntryId, {}, false, std::move(action), events, nullptr});
}

void Control::removeTarget(const void* target, ControlEvents events) {
  const ControlEvents kept(~events.bits());
  for (Entry& entry : _entries) {
    if (target == nullptr || (entry.hasTarget && targetOf(entry.target) == target)) {
      entry.events = entry.events & kept;
    }
  }
  std::erase_if(_entries,
                [this](const Entry& entry) { return entry.events.empty() || !isLive(entry); });
}

ControlEvents Control::controlEventsForTarget(const void* target) const {
  ControlEvents events;
  if (target == nullptr) return events;
  for (const Entry& entry : _entries) {
    if (entry.hasTarget && targetOf(entry.target) == target) events = events | entry.events;
  }
  return events;
}

ControlEvents Control::allControlEvents() const {
  ControlEvents events;
  for (const Entry& entry : _entries) {
    if (isLive(entry)) events = events | entry.events;
  }
  return events;
}

std::size_t Control::targetCount() const {
  std::set<const void*> targets;
  for (const Entry& entry : _entries) {
    if (!entry.hasTarget) continue;
    if (const void* target = targetOf(entry.target)) targets.insert(target);
  }
  return targets.size();
}

void Control::sendActions(ControlEvents events) {
  std::erase_if(_entries, [this](const Entry& entry) { return !isLive(entry); });
  // Actions may add or remove targets, or drop the last owner of this control.
  auto self = weak_from_this().lock();
  const std::vector<Entry> snapshot = _entries;
  for (const Entry& entry : snapshot) {
    if (!currentEvents(entry.id).intersects(events)) continue;
    if (!entry.hasTarget) {
      entry.action(*this);
      continue;
    }
    auto target = entry.target.lock();
    if (target) entry.action(*this);
  }
}

ControlEvents Control::currentEvents(std::uint64_t id) const {
  for (const Entry& entry : _entries) {
    if (entry.id == id) return entry.events;
  }
  return ControlEvents();
}

void Control::tap() {
  if (!isEnabled() || isHidden()) return;
  sendActions(ControlEvents::kTouchDown);
  sendActions(ControlEvents::kTouchUpInside);
}

void Control::describeDetails(std::string& out) const {
  if (!_enabled) out += "; enabled = NO";
}

}  // namespace pelorin::platform
