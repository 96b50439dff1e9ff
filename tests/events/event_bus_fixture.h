// Shared pieces of the event bus tests: a client link the test controls, a handler that
// records what it receives, and a fixture that hands each test a clean bus.
#ifndef PELORIN_TESTS_EVENTS_EVENT_BUS_FIXTURE_H_
#define PELORIN_TESTS_EVENTS_EVENT_BUS_FIXTURE_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "events/event_bus_client_link.h"
#include "pelorin/event.h"
#include "pelorin/event_handler.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "support/test_platform.h"

namespace pelorin::testing {

// Stands in for the client engine. Change it only while no other thread uses the bus.
class FakeClientLink : public EventBusClientLink {
 public:
  bool clientExists() const override { return exists; }
  std::optional<std::string> currentScreenName() const override { return screenName; }

  bool exists = true;
  std::optional<std::string> screenName;
};

// Records every event it receives, then runs `onEvent` when one is set.
class RecordingHandler : public EventHandler {
 public:
  using Callback = std::function<void(const std::shared_ptr<Event>&)>;

  explicit RecordingHandler(std::string id, Callback onEvent = {})
      : _id(std::move(id)), _onEvent(std::move(onEvent)) {}

  std::string listenerId() const override { return _id; }
  void handleEvent(const std::shared_ptr<Event>& event) override {
    received.push_back(event);
    if (_onEvent) _onEvent(event);
  }

  // Written inside the global lock, like all bus state.
  std::vector<std::shared_ptr<Event>> received;

 private:
  std::string _id;
  Callback _onEvent;
};

inline std::shared_ptr<RecordingHandler> recorder(std::string id,
                                                  RecordingHandler::Callback onEvent = {}) {
  return std::make_shared<RecordingHandler>(std::move(id), std::move(onEvent));
}

// "INFO [PL_EVENT_MANAGER]: " + message, a log line as TestPlatform::logLines shows it.
inline std::string busLine(std::string_view message) {
  return "INFO [PL_EVENT_MANAGER]: " + std::string(message);
}

class EventBusTest : public ::testing::Test {
 protected:
  EventBusTest() {
    bus.setClientLink(&client);
    client.screenName = "Home";
  }
  ~EventBusTest() override {
    bus.setClientLink(nullptr);
    bus.clearEventHandlers();
    bus.clearEvents();
  }

  // Subscribes `handler` under `name` with its own listenerId.
  void subscribe(std::string_view name, const std::shared_ptr<RecordingHandler>& handler) {
    bus.subscribe(name, handler, handler->listenerId());
  }

  std::vector<std::string> logLines() const { return platform.logLines(); }
  void clearLog() { platform.console().clear(); }

  TestPlatform platform;
  FakeClientLink client;
  PelorinEventManager& bus = PelorinEventFactory::getInstance();
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_EVENTS_EVENT_BUS_FIXTURE_H_
