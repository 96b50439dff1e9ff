// A queue that runs operations one at a time on a worker thread of its own, for the
// blocking network exchanges of the engine.
//
// Thread safety: every operation may be called from any thread. The worker thread is
// started with the first operation and lives as long as the process; a queue must
// therefore never be destroyed while it has work (the engine's queue never is).
#ifndef PELORIN_SRC_CLIENT_OPERATION_QUEUE_H_
#define PELORIN_SRC_CLIENT_OPERATION_QUEUE_H_

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace pelorin {

class OperationQueue {
 public:
  using Operation = std::function<void()>;

  OperationQueue() = default;
  OperationQueue(const OperationQueue&) = delete;
  OperationQueue& operator=(const OperationQueue&) = delete;
  ~OperationQueue();

  // Queues `operation`; it runs after every operation added before it.
  void addOperation(Operation operation);
  // Operations queued or running.
  std::size_t operationCount() const;
  // Blocks until no operation is queued or running. For tests and orderly shut-downs.
  void waitUntilAllOperationsAreFinished() const;

 private:
  void run();

  mutable std::mutex _mutex;
  mutable std::condition_variable _changed;
  std::deque<Operation> _operations;
  bool _running = false;
  bool _started = false;
  bool _stopping = false;
  std::thread _worker;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_CLIENT_OPERATION_QUEUE_H_
