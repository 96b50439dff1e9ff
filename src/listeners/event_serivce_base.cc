#include "listeners/event_serivce_base.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"

namespace pelorin {

void EventSerivceBase::handleEvent(const std::shared_ptr<Event>& /*event*/) {}

void EventSerivceBase::registerEvent(JsonValue rule, std::string_view className) {
  registerEvent(Rule(std::move(rule)), className);
}

void EventSerivceBase::registerEvent(Rule rule, std::string_view className) {
  auto found = _eventMap.find(className);
  if (found != _eventMap.end()) {
    found->second.push_back(std::move(rule));
    return;
  }
  std::vector<Rule> rules;
  rules.push_back(std::move(rule));
  _eventMap.emplace(std::string(className), std::move(rules));
}

void EventSerivceBase::applyRule(const Rule& /*rule*/) {}

ScreenReading& EventSerivceBase::reading() {
  if (_reading == nullptr) {
    std::fputs("EventSerivceBase: the screen was read outside of a pass\n", stderr);
    std::abort();
  }
  return *_reading;
}

void EventSerivceBase::applyRules(JsonRef rules) {
  const Pass pass(*this);
  // Each rule is decoded once here; everything that files it afterwards shares it.
  for (const JsonRef& rule : rules.elements()) applyRule(Rule(JsonValue(rule)));
  subscribeListeners();
}

void EventSerivceBase::applyRules(const std::vector<JsonValue>& rules) {
  const Pass pass(*this);
  for (const JsonValue& rule : rules) applyRule(Rule(rule));
  subscribeListeners();
}

void EventSerivceBase::subscribeListeners() {
  std::shared_ptr<EventSerivceBase> self = weak_from_this().lock();
  if (!self) {
    std::fputs("EventSerivceBase::subscribeListeners: the service is not owned by a shared_ptr\n",
               stderr);
    std::abort();
  }
  PelorinEventManager& bus = PelorinEventFactory::getInstance();
  for (const auto& [className, rules] : _eventMap) bus.subscribe(className, self, _listenerId);
}

void EventSerivceBase::unsubscribe(const std::optional<std::string>& listenerId) {
  if (!listenerId) return;
  PelorinClient::synchronized(
      [&] { PelorinEventFactory::getInstance().clearEventHandlers(*listenerId); });
}

}  // namespace pelorin
