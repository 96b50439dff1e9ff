// Qt's GUI thread as the library's main thread: tasks are posted onto Qt's event loop with
// queued calls, timers are QTimers.
//
// Thread safety: every call may be made from any thread (as `MainThread` requires). Create
// it on the GUI thread, once a QApplication (or QCoreApplication) exists; tasks and timers
// run on the thread it was created on, while that thread runs Qt's event loop.
#ifndef PELORIN_QT_MAIN_THREAD_H_
#define PELORIN_QT_MAIN_THREAD_H_

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "pelorin/platform/main_thread.h"

class QObject;

namespace pelorin::qt {

class QtMainThread final : public platform::MainThread {
 public:
  QtMainThread();
  ~QtMainThread() override;
  QtMainThread(const QtMainThread&) = delete;
  QtMainThread& operator=(const QtMainThread&) = delete;

  void post(Task task) override;
  bool isMainThread() const override;
  platform::TimerId scheduleRepeatingTimer(std::chrono::milliseconds interval,
                                           Task action) override;
  platform::TimerId scheduleTimer(std::chrono::milliseconds delay, Task action) override;
  bool cancelTimer(platform::TimerId timer) override;

 private:
  struct Timer;

  platform::TimerId schedule(std::chrono::milliseconds delay, std::chrono::milliseconds interval,
                             bool repeating, Task action);
  // On the GUI thread: starts the QTimer of `id` unless it was cancelled meanwhile.
  void start(std::uint64_t id);
  // On the GUI thread: one tick of the timer `id`.
  void fire(std::uint64_t id);
  // On the GUI thread: starts the timer's QTimer for the time until it is due.
  static void arm(Timer& timer);

  // The receiver of every queued call; lives on the GUI thread.
  std::unique_ptr<QObject> _context;
  std::mutex _mutex;  // guards the two below
  std::uint64_t _lastTimerId = 0;
  std::map<std::uint64_t, std::shared_ptr<Timer>> _timers;  // the scheduled ones
};

}  // namespace pelorin::qt

#endif  // PELORIN_QT_MAIN_THREAD_H_
