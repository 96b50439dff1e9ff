// A platform for tests: an in-memory information dictionary with debug logging on, a
// pinned clock, a console that records every line, a device described in memory (iOS 17.4
// on an iPhone10,3 without an advertising identifier), a main loop that the test drives (the
// test's thread is its main thread), a headless user interface, and posix files whose
// documents folder is a fresh temporary folder, removed with the test platform.
#ifndef PELORIN_TESTS_SUPPORT_TEST_PLATFORM_H_
#define PELORIN_TESTS_SUPPORT_TEST_PLATFORM_H_

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "pelorin/headless/headless_ui.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/main_loop.h"
#include "pelorin/platform/platform.h"
#include "support/temp_folder.h"

namespace pelorin::testing {

class RecordingConsole : public platform::Console {
 public:
  void writeLine(std::string_view line) override;
  std::vector<std::string> lines() const;
  void clear();
  // Waits until a line equal to `line` after its "[date] " prefix has been written (by any
  // thread); false after `timeout`.
  bool waitForLine(std::string_view line, std::chrono::milliseconds timeout);

 private:
  mutable std::mutex _mutex;
  std::condition_variable _written;
  std::vector<std::string> _lines;
};

// 2024-05-01 13:02:11 UTC, the instant every test starts at unless it sets another.
inline constexpr std::chrono::seconds kPinnedEpochSeconds{1714568531};

// Installs itself as the current platform on construction; the objects it hands out stay
// valid for the rest of the process. Its destruction resets the client and the event bus
// (`ClientTesting::reset`), so the next test's client starts fresh on its own platform;
// the test's objects that use the client must go first.
class TestPlatform {
 public:
  TestPlatform();
  ~TestPlatform();
  TestPlatform(const TestPlatform&) = delete;
  TestPlatform& operator=(const TestPlatform&) = delete;

  platform::HeadlessBundle& bundle() { return *_bundle; }
  platform::PinnedClock& clock() { return *_clock; }
  RecordingConsole& console() { return *_console; }
  platform::HeadlessDevice& device() { return *_device; }
  platform::MainLoop& mainLoop() { return *_mainLoop; }
  headless::HeadlessUi& ui() { return *_ui; }
  Platform& platform() { return *_platform; }
  // The documents folder of the installed file system (the library's folder goes inside).
  const std::string& documentsFolder() const { return _documents->path(); }

  // Moves the pinned clock on and wakes the main loop, so a loop blocked in run() on
  // another thread sees the timers that are now due. Then call mainLoop().runUntilIdle()
  // to fire them on the test's thread.
  void advanceClock(std::chrono::milliseconds by);

  // Lines logged so far with the "[date] " prefix removed, e.g. "INFO [PL_CLIENT]: ...".
  std::vector<std::string> logLines() const;

 private:
  platform::HeadlessBundle* _bundle;
  platform::PinnedClock* _clock;
  RecordingConsole* _console;
  platform::HeadlessDevice* _device;
  platform::MainLoop* _mainLoop;
  headless::HeadlessUi* _ui;
  Platform* _platform;
  std::unique_ptr<TempFolder> _documents;
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_SUPPORT_TEST_PLATFORM_H_
