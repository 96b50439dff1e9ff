#include "storage/pelorin_file_writer.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "support/test_platform.h"

namespace pelorin {
namespace {

using platform::FileStatus;
using Names = std::vector<std::string>;
using Order = PelorinFileWriter::Order;

// Posix files that record the names written and the writing thread, fail writes while
// `full` is set (as a full disk does), and can hold a write until released.
class RecordingFiles : public platform::FileSystemWrapper {
 public:
  using FileSystemWrapper::FileSystemWrapper;

  FileStatus writeFileAtomically(const std::string& path, std::string_view contents) override {
    std::unique_lock<std::mutex> lock(_mutex);
    ++_waiting;
    _waitingChanged.notify_all();
    _released.wait(lock, [this] { return !_holding; });
    --_waiting;
    const std::string name = path.substr(path.rfind('/') + 1);
    _threads.push_back(std::this_thread::get_id());
    if (_full) {
      _failed.push_back(name);
      return FileStatus::ioError("write " + path + ": No space left on device");
    }
    _written.push_back(name);
    lock.unlock();
    return FileSystemWrapper::writeFileAtomically(path, contents);
  }

  void setFull(bool full) {
    std::lock_guard<std::mutex> lock(_mutex);
    _full = full;
  }
  void hold() {
    std::lock_guard<std::mutex> lock(_mutex);
    _holding = true;
  }
  // Returns once a write waits in `hold`: the writer has taken its round.
  void waitUntilHeld() {
    std::unique_lock<std::mutex> lock(_mutex);
    _waitingChanged.wait(lock, [this] { return _waiting > 0; });
  }
  void release() {
    {
      std::lock_guard<std::mutex> lock(_mutex);
      _holding = false;
    }
    _released.notify_all();
  }
  Names written() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _written;
  }
  Names failed() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _failed;
  }
  std::vector<std::thread::id> threads() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _threads;
  }

 private:
  mutable std::mutex _mutex;
  std::condition_variable _released;
  std::condition_variable _waitingChanged;
  int _waiting = 0;                       // guarded by _mutex
  bool _full = false;                     // guarded by _mutex
  bool _holding = false;                  // guarded by _mutex
  Names _written;                         // guarded by _mutex
  Names _failed;                          // guarded by _mutex
  std::vector<std::thread::id> _threads;  // guarded by _mutex
};

class PelorinFileWriterTest : public ::testing::Test {
 protected:
  PelorinFileWriterTest() {
    auto files = std::make_unique<RecordingFiles>(
        std::make_unique<platform::PosixFileSystem>(_platform.documentsFolder()));
    _files = files.get();
    _platform.platform().setFileSystem(std::move(files));
  }

  static PelorinFileWriter::Encoder text(std::string content) {
    return [content = std::move(content)]() -> std::optional<std::string> { return content; };
  }
  std::string stored(const std::string& name) const {
    std::string content;
    (void)_files->target().readFile(_platform.documentsFolder() + "/pelorin/" + name, &content);
    return content;
  }
  std::vector<std::string> errorLines() const {
    std::vector<std::string> errors;
    for (const auto& line : _platform.logLines()) {
      if (line.starts_with("ERROR")) errors.push_back(line);
    }
    return errors;
  }

  testing::TestPlatform _platform;
  RecordingFiles* _files;
};

TEST_F(PelorinFileWriterTest, WritesOnItsOwnThreadTextsThenTheLogsThenTheCache) {
  PelorinFileWriter writer;
  _files->hold();
  writer.writeText("block.data", "first");
  _files->waitUntilHeld();  // the next four wait together for the next round
  writer.write("cache.data", Order::kCache, text("{}"));
  writer.write("commit.data", Order::kCommitLog, text("c"));
  writer.write("request.data", Order::kRequestLog, text("r"));
  writer.writeText("id.data", "abc");
  _files->release();
  writer.waitUntilIdle();

  EXPECT_EQ(_files->written(),
            (Names{"block.data", "id.data", "request.data", "commit.data", "cache.data"}));
  EXPECT_EQ(stored("id.data"), "abc");
  for (auto id : _files->threads()) EXPECT_NE(id, std::this_thread::get_id());
}

