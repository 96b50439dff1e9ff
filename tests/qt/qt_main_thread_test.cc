// Qt's event loop as the library's main thread: posted tasks in order and never inline,
// from any thread; one-shot and repeating timers; cancelling.
#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <QTest>

#include "pelorin/qt/main_thread.h"
#include "qt/qt_application.h"

namespace pelorin::qt {
namespace {

using std::chrono::milliseconds;
using testing::processQtEvents;

// Runs Qt's event loop until `done` holds; false when it still does not after a long while
// (timers fire after real milliseconds).
template <typename Condition>
bool runUntil(Condition done) {
  return QTest::qWaitFor(done, 10000);
}

TEST(QtMainThreadTest, PostedTasksRunLaterInTheOrderPosted) {
  QtMainThread mainThread;
  std::vector<int> order;

  mainThread.post([&] {
    order.push_back(1);
    mainThread.post([&] { order.push_back(4); });
  });
  mainThread.post([&] { order.push_back(2); });
  mainThread.post([&] { order.push_back(3); });
  mainThread.post({});

  EXPECT_TRUE(order.empty());  // never inline, even on the main thread
  processQtEvents();
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST(QtMainThreadTest, TasksPostedFromOtherThreadsRunOnTheMainThreadInOrder) {
  QtMainThread mainThread;
  std::vector<int> order;
  std::atomic<int> offMainThread{0};
  bool allOnMainThread = true;
  auto post = [&](int number) {
    if (!mainThread.isMainThread()) ++offMainThread;
    mainThread.post([&, number] {
      allOnMainThread = allOnMainThread && mainThread.isMainThread();
      order.push_back(number);
    });
  };

  // One thread after the other, then this one: the posts happen in this order.
  std::thread([&] { post(1); }).join();
  std::thread([&] {
    post(2);
    post(3);
  }).join();
  post(4);
  processQtEvents();

  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
  EXPECT_TRUE(allOnMainThread);
  EXPECT_EQ(offMainThread, 3);
  EXPECT_TRUE(mainThread.isMainThread());
}

TEST(QtMainThreadTest, ManyThreadsPostingKeepEachThreadsOrder) {
  QtMainThread mainThread;
  constexpr int kThreads = 4;
  constexpr int kTasks = 200;
  std::vector<std::vector<int>> seen(kThreads);
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kTasks; ++i) mainThread.post([&, t, i] { seen[t].push_back(i); });
    });
  }
  for (auto& thread : threads) thread.join();
  processQtEvents();

  for (int t = 0; t < kThreads; ++t) {
    ASSERT_EQ(seen[t].size(), static_cast<std::size_t>(kTasks));
    for (int i = 0; i < kTasks; ++i) EXPECT_EQ(seen[t][i], i);
  }
}

TEST(QtMainThreadTest, AOneShotTimerFiresOnceAfterTheTasksPostedBeforeIt) {
  QtMainThread mainThread;
  std::vector<std::string> order;
  bool barrier = false;

  auto id = mainThread.scheduleTimer(milliseconds(0), [&] { order.emplace_back("timer"); });
  mainThread.post([&] { order.emplace_back("task"); });
  mainThread.scheduleTimer(milliseconds(20), [&] { barrier = true; });

  EXPECT_TRUE(id.valid());
  EXPECT_TRUE(order.empty());
  ASSERT_TRUE(runUntil([&] { return barrier; }));
  EXPECT_EQ(order, (std::vector<std::string>{"task", "timer"}));
  EXPECT_FALSE(mainThread.cancelTimer(id));  // it fired: no longer scheduled
}

TEST(QtMainThreadTest, ARepeatingTimerTicksUntilItCancelsItself) {
  QtMainThread mainThread;
  int ticks = 0;
  bool cancelled = false;
  bool barrier = false;
  platform::TimerId id;

  id = mainThread.scheduleRepeatingTimer(milliseconds(1), [&] {
    if (++ticks == 3) cancelled = mainThread.cancelTimer(id);
  });
  ASSERT_TRUE(runUntil([&] { return ticks >= 3; }));
  mainThread.scheduleTimer(milliseconds(20), [&] { barrier = true; });
  ASSERT_TRUE(runUntil([&] { return barrier; }));

  EXPECT_TRUE(cancelled);
  EXPECT_EQ(ticks, 3);
  EXPECT_FALSE(mainThread.cancelTimer(id));
}

