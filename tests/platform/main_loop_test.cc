#include "pelorin/platform/main_loop.h"

#include <atomic>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "pelorin/platform/platform.h"
#include "support/test_platform.h"

namespace pelorin::platform {
namespace {

using namespace std::chrono_literals;
using pelorin::testing::TestPlatform;

class MainLoopTest : public ::testing::Test {
 protected:
  TestPlatform test;
  MainLoop& loop = test.mainLoop();
};

TEST_F(MainLoopTest, PostedTasksRunInTheOrderPosted) {
  std::vector<int> order;
  for (int i = 1; i <= 5; ++i) loop.post([&order, i] { order.push_back(i); });

  EXPECT_EQ(loop.runUntilIdle(), 5u);
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4, 5}));
}

TEST_F(MainLoopTest, PostNeverRunsTheTaskInline) {
  bool ran = false;
  loop.post([&] { ran = true; });

  EXPECT_FALSE(ran);
  EXPECT_EQ(loop.pendingTaskCount(), 1u);
  loop.runUntilIdle();
  EXPECT_TRUE(ran);
}

TEST_F(MainLoopTest, TaskPostedByATaskRunsAfterTheTasksAlreadyWaiting) {
  std::vector<std::string> order;
  loop.post([&] {
    order.emplace_back("a");
    loop.post([&] { order.emplace_back("c"); });
  });
  loop.post([&] { order.emplace_back("b"); });

  EXPECT_EQ(loop.runUntilIdle(), 3u);
  EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c"}));
}

TEST_F(MainLoopTest, RunUntilIdleOnAnEmptyLoopRunsNothing) { EXPECT_EQ(loop.runUntilIdle(), 0u); }

TEST_F(MainLoopTest, EmptyTaskIsIgnored) {
  loop.post(MainThread::Task());
  EXPECT_EQ(loop.pendingTaskCount(), 0u);
  EXPECT_EQ(loop.runUntilIdle(), 0u);
}

TEST_F(MainLoopTest, CreatingThreadIsTheMainThreadUntilAnotherDrivesTheLoop) {
  EXPECT_TRUE(loop.isMainThread());
  bool otherThreadWasMain = true;
  std::thread([&] { otherThreadWasMain = loop.isMainThread(); }).join();
  EXPECT_FALSE(otherThreadWasMain);

  bool driverWasMain = false;
  std::thread([&] {
    loop.runUntilIdle();
    driverWasMain = loop.isMainThread();
  }).join();

  EXPECT_TRUE(driverWasMain);
  EXPECT_FALSE(loop.isMainThread());
}

TEST_F(MainLoopTest, TasksPostedFromManyThreadsAllRunOnTheMainThreadInPerThreadOrder) {
  constexpr int kThreads = 4;
  constexpr int kTasksPerThread = 500;
  std::vector<std::vector<int>> seen(kThreads);  // touched on the main thread only
  int ran = 0;
  bool allOnMain = true;
  std::vector<std::thread> posters;
  posters.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&, t] {
      for (int i = 0; i < kTasksPerThread; ++i) {
        loop.post([&, t, i] {
          allOnMain = allOnMain && loop.isMainThread();
          seen[t].push_back(i);
          if (++ran == kThreads * kTasksPerThread) loop.stop();
        });
      }
    });
  }

  loop.run();
  for (auto& poster : posters) poster.join();

  EXPECT_TRUE(allOnMain);
  for (int t = 0; t < kThreads; ++t) {
    ASSERT_EQ(seen[t].size(), static_cast<std::size_t>(kTasksPerThread));
    for (int i = 0; i < kTasksPerThread; ++i) EXPECT_EQ(seen[t][i], i);
  }
}

TEST_F(MainLoopTest, OneShotTimerFiresOnceWhenThePinnedClockReachesItsDeadline) {
  int fired = 0;
  loop.scheduleTimer(5s, [&] { ++fired; });

  EXPECT_EQ(loop.runUntilIdle(), 0u);
  test.clock().advance(4999ms);
  EXPECT_EQ(loop.runUntilIdle(), 0u);
  test.clock().advance(1ms);
  EXPECT_EQ(loop.runUntilIdle(), 1u);
  test.clock().advance(60s);
  EXPECT_EQ(loop.runUntilIdle(), 0u);

  EXPECT_EQ(fired, 1);
  EXPECT_EQ(loop.scheduledTimerCount(), 0u);
}

