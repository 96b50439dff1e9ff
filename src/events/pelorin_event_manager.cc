#include "pelorin/pelorin_event_manager.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "config/pelorin_configuration.h"
#include "events/event_bus_client_link.h"
#include "pelorin/pelorin_client.h"

namespace pelorin {
namespace {

void logInfo(auto&& makeMessage) {
  PelorinConfiguration::log(std::forward<decltype(makeMessage)>(makeMessage),
                            PelorinEventManager::LOG_TAG, LogFlag::INFO);
}

bool contains(const std::vector<std::string>& ids, const std::string& id) {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

}  // namespace

// Throughout: state that is replaced or emptied is first moved into a local, so that
// destructors of events and handlers (which may call back into the bus) run while the
// bus is already consistent.

void PelorinEventManager::publish(std::shared_ptr<Event> event) {
  PelorinClient::synchronized([&] {
    if (!event) return;
    if (_clientLink == nullptr || !_clientLink->clientExists()) return;
    event->setLocation(_clientLink->currentScreenName().value_or(""));
    _eventQueue.push_back(event);
    ++_queuedCount[event.get()];
    handle(event);
    logInfo([&] {
      // A handler may have taken the location away again.
      return event->location()
                 ? fmt::format("Publish {} at '{}'.", event->message(), *event->location())
                 : fmt::format("Publish {}.", event->message());
    });
  });
}

void PelorinEventManager::subscribe(std::string_view name, std::shared_ptr<EventHandler> handler,
                                    std::string identifier) {
  PelorinClient::synchronized([&] {
    if (!handler) return;
    logInfo([&] { return fmt::format("Subscribe '{}' event", name); });
    auto found = _handlersByEvent.find(name);
    if (found == _handlersByEvent.end()) {
      _handlersByEvent.emplace(std::string(name),
                               std::make_shared<const HandlerList>(
                                   HandlerList{{std::move(identifier), std::move(handler)}}));
      return;
    }
    // Hold the list: listenerId() is the handler's code and may change the subscriptions.
    const std::shared_ptr<const HandlerList> current = found->second;
    for (const HandlerMap& record : *current) {
      if (record.handler->listenerId() == identifier) return;
    }
    auto grown = std::make_shared<HandlerList>(*current);
    grown->push_back({std::move(identifier), std::move(handler)});
    auto& slot = _handlersByEvent[std::string(name)];
    std::shared_ptr<const HandlerList> replaced = std::move(slot);
    slot = std::move(grown);
  });
}

void PelorinEventManager::handle(const std::shared_ptr<Event>& event) {
  PelorinClient::synchronized([&] {
    if (_eventQueue.empty()) return;
    if (!event) {
      // Walk the queue as it is now: events that handlers publish meanwhile are delivered
      // by their own publish, and a handler that clears the queue does not cut this walk.
      const std::vector<std::shared_ptr<Event>> queued = _eventQueue;
      for (const auto& each : queued) deliver(each);
      return;
    }
    const auto found = _queuedCount.find(event.get());
    if (found == _queuedCount.end()) return;
    // Each queued occurrence is one pass; only a handler subscribed during an earlier
    // pass can receive anything in a later one.
    const std::size_t occurrences = found->second;
    // `event` may refer to a pointer that a handler resets (a queue entry, say): hold it.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const std::shared_ptr<Event> held = event;
    for (std::size_t i = 0; i < occurrences; ++i) deliver(held);
  });
}

void PelorinEventManager::deliver(const std::shared_ptr<Event>& event) {
  const auto found = _handlersByEvent.find(event->name());
  if (found == _handlersByEvent.end()) return;
  const std::shared_ptr<const HandlerList> handlers = found->second;
  for (const HandlerMap& record : *handlers) {
    std::string listenerId = record.handler->listenerId();
    if (contains(event->handledBy(), listenerId)) continue;
    // Recorded before the handler runs, so that a handler which publishes or replays from
    // inside handleEvent does not receive this event again.
    event->addHandledBy(listenerId);
    logInfo([&] { return fmt::format("Handle event {} handler: {}.", event->name(), listenerId); });
    record.handler->handleEvent(event);
  }
}

void PelorinEventManager::handleAllEvents() {
  PelorinClient::synchronized([&] {
    logInfo([] { return std::string("Handle all events."); });
    handle(nullptr);
  });
}

void PelorinEventManager::clearEvents() {
  PelorinClient::synchronized([&] {
    logInfo([] { return std::string("Clear all events."); });
    const std::vector<std::shared_ptr<Event>> dropped = std::move(_eventQueue);
    _eventQueue.clear();
    _queuedCount.clear();
  });
}

void PelorinEventManager::clearEventHandlers(std::optional<std::string_view> identifier) {
  PelorinClient::synchronized([&] {
    if (!identifier) {
      const auto dropped = std::move(_handlersByEvent);
      _handlersByEvent.clear();
      return;
    }
    std::vector<std::shared_ptr<const HandlerList>> replaced;
    for (auto& [name, list] : _handlersByEvent) {
      const auto matches = [&](const HandlerMap& record) { return record.id == *identifier; };
      if (std::none_of(list->begin(), list->end(), matches)) continue;
      auto kept = std::make_shared<HandlerList>();
      std::copy_if(list->begin(), list->end(), std::back_inserter(*kept),
                   [&](const HandlerMap& record) { return !matches(record); });
      replaced.push_back(std::move(list));
      list = std::move(kept);
    }
  });
}

void PelorinEventManager::cleanup() {
  PelorinClient::synchronized([&] {
    logInfo([] { return std::string("Clean up all event."); });
    // Without a client there is no current screen, and so nothing to drop.
    if (_clientLink == nullptr || !_clientLink->clientExists()) return;
    const std::optional<std::string> screenName = _clientLink->currentScreenName();
    if (!screenName) return;
    std::vector<std::shared_ptr<Event>> kept;
    std::vector<std::shared_ptr<Event>> dropped;
    kept.reserve(_eventQueue.size());
    for (auto& event : _eventQueue) {
      const auto& location = event->location();
      if (location && *location == *screenName) {
        forgetQueued(event.get());
        dropped.push_back(std::move(event));
      } else {
        kept.push_back(std::move(event));
      }
    }
    _eventQueue = std::move(kept);
  });
}

void PelorinEventManager::forgetQueued(const Event* event) {
  const auto found = _queuedCount.find(event);
  if (found == _queuedCount.end()) return;
  if (--found->second == 0) _queuedCount.erase(found);
}

void PelorinEventManager::setClientLink(EventBusClientLink* link) {
  PelorinClient::synchronized([&] { _clientLink = link; });
}

std::vector<std::shared_ptr<Event>> PelorinEventManager::eventQueue() const {
  return PelorinClient::synchronized([&] { return _eventQueue; });
}

std::map<std::string, std::vector<HandlerMap>, std::less<>> PelorinEventManager::handlersByEvent()
    const {
  return PelorinClient::synchronized([&] {
    std::map<std::string, std::vector<HandlerMap>, std::less<>> snapshot;
    for (const auto& [name, list] : _handlersByEvent) snapshot.emplace(name, *list);
    return snapshot;
  });
}

}  // namespace pelorin
