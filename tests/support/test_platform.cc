#include "support/test_platform.h"

namespace pelorin::testing {

void RecordingConsole::writeLine(std::string_view line) {
  std::lock_guard<std::mutex> lock(_mutex);
  _lines.emplace_back(line);
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
  auto mainLoop = std::make_unique<platform::MainLoop>(clock.get());
  auto ui = std::make_unique<platform::HeadlessUi>();
  _documents = std::make_unique<TempFolder>();
  _bundle = bundle.get();
  _clock = clock.get();
  _console = console.get();
  _mainLoop = mainLoop.get();
  _ui = ui.get();
  platform->setBundle(std::move(bundle));
  platform->setClock(std::move(clock));
  platform->setConsole(std::move(console));
  platform->setMainThread(std::move(mainLoop));
  platform->setUi(std::move(ui));
  platform->setFileSystem(std::make_unique<platform::PosixFileSystem>(_documents->path()));
  _platform = platform.get();
  Platform::install(std::move(platform));
}

void TestPlatform::advanceClock(std::chrono::milliseconds by) {
  _clock->advance(by);
  _mainLoop->wake();
}

std::vector<std::string> TestPlatform::logLines() const {
  std::vector<std::string> stripped;
  for (const auto& line : _console->lines()) {
    auto end = line.find("] ");
    stripped.push_back(end == std::string::npos ? line : line.substr(end + 2));
  }
  return stripped;
}

}  // namespace pelorin::testing
