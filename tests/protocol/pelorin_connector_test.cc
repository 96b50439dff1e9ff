// The connector's parts that need no server: query, request, body, answer parsing.
#include "protocol/pelorin_connector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "pelorin/platform/curl_http_client.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using platform::CachePolicy;
using platform::CookieAcceptPolicy;
using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

constexpr const char* kGetProfileJson =
    R"({"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"})";
constexpr const char* kHeadersLine =
    R"(INFO [PL_CONNECTOR]: Request headers to Pelorin: ["User-Agent": "Pelorin iOS SDK 2.8.2", )"
    R"("referer": "app://com.example.app/home", "Connection": "close", )"
    R"("Content-Type": "text/plain"])";

class PelorinConnectorTest : public ::testing::Test {
 protected:
  PelorinConnectorTest() { _test.bundle().set("CFBundleIdentifier", JsonValue("com.example.app")); }

  // Moves the pinned clock to today's `hour`:`minute` UTC.
  void setTime(int hour, int minute) {
    const auto midnight = std::chrono::floor<std::chrono::days>(
        platform::Clock::TimePoint(testing::kPinnedEpochSeconds));
    _test.clock().set(midnight + std::chrono::hours(hour) + std::chrono::minutes(minute));
  }

  static std::vector<PelorinRequestCommand> profileCommands() {
    return {PelorinConnector::getProfileCommand(0)};
  }

  testing::TestPlatform _test;
};

TEST_F(PelorinConnectorTest, QueryIsPackageAndLocalTime) {
  PelorinConnector connector(std::nullopt, std::nullopt);
  EXPECT_EQ(connector.getPostParameters(), "overruleReferrer=com.example.app&time=13:2");
}

TEST_F(PelorinConnectorTest, TimeIsWrittenWithoutLeadingZeros) {
  setTime(9, 5);
  EXPECT_EQ(PelorinConnector::addTime("x"), "x&time=9:5");
  setTime(0, 0);
  EXPECT_EQ(PelorinConnector::addTime(""), "&time=0:0");
}

TEST_F(PelorinConnectorTest, TimeIsTheDevicesLocalTime) {
  _test.clock().setUtcOffset(2 * 3600 + 30 * 60);
  EXPECT_EQ(PelorinConnector::addTime(""), "&time=15:32");
}

TEST_F(PelorinConnectorTest, SimulatorDataFollowsThePackage) {
  PelorinConnector connector("ann", "s-1");
  EXPECT_EQ(connector.getPostParameters(),
            "overruleReferrer=com.example.app&username=ann&mobileSessionId=s-1&time=13:2");
}

TEST_F(PelorinConnectorTest, EmptySimulatorUserNameSuppressesBothSimulatorParameters) {
  PelorinConnector connector("", "s-1");
  EXPECT_EQ(connector.getPostParameters(), "overruleReferrer=com.example.app&time=13:2");
}

TEST_F(PelorinConnectorTest, SimulatorDataNeedsBothValues) {
  EXPECT_EQ(PelorinConnector("ann", std::nullopt).addSimulatorData("q"), "q");
  EXPECT_EQ(PelorinConnector(std::nullopt, "s-1").addSimulatorData("q"), "q");
  EXPECT_EQ(PelorinConnector("ann", "").addSimulatorData("q"), "q");
}

TEST_F(PelorinConnectorTest, PackageNameIsPercentEncodedInTheQuery) {
  _test.bundle().set("CFBundleIdentifier", JsonValue("my app"));
  EXPECT_EQ(PelorinConnector(std::nullopt, std::nullopt).getPostParameters(),
            "overruleReferrer=my%20app&time=13:2");
}

TEST_F(PelorinConnectorTest, PackageNameControlCharactersAreEncodedInTheQuery) {
  _test.bundle().set("CFBundleIdentifier", JsonValue("app\r\nX: y"));
  EXPECT_EQ(PelorinConnector(std::nullopt, std::nullopt).getPostParameters(),
            "overruleReferrer=app%0D%0AX:%20y&time=13:2");
}

