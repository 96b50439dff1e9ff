#include "listeners/rule_service.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <system_error>
#include <utility>

#include "base/text.h"
#include "config/pelorin_configuration.h"
#include "listeners/listener_util.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "pelorin/platform/control.h"
#include "pelorin/platform/view.h"

namespace pelorin {
namespace {

using Strings = std::vector<std::string>;

void logInfo(auto&& makeMessage) {
  PelorinConfiguration::log(std::forward<decltype(makeMessage)>(makeMessage), RuleService::LOG_TAG,
                            LogFlag::INFO);
}

void logWarning(auto&& makeMessage) {
  PelorinConfiguration::log(std::forward<decltype(makeMessage)>(makeMessage), RuleService::LOG_TAG,
                            LogFlag::WARNING);
}

// A rule as log lines show it: indented JSON text. The pretty printer takes only an array or
// an object at the top level; for anything else it gives "unknown".
std::string ruleText(JsonRef rule) {
  return rule.isArray() || rule.isObject() ? rule.toPrettyString() : "unknown";
}

[[noreturn]] void fatal(const char* message) {
  std::fprintf(stderr, "RuleService: %s\n", message);
  std::abort();
}

// The 1-based position held by a "contextposition" string of decimal digits (with an
// optional sign). Nothing for other strings; a number too large for 64 bits counts as
// beyond any context.
std::optional<std::int64_t> contextPosition(JsonRef member) {
  std::optional<std::string> text = member.asString();
  if (!text || text->empty()) return std::nullopt;
  std::string_view digits = *text;
  bool negative = false;
  if (digits.front() == '+' || digits.front() == '-') {
    negative = digits.front() == '-';
    digits.remove_prefix(1);
  }
  if (digits.empty()) return std::nullopt;
  for (char c : digits) {
    if (c < '0' || c > '9') return std::nullopt;
  }
  std::int64_t position = 0;
  auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), position);
  if (error == std::errc::result_out_of_range) {
    return negative ? std::int64_t{-1} : std::numeric_limits<std::int64_t>::max();
  }
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return negative ? -position : position;
}

}  // namespace

PelorinClient& RuleService::client() const {
  if (_client == nullptr) fatal("rules used before the client was set");
  return *_client;
}

void RuleService::applyRule(const JsonValue& rule) {
  logInfo([&] { return "Handling " + ruleText(rule.ref()); });
  const std::string ruleType = rule["ruletype"].string();
  if (ruleType == "scorecontent" || ruleType.empty()) {
    if (handleContentRule(rule.ref(), std::nullopt)) {
      registerEvent(rule, UpdateContentEvent::NAME);
      ++_contentRuleCount;
    }
  } else if (ruleType == "scoreclick") {
    applyTouchRule(rule, "clickarea",
                   "Found click rule without clickarea selector: ", ClickEvent::NAME);
  } else if (ruleType == "scoreformsubmit") {
    applyTouchRule(rule, "form",
                   "Found form submit rule without form selector: ", FormSubmitEvent::NAME);
  } else if (ruleType == "scoreurl") {
    // "url" compares the current screen name, which stands for the page address here.
    // "urlreferrer" and "or" compare the same text: no referring screen is kept.
    const Strings words = ListenerUtil::getWords(rule.ref());
    const std::string screenName =
        PelorinClient::synchronized([&] { return client().getScreenName(); });
    if (screenName.empty()) {
      logInfo([&] {
        return "Unable to get the current screen name with the url rule: " + ruleText(rule.ref());
      });
    } else if (ListenerUtil::contentContainsWord(rule.ref(), {screenName}, words)) {
      addProfileChange(rule.ref(), std::nullopt);
    }
  } else if (ruleType == "scoreevent" || ruleType == "scoresocialevent") {
    registerEvent(rule, AdvancedEvent::NAME);
  } else {
    logWarning([] { return "Invalid or not supported rule detected"; });
  }
}

