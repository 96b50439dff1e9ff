// Faults around the client's own state: a server that is not there at the first launch, a
// profile identifier that changes between answers, a network that comes and goes.
#include <memory>
#include <string>
#include <vector>

#include "faults/answer_gate.h"
#include "faults/fault_fixture.h"
#include "pelorin/platform/reachability.h"

namespace pelorin {
namespace {

using platform::ReachabilityFlags;
using platform::UrlError;
using testing::ClientFaultsTest;
using Lines = std::vector<std::string>;
using namespace std::chrono_literals;

constexpr std::string_view kRefused =
    "ERROR [PL_CLIENT]: Unable to get the interactions from Pelorin, reason: Could not connect "
    "to the server.";
constexpr std::string_view kOffline =
    "WARNING [PL_CLIENT]: Sync failed! Unable to connect to a network";

// A first launch while the server is down: no profile yet, everything waits on the device.
class ServerNotRunningTest : public ClientFaultsTest {
 protected:
  void SetUp() override { _server.stop(); }
};

TEST_F(ServerNotRunningTest, FirstLaunchKeepsTheChangesUntilTheServerStarts) {
  ASSERT_EQ(UrlError::description(UrlError::kCannotConnectToHost),
            "Could not connect to the server.");
  bool completed = false;
  client().createEvent("PAGEVIEW", JsonValue::parse(R"({"screenName":"home"})"),
                       [&] { completed = true; });
  drain();
  makeChanges();
  tick();
  tick();

  EXPECT_TRUE(completed);
  EXPECT_EQ(client().getProfileId(), "");
  expectKept();
  // The page view and the first tick; the second tick has nothing new to send.
  EXPECT_EQ(linesStartingWith("ERROR [PL_CLIENT]"), Lines(2, std::string(kRefused)));
  EXPECT_EQ(client().getProfileValues("city"), kChanges.at("city"));

  ASSERT_TRUE(_server.start());
  _test.bundle().set("pl_server_url", JsonValue(_server.baseUrl() + "/"));
  sendAgain();

  // The first answer creates the profile with the waiting changes in it.
  _profileId = client().getProfileId().value_or("");
  ASSERT_FALSE(_profileId.empty());
  EXPECT_TRUE(logged("INFO [PL_CLIENT]: New profile ID: " + _profileId + " - Old profile ID: "));
  EXPECT_TRUE(logged("INFO [PL_CLIENT]: Done reloading"));
  expectDelivered();
  EXPECT_EQ(storedFile("id.data"), _profileId);
}

// The server forgot the visitor: its next answer carries a new profile identifier. The
// device takes the new profile as the server has it, and what it sends from then on lands
// there.
TEST_F(ClientFaultsTest, ProfileIdChangingBetweenAnswersMovesTheDeviceToTheNewProfile) {
  client().setProfileValue("city", "Utrecht");
  tick();
  ASSERT_EQ(serverProfile(), (Parameters{{"city", {"Utrecht"}}}));
  const std::string oldId = _profileId;
  ASSERT_TRUE(_server.service().forgetProfile(oldId));

  client().addProfileValues("tags", {"new", "sale"});
  client().createEvent("CLICK", JsonValue::parse(R"({"interactionId":"banner"})"));
  tick();

  const std::string newId = client().getProfileId().value_or("");
  ASSERT_FALSE(newId.empty());
  EXPECT_NE(newId, oldId);
  EXPECT_TRUE(logged("INFO [PL_CLIENT]: New profile ID: " + newId + " - Old profile ID: " + oldId));
  EXPECT_TRUE(logged("INFO [PL_CLIENT]: Done reloading"));
  EXPECT_EQ(_server.service().properties(newId), (Parameters{{"tags", {"new", "sale"}}}));
  EXPECT_EQ(_server.service().eventCount(newId, "banner", "CLICK"), 1);
  // The device holds the new profile as the server has it.
  EXPECT_EQ(client().getProfileValues("city"), std::nullopt);
  EXPECT_EQ(client().getProfileValues("tags"), (std::vector<std::string>{"new", "sale"}));
  EXPECT_TRUE(enginePending().isEmpty());
  tick();
  EXPECT_EQ(storedFile("id.data"), newId);
  EXPECT_NE(storedFile("plcookies.data").find("pl_profile\t" + newId), std::string::npos);

  client().setProfileValue("city", "Amsterdam");
  tick();
  EXPECT_EQ(_server.service().properties(newId),
            (Parameters{{"city", {"Amsterdam"}}, {"tags", {"new", "sale"}}}));
  EXPECT_EQ(client().getProfileId(), newId);
}

// A change made while the answer with the new identifier is on its way is not in that
// batch; the new identifier empties the cache, but the change still reaches the new
// profile, and the next page view brings it back to the cache.
TEST_F(ClientFaultsTest, ChangeDuringAnIdChangingAnswerReachesTheNewProfile) {
  ASSERT_TRUE(_server.service().forgetProfile(_profileId));
  testing::AnswerGate gate(_server);
  gate.holdNext(1);
  client().setProfileValue("city", "Utrecht");
  _test.advanceClock(Platform::current().syncInterval());
  _test.mainLoop().runUntilIdle();
  ASSERT_TRUE(gate.waitUntilHeld(1, 30s));

  client().setProfileValue("late", "yes");
  gate.releaseAll();
  drain();
  const std::string newId = client().getProfileId().value_or("");
  ASSERT_NE(newId, _profileId);
  tick();

  EXPECT_EQ(_server.service().properties(newId),
            (Parameters{{"city", {"Utrecht"}}, {"late", {"yes"}}}));
  EXPECT_TRUE(enginePending().isEmpty());
  pageView("home");
  EXPECT_EQ(client().getProfileValues("late"), std::vector<std::string>{"yes"});
  EXPECT_EQ(client().getProfileValues("city"), std::vector<std::string>{"Utrecht"});
}

// Offline, unreadable and connection-required flags all keep the client from sending;
// a request already on its way when the network goes finishes as usual.
TEST_F(ClientFaultsTest, ReachabilityFlipsKeepTheChangesUntilTheNetworkIsBack) {
  auto reachability = std::make_unique<platform::FixedReachability>();
  platform::FixedReachability& network = *reachability;
  _test.platform().setReachability(std::move(reachability));
  makeChanges();

  network.set(ReachabilityFlags{.reachable = false, .connectionRequired = false});
  tick();
  network.set(std::nullopt);
  tick();
  network.set(ReachabilityFlags{.reachable = true, .connectionRequired = true});
  bool completed = false;
  client().createEvent("PAGEVIEW", JsonValue::parse(R"({"screenName":"cart"})"),
                       [&] { completed = true; });
  drain();
  tick();

  EXPECT_TRUE(completed);
  EXPECT_EQ(_server.requestCount(), 0U);
  EXPECT_EQ(linesStartingWith("WARNING [PL_CLIENT]"), Lines(3, std::string(kOffline)));
  expectHoldsTheChanges(enginePending(), "engine");
  expectHoldsTheChanges(storedPending(), "stored logs");

  network.set(ReachabilityFlags{.reachable = true, .connectionRequired = false});
  tick();
  expectDelivered();

  testing::AnswerGate gate(_server);
  gate.holdNext(1);
  client().setProfileValue("late", "yes");
  _test.advanceClock(Platform::current().syncInterval());
  _test.mainLoop().runUntilIdle();
  ASSERT_TRUE(gate.waitUntilHeld(1, 30s));
  network.set(ReachabilityFlags{.reachable = false, .connectionRequired = false});
  gate.releaseAll();
  drain();
  EXPECT_EQ(serverProfile(),
            (Parameters{{"city", {"Utrecht"}}, {"late", {"yes"}}, {"tags", {"new", "sale"}}}));
  EXPECT_TRUE(enginePending().isEmpty());
}

}  // namespace
}  // namespace pelorin
