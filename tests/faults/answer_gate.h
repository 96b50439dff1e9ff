// Holds the devserver's answers at a gate until the test lets them go: a reply that comes
// after the client stopped waiting, without any sleep or timing guess on either side.
//
// Thread safety: every member may be called from any thread; the gate's state lives in a
// shared block, so a server thread still passing it never touches a gate that is gone.
#ifndef PELORIN_TESTS_FAULTS_ANSWER_GATE_H_
#define PELORIN_TESTS_FAULTS_ANSWER_GATE_H_

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "devserver/dev_server.h"

namespace pelorin::testing {

class AnswerGate {
 public:
  explicit AnswerGate(devserver::DevServer& server) : _server(server) {
    server.setRequestObserver([state = _state](const devserver::RecordedRequest&) {
      std::unique_lock<std::mutex> lock(state->mutex);
      if (state->toHold == 0) return;
      if (state->toPass > 0) {
        --state->toPass;
        return;
      }
      --state->toHold;
      ++state->held;
      state->changed.notify_all();
      const int generation = state->generation;
      state->changed.wait(lock, [&] { return state->generation != generation; });
      --state->held;
    });
  }
  // Lets every held answer go and stops holding.
  ~AnswerGate() {
    _server.setRequestObserver(nullptr);
    releaseAll();
  }
  AnswerGate(const AnswerGate&) = delete;
  AnswerGate& operator=(const AnswerGate&) = delete;

  // The next `count` requests wait at the gate, before the server answers them; the
  // `after` requests before them pass.
  void holdNext(int count, int after = 0) {
    std::lock_guard<std::mutex> lock(_state->mutex);
    _state->toHold += count;
    _state->toPass += after;
  }
  // Waits until `count` requests wait at the gate; false after `timeout`.
  bool waitUntilHeld(int count, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(_state->mutex);
    return _state->changed.wait_for(lock, timeout, [&] { return _state->held >= count; });
  }
  // Lets the held requests go on to their answers, and holds no more.
  void releaseAll() {
    {
      std::lock_guard<std::mutex> lock(_state->mutex);
      _state->toHold = 0;
      _state->toPass = 0;
      ++_state->generation;
    }
    _state->changed.notify_all();
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    int toHold = 0;      // guarded by mutex
    int toPass = 0;      // guarded by mutex
    int held = 0;        // guarded by mutex
    int generation = 0;  // guarded by mutex; a release starts a new one
  };

  devserver::DevServer& _server;
  std::shared_ptr<State> _state = std::make_shared<State>();
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_FAULTS_ANSWER_GATE_H_
