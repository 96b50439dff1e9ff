#include "listeners/form_listening_service.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "base/describe.h"
#include "base/text.h"
#include "config/pelorin_configuration.h"
#include "listeners/listener_util.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "pelorin/platform/control.h"
#include "pelorin/platform/picker_view.h"
#include "pelorin/platform/view.h"

namespace pelorin {
namespace {

using Strings = std::vector<std::string>;
using platform::ControlEvents;
using platform::ControlKind;

void logInfo(auto&& makeMessage) {
  PelorinConfiguration::log(std::forward<decltype(makeMessage)>(makeMessage),
                            FormListeningService::LOG_TAG, LogFlag::INFO);
}

std::string ruleText(JsonRef rule) { return rule.exists() ? rule.toPrettyString() : "unknown"; }

[[noreturn]] void fatal(const char* message) {
  std::fprintf(stderr, "FormListeningService: %s\n", message);
  std::abort();
}

// The events after which an observed control's value counts, by its kind.
std::optional<ControlEvents> changeEventsFor(const platform::Control& control) {
  switch (control.kind()) {
    case ControlKind::kSegmentedControl:
    case ControlKind::kDatePicker:
    case ControlKind::kStepper:
    case ControlKind::kSwitch:
      return ControlEvents::kValueChanged;
    case ControlKind::kSlider:
      // A continuous slider changes on every step of a drag; it counts once, on release.
      return control.isContinuous() ? ControlEvents::kTouchUpInside : ControlEvents::kValueChanged;
    case ControlKind::kTextField:
      return ControlEvents::kEditingDidEndOnExit | ControlEvents::kEditingDidEnd;
    default:
      return std::nullopt;
  }
}

}  // namespace

std::shared_ptr<FormListeningService> FormListeningService::self() {
  auto shared = std::static_pointer_cast<FormListeningService>(weak_from_this().lock());
  if (!shared) fatal("the service is not owned by a shared_ptr");
  return shared;
}

void FormListeningService::applyRule(const Rule& rule) {
  const std::string type = rule["action"]["type"].string();
  if (type == "onchange") {
    applyChangeRule(rule);
  } else if (type == "clickselection") {
    applySelectionRule(rule, ", for a click action", "Apply on click rule: ", ClickEvent::NAME);
  } else if (type == "formselection") {
    applySelectionRule(rule, ", for a form action",
                       "Apply on form selection rule: ", FormSubmitEvent::NAME);
  } else {
    logInfo([&] { return "Appling a rule with the type '" + type + "' is not supported"; });
  }
}

void FormListeningService::applyChangeRule(const Rule& rule) {
  std::optional<std::string> selector = ListenerUtil::getSelector(rule["formfield"]);
  std::shared_ptr<platform::View> view;
  if (selector) view = PelorinClient::synchronized([&] { return _client.getView(*selector); });
  if (platform::Control* control = view ? view->asControl() : nullptr) {
    logInfo([&] { return "Apply on change rule: " + ruleText(rule.ref()); });
    if (std::optional<ControlEvents> events = changeEventsFor(*control)) {
      control->addTarget(self(), &FormListeningService::fieldChangeAction, *events);
    } else {
      logInfo([&] { return "Unable to add a target to the element: " + view->description(); });
    }
    _clickMap.add(view, rule);
    registerEvent(rule, FieldChangeEvent::NAME);
    return;
  }
  logInfo([&] { return "Apply on value change rule: " + ruleText(rule.ref()); });
  if (view && view->asPickerView() != nullptr) {
    // A picker cannot be observed as it changes: the app reports its values with an
    // update-values event. Its delegate stays the app's.
    logInfo(
        [] { return "Can't listen to UIPickerView realtime, throw a FieldChangeEvent instead"; });
  }
  registerEvent(rule, UpdateValuesEvent::NAME);
}

void FormListeningService::applySelectionRule(const Rule& rule, std::string_view kind,
                                              std::string_view applyMessage,
                                              std::string_view className) {
  std::optional<std::string> selector = ListenerUtil::getSelector(rule["action"]);
  std::shared_ptr<platform::View> view;
  if (selector) view = PelorinClient::synchronized([&] { return _client.getView(*selector); });
  if (!view) {
    logInfo([&] {
      return "Unable to get the view with the selector: " + selector.value_or("") +
             std::string(kind);
    });
    return;
  }
  logInfo([&] { return std::string(applyMessage) + ruleText(rule.ref()); });
  if (platform::Control* control = view->asControl()) {
    control->addTarget(self(), &FormListeningService::touchAction, ControlEvents::kTouchDown);
    _clickMap.add(view, rule);
  }
  registerEvent(rule, className);
}

void FormListeningService::touchAction(platform::Control& control) {
  PelorinEventManager& bus = PelorinEventFactory::getInstance();
  for (const Rule& rule : _clickMap.rulesOf(control.asView())) {
    std::optional<std::string> selector = ListenerUtil::getSelector(rule["action"]);
    if (!selector) continue;
    std::shared_ptr<Event> event;
    if (rule["action"]["type"].stringView() == "formselection") {
      event = std::make_shared<FormSubmitEvent>(*selector);
    } else {
      event = std::make_shared<ClickEvent>(*selector);
    }
    PelorinClient::synchronized([&] { bus.publish(event); });
  }
}

void FormListeningService::fieldChangeAction(platform::Control& control) {
  PelorinEventManager& bus = PelorinEventFactory::getInstance();
  for (const Rule& rule : _clickMap.rulesOf(control.asView())) {
    if (std::optional<std::string> selector = ListenerUtil::getSelector(rule["formfield"])) {
      PelorinClient::synchronized(
          [&] { bus.publish(std::make_shared<FieldChangeEvent>(*selector)); });
    }
  }
}

void FormListeningService::handleEvent(const std::shared_ptr<Event>& event) {
  if (!event) return;
  logInfo([&] { return "Handling event " + event->description(); });
  auto found = _eventMap.find(event->name());
  if (found == _eventMap.end()) return;
  const Pass pass(*this);
  const std::vector<Rule> rules = found->second;
  const auto* fieldChange = dynamic_cast<const FieldChangeEvent*>(event.get());
  const auto* click = dynamic_cast<const ClickEvent*>(event.get());
  const auto* update = dynamic_cast<const UpdateValuesEvent*>(event.get());
  for (const Rule& rule : rules) {
    std::optional<ProfileChange> change;
    if (fieldChange != nullptr) {
      change = handleFieldChangeEvent(rule.ref(), *fieldChange);
    } else if (click != nullptr) {
      change = handleTouchEvent(rule.ref(), *click);
    } else if (update != nullptr) {
      change = handleUpdateValuesEvent(rule.ref(), *update);
    }
    if (change) {
      std::lock_guard<std::mutex> lock(_changesLock);
      _changes.push_back(*std::move(change));
    }
  }
  save();
}

std::optional<ProfileChange> FormListeningService::handleTouchEvent(JsonRef rule,
                                                                    const ClickEvent& clickEvent) {
  std::optional<std::string> selector = ListenerUtil::getSelector(rule["action"]);
  if (!selector || *selector != clickEvent.selector()) return std::nullopt;
  // "value" takes what the event carries; without a context the field is read after all.
  const bool useContext = rule["valuetext"].stringView() == "value";
  return addProfileChange(rule, useContext ? clickEvent.context() : std::nullopt);
}

std::optional<ProfileChange> FormListeningService::handleFieldChangeEvent(
    JsonRef rule, const FieldChangeEvent& fieldChangeEvent) {
  std::optional<std::string> selector = ListenerUtil::getSelector(rule["formfield"]);
  if (!selector || *selector != fieldChangeEvent.selector()) return std::nullopt;
  const bool useContext = rule["valuetext"].stringView() == "value";
  return addProfileChange(rule, useContext ? fieldChangeEvent.context() : std::nullopt);
}

std::optional<ProfileChange> FormListeningService::handleUpdateValuesEvent(
    JsonRef rule, const UpdateValuesEvent& updateValuesEvent) {
  std::optional<std::string> selector = ListenerUtil::getSelector(rule["formfield"]);
  if (!selector || !updateValuesEvent.selector() || *selector != *updateValuesEvent.selector()) {
    return std::nullopt;
  }
  std::optional<std::string> property = rule["profileProperty"].asString();
  std::optional<Method> method = methodFromString(rule["addset"].stringView());
  if (!property || !method) return std::nullopt;
  return ProfileChange{*std::move(property), convertValues(rule, updateValuesEvent.values()),
                       *method};
}

std::optional<ProfileChange> FormListeningService::addProfileChange(
    JsonRef rule, const std::optional<Strings>& context) {
  std::optional<std::string> property = rule["profileProperty"].asString();
  if (!property) return std::nullopt;
  std::optional<Method> method = methodFromString(rule["addset"].stringView());
  if (!method) return std::nullopt;
  return ProfileChange{*std::move(property), convertValues(rule, getValues(rule, context)),
                       *method};
}

Strings FormListeningService::getValues(JsonRef rule, const std::optional<Strings>& context) {
  Strings values;
  if (context) {
    values = *context;
  } else if (std::optional<std::string> selector = ListenerUtil::getSelector(rule["formfield"])) {
    std::shared_ptr<platform::View> view =
        PelorinClient::synchronized([&] { return _client.getView(*selector); });
    if (platform::PickerView* picker = view ? view->asPickerView() : nullptr) {
      // A picker has no text: its value is the title of the selected row of each wheel.
      for (std::size_t component = 0; component < picker->numberOfComponents(); ++component) {
        std::optional<std::size_t> row = picker->selectedRow(component);
        if (!row) continue;
        logInfo([&] {
          return "Index: " + std::to_string(component) + " rowindex: " + std::to_string(*row);
        });
        if (std::optional<std::string> title = picker->titleForRow(*row, component)) {
          values.push_back(text::repairUtf8(*title));
        }
      }
    } else {
      values = reading().content(*selector, std::nullopt).texts();
    }
  }
  logInfo([&] { return "The content from getValues: " + describe(values); });
  return values;
}

Strings FormListeningService::convertValues(JsonRef rule, const Strings& values) {
  return convertValues(rule, Strings(values));
}

Strings FormListeningService::convertValues(JsonRef rule, Strings&& values) {
  JsonRef mappings = rule["converter"]["mappings"];
  if (!mappings.isArray()) return std::move(values);
  Strings converted;
  converted.reserve(values.size());
  for (const std::string& value : values) converted.push_back(getConvertedValue(value, mappings));
  return converted;
}

std::string FormListeningService::getConvertedValue(const std::string& value, JsonRef mappings) {
  for (const JsonRef& mapping : mappings.elements()) {
    std::optional<std::string> original = mapping["original"].asString();
    if (original && *original == value) return mapping["converted"].string();
  }
  return value;
}

void FormListeningService::saveChange(const ProfileChange& change) {
  logInfo([&] { return "Profile Change: " + change.description(); });
  PelorinClient::synchronized([&] {
    if (change.method == Method::set) {
      _client.setProfileValues(change.property, change.values);
    } else {
      // "add" and "merge" both append here: form values are not numbers to sum.
      _client.addProfileValues(change.property, change.values);
    }
  });
}

void FormListeningService::save() {
  logInfo([] { return "Saving"; });
  std::vector<ProfileChange> pending;
  {
    std::lock_guard<std::mutex> lock(_changesLock);
    pending.swap(_changes);
  }
  for (const ProfileChange& change : pending) saveChange(change);
}

std::vector<ProfileChange> FormListeningService::pendingChanges() const {
  std::lock_guard<std::mutex> lock(_changesLock);
  return _changes;
}

}  // namespace pelorin
