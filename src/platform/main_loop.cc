#include "pelorin/platform/main_loop.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "pelorin/platform/platform.h"

namespace pelorin::platform {
namespace {

constexpr std::chrono::milliseconds kMinInterval{1};

}  // namespace

class MainLoop::DriveGuard {
 public:
  explicit DriveGuard(MainLoop& loop) : _loop(loop) {
    std::lock_guard<std::mutex> lock(_loop._mutex);
    const auto self = std::this_thread::get_id();
    if (_loop._driveDepth > 0 && _loop._mainThread != self) {
      std::fputs("pelorin: MainLoop driven from two threads at once\n", stderr);
      std::abort();
    }
    _loop._mainThread = self;
    ++_loop._driveDepth;
  }
  ~DriveGuard() {
    std::lock_guard<std::mutex> lock(_loop._mutex);
    --_loop._driveDepth;
  }
  DriveGuard(const DriveGuard&) = delete;
  DriveGuard& operator=(const DriveGuard&) = delete;

 private:
  MainLoop& _loop;
};

MainLoop::MainLoop(const Clock* clock) : _clock(clock), _mainThread(std::this_thread::get_id()) {}

MainLoop::~MainLoop() = default;

Clock::TimePoint MainLoop::now() const {
  return _clock != nullptr ? _clock->now() : Platform::current().clock().now();
}

void MainLoop::post(Task task) {
  if (!task) return;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    _tasks.push_back(std::move(task));
  }
  _wakeUp.notify_one();
}

bool MainLoop::isMainThread() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _mainThread == std::this_thread::get_id();
}

TimerId MainLoop::scheduleRepeatingTimer(std::chrono::milliseconds interval, Task action) {
  return schedule(std::max(interval, kMinInterval), std::move(action), true);
}

TimerId MainLoop::scheduleTimer(std::chrono::milliseconds delay, Task action) {
  return schedule(std::max(delay, std::chrono::milliseconds(0)), std::move(action), false);
}

TimerId MainLoop::schedule(std::chrono::milliseconds interval, Task action, bool repeats) {
  if (!action) return TimerId{};
  const Clock::TimePoint deadline = now() + interval;
  TimerId id;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    id.value = ++_lastTimerId;
    _timers.emplace(TimerKey(deadline, id.value),
                    Timer{std::make_shared<Task>(std::move(action)), interval, repeats});
    _deadlines.emplace(id.value, deadline);
    // The new timer may be due before whatever a blocked run() is waiting for.
    _wakeRequested = true;
  }
  _wakeUp.notify_one();
  return id;
}

bool MainLoop::cancelTimer(TimerId timer) {
  std::lock_guard<std::mutex> lock(_mutex);
  auto found = _deadlines.find(timer.value);
  if (found == _deadlines.end()) return false;
  _timers.erase(TimerKey(found->second, timer.value));
  _deadlines.erase(found);
  return true;
}

bool MainLoop::fireOneDueTimer(Clock::TimePoint now) {
  std::shared_ptr<Task> action;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_timers.empty() || _timers.begin()->first.first > now) return false;
    auto node = _timers.extract(_timers.begin());
    const auto [deadline, id] = node.key();
    const Timer& timer = node.mapped();
    action = timer.action;
    if (timer.repeats) {
      // Rescheduled before the action runs, so the action can cancel its own timer. Missed
      // ticks collapse into this one; the next deadline stays on the original rhythm.
      const auto missed = (now - deadline) / timer.interval;
      const Clock::TimePoint next = deadline + timer.interval * (missed + 1);
      node.key() = TimerKey(next, id);
      _deadlines[id] = next;
      _timers.insert(std::move(node));
    } else {
      _deadlines.erase(id);
    }
  }
  (*action)();
  return true;
}

std::size_t MainLoop::runTurn(bool honourStop) {
  std::size_t ran = 0;
  std::size_t waiting = 0;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    waiting = _tasks.size();
  }
  for (std::size_t i = 0; i < waiting; ++i) {
    Task task;
    {
      std::lock_guard<std::mutex> lock(_mutex);
      if (honourStop && _stopRequested) return ran;
      if (_tasks.empty()) break;
      task = std::move(_tasks.front());
      _tasks.pop_front();
    }
    task();
    ++ran;
  }
  const Clock::TimePoint turnTime = now();
  for (;;) {
    if (honourStop) {
      std::lock_guard<std::mutex> lock(_mutex);
      if (_stopRequested) return ran;
    }
    if (!fireOneDueTimer(turnTime)) break;
    ++ran;
  }
  return ran;
}