TEST_F(MainLoopTest, RepeatingTimerFiresOncePerInterval) {
  int ticks = 0;
  loop.scheduleRepeatingTimer(5s, [&] { ++ticks; });

  test.clock().advance(5s);
  loop.runUntilIdle();
  EXPECT_EQ(ticks, 1);
  test.clock().advance(5s);
  loop.runUntilIdle();
  EXPECT_EQ(ticks, 2);
  test.clock().advance(4s);
  loop.runUntilIdle();
  EXPECT_EQ(ticks, 2);
  EXPECT_EQ(loop.scheduledTimerCount(), 1u);
}

// Ticks missed while the main thread was busy collapse into one; the rhythm is kept.
TEST_F(MainLoopTest, RepeatingTimerCollapsesMissedTicksAndKeepsItsRhythm) {
  const auto start = test.clock().now();
  int ticks = 0;
  loop.scheduleRepeatingTimer(5s, [&] { ++ticks; });

  test.clock().advance(17s);
  loop.runUntilIdle();

  EXPECT_EQ(ticks, 1);
  EXPECT_EQ(loop.nextTimerDeadline(), start + 20s);
}

TEST_F(MainLoopTest, CancelledTimerNeverFires) {
  int fired = 0;
  const TimerId once = loop.scheduleTimer(1s, [&] { ++fired; });
  const TimerId repeating = loop.scheduleRepeatingTimer(1s, [&] { ++fired; });

  EXPECT_TRUE(loop.cancelTimer(once));
  EXPECT_TRUE(loop.cancelTimer(repeating));
  EXPECT_FALSE(loop.cancelTimer(once));
  test.clock().advance(10s);
  loop.runUntilIdle();

  EXPECT_EQ(fired, 0);
  EXPECT_EQ(loop.scheduledTimerCount(), 0u);
}

TEST_F(MainLoopTest, RepeatingTimerCanCancelItselfFromItsAction) {
  int ticks = 0;
  TimerId timer;
  timer = loop.scheduleRepeatingTimer(1s, [&] {
    if (++ticks == 2) {
      EXPECT_TRUE(loop.cancelTimer(timer));
    }
  });

  for (int i = 0; i < 5; ++i) {
    test.clock().advance(1s);
    loop.runUntilIdle();
  }

  EXPECT_EQ(ticks, 2);
}

TEST_F(MainLoopTest, CancellingAFiredOneShotTimerAnswersFalse) {
  const TimerId timer = loop.scheduleTimer(1s, [] {});
  test.clock().advance(1s);
  loop.runUntilIdle();

  EXPECT_FALSE(loop.cancelTimer(timer));
  EXPECT_FALSE(loop.cancelTimer(TimerId{}));
}

TEST_F(MainLoopTest, DueTimersFireEarliestDeadlineFirstThenInScheduleOrder) {
  std::vector<std::string> order;
  loop.scheduleTimer(3s, [&] { order.emplace_back("3s"); });
  loop.scheduleTimer(1s, [&] { order.emplace_back("1s first"); });
  loop.scheduleTimer(1s, [&] { order.emplace_back("1s second"); });
  loop.scheduleTimer(2s, [&] { order.emplace_back("2s"); });

  test.clock().advance(3s);
  EXPECT_EQ(loop.runUntilIdle(), 4u);

  EXPECT_EQ(order, (std::vector<std::string>{"1s first", "1s second", "2s", "3s"}));
}

TEST_F(MainLoopTest, WaitingTasksRunBeforeDueTimersOfTheSameTurn) {
  std::vector<std::string> order;
  loop.scheduleTimer(0ms, [&] { order.emplace_back("timer"); });
  loop.post([&] { order.emplace_back("task"); });

  loop.runUntilIdle();

  EXPECT_EQ(order, (std::vector<std::string>{"task", "timer"}));
}