void RuleService::applyTouchRule(const JsonValue& rule, std::string_view areaKey,
                                 std::string_view missingMessage, std::string_view className) {
  std::optional<std::string> selector = ListenerUtil::getSelector(rule[areaKey]);
  if (!selector) {
    logInfo([&] { return std::string(missingMessage) + ruleText(rule.ref()); });
    return;
  }
  std::shared_ptr<platform::View> view =
      PelorinClient::synchronized([&] { return client().getView(*selector); });
  if (auto control = std::dynamic_pointer_cast<platform::Control>(view)) {
    auto self = std::static_pointer_cast<RuleService>(weak_from_this().lock());
    if (!self) fatal("the service is not owned by a shared_ptr");
    // Touch-down, not touch-up-inside: the tap counts as soon as it starts.
    control->addTarget(self, &RuleService::touchAction, platform::ControlEvents::kTouchDown);
    logInfo([&] { return "Adding target to " + control->description(); });
    _clickMap.add(control, rule);
  } else {
    logInfo([&] {
      return "Element from " + *selector +
             " not clickable, registering event for custom ClickEvents";
    });
  }
  registerEvent(rule, className);
}

void RuleService::handleEvent(const std::shared_ptr<Event>& event) {
  if (!event) return;
  logInfo([&] { return "Handling event " + event->description(); });
  auto found = _eventMap.find(event->name());
  if (found == _eventMap.end()) return;
  // Walk the rules as they are now: content rules file themselves again while they run.
  const std::vector<JsonValue> rules = found->second;
  const auto* advanced = dynamic_cast<const AdvancedEvent*>(event.get());
  const auto* update = dynamic_cast<const UpdateContentEvent*>(event.get());
  const auto* click = dynamic_cast<const ClickEvent*>(event.get());
  for (const JsonValue& rule : rules) {
    if (advanced != nullptr) {
      handleAdvancedEvent(rule.ref(), *advanced);
    } else if (update != nullptr) {
      handleContentRule(rule.ref(), update->content());
    } else if (click != nullptr) {
      handleTouchEvent(rule.ref(), *click);
    }
    savePending();
  }
  if (update != nullptr) {
    // A content rule files itself for update events each time it is handled, and this is
    // kept on purpose: every update adds each content rule once more, so the n-th update
    // evaluates it n times.
    std::vector<JsonValue> again;
    if (auto current = _eventMap.find(UpdateContentEvent::NAME); current != _eventMap.end()) {
      for (std::size_t i = 0; i < _contentRuleCount && i < current->second.size(); ++i) {
        again.push_back(current->second[i]);
      }
    }
    for (JsonValue& rule : again) registerEvent(std::move(rule), UpdateContentEvent::NAME);
  }
}

void RuleService::handleTouchEvent(JsonRef rule, const ClickEvent& clickEvent) {
  const Strings words = ListenerUtil::getWords(rule);
  // The selector is read from "clickarea" for form submit events too: a form submit rule
  // collects a change only when it also names the submitting control there. Deliberate.
  std::optional<std::string> selector = ListenerUtil::getSelector(rule["clickarea"]);
  if (!selector || *selector != clickEvent.selector()) return;
  std::optional<std::string> area = ListenerUtil::getSelector(rule["contentarea"]);
  if (!area || *area == "pre_any" || *area == "any") {
    addProfileChange(rule, clickEvent.context());
    return;
  }
  const Strings content = ListenerUtil::getContent(*area, clickEvent.context());
  if (ListenerUtil::contentContainsWord(rule, content, words)) {
    addProfileChange(rule, clickEvent.context());
  }
}

bool RuleService::handleContentRule(JsonRef rule, const std::optional<Strings>& content) {
  std::optional<std::string> selector = ListenerUtil::getSelector(rule["contentarea"]);
  if (!selector) {
    logInfo([&] { return "Found content rule without selector: " + ruleText(rule); });
    return false;
  }
  const Strings found = content ? *content : ListenerUtil::getContent(*selector, std::nullopt);
  if (ListenerUtil::contentContainsWord(rule, found, ListenerUtil::getWords(rule))) {
    addProfileChange(rule, content);
  }
  return true;
}

void RuleService::handleAdvancedEvent(JsonRef rule, const AdvancedEvent& advancedEvent) {
  std::optional<std::string> name = rule["event"].asString();
  if (!name || *name != advancedEvent.eventName()) return;
  Strings context = advancedEvent.context().value_or(Strings());
  if (std::optional<std::int64_t> position = contextPosition(rule["contextposition"])) {
    // Position n (from 1) names one element; a position outside the context names none.
    if (*position >= 1 && static_cast<std::uint64_t>(*position) <= context.size()) {
      context = {context[static_cast<std::size_t>(*position - 1)]};
    } else {
      context.clear();
    }
  }
  addProfileChange(rule, context);
}

