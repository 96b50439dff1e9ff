// The connector against the reference devserver over loopback, with real libcurl.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "devserver/dev_server.h"
#include "pelorin/platform/curl_http_client.h"
#include "protocol/pelorin_connector.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using devserver::DevServer;
using devserver::RecordedRequest;
using platform::CurlHttpClient;
using platform::UrlError;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

constexpr std::chrono::seconds kWait{10};
constexpr const char* kQuery = "overruleReferrer=com.example.app&time=13:2";
constexpr const char* kRetryLine =
    "WARNING [PL_CONNECTOR]: Sending data to Pelorin. Retry attempt: ";

std::vector<std::string> queries(const std::vector<RecordedRequest>& requests) {
  std::vector<std::string> result;
  result.reserve(requests.size());
  for (const auto& request : requests) result.push_back(request.query);
  return result;
}

std::vector<std::string> targets(const std::vector<RecordedRequest>& requests) {
  std::vector<std::string> result;
  result.reserve(requests.size());
  for (const auto& request : requests) {
    result.push_back(request.method + " " + request.path +
                     (request.query.empty() ? "" : "?" + request.query));
  }
  return result;
}

class PelorinConnectorE2eTest : public ::testing::Test {
 protected:
  PelorinConnectorE2eTest() {
    _test.bundle().set("CFBundleIdentifier", JsonValue("com.example.app"));
  }

  void SetUp() override { ASSERT_TRUE(_server.start()); }

  // The batch of a page view with an empty commit log.
  static std::vector<PelorinRequestCommand> pageView() {
    auto commands = PelorinConnector::setUpdateCommand({}, {}, {});
    commands.push_back(PelorinConnector::getGetPropertiesCommand(3, "0;"));
    commands.push_back(PelorinConnector::getInteractionCommand(4, "PAGEVIEW", std::nullopt));
    return commands;
  }

  PelorinConnector::ExchangeResult execute(PelorinConnector& connector,
                                           const std::vector<PelorinRequestCommand>& calls) {
    return connector.execute(_server.rpcUrl(), calls, "home");
  }

  std::vector<std::string> logLinesContaining(std::string_view text) const {
    std::vector<std::string> lines;
    for (const auto& line : _test.logLines()) {
      if (line.find(text) != std::string::npos) lines.push_back(line);
    }
    return lines;
  }

  std::string profileId() { return _server.service().profileIds().at(0); }

  testing::TestPlatform _test;
  DevServer _server;
  PelorinConnector _connector{std::nullopt, std::nullopt, kWait};
};

TEST_F(PelorinConnectorE2eTest, ServerReceivesTheExactQueryHeadersAndBody) {
  const auto commands = pageView();

  auto result = execute(_connector, commands);

  ASSERT_TRUE(result.response.has_value());
  ASSERT_EQ(_server.requestCount(), 1U);
  const RecordedRequest received = _server.requests()[0];
  EXPECT_EQ(received.method, "POST");
  EXPECT_EQ(received.path, "/DG/DEFAULT/rest/rpc/json/");
  EXPECT_EQ(received.query, kQuery);
  EXPECT_THAT(received.headers,
              UnorderedElementsAre(Pair("User-Agent", "Pelorin iOS SDK 2.8.2"),
                                   Pair("referer", "app://com.example.app/home"),
                                   Pair("Connection", "close"), Pair("Content-Type", "text/plain"),
                                   Pair("Accept", "*/*"),
                                   Pair("Host", "127.0.0.1:" + std::to_string(_server.port())),
                                   Pair("Content-Length", std::to_string(received.body.size()))));
  EXPECT_EQ(
      received.body,
      R"([{"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"},)"
      R"({"method":"getProperties","alt":"json","id":"3","params":"{\"hash\":[\"0;\"]}"},)"
      R"({"method":"createEvent","alt":"json","id":"4","params":"{\"type\":[\"PAGEVIEW\"],\"interaction\":[]}"}])");
}

