#include "support/test_platform.h"

#include "client/client_testing.h"

namespace pelorin::testing {

namespace {

std::string_view withoutDate(std::string_view line) {
  const auto end = line.find("] ");
  return end == std::string_view::npos ? line : line.substr(end + 2);
}

}  // namespace

void RecordingConsole::writeLine(std::string_view line) {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    _lines.emplace_back(line);
  }
  _written.notify_all();
}

bool RecordingConsole::waitForLine(std::string_view line, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(_mutex);
  std::size_t seen = 0;
  return _written.wait_for(lock, timeout, [&] {
    for (; seen < _lines.size(); ++seen) {
      if (withoutDate(_lines[seen]) == line) return true;
    }
    return false;
  });
}

std::vector<std::string> RecordingConsole::lines() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _lines;
}

void RecordingConsole::clear() {
  std::lock_guard<std::mutex> lock(_mutex);
  _lines.clear();
}

TestPlatform::TestPlatform() {
  auto platform = std::make_unique<Platform>();
  auto bundle = std::make_unique<platform::HeadlessBundle>();
  bundle->set("pl_debug", JsonValue(true));
  auto clock = std::make_unique<platform::PinnedClock>(
      platform::Clock::TimePoint(kPinnedEpochSeconds), 0, "en_US");
  auto console = std::make_unique<RecordingConsole>();
  auto device = std::make_unique<platform::HeadlessDevice>("iOS", "17.4", "iPhone10,3");
  auto mainLoop = std::make_unique<platform::MainLoop>(clock.get());
  auto ui = std::make_unique<headless::HeadlessUi>();
  _documents = std::make_unique<TempFolder>();
  _bundle = bundle.get();
  _clock = clock.get();
  _console = console.get();
  _device = device.get();
  _mainLoop = mainLoop.get();
  _ui = ui.get();
  platform->setBundle(std::move(bundle));
  platform->setClock(std::move(clock));
  platform->setConsole(std::move(console));
  platform->setDevice(std::move(device));
  platform->setMainThread(std::move(mainLoop));
  platform->setUi(std::move(ui));
  platform->setFileSystem(std::make_unique<platform::PosixFileSystem>(_documents->path()));
  _platform = platform.get();
  Platform::install(std::move(platform));
}

TestPlatform::~TestPlatform() {
  // Before the documents folder goes: the engine's writer finishes its files first.
  ClientTesting::reset();
}

void TestPlatform::advanceClock(std::chrono::milliseconds by) {
  _clock->advance(by);
  _mainLoop->wake();
}

std::vector<std::string> TestPlatform::logLines() const {
  std::vector<std::string> stripped;
  for (const auto& line : _console->lines()) stripped.emplace_back(withoutDate(line));
  return stripped;
}

}  // namespace pelorin::testing
