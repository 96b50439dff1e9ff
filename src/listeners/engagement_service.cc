#include "listeners/engagement_service.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <boost/json.hpp>

#include "base/day_number.h"
#include "base/decimal_integer.h"
#include "base/text.h"
#include "config/pelorin_configuration.h"
#include "json/json_value_access.h"
#include "listeners/listener_util.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "pelorin/platform/control.h"
#include "pelorin/platform/platform.h"
#include "pelorin/platform/view.h"

namespace pelorin {
namespace {

using Strings = std::vector<std::string>;

// The separator of context elements in the content of an event rule.
constexpr std::string_view kContextSeparator = "|";

void logInfo(auto&& makeMessage) {
  PelorinConfiguration::log(std::forward<decltype(makeMessage)>(makeMessage),
                            EngagementService::LOG_TAG, LogFlag::INFO);
}

void logWarning(auto&& makeMessage) {
  PelorinConfiguration::log(std::forward<decltype(makeMessage)>(makeMessage),
                            EngagementService::LOG_TAG, LogFlag::WARNING);
}

// A rule as log lines show it: compact JSON text, "unknown" for a missing value.
std::string ruleText(JsonRef rule) { return rule.exists() ? rule.toCompactString() : "unknown"; }

std::string joined(const Strings& parts, std::string_view separator) {
  std::string text;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) text += separator;
    text += parts[i];
  }
  return text;
}

// An element of a rule's "interests" list as an interest name: a string as it stands, a
// number in decimal, a boolean as "true" or "false", anything else "".
std::string interestName(JsonRef element) {
  if (std::optional<std::string> text = element.asString()) return *text;
  if (const boost::json::value* raw = rawJson(element)) {
    // Whole numbers exactly as the JSON held them, the unsigned 64-bit ones included.
    if (const auto* integer = raw->if_int64()) return std::to_string(*integer);
    if (const auto* integer = raw->if_uint64()) return std::to_string(*integer);
  }
  if (std::optional<double> number = element.asDouble()) {
    // Whole numbers in plain decimal (1e20 is "100000000000000000000"); others shortest.
    const bool whole = std::isfinite(*number) && std::trunc(*number) == *number;
    std::array<char, 512> buffer{};
    auto [end, error] = whole
                            ? std::to_chars(buffer.data(), buffer.data() + buffer.size(), *number,
                                            std::chars_format::fixed)
                            : std::to_chars(buffer.data(), buffer.data() + buffer.size(), *number);
    return error == std::errc() ? std::string(buffer.data(), end) : std::string();
  }
  if (std::optional<bool> flag = element.asBool()) return *flag ? "true" : "false";
  return "";
}

}  // namespace

EngagementService::EngagementService(PelorinClient& client, std::string listenerId,
                                     std::string propertyName, bool isInterest,
                                     std::vector<std::string> allInterests, bool useHalfTime)
    : _client(client),
      _propertyName(std::move(propertyName)),
      _internalPropertyName("_" + _propertyName),
      _isInterest(isInterest),
      _allInterests(std::move(allInterests)),
      _useHalfTime(useHalfTime),
      _days(dayNumber(Platform::current().clock().now(), useHalfTime)) {
  setListenerId(std::move(listenerId));
}

EngagementService::~EngagementService() {
  PelorinClient::synchronized(
      [&] { PelorinEventFactory::getInstance().clearEventHandlers(listenerId()); });
}

std::int64_t EngagementService::dayNumber(platform::Clock::TimePoint now, bool useHalfTime) {
  return daysSince(useHalfTime ? kHalfTimeDayZero : kClassicDayZero, now);
}

