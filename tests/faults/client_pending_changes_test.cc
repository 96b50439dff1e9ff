// What the app changed while an exchange ran, and what a batch could not carry, stays due
// until the server confirmed it.
#include <string>
#include <vector>

#include "faults/answer_gate.h"
#include "faults/fault_fixture.h"
#include "pelorin/platform/reachability.h"

namespace pelorin {
namespace {

using platform::ReachabilityFlags;
using testing::ClientFaultsTest;
using namespace std::chrono_literals;

// Counts the "createEvent" commands of logged events in a request body.
std::size_t eventCommandsIn(const std::string& body) {
  const std::string marker = R"(\"interaction\":[\")";
  std::size_t count = 0;
  for (auto at = body.find(marker); at != std::string::npos; at = body.find(marker, at + 1)) {
    ++count;
  }
  return count;
}

// The server forgets the visitor, so the batch's answer carries a new identifier and the
// engine reloads the profile; the app writes while the reload's answer is held back.
TEST_F(ClientFaultsTest, WriteDuringAProfileReloadSurvivesItsAnswer) {
  ASSERT_TRUE(_server.service().forgetProfile(_profileId));
  testing::AnswerGate gate(_server);
  gate.holdNext(1, 1);  // the batch passes, the reload waits
  client().setProfileValue("tags", "new");
  _test.advanceClock(Platform::current().syncInterval());
  _test.mainLoop().runUntilIdle();
  ASSERT_TRUE(gate.waitUntilHeld(1, 30s));

  client().setProfileValue("city", "Utrecht");
  EXPECT_EQ(client().getProfileValue("city"), "Utrecht");
  gate.releaseAll();
  drain();
  ASSERT_TRUE(logged("INFO [PL_CLIENT]: Done reloading"));

  EXPECT_EQ(client().getProfileValue("city"), "Utrecht");
  EXPECT_EQ(client().getProfileValue("tags"), "new");
  tick();
  EXPECT_EQ(client().getProfileValue("city"), "Utrecht");
  EXPECT_EQ(serverProfile(), (Parameters{{"city", {"Utrecht"}}, {"tags", {"new"}}}));
}

// A change the server has not confirmed (its batch failed) stays on the device through a
// reload that replaces the whole profile.
TEST_F(ClientFaultsTest, UnconfirmedChangeSurvivesAReloadAfterAPageView) {
  _server.answerNextWithStatus(503, "Service Unavailable");
  client().setProfileValue("city", "Utrecht");
  tick();
  ASSERT_EQ(client().getProfileValue("city"), "Utrecht");

  // The next page view's answer carries a new identifier: the cache is emptied, the
  // profile reloaded, and the waiting change still shows.
  ASSERT_TRUE(_server.service().forgetProfile(_profileId));
  testing::AnswerGate gate(_server);
  gate.holdNext(1, 1);
  client().createEvent("PAGEVIEW", JsonValue::parse(R"({"screenName":"home"})"));
  ASSERT_TRUE(gate.waitUntilHeld(1, 30s));
  client().addProfileValue("tags", "late");
  gate.releaseAll();
  drain();

  EXPECT_EQ(client().getProfileValue("city"), "Utrecht");
  EXPECT_EQ(client().getProfileValues("tags"), std::vector<std::string>{"late"});
  tick();
  EXPECT_EQ(serverProfile(), (Parameters{{"city", {"Utrecht"}}, {"tags", {"late"}}}));
}

// Clicks counted offline go in batches of at most 10,000 commands; the rest of the count
// stays in the request log and goes with the next batch, so the server counts them all.
TEST_F(ClientFaultsTest, TwentyFiveThousandClicksOfflineAllReachTheServer) {
  auto reachability = std::make_unique<platform::FixedReachability>();
  platform::FixedReachability& network = *reachability;
  _test.platform().setReachability(std::move(reachability));
  network.set(ReachabilityFlags{.reachable = false, .connectionRequired = false});
  for (int i = 0; i < 25000; ++i) {
    client().createEvent("CLICK", {{"interactionId", "banner"}});
  }
  tick();
  ASSERT_EQ(_server.requestCount(), 0U);

  network.set(ReachabilityFlags{.reachable = true, .connectionRequired = false});
  tick();
  tick();
  tick();
  tick();

  EXPECT_EQ(_server.service().eventCount(_profileId, "banner", "CLICK"), 25000);
  std::vector<std::size_t> perBatch;
  for (const auto& body : bodies()) perBatch.push_back(eventCommandsIn(body));
  EXPECT_EQ(perBatch, (std::vector<std::size_t>{10000, 10000, 5000}));
  EXPECT_TRUE(enginePending().isEmpty());
  EXPECT_TRUE(storedPending().isEmpty());
}

// A batch that fails keeps the whole count, the part it carried included.
TEST_F(ClientFaultsTest, FailedPartialBatchKeepsTheWholeCount) {
  for (int i = 0; i < 10001; ++i) {
    client().createEvent("CLICK", {{"interactionId", "banner"}});
  }
  _server.answerNextWithStatus(500, "Internal Server Error");
  tick();
  PelorinClient::synchronized([&] {
    const auto* clicks = engine().requestCommitLog().getEvent(EventType::CLICK, "banner");
    ASSERT_NE(clicks, nullptr);
    EXPECT_EQ(clicks->count(), 10001);
  });

  sendAgain();
  tick();
  EXPECT_EQ(_server.service().eventCount(_profileId, "banner", "CLICK"), 10001);
  EXPECT_TRUE(enginePending().isEmpty());
}

}  // namespace
}  // namespace pelorin
