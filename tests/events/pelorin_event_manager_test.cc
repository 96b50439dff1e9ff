#include "pelorin/pelorin_event_manager.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "events/event_bus_fixture.h"

namespace pelorin {
namespace {

using testing::busLine;
using testing::recorder;
using Lines = std::vector<std::string>;
using Strings = std::vector<std::string>;
using Events = std::vector<std::shared_ptr<Event>>;

class PelorinEventManagerTest : public testing::EventBusTest {
 protected:
  Strings idsUnder(std::string_view name) const {
    Strings ids;
    const auto subscriptions = bus.handlersByEvent();
    const auto found = subscriptions.find(name);
    if (found == subscriptions.end()) return ids;
    for (const HandlerMap& record : found->second) ids.push_back(record.id);
    return ids;
  }
};

TEST_F(PelorinEventManagerTest, EventPublishedBeforeAnyClientExistsIsNeitherQueuedNorDelivered) {
  // Given a subscriber and no client link at all
  auto handler = recorder("h1");
  subscribe(ClickEvent::NAME, handler);
  bus.setClientLink(nullptr);
  clearLog();
  auto event = std::make_shared<ClickEvent>("button1");

  // When
  bus.publish(event);

  // Then
  EXPECT_TRUE(handler->received.empty());
  EXPECT_TRUE(bus.eventQueue().empty());
  EXPECT_EQ(event->location(), std::nullopt);
  EXPECT_EQ(event->handledBy(), Strings{});
  EXPECT_EQ(logLines(), Lines{});
}

TEST_F(PelorinEventManagerTest, EventPublishedWhileTheClientDoesNotExistYetIsDropped) {
  auto handler = recorder("h1");
  subscribe(ClickEvent::NAME, handler);
  client.exists = false;
  clearLog();

  bus.publish(std::make_shared<ClickEvent>("button1"));

  EXPECT_TRUE(handler->received.empty());
  EXPECT_TRUE(bus.eventQueue().empty());
  EXPECT_EQ(logLines(), Lines{});
}

TEST_F(PelorinEventManagerTest, PublishStampsLocationQueuesDeliversThenLogs) {
  auto handler = recorder("h1");
  subscribe(ClickEvent::NAME, handler);
  clearLog();
  auto event = std::make_shared<ClickEvent>("button1");

  bus.publish(event);

  EXPECT_EQ(event->location(), "Home");
  EXPECT_EQ(bus.eventQueue(), Events{event});
  EXPECT_EQ(handler->received, Events{event});
  EXPECT_EQ(event->handledBy(), Strings{"h1"});
  EXPECT_EQ(logLines(),
            (Lines{busLine("Handle event PelorinClient.ClickEvent handler: h1."),
                   busLine("Publish 'button1' - PelorinClient.ClickEvent at 'Home'.")}));
}

TEST_F(PelorinEventManagerTest, PublishWithoutScreenNameStampsEmptyLocation) {
  client.screenName = std::nullopt;
  auto event = std::make_shared<UpdateValuesEvent>(Strings{"1"});

  bus.publish(event);

  EXPECT_EQ(event->location(), "");
  EXPECT_EQ(logLines(), Lines{busLine("Publish PelorinClient.UpdateValuesEvent at ''.")});
}

TEST_F(PelorinEventManagerTest, PublishWithoutSubscribersQueuesAndLogsOnly) {
  auto first = std::make_shared<UpdateContentEvent>(Strings{"x"});
  auto second = std::make_shared<AdvancedEvent>("purchase");

  bus.publish(first);
  bus.publish(second);

  EXPECT_EQ(bus.eventQueue(), (Events{first, second}));
  EXPECT_EQ(logLines(),
            (Lines{busLine("Publish '' - PelorinClient.UpdateContentEvent at 'Home'."),
                   busLine("Publish 'purchase' - PelorinClient.AdvancedEvent at 'Home'.")}));
}

TEST_F(PelorinEventManagerTest, PublishLogLeavesOutLocationWhenAHandlerRemovedIt) {
  auto handler = recorder("h1", [](const auto& event) { event->setLocation(std::nullopt); });
  subscribe(ClickEvent::NAME, handler);
  clearLog();

  bus.publish(std::make_shared<ClickEvent>("button1"));

  EXPECT_EQ(logLines(), (Lines{busLine("Handle event PelorinClient.ClickEvent handler: h1."),
                               busLine("Publish 'button1' - PelorinClient.ClickEvent.")}));
}

TEST_F(PelorinEventManagerTest, NullEventAndNullHandlerAreIgnored) {
  bus.publish(nullptr);
  bus.subscribe(ClickEvent::NAME, nullptr, "nobody");

  EXPECT_TRUE(bus.eventQueue().empty());
  EXPECT_TRUE(bus.handlersByEvent().empty());
  EXPECT_EQ(logLines(), Lines{});
}

TEST_F(PelorinEventManagerTest, SubscribeLogsAndDoesNotDeliverQueuedEvents) {
  auto event = std::make_shared<ClickEvent>("button1");
  bus.publish(event);
  clearLog();
  auto handler = recorder("h1");

  subscribe(ClickEvent::NAME, handler);

  EXPECT_TRUE(handler->received.empty());
  EXPECT_EQ(event->handledBy(), Strings{});
  EXPECT_EQ(logLines(), Lines{busLine("Subscribe 'PelorinClient.ClickEvent' event")});
}

TEST_F(PelorinEventManagerTest, LateSubscriberReceivesAtHandleAllEventsExactlyOnce) {
  // Given an event published before its subscriber arrived
  auto event = std::make_shared<ClickEvent>("button1");
  bus.publish(event);
  auto late = recorder("late");
  subscribe(ClickEvent::NAME, late);
  clearLog();

  // When the queue is replayed three times
  bus.handleAllEvents();
  bus.handleAllEvents();
  bus.handleAllEvents();

  // Then the event arrived once
  EXPECT_EQ(late->received, Events{event});
  EXPECT_EQ(event->handledBy(), Strings{"late"});
  EXPECT_EQ(logLines(), (Lines{busLine("Handle all events."),
                               busLine("Handle event PelorinClient.ClickEvent handler: late."),
                               busLine("Handle all events."), busLine("Handle all events.")}));
}

TEST_F(PelorinEventManagerTest, OfTwoHandlersWithTheSameListenerIdOnlyTheFirstIsKept) {
  auto first = recorder("same");
  auto second = recorder("same");
  subscribe(ClickEvent::NAME, first);
  subscribe(ClickEvent::NAME, second);

  bus.publish(std::make_shared<ClickEvent>("button1"));

  const auto subscriptions = bus.handlersByEvent();
  ASSERT_EQ(subscriptions.at(std::string(ClickEvent::NAME)).size(), 1U);
  EXPECT_EQ(subscriptions.at(std::string(ClickEvent::NAME))[0].handler, first);
  EXPECT_EQ(first->received.size(), 1U);
  EXPECT_TRUE(second->received.empty());
  EXPECT_EQ(logLines(),
            (Lines{busLine("Subscribe 'PelorinClient.ClickEvent' event"),
                   busLine("Subscribe 'PelorinClient.ClickEvent' event"),
                   busLine("Handle event PelorinClient.ClickEvent handler: same."),
                   busLine("Publish 'button1' - PelorinClient.ClickEvent at 'Home'.")}));
}

TEST_F(PelorinEventManagerTest, DuplicateCheckComparesTheIdentifierWithSubscribedListenerIds) {
  // The first handler answers to "a" although it was filed under "x".
  bus.subscribe(ClickEvent::NAME, recorder("a"), "x");

  bus.subscribe(ClickEvent::NAME, recorder("b"), "a");
  bus.subscribe(ClickEvent::NAME, recorder("c"), "x");

  EXPECT_EQ(idsUnder(ClickEvent::NAME), (Strings{"x", "x"}));
}

TEST_F(PelorinEventManagerTest, HandlerSubscribedUnderTwoNamesReceivesEachEventOnce) {
  auto handler = recorder("h1");
  subscribe(ClickEvent::NAME, handler);
  subscribe(FormSubmitEvent::NAME, handler);
  auto click = std::make_shared<ClickEvent>("button1");
  auto submit = std::make_shared<FormSubmitEvent>("form1");

  bus.publish(click);
  bus.publish(submit);
  bus.handleAllEvents();

  EXPECT_EQ(handler->received, (Events{click, submit}));
  EXPECT_EQ(click->handledBy(), Strings{"h1"});
  EXPECT_EQ(submit->handledBy(), Strings{"h1"});
}

TEST_F(PelorinEventManagerTest, ClickSubscriberDoesNotReceiveFormSubmitOrFieldChange) {
  auto handler = recorder("h1");
  subscribe(ClickEvent::NAME, handler);

  bus.publish(std::make_shared<FormSubmitEvent>("form1"));
  bus.publish(std::make_shared<FieldChangeEvent>("field1"));
  bus.handleAllEvents();

  EXPECT_TRUE(handler->received.empty());
}

TEST_F(PelorinEventManagerTest, RepublishedObjectIsQueuedAgainAndGoesOnlyToNewHandlers) {
  auto first = recorder("h1");
  subscribe(ClickEvent::NAME, first);
  auto event = std::make_shared<ClickEvent>("button1");
  bus.publish(event);
  auto second = recorder("h2");
  subscribe(ClickEvent::NAME, second);
  clearLog();

  bus.publish(event);

  EXPECT_EQ(bus.eventQueue(), (Events{event, event}));
  EXPECT_EQ(first->received, Events{event});
  EXPECT_EQ(second->received, Events{event});
  EXPECT_EQ(event->handledBy(), (Strings{"h1", "h2"}));
  EXPECT_EQ(logLines(),
            (Lines{busLine("Handle event PelorinClient.ClickEvent handler: h2."),
                   busLine("Publish 'button1' - PelorinClient.ClickEvent at 'Home'.")}));
}

TEST_F(PelorinEventManagerTest, PublishDeliversOnlyThePublishedObject) {
  // Given an older event that its subscriber has not seen
  auto older = std::make_shared<ClickEvent>("older");
  bus.publish(older);
  auto handler = recorder("h1");
  subscribe(ClickEvent::NAME, handler);
  auto newer = std::make_shared<ClickEvent>("newer");

  // When a new one is published
  bus.publish(newer);

  // Then only the new one is delivered; the older one waits for a replay
  EXPECT_EQ(handler->received, Events{newer});
  bus.handleAllEvents();
  EXPECT_EQ(handler->received, (Events{newer, older}));
}

TEST_F(PelorinEventManagerTest, HandleWithAnObjectThatIsNotQueuedDeliversNothing) {
  auto handler = recorder("h1");
  subscribe(ClickEvent::NAME, handler);
  bus.publish(std::make_shared<ClickEvent>("queued"));
  auto stranger = std::make_shared<ClickEvent>("stranger");
  clearLog();

  bus.handle(stranger);

  EXPECT_EQ(handler->received.size(), 1U);
  EXPECT_EQ(stranger->handledBy(), Strings{});
  EXPECT_EQ(logLines(), Lines{});
}

TEST_F(PelorinEventManagerTest, HandleWithoutEventDeliversTheWholeQueueWithoutLogLine) {
  auto event = std::make_shared<ClickEvent>("button1");
  bus.publish(event);
  auto handler = recorder("h1");
  subscribe(ClickEvent::NAME, handler);
  clearLog();

  bus.handle(nullptr);

  EXPECT_EQ(handler->received, Events{event});
  EXPECT_EQ(logLines(), Lines{busLine("Handle event PelorinClient.ClickEvent handler: h1.")});
}

TEST_F(PelorinEventManagerTest, ReplayFollowsQueueOrderThenSubscriptionOrder) {
  auto click1 = std::make_shared<ClickEvent>("c1");
  auto click2 = std::make_shared<ClickEvent>("c2");
  auto submit = std::make_shared<FormSubmitEvent>("f1");
  bus.publish(click1);
  bus.publish(submit);
  bus.publish(click2);
  subscribe(ClickEvent::NAME, recorder("h1"));
  subscribe(ClickEvent::NAME, recorder("h2"));
  subscribe(FormSubmitEvent::NAME, recorder("h3"));
  clearLog();

  bus.handleAllEvents();

  EXPECT_EQ(logLines(), (Lines{busLine("Handle all events."),
                               busLine("Handle event PelorinClient.ClickEvent handler: h1."),
                               busLine("Handle event PelorinClient.ClickEvent handler: h2."),
                               busLine("Handle event PelorinClient.FormSubmitEvent handler: h3."),
                               busLine("Handle event PelorinClient.ClickEvent handler: h1."),
                               busLine("Handle event PelorinClient.ClickEvent handler: h2.")}));
  EXPECT_EQ(click1->handledBy(), (Strings{"h1", "h2"}));
  EXPECT_EQ(submit->handledBy(), Strings{"h3"});
}

TEST_F(PelorinEventManagerTest, HandleAllEventsOnAnEmptyQueueOnlyLogs) {
  subscribe(ClickEvent::NAME, recorder("h1"));
  clearLog();

  bus.handleAllEvents();

  EXPECT_EQ(logLines(), Lines{busLine("Handle all events.")});
}

TEST_F(PelorinEventManagerTest, ClearEventsLogsAndEmptiesTheQueue) {
  bus.publish(std::make_shared<ClickEvent>("c1"));
  bus.publish(std::make_shared<ClickEvent>("c2"));
  auto late = recorder("late");
  subscribe(ClickEvent::NAME, late);
  clearLog();

  bus.clearEvents();
  bus.handleAllEvents();

  EXPECT_TRUE(bus.eventQueue().empty());
  EXPECT_TRUE(late->received.empty());
  EXPECT_EQ(logLines(), (Lines{busLine("Clear all events."), busLine("Handle all events.")}));
}

TEST_F(PelorinEventManagerTest, CleanupDropsOnlyTheEventsOfTheCurrentScreen) {
  // Given events of screens "A" and "B", and one whose location was taken away
  client.screenName = "A";
  auto a1 = std::make_shared<ClickEvent>("a1");
  bus.publish(a1);
  client.screenName = "B";
  auto b1 = std::make_shared<ClickEvent>("b1");
  auto unplaced = std::make_shared<ClickEvent>("unplaced");
  bus.publish(b1);
  bus.publish(unplaced);
  PelorinClient::synchronized([&] { unplaced->setLocation(std::nullopt); });
  client.screenName = "A";
  auto a2 = std::make_shared<UpdateValuesEvent>(Strings{"v"});
  bus.publish(a2);
  clearLog();

  // When the current screen "A" is cleaned up
  bus.cleanup();

  // Then
  EXPECT_EQ(bus.eventQueue(), (Events{b1, unplaced}));
  EXPECT_EQ(logLines(), Lines{busLine("Clean up all event.")});
}

TEST_F(PelorinEventManagerTest, CleanupWithoutCurrentScreenNameKeepsEveryEvent) {
  client.screenName = std::nullopt;
  auto unnamed = std::make_shared<ClickEvent>("c1");
  bus.publish(unnamed);
  client.screenName = "A";
  auto onA = std::make_shared<ClickEvent>("c2");
  bus.publish(onA);
  client.screenName = std::nullopt;

  bus.cleanup();

  EXPECT_EQ(bus.eventQueue(), (Events{unnamed, onA}));
}

TEST_F(PelorinEventManagerTest, CleanupWithoutClientKeepsTheQueueAndLogs) {
  auto event = std::make_shared<ClickEvent>("c1");
  bus.publish(event);
  bus.setClientLink(nullptr);
  clearLog();

  bus.cleanup();

  EXPECT_EQ(bus.eventQueue(), Events{event});
  EXPECT_EQ(logLines(), Lines{busLine("Clean up all event.")});
}

// After the queue dropped an object, publishing it again must count one occurrence: a
// handler subscribed during the first pass would otherwise receive it in a second one.
TEST_F(PelorinEventManagerTest, CleanupForgetsTheOccurrencesItDrops) {
  client.screenName = "A";
  auto event = std::make_shared<ClickEvent>("c1");
  bus.publish(event);
  bus.publish(event);
  bus.cleanup();
  ASSERT_TRUE(bus.eventQueue().empty());
  auto joiner = recorder("joiner");
  auto inviter = recorder("inviter", [&](const auto&) { subscribe(ClickEvent::NAME, joiner); });
  subscribe(ClickEvent::NAME, inviter);
  client.screenName = "B";

  bus.publish(event);

  EXPECT_EQ(bus.eventQueue(), Events{event});
  EXPECT_EQ(inviter->received, Events{event});
  EXPECT_TRUE(joiner->received.empty());
}

TEST_F(PelorinEventManagerTest, ClearEventsForgetsEveryOccurrence) {
  auto event = std::make_shared<ClickEvent>("c1");
  bus.publish(event);
  bus.publish(event);
  bus.clearEvents();
  auto joiner = recorder("joiner");
  auto inviter = recorder("inviter", [&](const auto&) { subscribe(ClickEvent::NAME, joiner); });
  subscribe(ClickEvent::NAME, inviter);

  bus.publish(event);

  EXPECT_EQ(inviter->received, Events{event});
  EXPECT_TRUE(joiner->received.empty());
}

TEST_F(PelorinEventManagerTest, CleanupKeepsTheOccurrencesItKeeps) {
  // Given one object queued on screen "B" twice and once on "A"
  client.screenName = "B";
  auto event = std::make_shared<ClickEvent>("c1");
  bus.publish(event);
  bus.publish(event);
  client.screenName = "A";
  bus.cleanup();
  ASSERT_EQ(bus.eventQueue(), (Events{event, event}));
  auto joiner = recorder("joiner");
  auto inviter = recorder("inviter", [&](const auto&) { subscribe(ClickEvent::NAME, joiner); });
  subscribe(ClickEvent::NAME, inviter);

  // When it is published once more (three occurrences), the joiner gets it in a later pass
  bus.publish(event);

  EXPECT_EQ(inviter->received, Events{event});
  EXPECT_EQ(joiner->received, Events{event});
}

TEST_F(PelorinEventManagerTest, ClearEventHandlersWithoutIdentifierRemovesEverySubscription) {
  auto handler = recorder("h1");
  subscribe(ClickEvent::NAME, handler);
  subscribe(FormSubmitEvent::NAME, recorder("h2"));
  clearLog();

  bus.clearEventHandlers();
  bus.publish(std::make_shared<ClickEvent>("c1"));

  EXPECT_TRUE(bus.handlersByEvent().empty());
  EXPECT_TRUE(handler->received.empty());
  EXPECT_EQ(logLines(), Lines{busLine("Publish 'c1' - PelorinClient.ClickEvent at 'Home'.")});
}

TEST_F(PelorinEventManagerTest, ClearEventHandlersWithIdentifierRemovesItsRecordsKeepingOrder) {
  bus.subscribe(ClickEvent::NAME, recorder("a"), "a");
  bus.subscribe(ClickEvent::NAME, recorder("b"), "b");
  bus.subscribe(ClickEvent::NAME, recorder("c"), "c");
  bus.subscribe(FormSubmitEvent::NAME, recorder("b2"), "b");
  bus.subscribe(FieldChangeEvent::NAME, recorder("d"), "d");
  clearLog();

  bus.clearEventHandlers("b");

  EXPECT_EQ(idsUnder(ClickEvent::NAME), (Strings{"a", "c"}));
  EXPECT_EQ(idsUnder(FormSubmitEvent::NAME), Strings{});
  EXPECT_EQ(idsUnder(FieldChangeEvent::NAME), Strings{"d"});
  EXPECT_EQ(logLines(), Lines{});
}

TEST_F(PelorinEventManagerTest, ClearEventHandlersWithAnUnusedIdentifierChangesNothing) {
  auto handler = recorder("a");
  subscribe(ClickEvent::NAME, handler);
  subscribe(ClickEvent::NAME, recorder("b"));
  const auto before = bus.handlersByEvent();

  bus.clearEventHandlers("nobody");

  const auto after = bus.handlersByEvent();
  ASSERT_EQ(after.size(), before.size());
  EXPECT_EQ(idsUnder(ClickEvent::NAME), (Strings{"a", "b"}));
  EXPECT_EQ(after.at(std::string(ClickEvent::NAME))[0].handler, handler);
  bus.publish(std::make_shared<ClickEvent>("c1"));
  EXPECT_EQ(handler->received.size(), 1U);
}

TEST_F(PelorinEventManagerTest, UnsubscribedHandlerMayBeSubscribedAgainAndSeesOnlyUnhandledEvents) {
  auto handler = recorder("h1");
  subscribe(ClickEvent::NAME, handler);
  auto seen = std::make_shared<ClickEvent>("seen");
  bus.publish(seen);
  bus.clearEventHandlers("h1");
  auto missed = std::make_shared<ClickEvent>("missed");
  bus.publish(missed);

  subscribe(ClickEvent::NAME, handler);
  bus.handleAllEvents();

  EXPECT_EQ(handler->received, (Events{seen, missed}));
}

}  // namespace
}  // namespace pelorin
