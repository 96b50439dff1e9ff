#include "listeners/event_serivce_base.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "events/event_bus_client_link.h"
#include "pelorin/event.h"
#include "pelorin/pelorin_event_factory.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

JsonValue json(std::string_view text) { return JsonValue::parse(text).value(); }

class StubClientLink : public EventBusClientLink {
 public:
  bool clientExists() const override { return true; }
  std::optional<std::string> currentScreenName() const override { return "Home"; }
};

class EventSerivceBaseTest : public ::testing::Test {
 protected:
  EventSerivceBaseTest() { _bus.setClientLink(&_link); }
  ~EventSerivceBaseTest() override {
    _bus.clearEventHandlers();
    _bus.clearEvents();
    _bus.setClientLink(nullptr);
  }

  // The identifiers subscribed under each event name.
  std::map<std::string, std::vector<std::string>> subscriptions() const {
    std::map<std::string, std::vector<std::string>> result;
    for (const auto& [name, records] : _bus.handlersByEvent()) {
      for (const auto& record : records) result[name].push_back(record.id);
    }
    return result;
  }

  testing::TestPlatform _platform;
  StubClientLink _link;
  PelorinEventManager& _bus = PelorinEventFactory::getInstance();
  std::shared_ptr<EventSerivceBase> _service = std::make_shared<EventSerivceBase>();
};

TEST_F(EventSerivceBaseTest, StartsEmptyWithAnEmptyIdentifier) {
  EXPECT_EQ(_service->listenerId(), "");
  EXPECT_THAT(_service->eventMap(), IsEmpty());
}

TEST_F(EventSerivceBaseTest, ListenerIdCanBeSet) {
  _service->setListenerId("interaction-7");
  EXPECT_EQ(_service->listenerId(), "interaction-7");
}

TEST_F(EventSerivceBaseTest, RegisterEventKeepsRulesInOrderPerClass) {
  _service->registerEvent(json(R"({"n": 1})"), ClickEvent::NAME);
  _service->registerEvent(json(R"({"n": 2})"), FormSubmitEvent::NAME);
  _service->registerEvent(json(R"({"n": 3})"), ClickEvent::NAME);

  const auto& map = _service->eventMap();
  ASSERT_EQ(map.size(), 2U);
  ASSERT_EQ(map.at("PelorinClient.ClickEvent").size(), 2U);
  EXPECT_EQ(map.at("PelorinClient.ClickEvent")[0].toCompactString(), R"({"n":1})");
  EXPECT_EQ(map.at("PelorinClient.ClickEvent")[1].toCompactString(), R"({"n":3})");
  ASSERT_EQ(map.at("PelorinClient.FormSubmitEvent").size(), 1U);
}

TEST_F(EventSerivceBaseTest, SameRuleRegisteredTwiceIsKeptTwice) {
  JsonValue rule = json(R"({"event": "buy"})");
  _service->registerEvent(rule, AdvancedEvent::NAME);
  _service->registerEvent(rule, AdvancedEvent::NAME);
  EXPECT_EQ(_service->eventMap().at("PelorinClient.AdvancedEvent").size(), 2U);
}

TEST_F(EventSerivceBaseTest, TwoClickRulesAndOneFormRuleGiveTwoSubscriptions) {
  _service->setListenerId("i1");
  _service->registerEvent(json(R"({"n": 1})"), ClickEvent::NAME);
  _service->registerEvent(json(R"({"n": 2})"), ClickEvent::NAME);
  _service->registerEvent(json(R"({"n": 3})"), FormSubmitEvent::NAME);

  _service->subscribeListeners();

  EXPECT_EQ(subscriptions(),
            (std::map<std::string, std::vector<std::string>>{
                {"PelorinClient.ClickEvent", {"i1"}}, {"PelorinClient.FormSubmitEvent", {"i1"}}}));
  EXPECT_THAT(
      _platform.logLines(),
      ElementsAre("INFO [PL_EVENT_MANAGER]: Subscribe 'PelorinClient.ClickEvent' event",
                  "INFO [PL_EVENT_MANAGER]: Subscribe 'PelorinClient.FormSubmitEvent' event"));
}

TEST_F(EventSerivceBaseTest, ServiceWithEmptyIdentifierSubscribesUnderIt) {
  _service->registerEvent(json("{}"), AdvancedEvent::NAME);
  _service->subscribeListeners();
  EXPECT_EQ(
      subscriptions(),
      (std::map<std::string, std::vector<std::string>>{{"PelorinClient.AdvancedEvent", {""}}}));
}

TEST_F(EventSerivceBaseTest, EmptyServiceSubscribesToNothing) {
  _service->subscribeListeners();
  EXPECT_THAT(_bus.handlersByEvent(), IsEmpty());
  EXPECT_THAT(_platform.logLines(), IsEmpty());
}

TEST_F(EventSerivceBaseTest, ClassFiledAfterSubscribingIsNotSubscribed) {
  _service->setListenerId("i1");
  _service->registerEvent(json("{}"), ClickEvent::NAME);
  _service->subscribeListeners();
  _service->registerEvent(json("{}"), UpdateContentEvent::NAME);
  EXPECT_EQ(
      subscriptions(),
      (std::map<std::string, std::vector<std::string>>{{"PelorinClient.ClickEvent", {"i1"}}}));
}

TEST_F(EventSerivceBaseTest, BusDeliversToTheServiceWhichIgnoresTheEvent) {
  _service->setListenerId("i1");
  _service->registerEvent(json("{}"), ClickEvent::NAME);
  _service->subscribeListeners();
  auto event = std::make_shared<ClickEvent>("#buy");
  _bus.publish(event);
  EXPECT_THAT(event->handledBy(), ElementsAre("i1"));
  EXPECT_EQ(_service->eventMap().at("PelorinClient.ClickEvent").size(), 1U);
}

TEST_F(EventSerivceBaseTest, ClearingTheIdentifierEndsTheSubscriptions) {
  _service->setListenerId("i1");
  _service->registerEvent(json("{}"), ClickEvent::NAME);
  _service->subscribeListeners();
  _bus.clearEventHandlers("i1");
  EXPECT_THAT(subscriptions(), IsEmpty());
}

TEST(EventSerivceBaseDeathTest, SubscribingAServiceNotOwnedBySharedPtrAborts) {
  EXPECT_DEATH(
      {
        EventSerivceBase _service;
        _service.registerEvent(JsonValue(), ClickEvent::NAME);
        _service.subscribeListeners();
      },
      "not owned by a shared_ptr");
}

}  // namespace
}  // namespace pelorin
