// The client against a devserver that misbehaves on the wire: each fault leaves the changes
// in the request log (in memory and on disk) until an answer gets through, and once the
// server behaves again it holds every change the app made.
#include <algorithm>
#include <string>
#include <vector>

#include "faults/answer_gate.h"
#include "faults/fault_fixture.h"
#include "pelorin/platform/curl_http_client.h"
#include "protocol/pelorin_connector.h"

namespace pelorin {
namespace {

using platform::UrlError;
using testing::ClientFaultsTest;
using Lines = std::vector<std::string>;
using namespace std::chrono_literals;

constexpr std::string_view kUnableReason =
    "ERROR [PL_CLIENT]: Unable to get the interactions from Pelorin, reason: ";
constexpr std::string_view kNoAnswer =
    "WARNING [PL_CLIENT]: Unable to get the interactions from Pelorin";
constexpr std::string_view kSyncFailed = "WARNING [PL_CLIENT]: Sync failed";

// What the engine logs for an answer body that is not JSON.
std::string parseFailureLine(std::string_view body) {
  auto parsed = PelorinConnector::parseResponse(body);
  EXPECT_FALSE(parsed.ok());
  if (parsed.ok()) return "";
  return std::string(kUnableReason) +
         PelorinConnector::describe(PelorinConnector::ParseError{parsed.error().message});
}

TEST_F(ClientFaultsTest, EveryAnswer500KeepsTheChangesUntilTheServerRecovers) {
  _server.answerNextWithStatus(500, "Internal Server Error", 1000);
  makeChanges();
  tick();
  tick();
  bool completed = false;
  client().createEvent("PAGEVIEW", JsonValue::parse(R"({"screenName":"cart"})"),
                       [&] { completed = true; });
  drain();
  tick();

  EXPECT_TRUE(completed);
  expectKeptAndNotOnTheServer();
  EXPECT_EQ(linesStartingWith(std::string(kSyncFailed)), Lines(1, std::string(kSyncFailed)));
  EXPECT_TRUE(logged("WARNING [PL_CLIENT]: Unable to get interactions from Pelorin"));
  // The first tick and the page view; a failure does not have the next ticks send again.
  EXPECT_EQ(_server.requestCount(), 2U);

  _server.clearFaults();
  tick();
  EXPECT_EQ(_server.requestCount(), 2U);
  sendAgain();
  expectDelivered();
}

// A failed batch leaves the request log and the flag alone: quiet ticks send nothing, and
// the entries go with the next change.
TEST_F(ClientFaultsTest, FailedSyncWaitsForTheNextChange) {
  _server.answerNextWithStatus(503, "Service Unavailable");
  makeChanges();
  tick();

  expectKeptAndNotOnTheServer();
  EXPECT_EQ(linesStartingWith("WARNING [PL_CLIENT]"),
            (Lines{std::string(kNoAnswer), std::string(kSyncFailed)}));

  tick();
  tick();
  EXPECT_EQ(_server.requestCount(), 1U);
  expectKeptAndNotOnTheServer();

  client().setProfileValue("city", "Utrecht");
  tick();
  expectDelivered();
  EXPECT_EQ(_server.requestCount(), 2U);
  EXPECT_TRUE(logged("INFO [PL_CLIENT]: Sync succesful."));
}

TEST_F(ClientFaultsTest, GarbageBodyKeepsTheChanges) {
  _server.answerNextWithBody("<html>garbage</html>");
  makeChanges();
  tick();

  expectKeptAndNotOnTheServer();
  EXPECT_TRUE(logged(parseFailureLine("<html>garbage</html>")));
  EXPECT_TRUE(logged(std::string(kSyncFailed)));

  sendAgain();
  expectDelivered();
}

// The server took the batch in and counted its events before half of its answer was lost.
TEST_F(ClientFaultsTest, TruncatedBodyKeepsTheChangesAndTheResendCountsTheEventsAgain) {
  _server.truncateNextAnswers();
  makeChanges();
  tick();

  expectKept();
  const Lines failures = linesStartingWith(std::string(kUnableReason));
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].rfind(std::string(kUnableReason) +
                                  "The data couldn't be read because it isn't in the correct "
                                  "format: ",
                              0),
            0U)
      << failures[0];
  EXPECT_EQ(serverProfile(), kChanges);