TEST_F(PelorinConnectorE2eTest, AnswersComeBackByCallId) {
  auto result = execute(_connector, pageView());

  ASSERT_TRUE(result.response.has_value());
  EXPECT_FALSE(result.error.has_value());
  const auto& answers = *result.response;
  EXPECT_EQ(answers.size(), 3U);
  EXPECT_EQ(answers.at("0").toCompactString(), R"({"id":"0","profileId":")" + profileId() +
                                                   R"(","result":{"domainGroupId":"DEFAULT"}})");
  EXPECT_EQ(answers.at("3").toCompactString(), R"({"id":"3","result":{"properties":{}}})");
  EXPECT_EQ(answers.at("4").toCompactString(),
            R"({"id":"4","result":{"interactions":[],"segments":[],"connections":[]}})");
  EXPECT_EQ(_server.service().pageViewCount("PAGEVIEW", "home"), 1);
}

TEST_F(PelorinConnectorE2eTest, ExchangeIsLoggedStepByStep) {
  const auto commands = std::vector{PelorinConnector::getProfileCommand(0)};

  ASSERT_TRUE(execute(_connector, commands).response.has_value());

  const std::string id = profileId();
  EXPECT_THAT(
      _test.logLines(),
      ElementsAre("INFO [PL_CONNECTOR]: Request URL to Pelorin: " + _server.rpcUrl() + kQuery,
                  R"(INFO [PL_CONNECTOR]: Request headers to Pelorin: ["User-Agent": )"
                  R"("Pelorin iOS SDK 2.8.2", "referer": "app://com.example.app/home", )"
                  R"("Connection": "close", "Content-Type": "text/plain"])",
                  R"(INFO [PL_CONNECTOR]: Request body to Pelorin: [{"method":"getProfile",)"
                  R"("alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"}])",
                  R"(INFO [PL_CONNECTOR]: Reponse from Pelorin: [{"id":"0","profileId":")" + id +
                      R"(","result":{"domainGroupId":"DEFAULT"}}])"));
}

TEST_F(PelorinConnectorE2eTest, PlJsonWrappedAnswerParses) {
  _server.service().setWrapInPlJson(true);

  auto result = execute(_connector, pageView());

  ASSERT_TRUE(result.response.has_value());
  EXPECT_EQ(result.response->size(), 3U);
}

TEST_F(PelorinConnectorE2eTest, ServerSkipsPropertiesWhenTheHashMatches) {
  ASSERT_TRUE(execute(_connector, pageView()).response.has_value());
  ASSERT_TRUE(_server.service().setProperty(profileId(), "a", {"b", "c"}));
  PelorinConnector second(std::nullopt, std::nullopt, kWait);
  PelorinConnector third(std::nullopt, std::nullopt, kWait);
  auto withHash = [](std::string hash) {
    return std::vector{PelorinConnector::getProfileCommand(0),
                       PelorinConnector::getGetPropertiesCommand(3, std::move(hash))};
  };

  auto stale = execute(second, withHash("0;"));
  auto current = execute(third, withHash("294;"));

  ASSERT_TRUE(stale.response && current.response);
  EXPECT_EQ(stale.response->at("3").toCompactString(),
            R"({"id":"3","result":{"properties":{"a":["b","c"]}}})");
  EXPECT_EQ(current.response->at("3").toCompactString(),
            R"({"id":"3","result":{"properties":{}}})");
}

TEST_F(PelorinConnectorE2eTest, FourLostConnectionsLeadToAFifthRequest) {
  _server.dropNextConnections(4);

  auto result = execute(_connector, pageView());

  ASSERT_TRUE(result.response.has_value());
  EXPECT_FALSE(result.error.has_value());
  EXPECT_EQ(_server.requestCount(), 5U);
  EXPECT_EQ(_connector.retryCount(), 4);
  EXPECT_THAT(logLinesContaining("Retry attempt"),
              ElementsAre(std::string(kRetryLine) + "0", std::string(kRetryLine) + "1",
                          std::string(kRetryLine) + "2", std::string(kRetryLine) + "3"));
}