TEST(QtMainThreadTest, ACancelledTimerNeverFires) {
  QtMainThread mainThread;
  bool fired = false;
  bool barrier = false;

  auto id = mainThread.scheduleTimer(milliseconds(1), [&] { fired = true; });
  EXPECT_TRUE(mainThread.cancelTimer(id));
  EXPECT_FALSE(mainThread.cancelTimer(id));
  mainThread.scheduleTimer(milliseconds(20), [&] { barrier = true; });
  ASSERT_TRUE(runUntil([&] { return barrier; }));

  EXPECT_FALSE(fired);
}

TEST(QtMainThreadTest, AOneShotTimerCannotBeCancelledFromItsOwnAction) {
  QtMainThread mainThread;
  std::optional<bool> cancelled;
  platform::TimerId id;

  id = mainThread.scheduleTimer(milliseconds(1), [&] { cancelled = mainThread.cancelTimer(id); });

  ASSERT_TRUE(runUntil([&] { return cancelled.has_value(); }));
  EXPECT_FALSE(*cancelled);
}

// A QTimer takes at most about 24 days; a longer delay must not wrap round to "now".
TEST(QtMainThreadTest, TimersLongerThanAQTimerTakesWait) {
  QtMainThread mainThread;
  bool fired = false;
  bool barrier = false;

  auto once = mainThread.scheduleTimer(std::chrono::hours(24 * 60), [&] { fired = true; });
  auto repeating =
      mainThread.scheduleRepeatingTimer(std::chrono::hours(24 * 60), [&] { fired = true; });
  mainThread.scheduleTimer(milliseconds(20), [&] { barrier = true; });
  ASSERT_TRUE(runUntil([&] { return barrier; }));

  EXPECT_FALSE(fired);
  EXPECT_TRUE(mainThread.cancelTimer(once));
  EXPECT_TRUE(mainThread.cancelTimer(repeating));
}

TEST(QtMainThreadTest, EmptyActionsAndUnknownIdsDoNothing) {
  QtMainThread mainThread;

  EXPECT_FALSE(mainThread.scheduleTimer(milliseconds(1), {}).valid());
  EXPECT_FALSE(mainThread.scheduleRepeatingTimer(milliseconds(1), {}).valid());
  EXPECT_FALSE(mainThread.cancelTimer(platform::TimerId{}));
  EXPECT_FALSE(mainThread.cancelTimer(platform::TimerId{12345}));
}

TEST(QtMainThreadTest, TimersScheduledAndCancelledOnOtherThreadsRunOnTheMainThread) {
  QtMainThread mainThread;
  bool firedOnMainThread = false;
  bool cancelledFired = false;
  bool cancelled = false;
  platform::TimerId kept;

  std::thread([&] {
    kept = mainThread.scheduleTimer(milliseconds(5),
                                    [&] { firedOnMainThread = mainThread.isMainThread(); });
    auto dropped =
        mainThread.scheduleRepeatingTimer(milliseconds(1), [&] { cancelledFired = true; });
    cancelled = mainThread.cancelTimer(dropped);
  }).join();
  ASSERT_TRUE(runUntil([&] { return firedOnMainThread; }));

  EXPECT_TRUE(kept.valid());
  EXPECT_TRUE(cancelled);
  EXPECT_FALSE(cancelledFired);
}

TEST(QtMainThreadTest, ARepeatingTimerCancelledFromAnotherThreadStops) {
  QtMainThread mainThread;
  std::atomic<int> ticks{0};
  bool barrier = false;

  auto id = mainThread.scheduleRepeatingTimer(milliseconds(1), [&] { ++ticks; });
  ASSERT_TRUE(runUntil([&] { return ticks >= 2; }));
  bool cancelled = false;
  std::thread([&] { cancelled = mainThread.cancelTimer(id); }).join();
  const int ticksAtCancel = ticks;
  mainThread.scheduleTimer(milliseconds(20), [&] { barrier = true; });
  ASSERT_TRUE(runUntil([&] { return barrier; }));

  EXPECT_TRUE(cancelled);
  EXPECT_EQ(ticks, ticksAtCancel);
}

}  // namespace
}  // namespace pelorin::qt
