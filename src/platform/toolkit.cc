// The concrete parts of the toolkit interfaces: layout constraints, the targets of a
// control, and the defaults of the delegates and lookups.
#include <algorithm>
#include <cctype>
#include <set>

#include "pelorin/platform/control.h"
#include "pelorin/platform/view.h"
#include "pelorin/platform/view_controller.h"
#include "pelorin/platform/web_view.h"

namespace pelorin::platform {
namespace {

// Identity of a weakly held target, usable even after it has gone.
const void* targetOf(const std::weak_ptr<void>& target) {
  auto strong = target.lock();
  return strong.get();
}

}  // namespace

// --- LayoutConstraint

LayoutConstraint::LayoutConstraint(std::string visualFormat,
                                   const std::map<std::string, std::shared_ptr<View>>& views)
    : _visualFormat(std::move(visualFormat)) {
  for (const auto& [name, view] : views) _views.emplace(name, view);
}

std::shared_ptr<View> LayoutConstraint::view(std::string_view name) const {
  auto found = _views.find(name);
  if (found == _views.end()) return nullptr;
  std::shared_ptr<View> view = found->second.lock();
  return view && !view->isGone() ? view : nullptr;
}

std::vector<std::string> LayoutConstraint::viewNames() const {
  std::vector<std::string> names;
  names.reserve(_views.size());
  for (const auto& entry : _views) names.push_back(entry.first);
  return names;
}

std::vector<std::string> LayoutConstraint::namesInFormat() const {
  std::vector<std::string> names;
  for (std::size_t open = _visualFormat.find('['); open != std::string::npos;
       open = _visualFormat.find('[', open + 1)) {
    std::size_t end = open + 1;
    while (end < _visualFormat.size() &&
           (std::isalnum(static_cast<unsigned char>(_visualFormat[end])) != 0 ||
            _visualFormat[end] == '_')) {
      ++end;
    }
    names.push_back(_visualFormat.substr(open + 1, end - open - 1));
  }
  return names;
}

bool LayoutConstraint::isValid() const {
  if (_visualFormat.empty()) return false;
  const auto names = namesInFormat();
  return std::all_of(names.begin(), names.end(),
                     [this](const std::string& name) { return view(name) != nullptr; });
}

bool LayoutConstraint::references(const View& target) const {
  return std::any_of(_views.begin(), _views.end(),
                     [&target](const auto& entry) { return entry.second.lock().get() == &target; });
}

// --- Controls

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

bool ControlTargets::add(TargetAction entry) {
  if (!entry.action || entry.events.empty()) return false;
  // Entries of targets that are gone never act again: dropped here, so a control that is
  // never tapped while its screen's services come and go keeps no list of the dead.
  std::erase_if(_entries, [](const Entry& known) { return !isLive(known); });
  if (entry.selector) {
    const void* target = targetOf(entry.target);
    const bool repeated = std::any_of(_entries.begin(), _entries.end(), [&](const Entry& known) {
      const TargetAction& registered = known.registration;
      return known.hasTarget && registered.selector && registered.events == entry.events &&
             targetOf(registered.target) == target && registered.selector->equals(*entry.selector);
    });
    if (repeated) return false;
  }
  _entries.push_back(Entry{++_lastEntryId, std::move(entry), true});
  return true;
}

void ControlTargets::addAction(TargetAction::Action action, ControlEvents events) {
  if (!action || events.empty()) return;
  _entries.push_back(
      Entry{++_lastEntryId, TargetAction{{}, std::move(action), events, nullptr}, false});
}

void ControlTargets::remove(const void* target, ControlEvents events) {
  const ControlEvents kept(~events.bits());
  for (Entry& entry : _entries) {
    if (target == nullptr || (entry.hasTarget && targetOf(entry.registration.target) == target)) {
      entry.registration.events = entry.registration.events & kept;
    }
  }
  std::erase_if(_entries, [](const Entry& entry) {
    return entry.registration.events.empty() || !isLive(entry);
  });
}

ControlEvents ControlTargets::eventsForTarget(const void* target) const {
  ControlEvents events;
  if (target == nullptr) return events;
  for (const Entry& entry : _entries) {
    if (entry.hasTarget && targetOf(entry.registration.target) == target) {
      events = events | entry.registration.events;
    }
  }
  return events;
}

ControlEvents ControlTargets::allEvents() const {
  ControlEvents events;
  for (const Entry& entry : _entries) {
    if (isLive(entry)) events = events | entry.registration.events;
  }
  return events;
}

std::size_t ControlTargets::targetCount() const {
  std::set<const void*> targets;
  for (const Entry& entry : _entries) {
    if (!entry.hasTarget) continue;
    if (const void* target = targetOf(entry.registration.target)) targets.insert(target);
  }
  return targets.size();
}

void ControlTargets::send(Control& sender, ControlEvents events) {
  std::erase_if(_entries, [](const Entry& entry) { return !isLive(entry); });
  // Actions may add or remove targets: run those registered now, while they still are.
  const std::vector<Entry> snapshot = _entries;
  for (const Entry& entry : snapshot) {
    if (!currentEvents(entry.id).intersects(events)) continue;
    if (!entry.hasTarget) {
      entry.registration.action(sender);
      continue;
    }
    auto target = entry.registration.target.lock();  // kept alive while its action runs
    if (target) entry.registration.action(sender);
  }
}

ControlEvents ControlTargets::currentEvents(std::uint64_t id) const {
  for (const Entry& entry : _entries) {
    if (entry.id == id) return entry.registration.events;
  }
  return ControlEvents();
}

// --- View controllers

std::shared_ptr<View> ViewController::viewForProperty(std::string_view name) {
  auto value = valueForProperty(name);
  if (!value) return nullptr;
  if (auto* view = std::get_if<std::shared_ptr<View>>(&*value)) return *view;
  return nullptr;
}

// --- Web views

// The handler is taken by value because overrides keep it to decide later.
void NavigationDelegate::decidePolicyFor(
    WebView& /*webView*/, const NavigationAction& /*action*/,
    DecisionHandler decisionHandler) {  // NOLINT(performance-unnecessary-value-param)
  decisionHandler(NavigationActionPolicy::kAllow);
}

void NavigationDelegate::didStartProvisionalNavigation(WebView& /*webView*/,
                                                       const Navigation& /*navigation*/) {}

}  // namespace pelorin::platform