// Decoded from a deep link, the simulator's user name and session are encoded again where
// the query is built: a space, "&", "#" or a line break cannot stand in it as it is.
TEST_F(PelorinConnectorTest, SimulatorDataIsPercentEncodedInTheQuery) {
  PelorinConnector connector("ann b", "s&1#x\r\n%");
  EXPECT_EQ(connector.getPostParameters(),
            "overruleReferrer=com.example.app&username=ann%20b&mobileSessionId=s%261%23x%0D%0A%25"
            "&time=13:2");
  EXPECT_TRUE(PelorinConnector::isValidUrl("http://h/?" + connector.getPostParameters()));
}

// A screen name holding a line break would add a header of its own.
TEST_F(PelorinConnectorTest, ControlCharactersOfTheScreenNameAreEncodedInTheReferer) {
  auto request = PelorinConnector(std::nullopt, std::nullopt)
                     .createRequest("http://h/", {}, std::string("home\r\nX-Injected: yes\t\x7f"));
  ASSERT_TRUE(request.has_value());
  EXPECT_EQ(request->header("referer"), "app://com.example.app/home%0D%0AX-Injected: yes%09%7F");
  EXPECT_EQ(request->headers.size(), 4U);
}

TEST_F(PelorinConnectorTest, RequestIsAPostWithFourHeadersInOrder) {
  PelorinConnector connector(std::nullopt, std::nullopt);

  auto request =
      connector.createRequest("http://h/DG/DEFAULT/rest/rpc/json/?a=1", profileCommands(), "home");

  ASSERT_TRUE(request.has_value());
  EXPECT_EQ(request->method, "POST");
  EXPECT_EQ(request->url, "http://h/DG/DEFAULT/rest/rpc/json/?a=1");
  EXPECT_THAT(request->headers,
              ElementsAre(Pair("User-Agent", "Pelorin iOS SDK 2.8.2"),
                          Pair("referer", "app://com.example.app/home"),
                          Pair("Connection", "close"), Pair("Content-Type", "text/plain")));
  EXPECT_EQ(request->timeout, std::chrono::seconds(30));
  EXPECT_FALSE(request->httpShouldUsePipelining);
  EXPECT_EQ(request->cachePolicy, CachePolicy::kReloadIgnoringLocalCacheData);
  EXPECT_EQ(request->body, std::string("[") + kGetProfileJson + "]");
}

TEST_F(PelorinConnectorTest, RefererWithoutScreenNameEndsInTheSlash) {
  auto request =
      PelorinConnector(std::nullopt, std::nullopt).createRequest("http://h/", {}, std::nullopt);
  ASSERT_TRUE(request.has_value());
  EXPECT_EQ(request->header("referer"), "app://com.example.app/");
}

TEST_F(PelorinConnectorTest, RequestLogsItsHeadersThenItsBody) {
  ASSERT_TRUE(PelorinConnector(std::nullopt, std::nullopt)
                  .createRequest("http://h/", profileCommands(), "home")
                  .has_value());

  EXPECT_THAT(_test.logLines(),
              ElementsAre(kHeadersLine, std::string("INFO [PL_CONNECTOR]: Request body to "
                                                    "Pelorin: [") +
                                            kGetProfileJson + "]"));
}

TEST_F(PelorinConnectorTest, InvalidUrlGivesNoRequest) {
  PelorinConnector connector(std::nullopt, std::nullopt);
  EXPECT_FALSE(connector.createRequest("http://h/a b", profileCommands(), "home").has_value());
  EXPECT_FALSE(connector.createRequest("", profileCommands(), "home").has_value());
  EXPECT_TRUE(_test.logLines().empty());
}

TEST(PelorinConnectorUrlTest, ValidUrls) {
  EXPECT_TRUE(PelorinConnector::isValidUrl("https://h.example/DG/DEFAULT/rest/rpc/json/?"));
  EXPECT_TRUE(PelorinConnector::isValidUrl("/DG/DEFAULT/rest/rpc/json/?overruleReferrer=a"));
  EXPECT_TRUE(PelorinConnector::isValidUrl("http://h/?overruleReferrer=my%20app&time=9:5"));
  EXPECT_TRUE(PelorinConnector::isValidUrl("http://[::1]:80/x#f"));
}

