// The host's main (user-interface) thread as a service: plug-in lifecycles, control
// callbacks, completion callbacks and timers all run there.
//
// Thread safety: every operation may be called from any thread.
#ifndef PELORIN_PLATFORM_MAIN_THREAD_H_
#define PELORIN_PLATFORM_MAIN_THREAD_H_

#include <chrono>
#include <cstdint>
#include <functional>

#include "pelorin/export.h"

namespace pelorin::platform {

// Names a scheduled timer so it can be cancelled. A default-constructed id names no timer.
struct PELORIN_EXPORT TimerId {
  std::uint64_t value = 0;

  bool valid() const { return value != 0; }
  friend bool operator==(TimerId, TimerId) = default;
};

class PELORIN_EXPORT MainThread {
 public:
  using Task = std::function<void()>;

  virtual ~MainThread() = default;

  // Runs `task` on the main thread later, after every task posted before it (FIFO). Never
  // runs it inline, even when called on the main thread. A task may post more tasks. An
  // empty task is ignored.
  //
  //   platform.mainThread().post([callback] { callback(); });
  virtual void post(Task task) = 0;

  // True when the calling thread is the main thread.
  virtual bool isMainThread() const = 0;

  // Calls `action` on the main thread every `interval`, the first time one interval from
  // now, until the timer is cancelled. Ticks that were missed while the main thread was
  // busy are not caught up: the timer fires once and keeps its rhythm. An interval below
  // one millisecond counts as one millisecond. An empty action schedules nothing and
  // yields an invalid id.
  virtual TimerId scheduleRepeatingTimer(std::chrono::milliseconds interval, Task action) = 0;

  // Calls `action` once on the main thread, `delay` from now (at once when not positive).
  virtual TimerId scheduleTimer(std::chrono::milliseconds delay, Task action) = 0;

  // Cancels a timer; true when it was still scheduled. A repeating timer may cancel itself
  // from its own action. Cancelling a one-shot timer whose action is running, or an unknown
  // id, answers false and does nothing.
  virtual bool cancelTimer(TimerId timer) = 0;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_MAIN_THREAD_H_
