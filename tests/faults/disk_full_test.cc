// A full disk at a tick: the failed files stay waiting and are written once space comes
// back, so a process killed after that and restarted still has every change to send.
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "faults/fault_fixture.h"
#include "pelorin/platform/reachability.h"

namespace pelorin {
namespace {

using platform::ReachabilityFlags;
using Lines = std::vector<std::string>;

constexpr int kProperties = 500;
constexpr int kClicks = 500;

// Posix files whose writes fail with "No space left on device" while the disk is full.
class FillableFileSystem : public platform::FileSystemWrapper {
 public:
  using FileSystemWrapper::FileSystemWrapper;

  platform::FileStatus writeFileAtomically(const std::string& path,
                                           std::string_view contents) override {
    {
      std::lock_guard<std::mutex> lock(_mutex);
      if (_full) {
        ++_failed;
        return platform::FileStatus::ioError("write " + path + ": No space left on device");
      }
    }
    return FileSystemWrapper::writeFileAtomically(path, contents);
  }
  void setFull(bool full) {
    std::lock_guard<std::mutex> lock(_mutex);
    _full = full;
  }
  int failed() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _failed;
  }

 private:
  mutable std::mutex _mutex;
  bool _full = false;  // guarded by _mutex
  int _failed = 0;     // guarded by _mutex
};

class DiskFullTest : public testing::ClientFaultsTest {
 protected:
  void SetUp() override {
    ClientFaultsTest::SetUp();
    auto reachability = std::make_unique<platform::FixedReachability>(
        ReachabilityFlags{.reachable = false, .connectionRequired = false});
    _test.platform().setReachability(std::move(reachability));
    auto files = std::make_unique<FillableFileSystem>(
        std::make_unique<platform::PosixFileSystem>(_test.documentsFolder()));
    _files = files.get();
    _test.platform().setFileSystem(std::move(files));
  }

  void record() {
    for (int i = 0; i < kProperties; ++i) {
      client().setProfileValue("property_" + std::to_string(i), "value " + std::to_string(i));
    }
    for (int i = 0; i < kClicks; ++i) {
      client().createEvent(
          "CLICK", JsonValue::parse(R"({"interactionId":"i)" + std::to_string(i) + R"("})"));
    }
    drain();
  }

  // Every recorded change is in `log`.
  static void expectEveryChange(const PelorinCommitLog& log, const std::string& where) {
    int properties = 0;
    for (int i = 0; i < kProperties; ++i) {
      const auto* entry = log.getProperty("property_" + std::to_string(i));
      if (entry != nullptr && entry->values() == Lines{"value " + std::to_string(i)}) ++properties;
    }
    int clicks = 0;
    for (int i = 0; i < kClicks; ++i) {
      const auto* entry = log.getEvent(EventType::CLICK, "i" + std::to_string(i));
      if (entry != nullptr && entry->count() == 1) ++clicks;
    }
    EXPECT_EQ(properties, kProperties) << where;
    EXPECT_EQ(clicks, kClicks) << where;
  }

  Lines writeErrors() const {
    Lines errors;
    for (const auto& line : _test.logLines()) {
      if (line.starts_with("ERROR [PL_DATA_MANAGER]: Unable to write to file!")) {
        errors.push_back(line);
      }
    }
    return errors;
  }

  FillableFileSystem* _files = nullptr;
};

TEST_F(DiskFullTest, FillRecordRecoverKillRestartLosesNothing) {
  // Fill: the disk is full when the changes are recorded and at the first ticks.
  _files->setFull(true);
  record();
  tick();
  tick();
  tick();
  EXPECT_GT(_files->failed(), 0);
  // The first failure is logged; the ticks that find the disk still full log nothing more.
  EXPECT_EQ(writeErrors(), Lines{"ERROR [PL_DATA_MANAGER]: Unable to write to file! write " +
                                 _test.documentsFolder() +
                                 "/pelorin/plrequestcommitlog5.2.data: No space left on device"});

  // Recover: space comes back and the next tick writes what waited, without a new change.
  _files->setFull(false);
  tick();

  // Kill and restart: what a new process reads from the folder holds every change.
  expectEveryChange(storedPending(), "stored logs");
  auto cache = PelorinCache::decode(storedFile("cache5.2.data"));
  ASSERT_TRUE(cache.ok());
  EXPECT_EQ(cache.value().properties.size(), static_cast<std::size_t>(kProperties));
  {
    MutexLock lock(globalLock());
    PelorinClientImpl restarted(client());
    PelorinCommitLog pending = restarted.requestCommitLog();
    PelorinCommitLog newer = restarted.commitLog();
    pending.merge(newer);
    expectEveryChange(pending, "restarted engine");
  }
  EXPECT_EQ(writeErrors().size(), 1U);
}

}  // namespace
}  // namespace pelorin
