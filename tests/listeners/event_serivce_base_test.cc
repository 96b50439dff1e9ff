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
  EventSerivceBaseTest() { bus.setClientLink(&link); }
  ~EventSerivceBaseTest() override {
    bus.clearEventHandlers();
    bus.clearEvents();
    bus.setClientLink(nullptr);
  }

  // The identifiers subscribed under each event name.
  std::map<std::string, std::vector<std::string>> subscriptions() const {
    std::map<std::string, std::vector<std::string>> result;
    for (const auto& [name, records] : bus.handlersByEvent()) {
      for (const auto& record : records) result[name].push_back(record.id);
    }
    return result;
  }

  testing::TestPlatform platform;
  StubClientLink link;
  PelorinEventManager& bus = PelorinEventFactory::getInstance();
  std::shared_ptr<EventSerivceBase> service = std::make_shared<EventSerivceBase>();
};

TEST_F(EventSerivceBaseTest, StartsEmptyWithAnEmptyIdentifier) {
  EXPECT_EQ(service->listenerId(), "");
  EXPECT_THAT(service->eventMap(), IsEmpty());
}

TEST_F(EventSerivceBaseTest, ListenerIdCanBeSet) {
  service->setListenerId("interaction-7");
  EXPECT_EQ(service->listenerId(), "interaction-7");
}

TEST_F(EventSerivceBaseTest, RegisterEventKeepsRulesInOrderPerClass) {
  service->registerEvent(json(R"({"n": 1})"), ClickEvent::NAME);
  service->registerEvent(json(R"({"n": 2})"), FormSubmitEvent::NAME);
  service->registerEvent(json(R"({"n": 3})"), ClickEvent::NAME);

  const auto& map = service->eventMap();
  ASSERT_EQ(map.size(), 2U);
  ASSERT_EQ(map.at("PelorinClient.ClickEvent").size(), 2U);
  EXPECT_EQ(map.at("PelorinClient.ClickEvent")[0].toCompactString(), R"({"n":1})");
  EXPECT_EQ(map.at("PelorinClient.ClickEvent")[1].toCompactString(), R"({"n":3})");
  ASSERT_EQ(map.at("PelorinClient.FormSubmitEvent").size(), 1U);
}

TEST_F(EventSerivceBaseTest, SameRuleRegisteredTwiceIsKeptTwice) {
  JsonValue rule = json(R"({"event": "buy"})");
  service->registerEvent(rule, AdvancedEvent::NAME);
  service->registerEvent(rule, AdvancedEvent::NAME);
  EXPECT_EQ(service->eventMap().at("PelorinClient.AdvancedEvent").size(), 2U);
}

TEST_F(EventSerivceBaseTest, TwoClickRulesAndOneFormRuleGiveTwoSubscriptions) {
  service->setListenerId("i1");
  service->registerEvent(json(R"({"n": 1})"), ClickEvent::NAME);
  service->registerEvent(json(R"({"n": 2})"), ClickEvent::NAME);
  service->registerEvent(json(R"({"n": 3})"), FormSubmitEvent::NAME);

  service->subscribeListeners();

  EXPECT_EQ(subscriptions(),
            (std::map<std::string, std::vector<std::string>>{
                {"PelorinClient.ClickEvent", {"i1"}}, {"PelorinClient.FormSubmitEvent", {"i1"}}}));
  EXPECT_THAT(
      platform.logLines(),
      ElementsAre("INFO [PL_EVENT_MANAGER]: Subscribe 'PelorinClient.ClickEvent' event",
                  "INFO [PL_EVENT_MANAGER]: Subscribe 'PelorinClient.FormSubmitEvent' event"));
}

TEST_F(EventSerivceBaseTest, ServiceWithEmptyIdentifierSubscribesUnderIt) {
  service->registerEvent(json("{}"), AdvancedEvent::NAME);
  service->subscribeListeners();
  EXPECT_EQ(
      subscriptions(),
      (std::map<std::string, std::vector<std::string>>{{"PelorinClient.AdvancedEvent", {""}}}));
}

TEST_F(EventSerivceBaseTest, EmptyServiceSubscribesToNothing) {
  service->subscribeListeners();
  EXPECT_THAT(bus.handlersByEvent(), IsEmpty());
  EXPECT_THAT(platform.logLines(), IsEmpty());
}

TEST_F(EventSerivceBaseTest, ClassFiledAfterSubscribingIsNotSubscribed) {
  service->setListenerId("i1");
  service->registerEvent(json("{}"), ClickEvent::NAME);
  service->subscribeListeners();
  service->registerEvent(json("{}"), UpdateContentEvent::NAME);
  EXPECT_EQ(
      subscriptions(),
      (std::map<std::string, std::vector<std::string>>{{"PelorinClient.ClickEvent", {"i1"}}}));
}

TEST_F(EventSerivceBaseTest, BusDeliversToTheServiceWhichIgnoresTheEvent) {
  service->setListenerId("i1");
  service->registerEvent(json("{}"), ClickEvent::NAME);
  service->subscribeListeners();
  auto event = std::make_shared<ClickEvent>("#buy");
  bus.publish(event);
  EXPECT_THAT(event->handledBy(), ElementsAre("i1"));
  EXPECT_EQ(service->eventMap().at("PelorinClient.ClickEvent").size(), 1U);
}

TEST_F(EventSerivceBaseTest, ClearingTheIdentifierEndsTheSubscriptions) {
  service->setListenerId("i1");
  service->registerEvent(json("{}"), ClickEvent::NAME);
  service->subscribeListeners();
  bus.clearEventHandlers("i1");
  EXPECT_THAT(subscriptions(), IsEmpty());
}

TEST(EventSerivceBaseDeathTest, SubscribingAServiceNotOwnedBySharedPtrAborts) {
  EXPECT_DEATH(
      {
        EventSerivceBase service;
        service.registerEvent(JsonValue(), ClickEvent::NAME);
        service.subscribeListeners();
      },
      "not owned by a shared_ptr");
}

}  // namespace
}  // namespace pelorin