TEST_F(PelorinConnectorE2eTest, FifthLostConnectionGivesMaxRetriesReached) {
  _server.dropNextConnections(5);

  auto result = execute(_connector, pageView());

  EXPECT_FALSE(result.response.has_value());
  ASSERT_TRUE(result.error.has_value());
  EXPECT_EQ(std::get<PelorinConnector::Error>(*result.error),
            PelorinConnector::Error::MaxRetriesReached);
  EXPECT_EQ(_server.requestCount(), 5U);
  EXPECT_EQ(logLinesContaining("Retry attempt").back(), std::string(kRetryLine) + "4");
}

TEST_F(PelorinConnectorE2eTest, RetryBuildsTheQueryAgainWithTheTimeOfTheRetry) {
  _server.setRequestObserver(
      [this](const RecordedRequest&) { _test.clock().advance(std::chrono::minutes(1)); });
  _server.dropNextConnections(2);

  ASSERT_TRUE(execute(_connector, pageView()).response.has_value());

  EXPECT_THAT(queries(_server.requests()),
              ElementsAre("overruleReferrer=com.example.app&time=13:2",
                          "overruleReferrer=com.example.app&time=13:3",
                          "overruleReferrer=com.example.app&time=13:4"));
}

TEST_F(PelorinConnectorE2eTest, ConnectionCutMidAnswerIsRetried) {
  _server.cutNextAnswers(1);

  auto result = execute(_connector, pageView());

  ASSERT_TRUE(result.response.has_value());
  EXPECT_EQ(_server.requestCount(), 2U);
  EXPECT_EQ(_connector.retryCount(), 1);
}

TEST_F(PelorinConnectorE2eTest, OtherTransportErrorIsReturnedWithoutRetry) {
  const std::string url = _server.rpcUrl();
  _server.stop();

  auto result = _connector.execute(url, pageView(), "home");

  EXPECT_FALSE(result.response.has_value());
  ASSERT_TRUE(result.error.has_value());
  const auto& error = std::get<platform::HttpError>(*result.error);
  EXPECT_EQ(error.code, UrlError::kCannotConnectToHost);
  EXPECT_EQ(PelorinConnector::describe(*result.error), "Could not connect to the server.");
  EXPECT_EQ(_connector.retryCount(), 0);
  EXPECT_TRUE(logLinesContaining("Retry attempt").empty());
}

TEST_F(PelorinConnectorE2eTest, EmptyServerAddressFailsInTheConnector) {
  auto result = _connector.execute("/DG/DEFAULT/rest/rpc/json/?", pageView(), "home");

  ASSERT_TRUE(result.error.has_value());
  EXPECT_EQ(std::get<platform::HttpError>(*result.error).code, UrlError::kUnsupportedUrl);
  EXPECT_EQ(_server.requestCount(), 0U);
}

TEST_F(PelorinConnectorE2eTest, StatusOtherThan200GivesNeitherAnswersNorError) {
  _server.answerNextWithStatus(500, R"([{"id":"0"}])");

  auto result = execute(_connector, pageView());

  EXPECT_FALSE(result.response.has_value());
  EXPECT_FALSE(result.error.has_value());
  EXPECT_EQ(_server.requestCount(), 1U);
}

TEST_F(PelorinConnectorE2eTest, MultipleChoicesWithoutLocationFallsThroughToTheStatus) {
  _server.answerNextWithMultipleChoices(std::nullopt);

  auto result = execute(_connector, pageView());

  EXPECT_FALSE(result.response.has_value());
  EXPECT_FALSE(result.error.has_value());
  EXPECT_EQ(_server.requestCount(), 1U);
  EXPECT_THAT(_test.logLines(), Contains("INFO [PL_CONNECTOR]: Reponse from Pelorin: {}"));
  EXPECT_TRUE(logLinesContaining("Redirect to URL").empty());
}

// The location is looked up among the answers keyed by call id, which hold objects only:
// a body {"location": ...} redirects nowhere and gives no map.
TEST_F(PelorinConnectorE2eTest, MultipleChoicesWithLocationIsNotFollowed) {
  _server.answerNextWithMultipleChoices(_server.baseUrl() + "/DG/moved/rest/rpc/json/");

  auto result = execute(_connector, pageView());

  EXPECT_FALSE(result.response.has_value());
  EXPECT_FALSE(result.error.has_value());
  EXPECT_EQ(_connector.retryCount(), 0);
  EXPECT_EQ(_server.requestCount(), 1U);
  EXPECT_TRUE(logLinesContaining("Redirect to URL").empty());
}

