// The client against the devserver over loopback with libcurl.
#include <algorithm>

#include "e2e/client_fixture.h"

namespace pelorin {
namespace {

using testing::ClientE2ETest;
using Lines = std::vector<std::string>;

bool contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

TEST_F(ClientE2ETest, FirstPageViewPostsTheFullBatchAndReloadsTheNewProfile) {
  pageView("home");
  const auto requests = _server.requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0].query, "overruleReferrer=com.example.shop&time=13:2");
  EXPECT_EQ(requests[0].header("referer"), "app://com.example.shop/home");
  EXPECT_EQ(
      requests[0].body,
      R"([{"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"},)"
      R"({"method":"getProperties","alt":"json","id":"3","params":"{\"hash\":[\"\"]}"},)"
      R"({"method":"createEvent","alt":"json","id":"4","params":"{\"type\":[\"PAGEVIEW\"],)"
      R"(\"interaction\":[],\"timelineContext\":[\"{\\\"screenName\\\":\\\"home\\\"}\"]}"}])");
  // The new profile identifier empties the cache and reloads the whole profile.
  EXPECT_EQ(
      requests[1].body,
      R"([{"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"},)"
      R"({"method":"getProperties","alt":"json","id":"3","params":"{}"}])");
  const auto id = client().getProfileId();
  ASSERT_TRUE(id.has_value());
  EXPECT_FALSE(id->empty());
  const Lines lines = _test.logLines();
  EXPECT_NE(std::find(lines.begin(), lines.end(),
                      "INFO [PL_CLIENT]: New profile ID: " + *id + " - Old profile ID: "),
            lines.end());
  EXPECT_NE(std::find(lines.begin(), lines.end(), "INFO [PL_CLIENT]: Done reloading"), lines.end());
  EXPECT_EQ(client().getScreenName(), "home");
  EXPECT_EQ(storedFile("id.data"), *id);
}

TEST_F(ClientE2ETest, WritesReachTheServerAtTheNextTick) {
  pageView("home");
  _server.clearRequests();
  client().setProfileValue("city", "Utrecht");
  client().addProfileValues("interests", {"sports", "news"});
  client().createEvent("CLICK", JsonValue::parse(R"({"interactionId":"i1"})"));
  EXPECT_EQ(_server.requestCount(), 0U);  // nothing is sent at once
  tick();
  ASSERT_EQ(_server.requestCount(), 1U);
  EXPECT_EQ(
      bodies()[0],
      R"([{"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"},)"
      R"({"method":"addProperties","alt":"json","id":"1","params":"{\"properties\":{\"interests\":[\"sports\",\"news\"]}}"},)"
      R"({"method":"setProperties","alt":"json","id":"2","params":"{\"properties\":{\"city\":[\"Utrecht\"]}}"},)"
      R"({"method":"createEvent","alt":"json","id":"5","params":"{\"type\":[\"CLICK\"],\"interaction\":[\"i1\"]}"}])");
  EXPECT_EQ(serverProfile(),
            (Parameters{{"city", {"Utrecht"}}, {"interests", {"sports", "news"}}}));
  PelorinClient::synchronized([&] { EXPECT_TRUE(engine().requestCommitLog().isEmpty()); });
  EXPECT_EQ(_test.logLines().back(), "INFO [PL_CLIENT]: Sync succesful.");
}

TEST_F(ClientE2ETest, TickWithNothingToSendMakesNoRequest) {
  pageView("home");
  tick();  // the flag set at start-up was cleared by the page view
  _server.clearRequests();
  tick();
  EXPECT_EQ(_server.requestCount(), 0U);
}

