#include "progress_line.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace demo {

using std::chrono::steady_clock;

ProgressLine::ProgressLine() : _terminal(::isatty(STDERR_FILENO) == 1) {}

void ProgressLine::start(std::string what) {
  _what = std::move(what);
  _active = true;
  _written = false;
  _started = steady_clock::now();
  _drawn = steady_clock::time_point();
}

void ProgressLine::update() {
  if (!_active) return;
  const auto now = steady_clock::now();
  const std::chrono::duration<double> waited = now - _started;
  if (_terminal) {
    if (now - _drawn < std::chrono::milliseconds(100)) return;
    _drawn = now;
    std::fprintf(stderr, "\r  ... %s (%.1f s)\033[K", _what.c_str(), waited.count());
    std::fflush(stderr);
    _written = true;
  } else if (!_written && waited > std::chrono::seconds(1)) {
    std::fprintf(stderr, "  ... %s\n", _what.c_str());
    _written = true;
  }
}

void ProgressLine::finish() {
  if (_active && _terminal && _written) {
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
  }
  _active = false;
}

}  // namespace demo
