// A reentrant mutex that clang's thread-safety analysis knows as a capability, its scoped
// lock, and the library's global lock.
//
// Thread safety: every operation may be called from any thread.
#ifndef PELORIN_SRC_BASE_MUTEX_H_
#define PELORIN_SRC_BASE_MUTEX_H_

#include <atomic>
#include <mutex>
#include <thread>

#include "base/thread_annotations.h"

namespace pelorin {

// A mutex that the thread holding it may lock again; it is free again once each lock has
// been unlocked. The analysis does not model the relocking: a function must not lock it
// twice itself, but it may call a function that locks it while it holds it.
class CAPABILITY("mutex") RecursiveMutex {
 public:
  RecursiveMutex() = default;
  ~RecursiveMutex() = default;
  RecursiveMutex(const RecursiveMutex&) = delete;
  RecursiveMutex& operator=(const RecursiveMutex&) = delete;

  void lock() ACQUIRE() {
    const std::thread::id self = std::this_thread::get_id();
    // Only this thread stores its own id, so even a relaxed load finds it exactly while
    // this thread holds the mutex.
    if (_owner.load(std::memory_order_relaxed) == self) {
      ++_depth;
      return;
    }
    _mutex.lock();
    _owner.store(self, std::memory_order_relaxed);
    _depth = 1;
  }

  void unlock() RELEASE() {
    if (--_depth > 0) return;
    _owner.store(std::thread::id(), std::memory_order_relaxed);
    _mutex.unlock();
  }

  bool isHeldByCurrentThread() const {
    return _owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
  }

  // For code that runs under the mutex without having locked it itself (a callback that
  // `PelorinClient::synchronized` calls, say): tells the analysis that the mutex is held,
  // and aborts the process when the calling thread does not hold it.
  void assertHeld() const ASSERT_CAPABILITY(this);

 private:
  std::mutex _mutex;
  std::atomic<std::thread::id> _owner;
  // How often the owner has locked it; only the owner touches it.
  int _depth = 0;
};

// Holds a mutex for its lifetime.
//
//   MutexLock lock(globalLock());
class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(RecursiveMutex& mutex) ACQUIRE(mutex) : _mutex(mutex) { _mutex.lock(); }
  ~MutexLock() RELEASE() { _mutex.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  RecursiveMutex& _mutex;
};

// The library's global lock, behind `PelorinClient::synchronized`: it guards the client
// engine's state, the event bus and the plug-ins' calls into them. Never destroyed, since
// threads of the library may take it while the process exits.
RecursiveMutex& globalLock();

}  // namespace pelorin

#endif  // PELORIN_SRC_BASE_MUTEX_H_
