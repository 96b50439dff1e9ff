// Handlers that call back into the bus from inside handleEvent, and several threads using
// the bus at once.
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "events/event_bus_fixture.h"
#include "pelorin/pelorin_event_manager.h"

namespace pelorin {
namespace {

using testing::busLine;
using testing::recorder;
using Lines = std::vector<std::string>;
using Strings = std::vector<std::string>;
using Events = std::vector<std::shared_ptr<Event>>;

class PelorinEventManagerReentrancyTest : public testing::EventBusTest {};

TEST_F(PelorinEventManagerReentrancyTest, IdentityIsRecordedBeforeTheHandlerRuns) {
  Strings seenInside;
  auto handler = recorder("h1", [&](const auto& event) { seenInside = event->handledBy(); });
  subscribe(ClickEvent::NAME, handler);

  bus.publish(std::make_shared<ClickEvent>("c1"));

  EXPECT_EQ(seenInside, Strings{"h1"});
}

TEST_F(PelorinEventManagerReentrancyTest, HandlerPublishingFromInsideIsDeliveredInNestedOrder) {
  // Given a click handler that answers with a form submit, and a form handler
  auto submit = std::make_shared<FormSubmitEvent>("form1");
  auto clicks = recorder("clicks", [&](const auto&) { bus.publish(submit); });
  auto forms = recorder("forms");
  subscribe(ClickEvent::NAME, clicks);
  subscribe(FormSubmitEvent::NAME, forms);
  clearLog();
  auto click = std::make_shared<ClickEvent>("button1");

  // When
  bus.publish(click);

  // Then the nested publish ran to its end inside the outer one
  EXPECT_EQ(bus.eventQueue(), (Events{click, submit}));
  EXPECT_EQ(clicks->received, Events{click});
  EXPECT_EQ(forms->received, Events{submit});
  EXPECT_EQ(logLines(),
            (Lines{busLine("Handle event PelorinClient.ClickEvent handler: clicks."),
                   busLine("Handle event PelorinClient.FormSubmitEvent handler: forms."),
                   busLine("Publish 'form1' - PelorinClient.FormSubmitEvent at 'Home'."),
                   busLine("Publish 'button1' - PelorinClient.ClickEvent at 'Home'.")}));
}

TEST_F(PelorinEventManagerReentrancyTest, HandlerRepublishingItsOwnEventDoesNotReceiveItAgain) {
  auto echo = recorder("echo", [&](const auto& event) { bus.publish(event); });
  auto other = recorder("other");
  subscribe(ClickEvent::NAME, echo);
  subscribe(ClickEvent::NAME, other);
  auto event = std::make_shared<ClickEvent>("c1");

  bus.publish(event);
  bus.handleAllEvents();

  EXPECT_EQ(bus.eventQueue(), (Events{event, event}));
  EXPECT_EQ(echo->received, Events{event});
  EXPECT_EQ(other->received, Events{event});
  EXPECT_EQ(event->handledBy(), (Strings{"echo", "other"}));
}

TEST_F(PelorinEventManagerReentrancyTest, HandlerSubscribingFromInsideWaitsForTheReplay) {
  auto joiner = recorder("joiner");
  auto inviter = recorder("inviter", [&](const auto&) { subscribe(ClickEvent::NAME, joiner); });
  subscribe(ClickEvent::NAME, inviter);
  clearLog();
  auto event = std::make_shared<ClickEvent>("c1");

  bus.publish(event);

  EXPECT_TRUE(joiner->received.empty());
  EXPECT_EQ(logLines(), (Lines{busLine("Handle event PelorinClient.ClickEvent handler: inviter."),
                               busLine("Subscribe 'PelorinClient.ClickEvent' event"),
                               busLine("Publish 'c1' - PelorinClient.ClickEvent at 'Home'.")}));

  bus.handleAllEvents();
  bus.handleAllEvents();

  EXPECT_EQ(joiner->received, Events{event});
  EXPECT_EQ(inviter->received, Events{event});
}

// Each queued occurrence of an object is a pass over the handlers as they are then.
TEST_F(PelorinEventManagerReentrancyTest, HandlerSubscribedInsideGetsTheEventAtItsNextOccurrence) {
  auto event = std::make_shared<ClickEvent>("c1");
  bus.publish(event);
  auto joiner = recorder("joiner");
  auto inviter = recorder("inviter", [&](const auto&) { subscribe(ClickEvent::NAME, joiner); });
  subscribe(ClickEvent::NAME, inviter);
  clearLog();

  bus.publish(event);

  EXPECT_EQ(inviter->received, Events{event});
  EXPECT_EQ(joiner->received, Events{event});
  EXPECT_EQ(event->handledBy(), (Strings{"inviter", "joiner"}));
  EXPECT_EQ(logLines(), (Lines{busLine("Handle event PelorinClient.ClickEvent handler: inviter."),
                               busLine("Subscribe 'PelorinClient.ClickEvent' event"),
                               busLine("Handle event PelorinClient.ClickEvent handler: joiner."),
                               busLine("Publish 'c1' - PelorinClient.ClickEvent at 'Home'.")}));
}

TEST_F(PelorinEventManagerReentrancyTest, HandlerReplayingFromInsideDeliversNothingTwice) {
  // Given an older event and a handler that replays the queue whenever it runs
  auto older = std::make_shared<ClickEvent>("older");
  bus.publish(older);
  auto replayer = recorder("replayer", [&](const auto&) { bus.handleAllEvents(); });
  subscribe(ClickEvent::NAME, replayer);
  clearLog();
  auto newer = std::make_shared<ClickEvent>("newer");

  // When
  bus.publish(newer);
  bus.handleAllEvents();

  // Then each event reached the handler once, the older one through the nested replay
  EXPECT_EQ(replayer->received, (Events{newer, older}));
  EXPECT_EQ(logLines(), (Lines{busLine("Handle event PelorinClient.ClickEvent handler: replayer."),
                               busLine("Handle all events."),
                               busLine("Handle event PelorinClient.ClickEvent handler: replayer."),
                               busLine("Handle all events."),
                               busLine("Publish 'newer' - PelorinClient.ClickEvent at 'Home'."),
                               busLine("Handle all events.")}));
}

TEST_F(PelorinEventManagerReentrancyTest, HandlerClearingTheQueueDoesNotCutTheDelivery) {
  auto clearer = recorder("clearer", [&](const auto&) { bus.clearEvents(); });
  auto after = recorder("after");
  subscribe(ClickEvent::NAME, clearer);
  subscribe(ClickEvent::NAME, after);
  clearLog();

  // The bus holds the only reference to the event once publish has it.
  bus.publish(std::make_shared<ClickEvent>("c1"));

  EXPECT_TRUE(bus.eventQueue().empty());
  ASSERT_EQ(after->received.size(), 1U);
  EXPECT_EQ(after->received[0]->handledBy(), (Strings{"clearer", "after"}));
  EXPECT_EQ(logLines(), (Lines{busLine("Handle event PelorinClient.ClickEvent handler: clearer."),
                               busLine("Clear all events."),
                               busLine("Handle event PelorinClient.ClickEvent handler: after."),
                               busLine("Publish 'c1' - PelorinClient.ClickEvent at 'Home'.")}));
}

TEST_F(PelorinEventManagerReentrancyTest, HandlerClearingTheQueueDuringReplayDoesNotCutTheReplay) {
  bus.publish(std::make_shared<ClickEvent>("c1"));
  bus.publish(std::make_shared<ClickEvent>("c2"));
  auto clearer = recorder("clearer", [&](const auto&) { bus.clearEvents(); });
  subscribe(ClickEvent::NAME, clearer);

  bus.handleAllEvents();

  EXPECT_EQ(clearer->received.size(), 2U);
  EXPECT_TRUE(bus.eventQueue().empty());
}

// A delivery walks the subscriptions as it found them; removals take effect afterwards.
TEST_F(PelorinEventManagerReentrancyTest, HandlersRemovedDuringDeliveryFinishTheCurrentWalk) {
  auto remover = recorder("remover", [&](const auto&) { bus.clearEventHandlers(); });
  auto after = recorder("after");
  subscribe(ClickEvent::NAME, remover);
  subscribe(ClickEvent::NAME, after);

  bus.publish(std::make_shared<ClickEvent>("c1"));
  bus.publish(std::make_shared<ClickEvent>("c2"));

  EXPECT_EQ(remover->received.size(), 1U);
  EXPECT_EQ(after->received.size(), 1U);
  EXPECT_TRUE(bus.handlersByEvent().empty());
}

TEST_F(PelorinEventManagerReentrancyTest, HandlerMayUnsubscribeItselfWhileItRuns) {
  std::weak_ptr<testing::RecordingHandler> watch;
  {
    auto leaver = recorder("leaver", [&](const auto&) { bus.clearEventHandlers("leaver"); });
    watch = leaver;
    subscribe(ClickEvent::NAME, leaver);
  }

  bus.publish(std::make_shared<ClickEvent>("c1"));

  // The bus held the last reference and let it go once the handler had returned.
  EXPECT_TRUE(watch.expired());
  EXPECT_TRUE(bus.handlersByEvent().at(std::string(ClickEvent::NAME)).empty());
}

// Counts deliveries per event object; runs only inside the global lock.
class CountingHandler : public EventHandler {
 public:
  explicit CountingHandler(std::string id) : _id(std::move(id)) {}
  std::string listenerId() const override { return _id; }
  void handleEvent(const std::shared_ptr<Event>& event) override { ++counts[event.get()]; }

