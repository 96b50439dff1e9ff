// The Pelorin client: the one object an application talks to.
//
// Thread safety: every operation may be called from any thread. `synchronized` is the
// library's global lock; calls nested inside it run inline, so they cannot dead-lock.
#ifndef PELORIN_PELORIN_CLIENT_H_
#define PELORIN_PELORIN_CLIENT_H_

#include <mutex>
#include <utility>

namespace pelorin {

class PelorinClient {
 public:
  // Runs `callback` exclusively with respect to every other `synchronized` call of the
  // process, on the calling thread, and returns what it returns. A callback that calls
  // `synchronized` again runs the inner callback at once (the lock is reentrant).
  //
  //   int size = pelorin::PelorinClient::synchronized([&] { return queue.size(); });
  template <typename F>
  static decltype(auto) synchronized(F&& callback) {
    std::lock_guard<std::recursive_mutex> lock(globalLock());
    return std::forward<F>(callback)();
  }

 private:
  // The process-wide lock behind `synchronized`; never destroyed.
  static std::recursive_mutex& globalLock();
};

}  // namespace pelorin

#endif  // PELORIN_PELORIN_CLIENT_H_
