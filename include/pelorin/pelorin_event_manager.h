// The event bus between the client, the application and the plug-ins: publishers hand it
// events, subscribers register handlers under an event name. Every published event stays
// queued, so a handler that subscribes later still gets it when the queue is replayed, and
// each event reaches each handler identity at most once.
//
// Thread safety: every operation may be called from any thread; each runs inside the
// global lock (`PelorinClient::synchronized`), and so do the handlers it calls. A handler
// may publish, subscribe, replay or clear from inside `handleEvent`.
#ifndef PELORIN_PELORIN_EVENT_MANAGER_H_
#define PELORIN_PELORIN_EVENT_MANAGER_H_

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "pelorin/event.h"
#include "pelorin/event_handler.h"
#include "pelorin/export.h"

namespace pelorin {

class EventBusClientLink;
class PelorinEventFactory;

// The one bus of the process; obtain it with `PelorinEventFactory::getInstance()`.
//
//   auto& bus = PelorinEventFactory::getInstance();
//   bus.subscribe(ClickEvent::NAME, service, service->listenerId());
//   bus.publish(std::make_shared<ClickEvent>("button1"));
class PELORIN_EXPORT PelorinEventManager {
 public:
  static constexpr std::string_view LOG_TAG = "PL_EVENT_MANAGER";

  PelorinEventManager(const PelorinEventManager&) = delete;
  PelorinEventManager& operator=(const PelorinEventManager&) = delete;

  // Stamps the event with the current screen name ("" when none), queues it and delivers
  // it to the handlers subscribed under its name that have not handled it yet. Before the
  // client exists the event is dropped. Publishing an object that is already queued
  // queues it once more. A null event is ignored.
  void publish(std::shared_ptr<Event> event);

  // Registers `handler` under the event name `name` with `identifier` (normally the
  // handler's listenerId), unless a handler subscribed under that name already answers
  // to `identifier`. Queued events are not delivered now: see handleAllEvents. The bus
  // keeps the handler until clearEventHandlers removes it. A null handler is ignored.
  void subscribe(std::string_view name, std::shared_ptr<EventHandler> handler,
                 std::string identifier);

  // Delivers the queued occurrences of `event` (that very object), or every queued event
  // when `event` is null, to each subscribed handler that has not handled it, in queue
  // order and, per event, in subscription order.
  void handle(const std::shared_ptr<Event>& event);

  // Delivers every queued event to every subscribed handler that has not handled it.
  void handleAllEvents();

  // Empties the queue.
  void clearEvents();

  // Without an identifier removes every subscription; with one, the subscriptions made
  // under it, keeping the order of the others.
  void clearEventHandlers(std::optional<std::string_view> identifier = std::nullopt);

  // Drops the queued events published on the current screen; events of other screens and
  // events without a location stay.
  void cleanup();

  // Installs the client's link (borrowed: it must outlive its installation); null
  // uninstalls it, after which no client exists for the bus. Called by the client engine.
  void setClientLink(EventBusClientLink* link);

  // Snapshots for inspection: the queue in publication order, and the subscriptions per
  // event name in subscription order.
  std::vector<std::shared_ptr<Event>> eventQueue() const;
  std::map<std::string, std::vector<HandlerMap>, std::less<>> handlersByEvent() const;

 private:
  friend class PelorinEventFactory;
  using HandlerList = std::vector<HandlerMap>;

  PelorinEventManager() = default;
  ~PelorinEventManager() = default;

  // Delivers one queued occurrence of `event` to the handlers of its name.
  void deliver(const std::shared_ptr<Event>& event);
  void forgetQueued(const Event* event);

  // A list is replaced, never changed in place: a delivery keeps walking the list it
  // looked up (and keeps its handlers alive) while a handler subscribes or unsubscribes.
  std::map<std::string, std::shared_ptr<const HandlerList>, std::less<>> _handlersByEvent;
  std::vector<std::shared_ptr<Event>> _eventQueue;
  // How often each object occurs in _eventQueue. Delivering a published event thus costs
  // time in the number of its handlers, not in the length of the queue.
  std::unordered_map<const Event*, std::size_t> _queuedCount;
  EventBusClientLink* _clientLink = nullptr;
};

}  // namespace pelorin

#endif  // PELORIN_PELORIN_EVENT_MANAGER_H_