TEST_F(PelorinConnectorE2eTest, FollowedRedirectIsPostedAgainToTheFinalUrl) {
  _server.redirectNext(307, "/DG/moved/rest/rpc/json/");
  const auto commands = pageView();

  auto result = execute(_connector, commands);

  ASSERT_TRUE(result.response.has_value());
  EXPECT_EQ(_connector.retryCount(), 1);
  const auto received = _server.requests();
  EXPECT_THAT(targets(received),
              ElementsAre(std::string("POST /DG/DEFAULT/rest/rpc/json/?") + kQuery,
                          "POST /DG/moved/rest/rpc/json/", "POST /DG/moved/rest/rpc/json/"));
  EXPECT_EQ(received[2].body, PelorinConnector::getPostData(commands));
  EXPECT_EQ(received[2].header("referer"), "app://com.example.app/home");
  EXPECT_THAT(logLinesContaining("Redirect to URL"),
              ElementsAre("INFO [PL_CONNECTOR]: Redirect to URL: " + _server.baseUrl() +
                          "/DG/moved/rest/rpc/json/"));
  EXPECT_EQ(_connector.originalRequest()->url, _server.baseUrl() + "/DG/moved/rest/rpc/json/");
}

TEST_F(PelorinConnectorE2eTest, RedirectThatTurnedIntoAGetIsPostedAgain) {
  _server.redirectNext(302, "/DG/moved/rest/rpc/json/");

  auto result = execute(_connector, pageView());

  ASSERT_TRUE(result.response.has_value());
  EXPECT_THAT(targets(_server.requests()),
              ElementsAre(std::string("POST /DG/DEFAULT/rest/rpc/json/?") + kQuery,
                          "GET /DG/moved/rest/rpc/json/", "POST /DG/moved/rest/rpc/json/"));
}

TEST_F(PelorinConnectorE2eTest, RedirectsAndRetriesShareOneLimit) {
  _server.dropNextConnections(3);
  _server.redirectNext(307, "/DG/moved/rest/rpc/json/");

  auto result = execute(_connector, pageView());

  ASSERT_TRUE(result.response.has_value());
  EXPECT_EQ(_connector.retryCount(), 4);
}

TEST_F(PelorinConnectorE2eTest, RedirectPastTheSharedLimitGivesMaxRetriesReached) {
  _server.dropNextConnections(4);
  _server.redirectNext(307, "/DG/moved/rest/rpc/json/");

  auto result = execute(_connector, pageView());

  EXPECT_FALSE(result.response.has_value());
  ASSERT_TRUE(result.error.has_value());
  EXPECT_EQ(std::get<PelorinConnector::Error>(*result.error),
            PelorinConnector::Error::MaxRetriesReached);
  // Four dropped, the redirected one, and the request curl made for the redirect itself.
  EXPECT_EQ(_server.requestCount(), 6U);
}

TEST_F(PelorinConnectorE2eTest, ReplyAfterTheWaitIsAnEmptyResponse) {
  auto* http = dynamic_cast<CurlHttpClient*>(&_test.platform().httpClient());
  ASSERT_NE(http, nullptr);
  _server.delayNextAnswers(std::chrono::minutes(10));
  auto hurried = std::make_unique<PelorinConnector>(std::nullopt, std::nullopt,
                                                    std::chrono::milliseconds(100));

  auto result = execute(*hurried, pageView());

  EXPECT_FALSE(result.response.has_value());
  EXPECT_FALSE(result.error.has_value());
  EXPECT_THAT(_test.logLines(), Contains("INFO [PL_CONNECTOR]: Request with an empty response"));
  EXPECT_TRUE(logLinesContaining("Reponse from Pelorin").empty());
  // The answer still comes, after the connector has given up on it and is gone.
  hurried.reset();
  _server.stop();
  EXPECT_TRUE(http->waitUntilIdle(kWait));
}