TEST(PelorinConnectorUrlTest, InvalidUrls) {
  EXPECT_FALSE(PelorinConnector::isValidUrl(""));
  EXPECT_FALSE(PelorinConnector::isValidUrl("http://h/a b"));
  EXPECT_FALSE(PelorinConnector::isValidUrl("http://h/\"x\""));
  EXPECT_FALSE(PelorinConnector::isValidUrl("http://h/%zz"));
  EXPECT_FALSE(PelorinConnector::isValidUrl("http://h/%4"));
  EXPECT_FALSE(PelorinConnector::isValidUrl("http://h/\xc3\xa9"));
}

TEST_F(PelorinConnectorTest, BodyJoinsTheCommandsInOrder) {
  const std::string body = PelorinConnector::getPostData(
      {PelorinConnector::getProfileCommand(0), PelorinConnector::getGetPropertiesCommand(3, {})});

  const std::string expected =
      std::string("[") + kGetProfileJson +
      R"(,{"method":"getProperties","alt":"json","id":"3","params":"{}"}])";
  EXPECT_EQ(body, expected);
  EXPECT_THAT(_test.logLines(),
              ElementsAre("INFO [PL_CONNECTOR]: Request body to Pelorin: " + expected));
}

// A command that cannot be serialised adds "", also at the head: the commas stay.
TEST_F(PelorinConnectorTest, UnserialisableCommandsLeaveEmptyElementsWhereverTheyAre) {
  const PelorinRequestCommand bad("get\xffProfile", 0, RequestParameters{});
  ASSERT_EQ(bad.toJson(), "");

  EXPECT_EQ(PelorinConnector::getPostData({bad, PelorinConnector::getProfileCommand(0)}),
            std::string("[,") + kGetProfileJson + "]");
  EXPECT_EQ(PelorinConnector::getPostData({bad, bad}), "[,]");
  EXPECT_EQ(PelorinConnector::getPostData({PelorinConnector::getProfileCommand(0), bad}),
            std::string("[") + kGetProfileJson + ",]");
}

TEST_F(PelorinConnectorTest, NoCommandsGiveAnEmptyArray) {
  EXPECT_EQ(PelorinConnector::getPostData({}), "[]");
}

TEST_F(PelorinConnectorTest, ResponseMapsAnswersById) {
  auto parsed = PelorinConnector::parseResponse(
      R"([{"id":"0","profileId":"p"},{"id":"3","result":{"properties":{}}}])");

  ASSERT_TRUE(parsed.ok());
  ASSERT_TRUE(parsed.value().has_value());
  const auto& answers = *parsed.value();
  EXPECT_EQ(answers.size(), 2U);
  EXPECT_EQ(answers.at("0").toCompactString(), R"({"id":"0","profileId":"p"})");
  EXPECT_EQ(answers.at("3").toCompactString(), R"({"id":"3","result":{"properties":{}}})");
  EXPECT_THAT(
      _test.logLines(),
      ElementsAre(R"(INFO [PL_CONNECTOR]: Reponse from Pelorin: [{"id":"0","profileId":"p"},)"
                  R"({"id":"3","result":{"properties":{}}}])"));
}

TEST_F(PelorinConnectorTest, PlJsonWrapperIsRemoved) {
  auto parsed = PelorinConnector::parseResponse(R"(pl_json([{"id":"4","result":{}}]))");

  ASSERT_TRUE(parsed.ok() && parsed.value());
  EXPECT_EQ(parsed.value()->at("4").toCompactString(), R"({"id":"4","result":{}})");
  EXPECT_THAT(
      _test.logLines(),
      ElementsAre(R"(INFO [PL_CONNECTOR]: Reponse from Pelorin: [{"id":"4","result":{}}])"));
}

