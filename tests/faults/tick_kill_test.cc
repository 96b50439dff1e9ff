// A process killed between the file writes of one tick: whatever the point, every change
// is still in a stored log, and the stored cache holds no change that no log would send.
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "faults/fault_fixture.h"
#include "storage/pelorin_cache.h"

namespace pelorin {
namespace {

using Names = std::vector<std::string>;

// Performs the first `writes` atomic writes and refuses every later one, as a process
// killed after them would.
class DyingFileSystem : public platform::FileSystemWrapper {
 public:
  DyingFileSystem(std::unique_ptr<platform::FileSystem> target, int writes)
      : FileSystemWrapper(std::move(target)), _writesLeft(writes) {}

  platform::FileStatus writeFileAtomically(const std::string& path,
                                           std::string_view contents) override {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_writesLeft <= 0) return platform::FileStatus::ioError("the process was killed");
    --_writesLeft;
    _written.push_back(path.substr(path.rfind('/') + 1));
    return FileSystemWrapper::writeFileAtomically(path, contents);
  }
  Names written() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _written;
  }

 private:
  mutable std::mutex _mutex;
  int _writesLeft;  // guarded by _mutex
  Names _written;   // guarded by _mutex
};

class TickKillTest : public testing::ClientFaultsTest, public ::testing::WithParamInterface<int> {};

TEST_P(TickKillTest, KillBetweenTheFilesOfATickLosesNoChange) {
  // Given a change stored at one tick and moved into the request log by a sync that failed,
  _server.answerNextWithStatus(503, "", 1000);
  client().setProfileValue("city", "Utrecht");
  tick();
  // and a newer change,
  client().setProfileValue("country", "NL");

  // when the process dies after some of the next tick's writes,
  auto files = std::make_unique<DyingFileSystem>(
      std::make_unique<platform::PosixFileSystem>(_test.documentsFolder()), GetParam());
  DyingFileSystem& dying = *files;
  _test.platform().setFileSystem(std::move(files));
  tick();

  // then the stored logs still hold the older change,
  const PelorinCommitLog stored = storedPending();
  const auto* city = stored.getProperty("city");
  ASSERT_NE(city, nullptr) << "after " << GetParam() << " writes";
  EXPECT_EQ(city->values(), std::vector<std::string>{"Utrecht"});
  // and every change the stored cache holds is one a log will send.
  auto cache = PelorinCache::decode(storedFile("cache5.2.data"));
  ASSERT_TRUE(cache.ok());
  for (const auto& [name, values] : cache.value().properties) {
    EXPECT_NE(stored.getProperty(name), nullptr) << name << " after " << GetParam() << " writes";
  }
  const Names order{"plrequestcommitlog5.2.data", "plcommitlog5.2.data", "cache5.2.data"};
  EXPECT_EQ(dying.written(), Names(order.begin(), order.begin() + GetParam()));
}

INSTANTIATE_TEST_SUITE_P(AfterEachWrite, TickKillTest, ::testing::Range(0, 4));

}  // namespace
}  // namespace pelorin