void EngagementService::applyRule(const Rule& rule) {
  logInfo([&] { return "Apply rule: " + ruleText(rule.ref()); });
  const std::optional<std::string> ruleType = rule["ruletype"].asString();
  if (!ruleType) return;
  // The "score"/"interest" prefix does not choose where the points go: the service's mode
  // does.
  if (*ruleType == "scorecontent" || *ruleType == "interestcontent") {
    applyContentRule(rule);
  } else if (*ruleType == "scoreclick" || *ruleType == "interestclick") {
    applyTouchRule(rule, "clickarea",
                   "Found a click rule without a clickarea selector: ", ClickEvent::NAME);
  } else if (*ruleType == "scoreformsubmit" || *ruleType == "interestformsubmit") {
    applyTouchRule(rule, "form",
                   "Found a form submit rule without a form selector: ", FormSubmitEvent::NAME);
  } else if (*ruleType == "interesturl" || *ruleType == "scoreurl") {
    applyUrlRule(rule);
  } else if (*ruleType == "scoresocialevent" || *ruleType == "scoreevent" ||
             *ruleType == "interestsocialevent" || *ruleType == "interestevent") {
    registerEvent(rule, AdvancedEvent::NAME);
  } else {
    logWarning([] { return "Invalid or not supported rule detected"; });
  }
}

void EngagementService::applyContentRule(const Rule& rule) {
  std::optional<std::string> selector = ListenerUtil::getSelector(rule["contentarea"]);
  if (!selector) {
    logInfo([] { return "Found a rule without a selector"; });
    return;
  }
  addPointsForRule(rule.ref(), reading().content(*selector, std::nullopt));
  registerEvent(rule, UpdateContentEvent::NAME);
}

void EngagementService::applyTouchRule(const Rule& rule, std::string_view areaKey,
                                       std::string_view missingMessage,
                                       std::string_view className) {
  std::optional<std::string> selector = ListenerUtil::getSelector(rule[areaKey]);
  if (!selector) {
    logInfo([&] { return std::string(missingMessage) + ruleText(rule.ref()); });
    return;
  }
  std::shared_ptr<platform::View> view =
      PelorinClient::synchronized([&] { return _client.getView(*selector); });
  if (platform::Control* control = view ? view->asControl() : nullptr) {
    auto self = std::static_pointer_cast<EngagementService>(weak_from_this().lock());
    if (!self) {
      std::fputs("EngagementService: the service is not owned by a shared_ptr\n", stderr);
      std::abort();
    }
    // Touch-down: the tap counts as soon as it starts (form submit controls too).
    control->addTarget(self, &EngagementService::touchAction, platform::ControlEvents::kTouchDown);
    _elementRuleMap.add(view, rule);
  } else {
    logInfo([&] { return "Unable to get the view with the selector: " + *selector; });
  }
  registerEvent(rule, className);
}

void EngagementService::applyUrlRule(const Rule& rule) {
  const std::optional<std::string> url = rule["url"].asString();
  const bool known = url && std::ranges::find(URL_RULES, *url) != URL_RULES.end();
  if (known) {
    const std::string screenName =
        PelorinClient::synchronized([&] { return _client.getScreenName(); });
    if (!screenName.empty()) {
      addPointsForRule(rule.ref(), reading().hold({screenName}));
      return;
    }
  }
  logInfo([&] {
    return "Unable to get the current screenName with the url rule: " + ruleText(rule.ref());
  });
  // Scored against nothing on purpose: a rule whose words match anything still earns its
  // points without a screen name.
  addPointsForRule(rule.ref(), reading().hold({""}));
}

void EngagementService::touchAction(platform::Control& control) {
  const std::optional<std::vector<Rule>> rules = _elementRuleMap.find(control.asView());
  logInfo([&] {
    std::string list = "nil";
    if (rules) {
      boost::json::array array;
      for (const Rule& rule : *rules) array.push_back(*rawJson(rule.value()));
      list = serializeJson(boost::json::value(std::move(array)), false);
    }
    return "Clicked on " + control.asView().description() + ", with rules " + list;
  });
  if (!rules) return;
  PelorinEventManager& bus = PelorinEventFactory::getInstance();
  for (const Rule& rule : *rules) {
    if (std::optional<std::string> selector = rule["clickarea"]["selector"].asString()) {
      PelorinClient::synchronized([&] { bus.publish(std::make_shared<ClickEvent>(*selector)); });
    }
  }
}