bool MainLoop::takeStopRequest() {
  std::lock_guard<std::mutex> lock(_mutex);
  const bool requested = _stopRequested;
  _stopRequested = false;
  return requested;
}

std::optional<std::chrono::steady_clock::duration> MainLoop::sleepLimitLocked(
    Clock::TimePoint clockNow) const {
  if (_timers.empty()) return std::nullopt;
  const auto untilDue = _timers.begin()->first.first - clockNow;
  if (untilDue <= Clock::TimePoint::duration::zero()) {
    return std::chrono::steady_clock::duration::zero();
  }
  // Rounded up, so the loop does not wake a moment before the deadline only to sleep again.
  return std::chrono::ceil<std::chrono::steady_clock::duration>(untilDue);
}

std::optional<std::chrono::steady_clock::duration> MainLoop::idleSleepLimit() const {
  const Clock::TimePoint clockNow = now();
  std::lock_guard<std::mutex> lock(_mutex);
  return sleepLimitLocked(clockNow);
}

void MainLoop::waitForWork(std::optional<std::chrono::steady_clock::time_point> limit) {
  const Clock::TimePoint clockNow = now();
  std::unique_lock<std::mutex> lock(_mutex);
  auto ready = [this] { return !_tasks.empty() || _stopRequested || _wakeRequested; };
  if (!ready()) {
    std::optional<std::chrono::steady_clock::time_point> until = limit;
    // Sleeps until the next timer is due, however far off: an idle app is not woken for
    // nothing. A wall clock set back under a timer makes the loop sleep once more when it
    // wakes; one set forward fires the timer late by at most its own delay.
    if (std::optional<std::chrono::steady_clock::duration> sleep = sleepLimitLocked(clockNow)) {
      if (*sleep == std::chrono::steady_clock::duration::zero()) return;
      const auto timerLimit = std::chrono::steady_clock::now() + *sleep;
      until = until ? std::min(*until, timerLimit) : timerLimit;
    }
    if (until) {
      _wakeUp.wait_until(lock, *until, ready);
    } else {
      _wakeUp.wait(lock, ready);
    }
    ++_wakeUps;
  }
  _wakeRequested = false;
}

std::uint64_t MainLoop::wakeUps() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _wakeUps;
}

void MainLoop::run() {
  DriveGuard guard(*this);
  for (;;) {
    if (takeStopRequest()) return;
    runTurn(true);
    if (takeStopRequest()) return;
    waitForWork(std::nullopt);
  }
}

std::size_t MainLoop::runFor(std::chrono::milliseconds duration) {
  DriveGuard guard(*this);
  const auto end = std::chrono::steady_clock::now() + duration;
  std::size_t ran = 0;
  for (;;) {
    if (takeStopRequest()) return ran;
    ran += runTurn(true);
    if (takeStopRequest() || std::chrono::steady_clock::now() >= end) return ran;
    waitForWork(end);
  }
}

std::size_t MainLoop::runUntilIdle() {
  DriveGuard guard(*this);
  std::size_t total = 0;
  for (;;) {
    const std::size_t ran = runTurn(false);
    if (ran == 0) return total;
    total += ran;
  }
}

void MainLoop::stop() {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    _stopRequested = true;
  }
  _wakeUp.notify_one();
}

void MainLoop::wake() {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    _wakeRequested = true;
  }
  _wakeUp.notify_one();
}

std::size_t MainLoop::pendingTaskCount() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _tasks.size();
}

std::size_t MainLoop::scheduledTimerCount() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _timers.size();
}

std::optional<Clock::TimePoint> MainLoop::nextTimerDeadline() const {
  std::lock_guard<std::mutex> lock(_mutex);
  if (_timers.empty()) return std::nullopt;
  return _timers.begin()->first.first;
}

}  // namespace pelorin::platform