  std::map<const Event*, int> counts;

 private:
  std::string _id;
};

TEST_F(PelorinEventManagerReentrancyTest, FourThreadsPublishingAndSubscribingDeliverEachEventOnce) {
  constexpr int kThreads = 4;
  constexpr int kEventsPerThread = 200;
  constexpr int kHandlersPerThread = 4;
  platform.bundle().set("pl_debug", JsonValue(false));
  std::vector<std::shared_ptr<CountingHandler>> handlers;
  for (int t = 0; t < kThreads; ++t) {
    for (int h = 0; h < kHandlersPerThread; ++h) {
      handlers.push_back(
          std::make_shared<CountingHandler>("t" + std::to_string(t) + "h" + std::to_string(h)));
    }
  }

  // When each thread publishes and, every 50 events, subscribes one more of its handlers
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEventsPerThread; ++i) {
        if (i % (kEventsPerThread / kHandlersPerThread) == 0) {
          const auto& handler = handlers[t * kHandlersPerThread + i / 50];
          bus.subscribe(i % 100 == 0 ? ClickEvent::NAME : FormSubmitEvent::NAME, handler,
                        handler->listenerId());
        }
        if (i % 2 == 0) {
          bus.publish(std::make_shared<ClickEvent>("c" + std::to_string(i)));
        } else {
          bus.publish(std::make_shared<FormSubmitEvent>("f" + std::to_string(i)));
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  bus.handleAllEvents();

  // Then every handler received every event of its name exactly once
  const Events queue = bus.eventQueue();
  ASSERT_EQ(queue.size(), static_cast<std::size_t>(kThreads * kEventsPerThread));
  for (int index = 0; index < static_cast<int>(handlers.size()); ++index) {
    const auto& handler = handlers[index];
    const std::string_view name = index % 2 == 0 ? ClickEvent::NAME : FormSubmitEvent::NAME;
    std::size_t expected = 0;
    for (const auto& event : queue) {
      if (event->name() != name) continue;
      ++expected;
      const auto found = handler->counts.find(event.get());
      ASSERT_NE(found, handler->counts.end()) << handler->listenerId();
      EXPECT_EQ(found->second, 1) << handler->listenerId();
    }
    EXPECT_EQ(handler->counts.size(), expected) << handler->listenerId();
  }
}

}  // namespace
}  // namespace pelorin
