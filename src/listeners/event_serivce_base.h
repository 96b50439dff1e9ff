// The common base of the rule-driven services: a listener plug-in files its rules under the
// names of the event types that trigger them, then subscribes the service to the event bus
// once per name; derived services decide in `handleEvent` what an event means for a rule.
//
// Thread safety: not locked. Register every rule and set the identifier before calling
// `subscribeListeners`; afterwards the bus calls `handleEvent` inside the global lock.
#ifndef PELORIN_SRC_LISTENERS_EVENT_SERIVCE_BASE_H_
#define PELORIN_SRC_LISTENERS_EVENT_SERIVCE_BASE_H_

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/event_handler.h"
#include "pelorin/json_value.h"

namespace pelorin {

// (sic): "Serivce" is part of the name the services are known by; keep the spelling.
//
// A service is shared by its plug-in and the bus: create it with std::make_shared.
//
//   auto service = std::make_shared<RuleService>(client);
//   service->setListenerId(*context.getInteractionId());
//   service->registerEvent(rule, ClickEvent::NAME);
//   service->subscribeListeners();
class EventSerivceBase : public EventHandler,
                         public std::enable_shared_from_this<EventSerivceBase> {
 public:
  using EventMap = std::map<std::string, std::vector<JsonValue>, std::less<>>;

  EventSerivceBase() = default;
  EventSerivceBase(const EventSerivceBase&) = delete;
  EventSerivceBase& operator=(const EventSerivceBase&) = delete;

  // The identifier under which the service subscribes ("" until its plug-in sets it).
  std::string listenerId() const override { return _listenerId; }
  void setListenerId(std::string listenerId) { _listenerId = std::move(listenerId); }

  // Does nothing; derived services react to the events of their rules.
  void handleEvent(const std::shared_ptr<Event>& event) override;

  // Files `rule` at the end of the rules for the event class `className`. The same rule
  // registered twice is kept twice (and acts twice).
  void registerEvent(JsonValue rule, std::string_view className);

  // Applies every element of the JSON list `rules` (nothing for anything else) in order
  // with `applyRule`, then subscribes once (`subscribeListeners`).
  void applyRules(JsonRef rules);
  void applyRules(const std::vector<JsonValue>& rules);

  // Subscribes the service under `listenerId` to every event class that has rules, once
  // per class. Classes first filed afterwards are not subscribed. The service must be
  // owned by a std::shared_ptr (the bus shares it); otherwise this aborts.
  void subscribeListeners();

  // Ends every subscription made under `listenerId` (a plug-in's interaction identifier),
  // under the global lock. Without an identifier nothing was subscribed, and nothing is
  // cleared: clearing "no identifier" would end every plug-in's subscriptions.
  static void unsubscribe(const std::optional<std::string>& listenerId);

  // The rules by event class name, each list in registration order.
  const EventMap& eventMap() const { return _eventMap; }

 protected:
  // Attaches one rule: evaluates it now, attaches it to views, or files it with
  // `registerEvent` for the events it waits for. The base ignores every rule.
  virtual void applyRule(const JsonValue& rule);

  EventMap _eventMap;

 private:
  std::string _listenerId;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_EVENT_SERIVCE_BASE_H_