TEST_F(PelorinConnectorTest, PlJsonWrapperLosesItsLastCharacterWhateverItIs) {
  auto parsed = PelorinConnector::parseResponse(R"(pl_json([{"id":"4"}]])");

  ASSERT_TRUE(parsed.ok() && parsed.value());
  EXPECT_TRUE(parsed.value()->contains("4"));
}

// The wrapper's last character goes whole, however many bytes it takes in UTF-8.
TEST_F(PelorinConnectorTest, PlJsonWrapperLosesAWholeMultiByteLastCharacter) {
  for (std::string_view last : {"\xc3\xa9", "\xf0\x9f\x98\x80"}) {
    _test.console().clear();
    auto parsed =
        PelorinConnector::parseResponse(std::string(R"(pl_json([{"id":"4"}])") + std::string(last));

    ASSERT_TRUE(parsed.ok()) << parsed.error().message;
    ASSERT_TRUE(parsed.value());
    EXPECT_TRUE(parsed.value()->contains("4"));
    EXPECT_THAT(_test.logLines(),
                ElementsAre(R"(INFO [PL_CONNECTOR]: Reponse from Pelorin: [{"id":"4"}])"));
  }
}

TEST_F(PelorinConnectorTest, ElementsWithoutTextIdAreSkipped) {
  auto parsed = PelorinConnector::parseResponse(
      R"([{"id":0,"result":{}},{"result":{}},"x",7,null,["id"],{"id":"3"}])");

  ASSERT_TRUE(parsed.ok() && parsed.value());
  EXPECT_THAT(*parsed.value(), UnorderedElementsAre(Pair("3", ::testing::_)));
}

TEST_F(PelorinConnectorTest, RepeatedIdKeepsTheLaterAnswer) {
  auto parsed =
      PelorinConnector::parseResponse(R"([{"id":"5","n":1},{"id":"5","n":2},{"id":"6"}])");

  ASSERT_TRUE(parsed.ok() && parsed.value());
  EXPECT_EQ(parsed.value()->at("5").toCompactString(), R"({"id":"5","n":2})");
}

TEST_F(PelorinConnectorTest, JsonThatIsNotAnArrayGivesNoMap) {
  auto parsed = PelorinConnector::parseResponse(R"({"id":"0"})");
  ASSERT_TRUE(parsed.ok());
  EXPECT_FALSE(parsed.value().has_value());
}

TEST_F(PelorinConnectorTest, TextThatIsNotJsonGivesTheParsersError) {
  auto parsed = PelorinConnector::parseResponse("garbage");
  ASSERT_FALSE(parsed.ok());
  EXPECT_FALSE(parsed.error().message.empty());
  EXPECT_THAT(_test.logLines(), ElementsAre("INFO [PL_CONNECTOR]: Reponse from Pelorin: garbage"));
}

// Parsing may take twice the HTTP client's answer limit; an answer needing more is an
// error like text that is not JSON.
TEST_F(PelorinConnectorTest, AnswerTakingMoreThanTheMemoryLimitGivesAnError) {
  std::string body = "[0";
  while (body.size() < 4096) body += ",0";
  body += "]";
  auto parsed = PelorinConnector::parseResponse(body, 8192);
  ASSERT_FALSE(parsed.ok());
  EXPECT_EQ(parsed.error().message, "the document takes more than 8192 bytes to parse");
  EXPECT_TRUE(PelorinConnector::parseResponse(body).ok());

  const std::string wrapped = R"(pl_json([{"id":"0","v":")" + std::string(1000, 'x') + R"("}]))";
  auto answers = PelorinConnector::parseResponse(wrapped, 2 * wrapped.size());
  ASSERT_TRUE(answers.ok());
  ASSERT_TRUE(answers.value().has_value());
  EXPECT_EQ(answers.value()->at("0")["v"].string(), std::string(1000, 'x'));
}

TEST(PelorinConnectorLimitTest, ParsingMayTakeTwiceTheAnswerLimit) {
  EXPECT_EQ(PelorinConnector::answerMemoryLimit(1000), 2000U);
  EXPECT_EQ(PelorinConnector::answerMemoryLimit(SIZE_MAX / 2 + 1), SIZE_MAX);
  EXPECT_EQ(PelorinConnector::answerMemoryLimit(platform::HttpClient::kDefaultMaxAnswerSize),
            std::size_t{32} << 20U);
}