void EngagementService::handleEvent(const std::shared_ptr<Event>& event) {
  if (!event) return;
  logInfo([&] { return "Handling event " + event->description(); });
  auto found = _eventMap.find(event->name());
  if (found == _eventMap.end()) return;
  const Pass pass(*this);
  const auto* advanced = dynamic_cast<const AdvancedEvent*>(event.get());
  const auto* update = dynamic_cast<const UpdateContentEvent*>(event.get());
  // A form submit event is a click event too.
  const auto* click = dynamic_cast<const ClickEvent*>(event.get());
  const Content* updateContent = update != nullptr ? &reading().hold(update->content()) : nullptr;
  for (const Rule& rule : found->second) {
    if (advanced != nullptr) {
      handleAdvancedEvent(rule.ref(), *advanced);
    } else if (update != nullptr) {
      handleUpdateContentEvent(rule.ref(), *update, *updateContent);
    } else if (click != nullptr) {
      handleTouchEvent(rule.ref(), *click);
    }
  }
  save();
}

void EngagementService::handleAdvancedEvent(JsonRef rule, const AdvancedEvent& event) {
  const std::optional<std::string> name = rule["event"].asString();
  if (!name || *name != event.eventName()) return;
  std::string content(kContextSeparator);
  if (const std::optional<Strings>& context = event.context()) {
    const std::optional<std::string> positionText = rule["contextposition"].asString();
    const std::optional<std::int64_t> position =
        positionText ? parseDecimalInteger(*positionText) : std::nullopt;
    if (!position) {
      content = joined(*context, kContextSeparator);
    } else if (*position >= 1 && static_cast<std::uint64_t>(*position) <= context->size()) {
      content = (*context)[static_cast<std::size_t>(*position - 1)];
    } else {
      // Counted from 1; a position outside the context names nothing to score.
      logWarning([&] {
        return "The context position " + *positionText + " is outside the context of " +
               std::to_string(context->size()) + " values; the rule is skipped: " + ruleText(rule);
      });
      return;
    }
  }
  addPointsForRule(rule, reading().hold({content}));
}

void EngagementService::handleUpdateContentEvent(JsonRef rule, const UpdateContentEvent& event,
                                                 const Content& content) {
  const std::optional<std::string> selector = rule["contentarea"]["selector"].asString();
  if (!selector) return;
  const std::string wanted = text::toLower(*selector);
  // A mobile-wide content area takes the updates of every view.
  if (wanted.find("pre_mobile") == std::string::npos &&
      wanted != text::toLower(event.selector().value_or(""))) {
    return;
  }
  addPointsForRule(rule, content);
}

void EngagementService::handleTouchEvent(JsonRef rule, const ClickEvent& event) {
  const std::optional<std::string> form = ListenerUtil::getSelector(rule["form"]);
  const std::optional<std::string> clickArea = ListenerUtil::getSelector(rule["clickarea"]);
  if (event.selector() != form && event.selector() != clickArea) return;
  // Without a content area there is no text to read: the rule is scored against none, so
  // a rule without words (or with "pre_any") earns its points on every tap.
  std::optional<std::string> area = ListenerUtil::getSelector(rule["contentarea"]);
  addPointsForRule(rule, area ? reading().content(*area, event.context()) : reading().hold({}));
}

void EngagementService::addPointsForRule(JsonRef rule, const Content& content) {
  const std::int64_t points = rule["points"].integer();
  if (_isInterest) {
    for (const std::string& interest : getInterestsFromContent(rule, content)) {
      addPoints(interest, points);
    }
    return;
  }
  if (ListenerUtil::contentContainsWord(rule, content, ListenerUtil::getWords(rule), &reading())) {
    addPoints("K", points);
  }
}

void EngagementService::addPoints(std::string_view interest, std::int64_t score) {
  std::lock_guard<std::mutex> lock(_changesLock);
  _changes.push_back(PointEntry{text::toLower(interest), score});
}

