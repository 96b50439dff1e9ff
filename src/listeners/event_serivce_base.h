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

#include "listeners/screen_reading.h"
#include "pelorin/event_handler.h"
#include "pelorin/json_value.h"

namespace pelorin {

// A decoded rule: immutable, and shared by every list and map that holds it. Copies are
// handles to the same value, so filing a rule again costs a handle, not a copy of its JSON.
class Rule {
 public:
  explicit Rule(JsonValue value) : _value(std::make_shared<const JsonValue>(std::move(value))) {}

  const JsonValue& value() const { return *_value; }
  JsonRef ref() const { return _value->ref(); }
  JsonRef operator[](std::string_view key) const { return _value->ref()[key]; }
  std::string toCompactString() const { return _value->toCompactString(); }
  // The same for every handle of one decoded rule; a rule decoded again has another.
  const JsonValue* identity() const { return _value.get(); }

 private:
  std::shared_ptr<const JsonValue> _value;
};

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
  using EventMap = std::map<std::string, std::vector<Rule>, std::less<>>;

  EventSerivceBase() = default;
  EventSerivceBase(const EventSerivceBase&) = delete;
  EventSerivceBase& operator=(const EventSerivceBase&) = delete;

  // The identifier under which the service subscribes ("" until its plug-in sets it).
  std::string listenerId() const override { return _listenerId; }
  void setListenerId(std::string listenerId) { _listenerId = std::move(listenerId); }

  // Does nothing; derived services react to the events of their rules.
  void handleEvent(const std::shared_ptr<Event>& event) override;

  // Files `rule` at the end of the rules for the event class `className`. The same rule
  // registered twice is kept twice (and acts twice); a handle files no copy.
  void registerEvent(JsonValue rule, std::string_view className);
  void registerEvent(Rule rule, std::string_view className);

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
  virtual void applyRule(const Rule& rule);

  // One pass over rules (a page view's rules, or an event's): the screen is read once for
  // it. Passes nest: an event handled inside a pass reads the screen anew.
  class Pass {
   public:
    explicit Pass(EventSerivceBase& service) : _service(service), _outer(service._reading) {
      _service._reading = &_reading;
    }
    ~Pass() { _service._reading = _outer; }
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

   private:
    EventSerivceBase& _service;
    ScreenReading* _outer;
    ScreenReading _reading;
  };
  // The reading of the pass under way; outside of any pass, a programming fault (aborts).
  ScreenReading& reading();

  EventMap _eventMap;

 private:
  std::string _listenerId;
  ScreenReading* _reading = nullptr;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_EVENT_SERIVCE_BASE_H_
