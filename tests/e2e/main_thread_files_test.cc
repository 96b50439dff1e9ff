// After start-up the main thread never touches a file: every file operation of the library
// runs on its writer thread (or the engine's queue), counted through the file-system seam.
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "e2e/client_fixture.h"

namespace pelorin {
namespace {

// Posix files that count the operations made on one thread and on all others.
class ThreadCountingFiles : public platform::FileSystemWrapper {
 public:
  ThreadCountingFiles(std::unique_ptr<platform::FileSystem> target, std::thread::id watched)
      : FileSystemWrapper(std::move(target)), _watched(watched) {}

  platform::FileStatus documentsDirectory(std::string* path) override {
    count("documentsDirectory");
    return FileSystemWrapper::documentsDirectory(path);
  }
  platform::FileStatus createDirectories(const std::string& path) override {
    count("createDirectories " + path);
    return FileSystemWrapper::createDirectories(path);
  }
  platform::FileStatus readFile(const std::string& path, std::string* contents) override {
    count("readFile " + path);
    return FileSystemWrapper::readFile(path, contents);
  }
  platform::FileStatus listDirectory(const std::string& path,
                                     std::vector<std::string>* names) override {
    count("listDirectory " + path);
    return FileSystemWrapper::listDirectory(path, names);
  }
  platform::FileStatus removeFile(const std::string& path) override {
    count("removeFile " + path);
    return FileSystemWrapper::removeFile(path);
  }
  platform::FileStatus renameFile(const std::string& from, const std::string& to) override {
    count("renameFile " + from);
    return FileSystemWrapper::renameFile(from, to);
  }
  platform::FileStatus writeFileAtomically(const std::string& path,
                                           std::string_view contents) override {
    count("writeFileAtomically " + path.substr(path.rfind('/') + 1));
    return FileSystemWrapper::writeFileAtomically(path, contents);
  }

  std::vector<std::string> onWatchedThread() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _onWatched;
  }
  std::vector<std::string> writesElsewhere() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _writesElsewhere;
  }

 private:
  void count(std::string operation) {
    std::lock_guard<std::mutex> lock(_mutex);
    if (std::this_thread::get_id() == _watched) {
      _onWatched.push_back(std::move(operation));
    } else if (operation.starts_with("writeFileAtomically ")) {
      _writesElsewhere.push_back(operation.substr(20));
    }
  }

  const std::thread::id _watched;
  mutable std::mutex _mutex;
  std::vector<std::string> _onWatched;        // guarded by _mutex
  std::vector<std::string> _writesElsewhere;  // guarded by _mutex
};

class MainThreadFilesTest : public testing::ClientE2ETest {};

TEST_F(MainThreadFilesTest, TheMainThreadTouchesNoFileAfterStartUp) {
  // Start-up reads the stored state on the main thread.
  client();
  auto files = std::make_unique<ThreadCountingFiles>(
      std::make_unique<platform::PosixFileSystem>(_test.documentsFolder()),
      std::this_thread::get_id());
  ThreadCountingFiles& counted = *files;
  _test.platform().setFileSystem(std::move(files));

  // Then: changes, page views with answers (a new profile identifier), ticks, a switch off
  // and on, all driven from the main thread.
  client().setProfileValue("city", "Utrecht");
  client().addProfileValues("tags", {"new"});
  pageView("home");
  tick();
  client().createEvent("CLICK", JsonValue::parse(R"({"interactionId":"banner"})"));
  tick();
  client().setEnabled(false);
  client().setEnabled(true);
  tick();
  drain();

  EXPECT_EQ(counted.onWatchedThread(), std::vector<std::string>{});
  const auto written = counted.writesElsewhere();
  for (const char* name : {"id.data", "plrequestcommitlog5.2.data", "plcommitlog5.2.data",
                           "cache5.2.data", "enabled.data"}) {
    EXPECT_NE(std::find(written.begin(), written.end(), name), written.end()) << name;
  }
}

}  // namespace
}  // namespace pelorin