  sendAgain();
  expectDelivered(2);
}

// A connection closed in the middle of the answer counts as lost and is retried at once.
TEST_F(ClientFaultsTest, CutAnswerIsRetriedAndTheServerCountsTheEventsTwice) {
  _server.cutNextAnswers();
  makeChanges();
  tick();

  EXPECT_EQ(linesStartingWith("WARNING [PL_CONNECTOR]"),
            (Lines{"WARNING [PL_CONNECTOR]: Sending data to Pelorin. Retry attempt: 0"}));
  EXPECT_EQ(_server.requestCount(), 2U);
  expectDelivered(2);
}

// An answer past the HTTP client's limit (16 MB) is not read further: the exchange fails as
// a transport error and the changes wait, on the device and on disk.
TEST_F(ClientFaultsTest, TwentyMegabyteBodyIsCutOffAtTheLimitAndKeepsTheChanges) {
  // An answer that starts like a batch answer and never ends.
  std::string body = R"([{"id":"0","profileId":")";
  body.append(std::size_t{20} << 20U, 'x');
  _server.answerNextWithBody(body);
  makeChanges();
  tick();

  expectKeptAndNotOnTheServer();
  EXPECT_TRUE(logged(std::string(kUnableReason) + "resource exceeds maximum size"));
  EXPECT_TRUE(logged(std::string(kSyncFailed)));

  sendAgain();
  expectDelivered();
}

// The limit is a setting of the platform's HTTP client; past it, whatever the body holds,
// nothing of the answer is used, and a good server afterwards gets every change.
TEST_F(ClientFaultsTest, AnswerPastTheSizeLimitKeepsTheChanges) {
  auto& http = dynamic_cast<platform::CurlHttpClient&>(Platform::current().httpClient());
  http.setMaxAnswerSize(std::size_t{64} * 1024);
  std::string body = R"([{"id":"0","profileId":")";
  body.append(std::size_t{100} * 1024, 'x');
  body += R"("}])";
  _server.answerNextWithBody(body);
  makeChanges();
  tick();

  expectKeptAndNotOnTheServer();
  EXPECT_EQ(linesStartingWith(std::string(kUnableReason)),
            Lines{std::string(kUnableReason) + "resource exceeds maximum size"});
  EXPECT_EQ(client().getProfileId(), _profileId);

  sendAgain();
  expectDelivered();
}

// An answer within the read limit that would take many times its size to parse (an array
// of tiny elements) is refused at twice the limit like an answer that is not JSON, and the
// changes wait for a good answer.
TEST_F(ClientFaultsTest, AnswerTooLargeToParseWithinTwiceTheLimitKeepsTheChanges) {
  auto& http = dynamic_cast<platform::CurlHttpClient&>(Platform::current().httpClient());
  http.setMaxAnswerSize(std::size_t{64} * 1024);
  std::string body = "[0";
  while (body.size() < std::size_t{60} * 1024) body += ",0";
  body += "]";
  _server.answerNextWithBody(body);
  makeChanges();
  tick();

  expectKeptAndNotOnTheServer();
  EXPECT_EQ(linesStartingWith("ERROR"),
            Lines{std::string(kUnableReason) +
                  "The data couldn't be read because it isn't in the correct format: the "
                  "document takes more than 131072 bytes to parse"});
  EXPECT_EQ(linesStartingWith("WARNING"), Lines{std::string(kSyncFailed)});
  EXPECT_EQ(client().getProfileId(), _profileId);
  EXPECT_EQ(_server.requestCount(), 1U);

  sendAgain();
  expectDelivered();
}

