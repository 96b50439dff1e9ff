// The line that says the demo is waiting, on standard error so standard output stays the
// same from run to run. On a terminal it counts the seconds and is overwritten in place;
// elsewhere it is written once, and only when a wait lasts longer than a second.
//
// Thread safety: one thread (the demo's main thread).
#ifndef PELORIN_EXAMPLES_DEMO_PROGRESS_LINE_H_
#define PELORIN_EXAMPLES_DEMO_PROGRESS_LINE_H_

#include <chrono>
#include <string>

namespace demo {

class ProgressLine {
 public:
  ProgressLine();

  // Starts a wait described by `what` ("waiting for the server").
  void start(std::string what);
  // Called while waiting; redraws at most ten times a second.
  void update();
  // Ends the wait and clears the line.
  void finish();

 private:
  bool _terminal;
  bool _active = false;
  bool _written = false;
  std::string _what;
  std::chrono::steady_clock::time_point _started;
  std::chrono::steady_clock::time_point _drawn;
};

}  // namespace demo

#endif  // PELORIN_EXAMPLES_DEMO_PROGRESS_LINE_H_
