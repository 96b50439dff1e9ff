// What one tick of the sync timer costs, counted at the platform seam: file operations and
// HTTP requests.
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "e2e/client_fixture.h"
#include "e2e/counting_services.h"
#include "pelorin/platform/curl_http_client.h"

namespace pelorin {
namespace {

using testing::CountingFileSystem;
using testing::CountingHttpClient;
using Writes = std::map<std::string, int>;

class ClientTickTest : public testing::ClientE2ETest {
 protected:
  ClientTickTest() {
    // Installed before the client is first used, so every file and request goes through.
    auto files = std::make_unique<CountingFileSystem>(
        std::make_unique<platform::PosixFileSystem>(_test.documentsFolder()));
    _files = files.get();
    _test.platform().setFileSystem(std::move(files));
    auto curl = std::make_unique<platform::CurlHttpClient>();
    _curl = curl.get();
    auto http = std::make_unique<CountingHttpClient>(std::move(curl));
    _http = http.get();
    _test.platform().setHttpClient(std::move(http));
  }

  // One firing of the sync timer and the work it starts. Asserts that the timer did fire,
  // so "nothing happened" cannot come from a tick that never ran.
  void tickOnce() {
    _test.advanceClock(Platform::current().syncInterval());
    EXPECT_EQ(_test.mainLoop().runUntilIdle(), 1U);
    drain();
  }
  // A client that has seen its first page view and stored what it changed.
  void settle() {
    pageView("home");
    tickOnce();
    _files->reset();
    _http->reset();
  }

  CountingFileSystem* _files = nullptr;
  CountingHttpClient* _http = nullptr;
  platform::CurlHttpClient* _curl = nullptr;
};

TEST_F(ClientTickTest, TickWithNothingChangedMakesNoFileOperationAndNoRequest) {
  settle();
  tickOnce();
  EXPECT_EQ(_files->calls(), 0U);
  EXPECT_EQ(_http->sent(), 0U);
  tickOnce();
  EXPECT_EQ(_files->calls(), 0U);
  EXPECT_EQ(_http->sent(), 0U);
}

// A minute of a started client with nothing to send, sleep by sleep: the main loop wakes
// only when the sync timer is due (12 times a minute), the HTTP worker not at all.
TEST_F(ClientTickTest, IdleClientWakesTheMainLoopOnlyForItsTimerAndTheWorkerNever) {
  settle();
  const platform::CurlHttpClient::WorkerSleep before =
      _curl->waitUntilWorkerSleeps(std::chrono::seconds(10));
  ASSERT_TRUE(before.asleep);
  EXPECT_EQ(before.limit, std::nullopt);

  int mainLoopWakeUps = 0;
  std::chrono::steady_clock::duration slept{};
  while (slept < std::chrono::minutes(1)) {
    const std::optional<std::chrono::steady_clock::duration> sleep =
        _test.mainLoop().idleSleepLimit();
    ASSERT_TRUE(sleep.has_value());
    _test.advanceClock(std::chrono::duration_cast<std::chrono::milliseconds>(*sleep));
    slept += *sleep;
    ++mainLoopWakeUps;
    EXPECT_EQ(_test.mainLoop().runUntilIdle(), 1U);
    drain();
  }

  EXPECT_EQ(mainLoopWakeUps, 12);
  EXPECT_EQ(_http->sent(), 0U);
  const platform::CurlHttpClient::WorkerSleep after =
      _curl->waitUntilWorkerSleeps(std::chrono::seconds(10));
  ASSERT_TRUE(after.asleep);
  EXPECT_EQ(after.wakeUps, before.wakeUps);
  EXPECT_EQ(after.limit, std::nullopt);
}

TEST_F(ClientTickTest, WritesWaitForTheTick) {
  settle();
  client().setProfileValue("city", "Utrecht");
  client().addProfileValue("tags", "new");
  client().createEvent("CLICK", JsonValue::parse(R"({"interactionId":"i1"})"));
  drain();
  EXPECT_EQ(_files->calls(), 0U);
  EXPECT_EQ(_http->sent(), 0U);
}

TEST_F(ClientTickTest, TickWithAChangeWritesEachChangedFileOnceAndSendsOneRequest) {
  settle();
  client().setProfileValue("city", "Utrecht");
  client().setProfileValue("city", "Amsterdam");
  client().addProfileValue("tags", "new");
  tickOnce();
  EXPECT_EQ(_files->writes(), (Writes{{"cache5.2.data", 1},
                                      {"plcommitlog5.2.data", 1},
                                      {"plrequestcommitlog5.2.data", 1}}));
  EXPECT_EQ(_http->sent(), 1U);
  EXPECT_EQ(serverProfile(), (Parameters{{"city", {"Amsterdam"}}, {"tags", {"new"}}}));
}

TEST_F(ClientTickTest, TickAfterAClickWritesOnlyTheCommitLogs) {
  settle();
  client().createEvent("CLICK", JsonValue::parse(R"({"interactionId":"i1"})"));
  tickOnce();
  EXPECT_EQ(_files->writes(),
            (Writes{{"plcommitlog5.2.data", 1}, {"plrequestcommitlog5.2.data", 1}}));
  EXPECT_EQ(_http->sent(), 1U);
}

// The confirmed sync empties the request log and stores the answer's domain group; the next
// tick writes those once, and the one after is silent again.
TEST_F(ClientTickTest, TickAfterAConfirmedSyncStoresItsOutcomeOnceThenIsSilent) {
  settle();
  client().setProfileValue("city", "Utrecht");
  tickOnce();
  _files->reset();
  _http->reset();
  tickOnce();
  EXPECT_EQ(_files->writes(), (Writes{{"cache5.2.data", 1},
                                      {"plcommitlog5.2.data", 1},
                                      {"plrequestcommitlog5.2.data", 1}}));
  EXPECT_EQ(_http->sent(), 0U);
  EXPECT_EQ(storedFile("plrequestcommitlog5.2.data"),
            R"({"_properties":[],"_events":[],"_modified":true})");
  _files->reset();
  tickOnce();
  EXPECT_EQ(_files->calls(), 0U);
  EXPECT_EQ(_http->sent(), 0U);
}

}  // namespace
}  // namespace pelorin
