#include "pelorin/qt/main_thread.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QThread>
#include <QTimer>

namespace pelorin::qt {

// A scheduled timer. `qtTimer` is made, used and deleted on the GUI thread only.
struct QtMainThread::Timer {
  Task action;
  bool repeating = false;
  std::chrono::milliseconds interval{0};
  // When the next tick is due. The first one counts from the call that scheduled the
  // timer, not from the turn of the event loop that starts it.
  std::chrono::steady_clock::time_point due;
  QTimer* qtTimer = nullptr;
};

QtMainThread::QtMainThread() : _context(std::make_unique<QObject>()) {}

QtMainThread::~QtMainThread() = default;

void QtMainThread::post(Task task) {
  if (!task) return;
  // Queued calls onto one receiver run in the order they were posted, from any thread.
  QMetaObject::invokeMethod(
      _context.get(), [task = std::move(task)] { task(); }, Qt::QueuedConnection);
}

bool QtMainThread::isMainThread() const { return QThread::currentThread() == _context->thread(); }

platform::TimerId QtMainThread::scheduleRepeatingTimer(std::chrono::milliseconds interval,
                                                       Task action) {
  interval = std::max(interval, std::chrono::milliseconds(1));
  return schedule(interval, interval, true, std::move(action));
}

platform::TimerId QtMainThread::scheduleTimer(std::chrono::milliseconds delay, Task action) {
  return schedule(std::max(delay, std::chrono::milliseconds(0)), delay, false, std::move(action));
}

platform::TimerId QtMainThread::schedule(std::chrono::milliseconds delay,
                                         std::chrono::milliseconds interval, bool repeating,
                                         Task action) {
  if (!action) return {};
  auto timer = std::make_shared<Timer>();
  timer->action = std::move(action);
  timer->repeating = repeating;
  timer->interval = interval;
  timer->due = std::chrono::steady_clock::now() + delay;
  std::uint64_t id = 0;
  {
    std::lock_guard lock(_mutex);
    id = ++_lastTimerId;
    _timers.emplace(id, std::move(timer));
  }
  // QTimers start on the thread they live on: the GUI thread starts it on its next turn.
  QMetaObject::invokeMethod(
      _context.get(), [this, id] { start(id); }, Qt::QueuedConnection);
  return platform::TimerId{id};
}

void QtMainThread::start(std::uint64_t id) {
  std::shared_ptr<Timer> timer;
  {
    std::lock_guard lock(_mutex);
    auto found = _timers.find(id);
    if (found == _timers.end()) return;  // cancelled before it started
    timer = found->second;
  }
  auto* qtTimer = new QTimer(_context.get());
  qtTimer->setTimerType(Qt::PreciseTimer);
  qtTimer->setSingleShot(true);
  QObject::connect(qtTimer, &QTimer::timeout, _context.get(), [this, id] { fire(id); });
  timer->qtTimer = qtTimer;
  arm(*timer);
}

void QtMainThread::arm(Timer& timer) {
  // Rounded up, so that a timer never fires before its time; a wait longer than a QTimer
  // takes (about 24 days) is made in parts.
  constexpr std::chrono::milliseconds kLongestWait{std::numeric_limits<int>::max()};
  const auto wait =
      std::chrono::ceil<std::chrono::milliseconds>(timer.due - std::chrono::steady_clock::now());
  timer.qtTimer->start(std::clamp(wait, std::chrono::milliseconds(0), kLongestWait));
}

void QtMainThread::fire(std::uint64_t id) {
  const auto now = std::chrono::steady_clock::now();
  std::shared_ptr<Timer> timer;
  {
    std::lock_guard lock(_mutex);
    auto found = _timers.find(id);
    if (found == _timers.end()) return;
    timer = found->second;
    if (now < timer->due) {
      arm(*timer);  // a part of a long wait
      return;
    }
    // A one-shot timer is no longer scheduled once its action starts.
    if (!timer->repeating) _timers.erase(found);
  }
  if (timer->repeating) {
    // The next tick keeps the rhythm; ticks missed while the thread was busy are dropped.
    timer->due += timer->interval;
    if (timer->due <= now)
      timer->due += ((now - timer->due) / timer->interval + 1) * timer->interval;
    arm(*timer);
  } else {
    timer->qtTimer->deleteLater();
    timer->qtTimer = nullptr;
  }
  timer->action();
}

bool QtMainThread::cancelTimer(platform::TimerId timer) {
  std::shared_ptr<Timer> cancelled;
  {
    std::lock_guard lock(_mutex);
    auto found = _timers.find(timer.value);
    if (found == _timers.end()) return false;
    cancelled = std::move(found->second);
    _timers.erase(found);
  }
  // The QTimer belongs to the GUI thread: stop it there (at once when we are on it).
  auto stop = [cancelled] {
    if (cancelled->qtTimer != nullptr) {
      cancelled->qtTimer->stop();
      cancelled->qtTimer->deleteLater();
      cancelled->qtTimer = nullptr;
    }
  };
  if (isMainThread()) {
    stop();
  } else {
    QMetaObject::invokeMethod(_context.get(), stop, Qt::QueuedConnection);
  }
  return true;
}

}  // namespace pelorin::qt