TEST_F(PelorinConnectorTest, EmptyBodyGivesTheParsersError) {
  EXPECT_FALSE(PelorinConnector::parseResponse("").ok());
  EXPECT_FALSE(PelorinConnector::parseResponse("pl_json(").ok());
}

TEST_F(PelorinConnectorTest, BodyThatIsNotUtf8GivesAnError) {
  auto parsed = PelorinConnector::parseResponse("[\"\xff\"]");
  ASSERT_FALSE(parsed.ok());
  EXPECT_EQ(parsed.error().message, "The response is not UTF-8 text.");
  EXPECT_TRUE(_test.logLines().empty());
}

TEST(PelorinConnectorErrorTest, Descriptions) {
  EXPECT_EQ(PelorinConnector::describe(PelorinConnector::Error::MaxRetriesReached),
            "Max retries reached");
  EXPECT_EQ(PelorinConnector::describe(platform::HttpError{
                .code = -1005, .description = "The network connection was lost.", .detail = ""}),
            "The network connection was lost.");
  EXPECT_EQ(PelorinConnector::describe(PelorinConnector::ParseError{"bad"}),
            "The data couldn't be read because it isn't in the correct format: bad");
}

TEST(PelorinConnectorLimitTest, StoredLimitIsThreeWhileFourAreMade) {
  EXPECT_EQ(PelorinConnector::MAX_RETRIES, 3);
  EXPECT_EQ(PelorinConnector::RETRY_AND_REDIRECT_LIMIT, 4);
}

TEST_F(PelorinConnectorTest, ResponseWaitComesFromThePlatformUnlessGiven) {
  EXPECT_EQ(PelorinConnector(std::nullopt, std::nullopt).responseWait(), std::chrono::seconds(10));
  _test.platform().setResponseWait(std::chrono::milliseconds(250));
  EXPECT_EQ(PelorinConnector(std::nullopt, std::nullopt).responseWait(),
            std::chrono::milliseconds(250));
  EXPECT_EQ(
      PelorinConnector(std::nullopt, std::nullopt, std::chrono::milliseconds(7)).responseWait(),
      std::chrono::milliseconds(7));
}

TEST_F(PelorinConnectorTest, ExecuteWithInvalidUrlSendsNothingAndGivesNothing) {
  PelorinConnector connector(std::nullopt, std::nullopt);

  auto result = connector.execute("http://h/a b?", profileCommands(), "home");

  EXPECT_FALSE(result.response.has_value());
  EXPECT_FALSE(result.error.has_value());
  EXPECT_FALSE(connector.originalRequest().has_value());
  EXPECT_THAT(_test.logLines(),
              ElementsAre("INFO [PL_CONNECTOR]: Request URL to Pelorin: "
                          "http://h/a b?overruleReferrer=com.example.app&time=13:2"));
}

TEST_F(PelorinConnectorTest, ExecuteTurnsARefusingCookieStoreToMainDocumentDomain) {
  platform::HttpClient& http = _test.platform().httpClient();
  http.setCookieAcceptPolicy(CookieAcceptPolicy::kNever);

  PelorinConnector(std::nullopt, std::nullopt).execute("http://h/ x", {}, std::nullopt);

  EXPECT_EQ(http.cookieAcceptPolicy(), CookieAcceptPolicy::kOnlyFromMainDocumentDomain);
}

TEST_F(PelorinConnectorTest, ExecuteLeavesOtherCookiePoliciesAsTheyAre) {
  platform::HttpClient& http = _test.platform().httpClient();
  http.setCookieAcceptPolicy(CookieAcceptPolicy::kAlways);

  PelorinConnector(std::nullopt, std::nullopt).execute("http://h/ x", {}, std::nullopt);

  EXPECT_EQ(http.cookieAcceptPolicy(), CookieAcceptPolicy::kAlways);
}

}  // namespace
}  // namespace pelorin