TEST_F(MainLoopTest, TimerDeadlineFollowsTheClockAtSchedulingTime) {
  const auto start = test.clock().now();
  test.clock().advance(2s);
  loop.scheduleTimer(3s, [] {});

  EXPECT_EQ(loop.nextTimerDeadline(), start + 5s);
}

TEST_F(MainLoopTest, RepeatingIntervalBelowOneMillisecondCountsAsOne) {
  int ticks = 0;
  loop.scheduleRepeatingTimer(0ms, [&] { ++ticks; });

  EXPECT_EQ(loop.runUntilIdle(), 0u);
  test.clock().advance(1ms);
  EXPECT_EQ(loop.runUntilIdle(), 1u);
  EXPECT_EQ(ticks, 1);
}

TEST_F(MainLoopTest, EmptyTimerActionSchedulesNothing) {
  EXPECT_FALSE(loop.scheduleTimer(1s, MainThread::Task()).valid());
  EXPECT_FALSE(loop.scheduleRepeatingTimer(1s, MainThread::Task()).valid());
  EXPECT_EQ(loop.scheduledTimerCount(), 0u);
}

TEST_F(MainLoopTest, LoopWithoutItsOwnClockReadsTheCurrentPlatformClock) {
  MainLoop own;  // no clock: Platform::current().clock(), the test's pinned clock
  int fired = 0;
  own.scheduleTimer(1s, [&] { ++fired; });

  own.runUntilIdle();
  EXPECT_EQ(fired, 0);
  test.clock().advance(1s);
  own.runUntilIdle();
  EXPECT_EQ(fired, 1);
}

TEST_F(MainLoopTest, RunReturnsAfterTheTaskThatCallsStop) {
  std::vector<int> order;
  loop.post([&] { order.push_back(1); });
  loop.post([&] {
    order.push_back(2);
    loop.stop();
  });
  loop.post([&] { order.push_back(3); });

  loop.run();

  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  EXPECT_EQ(loop.pendingTaskCount(), 1u);
}

TEST_F(MainLoopTest, StopBeforeRunMakesTheNextRunReturnAtOnce) {
  bool ran = false;
  loop.post([&] { ran = true; });

  loop.stop();
  loop.run();

  EXPECT_FALSE(ran);
  EXPECT_EQ(loop.runUntilIdle(), 1u);
  EXPECT_TRUE(ran);
}

TEST_F(MainLoopTest, BlockedRunWakesForATaskPostedFromAnotherThread) {
  std::promise<void> running;
  std::thread poster([&] {
    running.get_future().wait();
    loop.post([&] { loop.stop(); });
  });
  loop.post([&] { running.set_value(); });

  loop.run();  // returns only once the other thread's task ran

  poster.join();
  EXPECT_EQ(loop.pendingTaskCount(), 0u);
}

TEST_F(MainLoopTest, BlockedRunFiresATimerOnceThePinnedClockIsAdvancedAndTheLoopWoken) {
  int fired = 0;
  loop.scheduleTimer(5s, [&] {
    ++fired;
    loop.stop();
  });
  std::promise<void> running;
  std::thread mover([&] {
    running.get_future().wait();
    test.advanceClock(5s);
  });
  loop.post([&] { running.set_value(); });

  loop.run();

  mover.join();
  EXPECT_EQ(fired, 1);
}

TEST_F(MainLoopTest, RunForStopsEarlyAtStop) {
  std::thread poster([&] { loop.post([&] { loop.stop(); }); });

  const std::size_t ran = loop.runFor(60s);

  poster.join();
  EXPECT_EQ(ran, 1u);
}

TEST_F(MainLoopTest, RunForWithNothingToDoReturnsWhenTheTimeIsUp) {
  EXPECT_EQ(loop.runFor(10ms), 0u);
}

TEST_F(MainLoopTest, RunForRunsReadyTasksEvenWithZeroDuration) {
  loop.post([] {});
  loop.post([] {});
  EXPECT_EQ(loop.runFor(0ms), 2u);
}