Strings EngagementService::getInterestsFromContent(JsonRef rule, const Content& content) {
  const Strings words = ListenerUtil::getWords(rule);
  JsonRef interests = rule["interests"];
  if (interests.isArray() && !interests.empty()) {
    const std::optional<std::string> first = interests.at(0).asString();
    if (first == "pre_any") {
      Strings found;
      for (const Strings& interest : allInterestLists()) {
        if (ListenerUtil::contentContainsWord(rule, content, interest, &reading())) {
          found.push_back(interest.front());
        }
      }
      return found;
    }
    if (!ListenerUtil::contentContainsWord(rule, content, words, &reading())) return {};
    if (first == "pre_context") return content.texts();
    Strings names;
    for (const JsonRef& element : interests.elements()) names.push_back(interestName(element));
    return names;
  }
  if (std::optional<std::string> selector = interests["selector"].asString()) {
    return reading().content(*selector, content.texts()).texts();
  }
  return {};
}

const std::vector<Strings>& EngagementService::allInterestLists() {
  if (_allInterestLists.size() != _allInterests.size()) {
    _allInterestLists.clear();
    for (const std::string& interest : _allInterests) _allInterestLists.push_back({interest});
  }
  return _allInterestLists;
}

bool EngagementService::isChanged() const {
  std::lock_guard<std::mutex> lock(_changesLock);
  return !_changes.empty();
}

std::vector<PointEntry> EngagementService::changes() const {
  std::lock_guard<std::mutex> lock(_changesLock);
  return _changes;
}

void EngagementService::save() {
  std::vector<PointEntry> pending;
  {
    std::lock_guard<std::mutex> lock(_changesLock);
    pending.swap(_changes);
  }
  if (pending.empty()) return;
  const std::string text =
      _useHalfTime ? getHalfTimeData(pending, _days) : getFormattedData(pending, _days);
  logInfo([&] { return "Saving: " + _internalPropertyName + " - " + text; });
  // Added, not set: each save is one more value, and the server combines them.
  PelorinClient::synchronized([&] { _client.addProfileValue(_internalPropertyName, text); });
}

std::string EngagementService::getFormattedData(const std::vector<PointEntry>& entries,
                                                std::int64_t days) {
  // The sum of each name, names in the order they first fired.
  std::vector<PointEntry> sums;
  for (const PointEntry& entry : entries) {
    auto sum = std::ranges::find(sums, entry.n, &PointEntry::n);
    if (sum == sums.end()) {
      sums.push_back(entry);
      continue;
    }
    std::int64_t total = 0;
    if (__builtin_add_overflow(sum->p, entry.p, &total)) {
      logWarning([&] {
        return "The points of '" + entry.n + "' overflow the sum; " + std::to_string(entry.p) +
               " points are skipped";
      });
      continue;
    }
    sum->p = total;
  }
  boost::json::object data;
  data["TIME"] = ListenerUtil::getCurrentTime();
  // Built by appending: g++ 12 at -O3 reports a false -Wrestrict for "p" + std::string.
  std::string dayKey = "p";
  dayKey += std::to_string(days);
  for (const PointEntry& sum : sums) data[sum.n] = boost::json::object{{dayKey, sum.p}};
  return ListenerUtil::JSONStringify(jsonRef(boost::json::value(std::move(data))), false);
}

std::string EngagementService::getHalfTimeData(const std::vector<PointEntry>& entries,
                                               std::int64_t days) {
  boost::json::array list;
  for (const PointEntry& entry : entries) {
    list.push_back(boost::json::object{{"n", entry.n}, {"p", entry.p}});
  }
  boost::json::object data;
  data["TIME"] = ListenerUtil::getCurrentTime();
  data["days"] = days;
  data["data"] = std::move(list);
  return ListenerUtil::JSONStringify(jsonRef(boost::json::value(std::move(data))), false);
}

}  // namespace pelorin