TEST_F(PelorinFileWriterTest, NewerContentReplacesContentStillWaiting) {
  PelorinFileWriter writer;
  _files->hold();
  writer.writeText("block.data", "first");
  _files->waitUntilHeld();  // taken by the thread, held in the write
  writer.write("cache.data", Order::kCache, text("one"));
  writer.write("cache.data", Order::kCache, text("two"));
  writer.write("cache.data", Order::kCache, text("three"));
  _files->release();
  writer.waitUntilIdle();

  const Names written = _files->written();
  EXPECT_EQ(std::count(written.begin(), written.end(), "cache.data"), 1);
  EXPECT_EQ(stored("cache.data"), "three");
}

TEST_F(PelorinFileWriterTest, AFailedWriteWaitsWithTheWritesBehindItUntilARetrySucceeds) {
  PelorinFileWriter writer;
  _files->setFull(true);
  _files->hold();
  writer.write("request.data", Order::kRequestLog, text("r1"));
  writer.write("commit.data", Order::kCommitLog, text("c1"));
  writer.write("cache.data", Order::kCache, text("k1"));
  _files->release();
  writer.waitUntilIdle();
  // The request log failed; the commit log and the cache may not overtake it.
  auto onlyRequestLogFailed = [&] {
    const Names failed = _files->failed();
    return !failed.empty() && std::all_of(failed.begin(), failed.end(),
                                          [](const auto& name) { return name == "request.data"; });
  };
  EXPECT_TRUE(onlyRequestLogFailed());
  EXPECT_TRUE(_files->written().empty());
  const std::size_t failures = _files->failed().size();

  // Retries while the disk stays full log nothing more.
  writer.retry();
  writer.waitUntilIdle();
  writer.retry();
  writer.waitUntilIdle();
  EXPECT_TRUE(onlyRequestLogFailed());
  EXPECT_EQ(_files->failed().size(), failures + 2);
  EXPECT_EQ(errorLines(),
            std::vector<std::string>{"ERROR [PL_DATA_MANAGER]: Unable to write to file! write " +
                                     _platform.documentsFolder() +
                                     "/pelorin/request.data: No space left on device"});

  // A newer commit log replaces the waiting one; space comes back and a retry writes all.
  writer.write("commit.data", Order::kCommitLog, text("c2"));
  writer.waitUntilIdle();
  _files->setFull(false);
  writer.retry();
  writer.waitUntilIdle();
  EXPECT_EQ(_files->written(), (Names{"request.data", "commit.data", "cache.data"}));
  EXPECT_EQ(stored("request.data"), "r1");
  EXPECT_EQ(stored("commit.data"), "c2");
  EXPECT_EQ(stored("cache.data"), "k1");

  // A later run of failures is logged again, once.
  _files->setFull(true);
  writer.write("request.data", Order::kRequestLog, text("r3"));
  writer.waitUntilIdle();
  writer.retry();
  writer.waitUntilIdle();
  EXPECT_EQ(errorLines().size(), 2U);
}

TEST_F(PelorinFileWriterTest, ContentThatCannotBeEncodedIsDropped) {
  PelorinFileWriter writer;
  writer.write("cache.data", Order::kCache, [] { return std::optional<std::string>(); });
  writer.waitUntilIdle();
  writer.retry();
  writer.waitUntilIdle();
  EXPECT_TRUE(_files->written().empty());
  EXPECT_TRUE(_files->failed().empty());
}

TEST_F(PelorinFileWriterTest, DestructionFinishesTheWritesThatWait) {
  {
    PelorinFileWriter writer;
    writer.write("cache.data", Order::kCache, text("last"));
  }
  EXPECT_EQ(stored("cache.data"), "last");
}

}  // namespace
}  // namespace pelorin