// The answer comes after the connector stopped waiting: the exchange counts as failed,
// the late answer is dropped, and the batch goes again with the next tick.
TEST_F(ClientFaultsTest, ReplyAfterTheWaitIsDroppedAndTheChangesAreSentAgain) {
  testing::AnswerGate gate(_server);
  gate.holdNext(1);
  _test.platform().setResponseWait(50ms);
  makeChanges();
  tick();
  ASSERT_TRUE(gate.waitUntilHeld(1, 30s));

  expectKeptAndNotOnTheServer();
  EXPECT_TRUE(logged("INFO [PL_CONNECTOR]: Request with an empty response"));
  EXPECT_EQ(linesStartingWith("WARNING [PL_CLIENT]"),
            (Lines{std::string(kNoAnswer), std::string(kSyncFailed)}));

  // The held request reaches the server late; the client no longer listens.
  _test.platform().setResponseWait(10s);
  gate.releaseAll();
  ASSERT_TRUE(_server.waitForHandled(1, 30s));
  drain();
  expectKept();
  EXPECT_EQ(serverProfile(), kChanges);

  sendAgain();
  expectDelivered(2);
}

// A request given up on may still reach the server; the next batch waits for it to end,
// so the server never applies an older batch over a newer one.
TEST_F(ClientFaultsTest, NextBatchWaitsForAnAbandonedRequestToEnd) {
  testing::AnswerGate gate(_server);
  gate.holdNext(1);
  _test.platform().setResponseWait(50ms);
  client().setProfileValue("city", "Utrecht");
  tick();
  ASSERT_TRUE(gate.waitUntilHeld(1, 30s));
  _test.platform().setResponseWait(10s);

  client().setProfileValue("city", "Amsterdam");
  _test.advanceClock(Platform::current().syncInterval());
  _test.mainLoop().runUntilIdle();
  ASSERT_TRUE(_test.console().waitForLine(
      "INFO [PL_CONNECTOR]: Waiting for an earlier request to Pelorin to end", 30s));
  // The held request is recorded once it passes the gate, and the new one was not sent.
  EXPECT_EQ(_server.requestCount(), 0U);
  gate.releaseAll();
  drain();

  EXPECT_EQ(serverProfile(), (Parameters{{"city", {"Amsterdam"}}}));
  EXPECT_TRUE(enginePending().isEmpty());
  pageView("home");
  EXPECT_EQ(client().getProfileValues("city"), std::vector<std::string>{"Amsterdam"});
}

class DroppedConnectionsTest : public ClientFaultsTest,
                               public ::testing::WithParamInterface<int> {};

// The connector retries a lost connection four times; a fifth loss fails the exchange and
// the next tick starts over with a fresh budget.
TEST_P(DroppedConnectionsTest, ConnectionsDroppedInARowAreRetriedAndNothingIsLost) {
  const int drops = GetParam();
  _server.dropNextConnections(drops);
  makeChanges();
  tick();

  Lines retries;
  for (int attempt = 0; attempt < std::min(drops, 5); ++attempt) {
    retries.push_back("WARNING [PL_CONNECTOR]: Sending data to Pelorin. Retry attempt: " +
                      std::to_string(attempt));
  }
  EXPECT_EQ(linesStartingWith("WARNING [PL_CONNECTOR]"), retries);
  if (drops >= 5) {
    EXPECT_EQ(_server.requestCount(), 5U);
    EXPECT_TRUE(logged(std::string(kUnableReason) + "Max retries reached"));
    EXPECT_TRUE(logged(std::string(kSyncFailed)));
    expectKeptAndNotOnTheServer();
    sendAgain();
  }
  EXPECT_EQ(_server.requestCount(), static_cast<std::size_t>(drops) + 1);
  expectDelivered();
}

INSTANTIATE_TEST_SUITE_P(OneToSix, DroppedConnectionsTest, ::testing::Range(1, 7));

