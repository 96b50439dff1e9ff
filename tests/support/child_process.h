// Starts a program as a child process with its standard output on a pipe, for tests that
// need to kill, restart or watch the exit of a host application.
#ifndef PELORIN_TESTS_SUPPORT_CHILD_PROCESS_H_
#define PELORIN_TESTS_SUPPORT_CHILD_PROCESS_H_

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

extern char** environ;  // NOLINT(readability-identifier-naming)

namespace pelorin::testing {

class ChildProcess {
 public:
  explicit ChildProcess(const std::vector<std::string>& arguments) {
    int fds[2];
    if (::pipe(fds) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    if (posix_spawn(&_pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) _pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    _output = fds[0];
  }
  ~ChildProcess() {
    if (_pid > 0 && !_status) {
      ::kill(_pid, SIGKILL);
      wait();
    }
    if (_output >= 0) ::close(_output);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool started() const { return _pid > 0; }

  // Reads what the child printed, until it closes its output or `timeout` passes.
  std::string readAll(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (readSome(deadline)) {
    }
    return _text;
  }
  // Reads until the output holds `text` or `timeout` passes; true when it does.
  bool waitForOutput(const std::string& text, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (_text.find(text) == std::string::npos) {
      if (!readSome(deadline)) return false;
    }
    return true;
  }
  const std::string& output() const { return _text; }

  void kill() { ::kill(_pid, SIGKILL); }
  // The raw wait status once the child has ended. What the child printed and the test had
  // not read yet is read then, so `output()` holds all of it: a child killed right after it
  // printed a line has that line in the pipe, not yet in `output()`.
  int wait() {
    if (!_status) {
      int status = 0;
      ::waitpid(_pid, &status, 0);
      _status = status;
      readAll(kDrainTimeout);
    }
    return *_status;
  }

 private:
  bool readSome(std::chrono::steady_clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0 || _output < 0) return false;
    pollfd fd{_output, POLLIN, 0};
    if (::poll(&fd, 1, static_cast<int>(left.count())) <= 0) return false;
    char buffer[4096];
    const ssize_t n = ::read(_output, buffer, sizeof buffer);
    if (n <= 0) return false;
    _text.append(buffer, static_cast<std::size_t>(n));
    return true;
  }

  // Reading what an ended child left in the pipe ends at its end of file at once; the bound
  // only matters when a process the child started holds the pipe open.
  static constexpr std::chrono::milliseconds kDrainTimeout{5000};

  pid_t _pid = -1;
  int _output = -1;
  std::string _text;
  std::optional<int> _status;
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_SUPPORT_CHILD_PROCESS_H_