TEST_F(ClientE2ETest, PageViewWithEmptyLogStillAsksForPropertiesAndInteractions) {
  pageView("home");
  _server.clearRequests();
  pageView("product");
  ASSERT_EQ(_server.requestCount(), 1U);
  const std::string body = bodies()[0];
  EXPECT_EQ(body.rfind(R"([{"method":"getProfile")", 0), 0U);
  EXPECT_TRUE(
      contains(body, R"("method":"getProperties","alt":"json","id":"3","params":"{\"hash\":[\")"));
  EXPECT_TRUE(contains(body, R"({"method":"createEvent","alt":"json","id":"4")"));
}

TEST_F(ClientE2ETest, FailedRequestKeepsItsEntriesAndTheNextCarriesOldAndNew) {
  pageView("home");
  client().setProfileValue("city", "Utrecht");
  _server.dropNextConnections(5);  // the first try and four retries
  tick();
  EXPECT_EQ(_server.requestCount(), 7U);  // 2 for the page view, 5 tries
  EXPECT_TRUE(contains(_test.logLines().back(), "Sync failed"));
  PelorinClient::synchronized(
      [&] { ASSERT_NE(engine().requestCommitLog().getProperty("city"), nullptr); });
  client().addProfileValue("interests", "news");
  tick();
  const std::string last = bodies().back();
  EXPECT_TRUE(contains(last, R"(\"city\":[\"Utrecht\"])")) << last;
  EXPECT_TRUE(contains(last, R"(\"interests\":[\"news\"])")) << last;
  EXPECT_EQ(serverProfile(), (Parameters{{"city", {"Utrecht"}}, {"interests", {"news"}}}));
}

TEST_F(ClientE2ETest, ServerDownThenRecovery) {
  pageView("home");
  _server.stop();
  client().setProfileValue("city", "Utrecht");
  tick();
  PelorinClient::synchronized([&] { EXPECT_FALSE(engine().requestCommitLog().isEmpty()); });
  ASSERT_TRUE(_server.start());
  // The server came back on another port: point the client at it.
  _test.bundle().set("pl_server_url", JsonValue(_server.baseUrl()));
  client().addProfileValue("tags", "new");
  tick();
  auto id = client().getProfileId();
  ASSERT_TRUE(id.has_value());
  // The restarted server has a fresh memory: the profile is recreated by the retried batch.
  const auto last = bodies().back();
  EXPECT_TRUE(contains(last, R"(\"city\":[\"Utrecht\"])")) << last;
  EXPECT_TRUE(contains(last, R"(\"tags\":[\"new\"])")) << last;
}

TEST_F(ClientE2ETest, DisabledClientSendsNothingAndStillRecordsWrites) {
  pageView("home");
  _server.clearRequests();
  client().setEnabled(false);
  client().setProfileValue("city", "Utrecht");
  client().createEvent("PAGEVIEW", JsonValue::parse(R"({"screenName":"cart"})"));
  tick();
  drain();
  EXPECT_EQ(_server.requestCount(), 0U);
  EXPECT_EQ(client().getProfileValue("city"), "Utrecht");
  client().setEnabled(true);
  tick();
  EXPECT_EQ(serverProfile(), (Parameters{{"city", {"Utrecht"}}}));
}

TEST_F(ClientE2ETest, CompletionRunsOnTheMainThreadAfterTheAnswer) {
  bool called = false;
  bool onMain = false;
  client().createEvent("PAGEVIEW", JsonValue::parse(R"({"screenName":"home"})"), [&] {
    called = true;
    onMain = Platform::current().mainThread().isMainThread();
  });
  drain();
  EXPECT_TRUE(called);
  EXPECT_TRUE(onMain);
}

TEST_F(ClientE2ETest, TickWritesStateFilesAfterTheExchange) {
  pageView("home");
  client().setProfileValue("city", "Utrecht");
  tick();
  tick();
  EXPECT_EQ(storedFile("cache5.2.data").find(R"("city":["Utrecht"])") != std::string::npos, true);
  EXPECT_EQ(storedFile("plrequestcommitlog5.2.data"),
            R"({"_properties":[],"_events":[],"_modified":true})");
}

TEST_F(ClientE2ETest, UpdateProfileAlwaysAsksForProperties) {
  pageView("home");
  _server.clearRequests();
  bool called = false;
  client().updateProfile([&] { called = true; });
  drain();
  EXPECT_TRUE(called);
  ASSERT_EQ(_server.requestCount(), 1U);
  EXPECT_TRUE(contains(bodies()[0], R"("method":"getProperties")"));
}

// The server leaves the properties out of its answer when the device's hash shows a current
// copy; that answer must not empty the device's profile.
TEST_F(ClientE2ETest, UpdateProfileOfACurrentDeviceKeepsItsProperties) {
  pageView("home");
  client().setProfileValue("city", "Utrecht");
  tick();
  ASSERT_EQ(serverProfile(), (Parameters{{"city", {"Utrecht"}}}));
  client().updateProfile();
  drain();
  EXPECT_EQ(client().getProfileValue("city"), "Utrecht");
  tick();
  EXPECT_NE(storedFile("cache5.2.data").find(R"("city":["Utrecht"])"), std::string::npos);
}

// A device whose copy is out of date gets the server's whole profile in its place.
TEST_F(ClientE2ETest, UpdateProfileOfAnOutdatedDeviceTakesTheServersProfile) {
  pageView("home");
  client().setProfileValue("city", "Utrecht");
  tick();
  ASSERT_TRUE(_server.service().setProperty(*client().getProfileId(), "city", {"Amsterdam"}));
  client().updateProfile();
  drain();
  EXPECT_EQ(client().getProfileValues("city"), (std::vector<std::string>{"Amsterdam"}));
}

// A value that is not UTF-8 can be neither stored nor sent; it must not take the other
// changes of its batch, or the state files, down with it.
TEST_F(ClientE2ETest, ChangeThatIsNotUtf8IsIgnoredAndTheOthersReachTheServer) {
  pageView("home");
  client().setProfileValue("city", "Utrecht");
  client().setProfileValue("bad", "\xff");
  client().addProfileValues("tags", {"new", "\xc0\xaf"});
  tick();
  tick();
  EXPECT_EQ(serverProfile(), (Parameters{{"city", {"Utrecht"}}}));
  EXPECT_EQ(client().getProfileValues("bad"), std::nullopt);
  EXPECT_NE(storedFile("cache5.2.data").find(R"("city":["Utrecht"])"), std::string::npos);
}

TEST_F(ClientE2ETest, OtherEventWithContextPublishesAnAdvancedEvent) {
  pageView("home");
  _server.clearRequests();
  client().createEvent("newsletter", JsonValue::parse(R"({"context":"signup"})"));
  drain();
  ASSERT_EQ(_server.requestCount(), 1U);
  EXPECT_TRUE(contains(bodies()[0], R"(\"type\":[\"newsletter\"])"));
  const Lines lines = _test.logLines();
  EXPECT_NE(
      std::find(
          lines.begin(), lines.end(),
          "INFO [PL_EVENT_MANAGER]: Publish 'newsletter' - PelorinClient.AdvancedEvent at 'home'."),
      lines.end());
}

// A screen name with a line break reaches the server inside the referer, encoded, and adds
// no header of its own.
TEST_F(ClientE2ETest, ScreenNameWithALineBreakAddsNoHeader) {
  client().createEvent("PAGEVIEW", {{"screenName", "home\r\nX-Injected: yes"}});
  drain();
  const auto requests = _server.requests();
  ASSERT_FALSE(requests.empty());
  EXPECT_FALSE(requests[0].hasHeader("X-Injected"));
  // The server's HTTP library decodes the referer's percent escapes when it reads it: the
  // line break arrived inside the one header, encoded.
  EXPECT_EQ(requests[0].header("referer"), "app://com.example.shop/home\r\nX-Injected: yes");
}

// Braces without members are no data: a page view without a screen name or context.
TEST_F(ClientE2ETest, EventWithEmptyBracesHasNoData) {
  client().createEvent("PAGEVIEW", {});
  drain();
  const auto requests = _server.requests();
  ASSERT_FALSE(requests.empty());
  EXPECT_TRUE(contains(requests[0].body,
                       R"({"method":"createEvent","alt":"json","id":"4","params":"{\"type\":)"
                       R"([\"PAGEVIEW\"],\"interaction\":[]}"})"))
      << requests[0].body;
  EXPECT_EQ(client().getScreenName(), "");
}

}  // namespace
}  // namespace pelorin