// A server that keeps redirecting to itself: the HTTP client gives up after 16 redirects.
TEST_F(ClientFaultsTest, RedirectLoopFailsTheExchangeAndKeepsTheChanges) {
  _server.redirectNext(307, _server.rpcUrl(), 100);
  makeChanges();
  tick();

  EXPECT_EQ(_server.requestCount(), 17U);
  EXPECT_TRUE(logged(std::string(kUnableReason) +
                     std::string(UrlError::description(UrlError::kHttpTooManyRedirects))));
  EXPECT_TRUE(logged(std::string(kSyncFailed)));
  expectKeptAndNotOnTheServer();

  _server.clearFaults();
  sendAgain();
  expectDelivered();
}

// The HTTP client follows a redirect to another address; the connector posts the batch
// there again, and that connection is lost: the retry goes to the same address.
TEST_F(ClientFaultsTest, LostConnectionAfterAFollowedRedirectIsRetried) {
  const std::string target = _server.baseUrl() + "/DG/DEFAULT/rest/rpc/json/";
  _server.redirectNext(307, target);
  _server.delayNextAnswers(0ms);  // the followed request: answered, and not taken
  _server.dropNextConnections(1);
  makeChanges();
  tick();

  EXPECT_EQ(_server.requestCount(), 4U);
  EXPECT_EQ(linesStartingWith("INFO [PL_CONNECTOR]: Redirect to URL: "),
            (Lines{"INFO [PL_CONNECTOR]: Redirect to URL: " + target}));
  EXPECT_EQ(linesStartingWith("INFO [PL_CONNECTOR]: Request URL to Pelorin: ").back(),
            "INFO [PL_CONNECTOR]: Request URL to Pelorin: " + target);
  // The followed request was applied too, so its events count twice.
  expectDelivered(2);
}

// A 300 whose body names a location: the location is looked up among the answers by call
// id, which never hold a text, so nothing is followed and the exchange gives no answers.
TEST_F(ClientFaultsTest, MultipleChoicesWithALocationIsNotFollowed) {
  const std::string location = _server.rpcUrl();
  _server.answerNextWithMultipleChoices(location, 100);
  makeChanges();
  tick();

  EXPECT_EQ(_server.requestCount(), 1U);
  EXPECT_TRUE(linesStartingWith("INFO [PL_CONNECTOR]: Redirect to URL: ").empty());
  EXPECT_EQ(linesStartingWith("WARNING [PL_CLIENT]"),
            (Lines{std::string(kNoAnswer), std::string(kSyncFailed)}));
  expectKeptAndNotOnTheServer();

  _server.clearFaults();
  sendAgain();
  expectDelivered();
}

TEST_F(ClientFaultsTest, MultipleChoicesWithoutLocationKeepsTheChanges) {
  _server.answerNextWithMultipleChoices(std::nullopt);
  makeChanges();
  tick();

  EXPECT_EQ(_server.requestCount(), 1U);
  EXPECT_EQ(linesStartingWith("WARNING [PL_CLIENT]"),
            (Lines{std::string(kNoAnswer), std::string(kSyncFailed)}));
  expectKeptAndNotOnTheServer();

  sendAgain();
  expectDelivered();
}

// The server stops listening; it comes back (on another port) with its memory intact.
TEST_F(ClientFaultsTest, ConnectionRefusedKeepsTheChangesUntilTheServerIsBack) {
  _server.stop();
  makeChanges();
  tick();
  tick();

  expectKept();
  const std::string refused = std::string(kUnableReason) +
                              std::string(UrlError::description(UrlError::kCannotConnectToHost));
  // The second tick has nothing new to send.
  EXPECT_EQ(linesStartingWith("ERROR [PL_CLIENT]"), Lines(1, refused));
  EXPECT_EQ(linesStartingWith(std::string(kSyncFailed)), Lines(1, std::string(kSyncFailed)));

  ASSERT_TRUE(_server.start());
  _test.bundle().set("pl_server_url", JsonValue(_server.baseUrl() + "/"));
  sendAgain();
  expectDelivered();
}

}  // namespace
}  // namespace pelorin