TEST(MainLoopSystemClockTest, RunForFiresATimerWhenItsRealDeadlinePasses) {
  SystemClock clock;
  MainLoop loop(&clock);
  const auto scheduled = clock.now();
  std::chrono::system_clock::time_point firedAt;
  loop.scheduleTimer(20ms, [&] {
    firedAt = clock.now();
    loop.stop();
  });

  const std::size_t ran = loop.runFor(60s);

  EXPECT_EQ(ran, 1u);
  EXPECT_GE(firedAt - scheduled, 20ms);
}

TEST_F(MainLoopTest, IdleLoopWithoutTimersSleepsUntilWoken) {
  EXPECT_EQ(loop.idleSleepLimit(), std::nullopt);
}

TEST_F(MainLoopTest, IdleLoopSleepsUntilItsNextTimerHoweverFarOff) {
  loop.scheduleTimer(90s, [] {});
  EXPECT_EQ(loop.idleSleepLimit(), std::optional<std::chrono::steady_clock::duration>(90s));
  test.advanceClock(90s);
  EXPECT_EQ(loop.idleSleepLimit(), std::optional<std::chrono::steady_clock::duration>(0s));
}

// A minute of an idle loop with a five-second timer, sleep by sleep: it wakes once per
// firing and never in between.
TEST_F(MainLoopTest, IdleLoopWakesOnlyForItsTimers) {
  int fired = 0;
  loop.scheduleRepeatingTimer(5s, [&] { ++fired; });
  int wakeUps = 0;
  std::chrono::steady_clock::duration slept{};
  while (slept < 60s) {
    const std::optional<std::chrono::steady_clock::duration> sleep = loop.idleSleepLimit();
    ASSERT_TRUE(sleep.has_value());
    test.advanceClock(std::chrono::duration_cast<std::chrono::milliseconds>(*sleep));
    slept += *sleep;
    ++wakeUps;
    EXPECT_EQ(loop.runUntilIdle(), 1U);
  }
  EXPECT_EQ(wakeUps, 12);
  EXPECT_EQ(fired, 12);
}

TEST(MainLoopSystemClockTest, BlockedRunCountsItsWakeUps) {
  SystemClock clock;
  MainLoop loop(&clock);
  loop.scheduleTimer(20ms, [&] { loop.stop(); });
  EXPECT_EQ(loop.wakeUps(), 0U);

  loop.run();

  // Asleep until the timer is due (once more only if the system clock lagged the wait).
  EXPECT_GE(loop.wakeUps(), 1U);
  EXPECT_LE(loop.wakeUps(), 2U);
}

TEST_F(MainLoopTest, TaskMayDriveTheLoopAgainFromInside) {
  std::vector<std::string> order;
  loop.post([&] {
    order.emplace_back("outer");
    loop.post([&] { order.emplace_back("inner"); });
    loop.runUntilIdle();
    order.emplace_back("outer done");
  });

  loop.runUntilIdle();

  EXPECT_EQ(order, (std::vector<std::string>{"outer", "inner", "outer done"}));
}

TEST(MainLoopDeathTest, DrivingFromTwoThreadsAtOnceAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        MainLoop loop(nullptr);
        loop.post([&] { std::thread([&] { loop.runUntilIdle(); }).join(); });
        loop.runUntilIdle();
      },
      "MainLoop driven from two threads at once");
}

// The process exits while other threads keep posting and scheduling on the installed
// platform's loop, and a timer is due: the exit is clean.
TEST(MainLoopDeathTest, PostingWhileTheProcessExitsDoesNotCrash) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        TestPlatform test;
        MainThread& mainThread = Platform::current().mainThread();
        mainThread.scheduleRepeatingTimer(5s, [] {});
        test.clock().advance(10s);
        std::atomic<int> started{0};
        for (int t = 0; t < 3; ++t) {
          std::thread([&mainThread, &started] {
            ++started;
            for (;;) {
              auto payload = std::make_shared<std::string>("tick");
              mainThread.post([payload] {});
              mainThread.cancelTimer(mainThread.scheduleTimer(1s, [payload] {}));
            }
          }).detach();
        }
        while (started.load() < 3) std::this_thread::yield();
        test.mainLoop().runFor(5ms);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace pelorin::platform