TEST_F(PelorinConnectorE2eTest, BodyThatIsNotJsonGivesTheParsersError) {
  _server.answerNextWithBody("garbage");

  auto result = execute(_connector, pageView());

  EXPECT_FALSE(result.response.has_value());
  ASSERT_TRUE(result.error.has_value());
  EXPECT_TRUE(std::holds_alternative<PelorinConnector::ParseError>(*result.error));
}

TEST_F(PelorinConnectorE2eTest, TruncatedBodyGivesTheParsersError) {
  _server.truncateNextAnswers(1);

  auto result = execute(_connector, pageView());

  ASSERT_TRUE(result.error.has_value());
  EXPECT_TRUE(std::holds_alternative<PelorinConnector::ParseError>(*result.error));
}

TEST_F(PelorinConnectorE2eTest, EmptyBodyGivesTheParsersError) {
  _server.answerNextWithBody("");

  auto result = execute(_connector, pageView());

  ASSERT_TRUE(result.error.has_value());
  EXPECT_TRUE(std::holds_alternative<PelorinConnector::ParseError>(*result.error));
  EXPECT_TRUE(logLinesContaining("Request with an empty response").empty());
}

TEST_F(PelorinConnectorE2eTest, BodyThatIsNotAnArrayGivesNeitherAnswersNorError) {
  _server.answerNextWithBody(R"({"id":"0","result":{}})");

  auto result = execute(_connector, pageView());

  EXPECT_FALSE(result.response.has_value());
  EXPECT_FALSE(result.error.has_value());
}

TEST_F(PelorinConnectorE2eTest, ElementsWithoutTextIdAreSkipped) {
  _server.answerNextWithBody(R"([{"id":0,"result":{}},{"result":{}},"x",{"id":"3","result":{}}])");

  auto result = execute(_connector, pageView());

  ASSERT_TRUE(result.response.has_value());
  EXPECT_THAT(*result.response, UnorderedElementsAre(Pair("3", ::testing::_)));
}

TEST_F(PelorinConnectorE2eTest, SimulatorDataTravelsInTheQuery) {
  PelorinConnector simulator("ann", "s-1", kWait);

  ASSERT_TRUE(execute(simulator, pageView()).response.has_value());

  EXPECT_EQ(_server.requests().at(0).query,
            "overruleReferrer=com.example.app&username=ann&mobileSessionId=s-1&time=13:2");
}

TEST_F(PelorinConnectorE2eTest, CookieFileLivesInTheLibrarysFolder) {
  ASSERT_TRUE(execute(_connector, pageView()).response.has_value());

  auto* http = dynamic_cast<CurlHttpClient*>(&_test.platform().httpClient());
  ASSERT_NE(http, nullptr);
  const std::filesystem::path file = _test.documentsFolder() + "/pelorin/plcookies.data";
  EXPECT_EQ(http->cookieFile(), file);
  std::ifstream in(file);
  std::stringstream text;
  text << in.rdbuf();
  EXPECT_NE(text.str().find("pl_profile\t" + profileId()), std::string::npos);
}

// A process started later with the same storage folder is the same visitor to the server.
TEST_F(PelorinConnectorE2eTest, ServerRecognisesTheVisitorAfterARestart) {
  ASSERT_TRUE(execute(_connector, pageView()).response.has_value());
  const std::string first = profileId();
  auto restarted = std::make_unique<Platform>();
  auto bundle = std::make_unique<platform::HeadlessBundle>();
  bundle->set("CFBundleIdentifier", JsonValue("com.example.app"));
  restarted->setBundle(std::move(bundle));
  restarted->setFileSystem(std::make_unique<platform::PosixFileSystem>(_test.documentsFolder()));
  Platform::install(std::move(restarted));
  PelorinConnector afterRestart(std::nullopt, std::nullopt, kWait);

  auto result = execute(afterRestart, pageView());

  ASSERT_TRUE(result.response.has_value());
  EXPECT_EQ(_server.service().profileIds(), std::vector<std::string>{first});
  EXPECT_EQ(result.response->at("0")["profileId"].string(), first);
  EXPECT_EQ(_server.requests().at(1).header("Cookie"), "pl_profile=" + first);
}

}  // namespace
}  // namespace pelorin
