#include "client/operation_queue.h"

namespace pelorin {

OperationQueue::~OperationQueue() {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    _stopping = true;
  }
  _changed.notify_all();
  if (_worker.joinable()) _worker.join();
}

void OperationQueue::addOperation(Operation operation) {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    _operations.push_back(std::move(operation));
    if (!_started) {
      _started = true;
      _worker = std::thread([this] { run(); });
    }
  }
  _changed.notify_all();
}

std::size_t OperationQueue::operationCount() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _operations.size() + (_running ? 1 : 0);
}

void OperationQueue::waitUntilAllOperationsAreFinished() const {
  std::unique_lock<std::mutex> lock(_mutex);
  _changed.wait(lock, [this] { return _operations.empty() && !_running; });
}

void OperationQueue::run() {
  std::unique_lock<std::mutex> lock(_mutex);
  for (;;) {
    _changed.wait(lock, [this] { return _stopping || !_operations.empty(); });
    if (_operations.empty()) return;  // stopping and drained
    Operation operation = std::move(_operations.front());
    _operations.pop_front();
    _running = true;
    lock.unlock();
    operation();
    lock.lock();
    _running = false;
    _changed.notify_all();
  }
}

}  // namespace pelorin