void RuleService::touchAction(platform::Control& control) {
  const std::vector<JsonValue> rules = _clickMap.rulesOf(control);
  PelorinEventManager& bus = PelorinEventFactory::getInstance();
  for (const JsonValue& rule : rules) {
    if (std::optional<std::string> selector = ListenerUtil::getSelector(rule["clickarea"])) {
      PelorinClient::synchronized([&] { bus.publish(std::make_shared<ClickEvent>(*selector)); });
    }
    if (std::optional<std::string> selector = ListenerUtil::getSelector(rule["form"])) {
      PelorinClient::synchronized(
          [&] { bus.publish(std::make_shared<FormSubmitEvent>(*selector)); });
    }
  }
}

void RuleService::addProfileChange(JsonRef rule, const std::optional<Strings>& context) {
  std::optional<std::string> property = rule["profileproperty"][0]["profileproperty"].asString();
  if (!property) return;
  std::optional<Method> method = methodFromString(rule["addset"].stringView());
  if (!method) return;
  std::optional<Strings> values = getValues(rule, context);
  if (!values) return;
  std::lock_guard<std::mutex> lock(_changesLock);
  _changes.push_back(ProfileChange{*std::move(property), *std::move(values), *method});
}

std::optional<Strings> RuleService::getValues(JsonRef rule, const std::optional<Strings>& context) {
  JsonRef values = rule["values"];
  std::optional<Strings> result;
  if (values.isString()) {
    if (values.stringView() == "datetime") result = Strings{ListenerUtil::getCurrentTime()};
  } else if (values.isArray()) {
    result = values.asStringList();
  } else if (values.isObject()) {
    const std::string_view option = values["selectedoption"].stringView();
    if (option == "selector") {
      if (std::optional<std::string> selector = ListenerUtil::getSelector(values)) {
        result = ListenerUtil::getContent(*selector, std::nullopt);
      }
    } else if (option == "context") {
      result = ListenerUtil::getContent("pre_context", context);
    } else if (option == "datetime") {
      result = Strings{ListenerUtil::getCurrentTime()};
    } else if (option == "date") {
      result = Strings{ListenerUtil::getCurrentDate()};
    } else if (option == "regexp") {
      result = getRegexpValues(values);
    }
    // "parameter" has no source on this platform; any other option is not understood.
  }
  if (result && result->empty()) return std::nullopt;
  return result;
}

std::optional<Strings> RuleService::getRegexpValues(JsonRef values) {
  const std::string screenName =
      PelorinClient::synchronized([&] { return client().getScreenName(); });
  const std::string pattern = values["regexp"].string();
  text::RegexResult result = text::regexMatches(pattern, screenName);
  switch (result.status) {
    case text::RegexResult::Status::kInvalid:
      logWarning([&] { return "No valid reg. exp: '" + pattern + "'"; });
      return std::nullopt;
    case text::RegexResult::Status::kOutOfBounds:
      logWarning([&] {
        return "The reg. exp. '" + pattern + "' took too long on the screen name '" + screenName +
               "'; no values";
      });
      return std::nullopt;
    case text::RegexResult::Status::kMatched:
      break;
  }
  return std::move(result.matches);
}

void RuleService::saveChange(const ProfileChange& change) {
  logInfo([&] { return "Profile Change: " + change.description(); });
  PelorinClient::synchronized([&] {
    PelorinClient& pelorin = client();
    switch (change.method) {
      case Method::set:
        pelorin.setProfileValues(change.property, change.values);
        break;
      case Method::add:
        pelorin.addProfileValues(change.property, change.values);
        break;
      case Method::merge: {
        const std::string current =
            getFirstNonEmptyValue(pelorin.getProfileValues(change.property));
        if (std::optional<std::string> total = sum(current, change.values)) {
          logInfo([&] { return "Summed value: " + *total; });
          pelorin.setProfileValue(change.property, *total);
        }
        break;
      }
    }
  });
}

void RuleService::savePending() {
  std::vector<ProfileChange> pending;
  {
    std::lock_guard<std::mutex> lock(_changesLock);
    pending.swap(_changes);
  }
  for (const ProfileChange& change : pending) saveChange(change);
}

void RuleService::save() { savePending(); }

bool RuleService::isChanged() const {
  std::lock_guard<std::mutex> lock(_changesLock);
  return !_changes.empty();
}

std::vector<ProfileChange> RuleService::pendingChanges() const {
  std::lock_guard<std::mutex> lock(_changesLock);
  return _changes;
}

}  // namespace pelorin
