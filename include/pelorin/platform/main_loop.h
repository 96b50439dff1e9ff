// The headless main thread: a task queue and timer list that the host (or a test) drives.
//
// Thread safety: posting, scheduling, cancelling, `stop()` and `wake()` are safe from any
// thread. The loop is driven (`run`, `runFor`, `runUntilIdle`) by one thread at a time.
#ifndef PELORIN_PLATFORM_MAIN_LOOP_H_
#define PELORIN_PLATFORM_MAIN_LOOP_H_

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>
#include <utility>

#include "pelorin/export.h"
#include "pelorin/platform/main_thread.h"
#include "pelorin/platform/services.h"

namespace pelorin::platform {

// Which thread is the main thread: the thread that drives the loop. Before the loop is
// first driven that is the thread that created it; afterwards it is the thread that most
// recently called `run`, `runFor` or `runUntilIdle`. Driving the loop from two threads at
// the same time is a programming fault and aborts. A task that drives the loop again from
// inside (a nested, modal run) is allowed.
//
// Timer deadlines are read from a `Clock`: the one given at construction, or else the
// current platform's clock at each reading. With a `PinnedClock` a test moves time itself:
//
//   test.clock().advance(std::chrono::seconds(5));
//   loop.runUntilIdle();  // fires the timers now due, without sleeping
//
// A loop blocked in `run()` waits on a condition variable until a task is posted, a timer
// is due, `stop()` or `wake()` is called. It cannot see a pinned clock move: call `wake()`
// after moving one from another thread. An idle loop sleeps until its next timer is due,
// however far off, or until a task, `stop()` or `wake()` comes: it never wakes for nothing.
//
// A host that exits while other threads still post is safe as long as the loop outlives
// them; the loop owned by the installed `Platform` is never destroyed.
class PELORIN_EXPORT MainLoop final : public MainThread {
 public:
  // `clock` is borrowed and must outlive the loop; nothing means the current platform's
  // clock, looked up at every reading.
  explicit MainLoop(const Clock* clock = nullptr);
  ~MainLoop() override;
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  void post(Task task) override;
  bool isMainThread() const override;
  TimerId scheduleRepeatingTimer(std::chrono::milliseconds interval, Task action) override;
  TimerId scheduleTimer(std::chrono::milliseconds delay, Task action) override;
  bool cancelTimer(TimerId timer) override;

  // Runs tasks and timers, waiting for more when there are none, until `stop()`. Each turn
  // runs the tasks that were waiting when it began, in the order they were posted, then
  // fires the timers that are due, earliest deadline first (equal deadlines in the order
  // they were scheduled).
  void run();
  // As `run()`, but returns once `duration` of real (steady) time has passed, or at
  // `stop()`; runs at least one turn unless a stop is pending. Timers still follow the
  // loop's clock. Answers how many tasks and timer firings ran.
  std::size_t runFor(std::chrono::milliseconds duration);
  // Runs turns until one finds nothing ready, without waiting; answers how many tasks and
  // timer firings ran. `stop()` does not end it. Tasks that keep posting tasks keep it
  // going.
  std::size_t runUntilIdle();

  // Makes the running `run()`/`runFor()` return after the task or timer now running; when
  // none is running, the next one returns at once instead (so a stop requested from
  // another thread just before the run starts is never lost).
  void stop();
  // Makes a loop blocked in `run()`/`runFor()` look at its queue and timers again.
  void wake();

  // Snapshot counts for hosts and tests.
  std::size_t pendingTaskCount() const;
  std::size_t scheduledTimerCount() const;
  // The earliest timer deadline, by the loop's clock; nothing when no timer is scheduled.
  std::optional<Clock::TimePoint> nextTimerDeadline() const;
  // How long a loop with nothing to run now would sleep before it looks again on its own:
  // until the next timer is due (zero when one is due now); nothing when no timer is
  // scheduled, as it then sleeps until a task, `stop()` or `wake()` comes.
  std::optional<std::chrono::steady_clock::duration> idleSleepLimit() const;
  // How many times `run()`/`runFor()` went to sleep and woke up again, for whatever reason.
  std::uint64_t wakeUps() const;

 private:
  struct Timer {
    std::shared_ptr<Task> action;  // shared with a firing in progress
    std::chrono::milliseconds interval;
    bool repeats;
  };
  using TimerKey = std::pair<Clock::TimePoint, std::uint64_t>;  // (deadline, id)

  // Marks the calling thread as the driver for the lifetime of the guard.
  class DriveGuard;

  Clock::TimePoint now() const;
  TimerId schedule(std::chrono::milliseconds interval, Task action, bool repeats);
  // One turn; stops early when `honourStop` and a stop is requested.
  std::size_t runTurn(bool honourStop);
  bool fireOneDueTimer(Clock::TimePoint now);
  bool takeStopRequest();
  // The time until the next timer is due (zero when due); nothing without timers.
  std::optional<std::chrono::steady_clock::duration> sleepLimitLocked(
      Clock::TimePoint clockNow) const;
  // Blocks until there is work, a stop or a wake-up, or `limit` passes (none: no limit).
  void waitForWork(std::optional<std::chrono::steady_clock::time_point> limit);

  const Clock* _clock;

  mutable std::mutex _mutex;
  std::condition_variable _wakeUp;
  // Everything below is guarded by _mutex.
  std::deque<Task> _tasks;
  std::map<TimerKey, Timer> _timers;
  std::unordered_map<std::uint64_t, Clock::TimePoint> _deadlines;  // timer id -> deadline
  std::uint64_t _lastTimerId = 0;
  bool _stopRequested = false;
  bool _wakeRequested = false;
  std::thread::id _mainThread;
  int _driveDepth = 0;
  std::uint64_t _wakeUps = 0;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_MAIN_LOOP_H_
