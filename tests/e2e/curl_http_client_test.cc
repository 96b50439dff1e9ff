#include "pelorin/platform/curl_http_client.h"

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

#include "devserver/dev_server.h"
#include "e2e/send_and_wait.h"
#include "support/temp_folder.h"

namespace pelorin {
namespace {

using devserver::DevServer;
using pelorin::testing::sendAndWait;
using pelorin::testing::TempFolder;
using platform::CookieAcceptPolicy;
using platform::CurlHttpClient;
using platform::HttpRequest;
using platform::HttpResult;
using platform::UrlError;
using ::testing::ElementsAre;
using ::testing::Pair;

constexpr const char* kGetProfile =
    R"([{"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"}])";

HttpRequest post(std::string url, std::string body = kGetProfile) {
  HttpRequest request;
  request.method = "POST";
  request.url = std::move(url);
  request.body = std::move(body);
  request.timeout = std::chrono::seconds(10);
  return request;
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

class CurlHttpClientTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(_server.start()); }

  DevServer _server;
};

TEST_F(CurlHttpClientTest, SendsMethodHeadersAndBodyAsGiven) {
  CurlHttpClient client;
  HttpRequest request = post(_server.rpcUrl() + "overruleReferrer=com.example.app&time=9:5");
  request.headers = {{"User-Agent", "Agent 1.0"},
                     {"referer", "app://com.example.app/home"},
                     {"Connection", "close"},
                     {"Content-Type", "text/plain"}};

  auto result = sendAndWait(client, request);

  ASSERT_TRUE(result.has_value());
  ASSERT_FALSE(result->error.has_value()) << result->error->toString();
  ASSERT_EQ(_server.requestCount(), 1U);
  const auto received = _server.requests()[0];
  EXPECT_EQ(received.method, "POST");
  EXPECT_EQ(received.path, "/DG/DEFAULT/rest/rpc/json/");
  EXPECT_EQ(received.query, "overruleReferrer=com.example.app&time=9:5");
  EXPECT_EQ(received.body, kGetProfile);
  // Everything the server saw: ours, plus what HTTP itself needs; no "Expect".
  EXPECT_THAT(received.headers,
              ::testing::UnorderedElementsAre(
                  Pair("Accept", "*/*"), Pair("Connection", "close"),
                  Pair("Content-Length", std::to_string(std::string(kGetProfile).size())),
                  Pair("Content-Type", "text/plain"),
                  Pair("Host", "127.0.0.1:" + std::to_string(_server.port())),
                  Pair("User-Agent", "Agent 1.0"), Pair("referer", "app://com.example.app/home")));
}

TEST_F(CurlHttpClientTest, CompletesWithStatusFinalUrlHeadersAndBody) {
  CurlHttpClient client;
  const std::string url = _server.rpcUrl() + "a=1";

  auto result = sendAndWait(client, post(url));

  ASSERT_TRUE(result && result->response && result->data);
  EXPECT_FALSE(result->error.has_value());
  EXPECT_EQ(result->response->statusCode, 200);
  EXPECT_EQ(result->response->url, url);
  const std::string profileId = _server.service().profileIds().at(0);
  EXPECT_EQ(*result->data, R"([{"id":"0","profileId":")" + profileId +
                               R"(","result":{"domainGroupId":"DEFAULT"}}])");
  EXPECT_THAT(result->response->headers,
              ::testing::Contains(Pair("Content-Type", "application/json")));
}

TEST_F(CurlHttpClientTest, LargeBodyIsSentWithoutWaitingForContinue) {
  CurlHttpClient client;
  const std::string body(5000, 'x');

  auto result = sendAndWait(client, post(_server.rpcUrl(), body));

  ASSERT_TRUE(result && result->response);
  ASSERT_EQ(_server.requestCount(), 1U);
  EXPECT_FALSE(_server.requests()[0].hasHeader("Expect"));
  EXPECT_EQ(_server.requests()[0].body, body);
}

TEST_F(CurlHttpClientTest, StatusOtherThan200StillCompletesWithResponse) {
  CurlHttpClient client;
  _server.answerNextWithStatus(503, "busy");

  auto result = sendAndWait(client, post(_server.rpcUrl()));

  ASSERT_TRUE(result && result->response && result->data);
  EXPECT_FALSE(result->error.has_value());
  EXPECT_EQ(result->response->statusCode, 503);
  EXPECT_EQ(*result->data, "busy");
}

TEST_F(CurlHttpClientTest, EmptyBodyGivesPresentEmptyData) {
  CurlHttpClient client;
  _server.answerNextWithBody("");

  auto result = sendAndWait(client, post(_server.rpcUrl()));

  ASSERT_TRUE(result && result->response);
  ASSERT_TRUE(result->data.has_value());
  EXPECT_EQ(*result->data, "");
}

TEST_F(CurlHttpClientTest, FollowsTemporaryRedirectAndReportsFinalUrl) {
  CurlHttpClient client;
  _server.redirectNext(307, "/DG/moved/rest/rpc/json/");

  auto result = sendAndWait(client, post(_server.rpcUrl() + "q=1"));

  ASSERT_TRUE(result && result->response);
  EXPECT_EQ(result->response->statusCode, 200);
  EXPECT_EQ(result->response->url, _server.baseUrl() + "/DG/moved/rest/rpc/json/");
  const auto received = _server.requests();
  ASSERT_EQ(received.size(), 2U);
  EXPECT_EQ(received[1].method, "POST");
  EXPECT_EQ(received[1].path, "/DG/moved/rest/rpc/json/");
  EXPECT_EQ(received[1].query, "");
  EXPECT_EQ(received[1].body, kGetProfile);
  // Only the final answer's headers are reported.
  for (const auto& [name, value] : result->response->headers) EXPECT_NE(name, "Location");
}

TEST_F(CurlHttpClientTest, FoundRedirectTurnsPostIntoGet) {
  CurlHttpClient client;
  _server.redirectNext(302, "/DG/moved/rest/rpc/json/");

  auto result = sendAndWait(client, post(_server.rpcUrl()));

  ASSERT_TRUE(result && result->response);
  EXPECT_EQ(result->response->statusCode, 405);
  EXPECT_EQ(result->response->url, _server.baseUrl() + "/DG/moved/rest/rpc/json/");
  ASSERT_EQ(_server.requestCount(), 2U);
  EXPECT_EQ(_server.requests()[1].method, "GET");
}

TEST_F(CurlHttpClientTest, DroppedConnectionIsNetworkConnectionLost) {
  CurlHttpClient client;
  _server.dropNextConnections(1);

  auto result = sendAndWait(client, post(_server.rpcUrl()));

  ASSERT_TRUE(result && result->error);
  EXPECT_EQ(result->error->code, UrlError::kNetworkConnectionLost);
  EXPECT_EQ(result->error->description, "The network connection was lost.");
  EXPECT_FALSE(result->response.has_value());
  EXPECT_FALSE(result->data.has_value());
}

TEST_F(CurlHttpClientTest, ConnectionCutMidAnswerIsNetworkConnectionLost) {
  CurlHttpClient client;
  _server.cutNextAnswers(1);

  auto result = sendAndWait(client, post(_server.rpcUrl()));

  ASSERT_TRUE(result && result->error);
  EXPECT_EQ(result->error->code, UrlError::kNetworkConnectionLost);
}

TEST_F(CurlHttpClientTest, NothingListeningIsCannotConnectToHost) {
  CurlHttpClient client;
  const std::string url = _server.rpcUrl();
  _server.stop();

  auto result = sendAndWait(client, post(url));

  ASSERT_TRUE(result && result->error);
  EXPECT_EQ(result->error->code, UrlError::kCannotConnectToHost);
  EXPECT_EQ(result->error->description, "Could not connect to the server.");
}

TEST_F(CurlHttpClientTest, SlowAnswerIsTimedOut) {
  CurlHttpClient client;
  _server.delayNextAnswers(std::chrono::seconds(30));
  HttpRequest request = post(_server.rpcUrl());
  request.timeout = std::chrono::milliseconds(200);

  auto result = sendAndWait(client, request);

  ASSERT_TRUE(result && result->error);
  EXPECT_EQ(result->error->code, UrlError::kTimedOut);
  EXPECT_EQ(result->error->description, "The request timed out.");
}

// A server on loopback that answers every POST with a body of unknown length, sent in
// pieces by `provide` (chunked transfer encoding, so curl cannot see the size up front).
class StreamingServer {
 public:
  using Provider = std::function<bool(std::size_t offset, httplib::DataSink& sink)>;
  explicit StreamingServer(const Provider& provide) {
    _server.Post("/x", [provide](const httplib::Request&, httplib::Response& response) {
      response.set_chunked_content_provider("application/json", provide);
    });
    _port = _server.bind_to_any_port("127.0.0.1");
    // Bound already: a connection made before the loop accepts waits in the backlog.
    _thread = std::thread([this] { _server.listen_after_bind(); });
  }
  ~StreamingServer() {
    _server.stop();
    _thread.join();
  }
  StreamingServer(const StreamingServer&) = delete;
  StreamingServer& operator=(const StreamingServer&) = delete;
  std::string url() const { return "http://127.0.0.1:" + std::to_string(_port) + "/x"; }

 private:
  httplib::Server _server;
  int _port = 0;
  std::thread _thread;
};

TEST_F(CurlHttpClientTest, AnswerLimitDefaultsToSixteenMegabytes) {
  CurlHttpClient client;
  EXPECT_EQ(client.maxAnswerSize(), std::size_t{16} << 20U);
  EXPECT_EQ(CurlHttpClient::kDefaultMaxAnswerSize, std::size_t{16} << 20U);
}

// An announced length past the limit ends the exchange before the body is read.
TEST_F(CurlHttpClientTest, AnnouncedAnswerPastTheLimitExceedsTheMaximum) {
  CurlHttpClient client;
  client.setMaxAnswerSize(1000);
  _server.answerNextWithBody(std::string(1001, 'x'));

  auto result = sendAndWait(client, post(_server.rpcUrl()));

  ASSERT_TRUE(result && result->error);
  EXPECT_FALSE(result->response.has_value());
  EXPECT_FALSE(result->data.has_value());
  EXPECT_EQ(result->error->code, UrlError::kDataLengthExceedsMaximum);
  EXPECT_EQ(result->error->description, "resource exceeds maximum size");
  EXPECT_EQ(result->error->detail, "The answer exceeds 1000 bytes");
}

TEST_F(CurlHttpClientTest, AnswerOfExactlyTheLimitIsRead) {
  CurlHttpClient client;
  client.setMaxAnswerSize(1000);
  _server.answerNextWithBody(std::string(1000, 'x'));

  auto result = sendAndWait(client, post(_server.rpcUrl()));

  ASSERT_TRUE(result && result->data);
  EXPECT_EQ(result->data->size(), 1000U);
}

// A body of unknown length is read up to the limit and no further: an endless one ends.
TEST_F(CurlHttpClientTest, EndlessAnswerStopsAtTheLimit) {
  StreamingServer endless([](std::size_t /*offset*/, httplib::DataSink& sink) {
    const std::string piece(4096, 'x');
    return sink.write(piece.data(), piece.size());
  });
  CurlHttpClient client;
  client.setMaxAnswerSize(std::size_t{64} * 1024);

  auto result = sendAndWait(client, post(endless.url()));

  ASSERT_TRUE(result && result->error);
  EXPECT_EQ(result->error->code, UrlError::kDataLengthExceedsMaximum);
  EXPECT_FALSE(result->data.has_value());
}

// A server that sends a byte now and then never finishes: the request's time-out ends it.
TEST_F(CurlHttpClientTest, TricklingAnswerEndsAtTheRequestTimeout) {
  StreamingServer trickle([](std::size_t /*offset*/, httplib::DataSink& sink) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return sink.write("x", 1);
  });
  CurlHttpClient client;
  HttpRequest request = post(trickle.url());
  request.timeout = std::chrono::milliseconds(300);

  auto result = sendAndWait(client, request);

  ASSERT_TRUE(result && result->error);
  EXPECT_EQ(result->error->code, UrlError::kTimedOut);
}

TEST_F(CurlHttpClientTest, MalformedUrlIsBadUrl) {
  CurlHttpClient client;

  auto result = sendAndWait(client, post("http://[::1"));

  ASSERT_TRUE(result && result->error);
  EXPECT_EQ(result->error->code, UrlError::kBadUrl);
}

TEST_F(CurlHttpClientTest, SchemeOtherThanHttpIsUnsupportedUrl) {
  CurlHttpClient client;

  auto result = sendAndWait(client, post("file:///etc/hostname"));

  ASSERT_TRUE(result && result->error);
  EXPECT_EQ(result->error->code, UrlError::kUnsupportedUrl);
}

TEST_F(CurlHttpClientTest, UrlWithoutSchemeIsUnsupportedUrl) {
  CurlHttpClient client;

  auto relative = sendAndWait(client, post("/DG/DEFAULT/rest/rpc/json/?overruleReferrer=a"));
  auto hostAsScheme = sendAndWait(client, post("127.0.0.1:" + std::to_string(_server.port())));

  ASSERT_TRUE(relative && relative->error && hostAsScheme && hostAsScheme->error);
  EXPECT_EQ(relative->error->code, UrlError::kUnsupportedUrl);
  EXPECT_EQ(hostAsScheme->error->code, UrlError::kUnsupportedUrl);
  EXPECT_EQ(_server.requestCount(), 0U);
}

TEST_F(CurlHttpClientTest, SchemeIsMatchedWithoutCase) {
  CurlHttpClient client;

  auto result = sendAndWait(client, post("HTTP" + _server.rpcUrl().substr(4)));

  ASSERT_TRUE(result && result->response);
  EXPECT_EQ(result->response->statusCode, 200);
}

TEST(CurlHttpClientTlsTest, SelfSignedCertificateIsRejected) {
  const std::string data = PELORIN_TEST_DATA_DIR;
  httplib::SSLServer tls((data + "/self_signed_cert.pem").c_str(),
                         (data + "/self_signed_key.pem").c_str());
  ASSERT_TRUE(tls.is_valid());
  tls.Post("/x", [](const httplib::Request&, httplib::Response& response) {
    response.set_content("[]", "application/json");
  });
  const int port = tls.bind_to_any_port("127.0.0.1");
  ASSERT_GT(port, 0);
  std::thread serving([&] { tls.listen_after_bind(); });
  CurlHttpClient client;

  auto result = sendAndWait(client, post("https://127.0.0.1:" + std::to_string(port) + "/x"));

  while (!tls.is_running()) std::this_thread::yield();
  tls.stop();
  serving.join();
  ASSERT_TRUE(result && result->error);
  EXPECT_EQ(result->error->code, UrlError::kServerCertificateUntrusted);
  EXPECT_FALSE(result->response.has_value());
}

TEST(CurlHttpClientMappingTest, CurlCodesMapToUrlLoadingCodes) {
  auto map = &CurlHttpClient::urlErrorCodeForCurlCode;
  EXPECT_EQ(map(CURLE_GOT_NOTHING), -1005);
  EXPECT_EQ(map(CURLE_SEND_ERROR), -1005);
  EXPECT_EQ(map(CURLE_RECV_ERROR), -1005);
  EXPECT_EQ(map(CURLE_PARTIAL_FILE), -1005);
  EXPECT_EQ(map(CURLE_OPERATION_TIMEDOUT), -1001);
  EXPECT_EQ(map(CURLE_COULDNT_CONNECT), -1004);
  EXPECT_EQ(map(CURLE_COULDNT_RESOLVE_HOST), -1003);
  EXPECT_EQ(map(CURLE_COULDNT_RESOLVE_PROXY), -1003);
  EXPECT_EQ(map(CURLE_URL_MALFORMAT), -1000);
  EXPECT_EQ(map(CURLE_UNSUPPORTED_PROTOCOL), -1002);
  EXPECT_EQ(map(CURLE_TOO_MANY_REDIRECTS), -1007);
  EXPECT_EQ(map(CURLE_WEIRD_SERVER_REPLY), -1011);
  EXPECT_EQ(map(CURLE_BAD_CONTENT_ENCODING), -1016);
  EXPECT_EQ(map(CURLE_FILESIZE_EXCEEDED), -1103);
  EXPECT_EQ(map(CURLE_SSL_CONNECT_ERROR), -1200);
  EXPECT_EQ(map(CURLE_SSL_CACERT_BADFILE), -1200);
  EXPECT_EQ(map(CURLE_PEER_FAILED_VERIFICATION), -1202);
  EXPECT_EQ(map(CURLE_SSL_CERTPROBLEM), -1205);
  EXPECT_EQ(map(CURLE_ABORTED_BY_CALLBACK), -999);
  EXPECT_EQ(map(CURLE_OUT_OF_MEMORY), -1);
  EXPECT_EQ(map(CURLE_FAILED_INIT), -1);
}

TEST(HttpErrorTest, ToStringGivesDescriptionCodeAndDetail) {
  platform::HttpError error{.code = -1005,
                            .description = "The network connection was lost.",
                            .detail = "Empty reply from server"};
  EXPECT_EQ(error.toString(), "The network connection was lost. (-1005): Empty reply from server");
}

TEST(HttpRequestTest, SetHeaderReplacesIgnoringCase) {
  HttpRequest request;
  request.setHeader("Content-Type", "a");
  request.setHeader("content-type", "b");
  request.setHeader("Accept", "c");
  EXPECT_THAT(request.headers, ElementsAre(Pair("Content-Type", "b"), Pair("Accept", "c")));
  EXPECT_EQ(request.header("CONTENT-TYPE"), "b");
  EXPECT_EQ(request.header("Missing"), std::nullopt);
}

TEST_F(CurlHttpClientTest, CookiesAreSharedByAllRequestsOfAClient) {
  CurlHttpClient client;

  ASSERT_TRUE(sendAndWait(client, post(_server.rpcUrl())));
  ASSERT_TRUE(sendAndWait(client, post(_server.rpcUrl())));

  ASSERT_EQ(_server.service().profileIds().size(), 1U);
  const std::string profileId = _server.service().profileIds()[0];
  EXPECT_FALSE(_server.requests()[0].hasHeader("Cookie"));
  EXPECT_EQ(_server.requests()[1].header("Cookie"), "pl_profile=" + profileId);
}

TEST_F(CurlHttpClientTest, CookiesSurviveARestartThroughTheCookieFile) {
  TempFolder folder;
  const auto cookieFile = std::filesystem::path(folder.path()) / "cookies.txt";
  {
    CurlHttpClient first(cookieFile);
    ASSERT_TRUE(sendAndWait(first, post(_server.rpcUrl())));
  }
  ASSERT_EQ(_server.service().profileIds().size(), 1U);
  const std::string profileId = _server.service().profileIds()[0];
  EXPECT_NE(readFile(cookieFile).find("pl_profile\t" + profileId), std::string::npos);

  CurlHttpClient second(cookieFile);
  auto result = sendAndWait(second, post(_server.rpcUrl()));

  ASSERT_TRUE(result && result->data);
  EXPECT_EQ(_server.service().profileIds().size(), 1U);
  EXPECT_EQ(_server.requests()[1].header("Cookie"), "pl_profile=" + profileId);
  EXPECT_NE(result->data->find(profileId), std::string::npos);
}

TEST_F(CurlHttpClientTest, CookieFileIsWrittenBeforeTheCompletionRuns) {
  TempFolder folder;
  const auto cookieFile = std::filesystem::path(folder.path()) / "cookies.txt";
  CurlHttpClient client(cookieFile);

  ASSERT_TRUE(sendAndWait(client, post(_server.rpcUrl())));

  EXPECT_NE(readFile(cookieFile).find("pl_profile"), std::string::npos);
  EXPECT_EQ(client.cookieFile(), cookieFile);
}

// The file is replaced by a rename, never truncated and rewritten in place: a process
// killed mid-write must still find the visitor's cookie at its next start. A second link
// to the old file shows which: it keeps the old text only if the file was replaced.
TEST_F(CurlHttpClientTest, CookieFileIsReplacedWholeAndPrivate) {
  TempFolder folder;
  const auto cookieFile = std::filesystem::path(folder.path()) / "cookies.txt";
  const auto oldLink = std::filesystem::path(folder.path()) / "old.txt";
  const std::string oldText = "# Netscape HTTP Cookie File\n";
  {
    std::ofstream out(cookieFile);
    out << oldText;
  }
  std::filesystem::create_hard_link(cookieFile, oldLink);
  CurlHttpClient client(cookieFile);

  ASSERT_TRUE(sendAndWait(client, post(_server.rpcUrl())));

  ASSERT_EQ(_server.service().profileIds().size(), 1U);
  const std::string profileId = _server.service().profileIds()[0];
  EXPECT_EQ(readFile(oldLink), oldText);
  const std::string text = readFile(cookieFile);
  EXPECT_TRUE(text.starts_with("# Netscape HTTP Cookie File\n#HttpOnly_127.0.0.1\tFALSE\t/\t"))
      << text;
  EXPECT_TRUE(text.ends_with("\tpl_profile\t" + profileId + "\n")) << text;
  EXPECT_EQ(std::filesystem::status(cookieFile).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()),
                          std::filesystem::directory_iterator()),
            2);
}

TEST_F(CurlHttpClientTest, CookieFileLocationIsAskedOnFirstRequest) {
  TempFolder folder;
  int asked = 0;
  CurlHttpClient client(
      CurlHttpClient::CookieFileLocator([&]() -> std::optional<std::filesystem::path> {
        ++asked;
        return std::filesystem::path(folder.path()) / "late" / "cookies.txt";
      }));
  std::filesystem::create_directories(std::filesystem::path(folder.path()) / "late");
  EXPECT_EQ(asked, 0);

  ASSERT_TRUE(sendAndWait(client, post(_server.rpcUrl())));
  ASSERT_TRUE(sendAndWait(client, post(_server.rpcUrl())));

  EXPECT_EQ(asked, 1);
  EXPECT_NE(
      readFile(std::filesystem::path(folder.path()) / "late" / "cookies.txt").find("pl_profile"),
      std::string::npos);
}

TEST_F(CurlHttpClientTest, DefaultCookiePolicyIsOnlyFromMainDocumentDomain) {
  CurlHttpClient client;
  EXPECT_EQ(client.cookieAcceptPolicy(), CookieAcceptPolicy::kOnlyFromMainDocumentDomain);
  client.setCookieAcceptPolicy(CookieAcceptPolicy::kAlways);
  EXPECT_EQ(client.cookieAcceptPolicy(), CookieAcceptPolicy::kAlways);
}

TEST_F(CurlHttpClientTest, NeverPolicyNeitherStoresNorSendsCookies) {
  CurlHttpClient client;
  ASSERT_TRUE(sendAndWait(client, post(_server.rpcUrl())));
  client.setCookieAcceptPolicy(CookieAcceptPolicy::kNever);

  ASSERT_TRUE(sendAndWait(client, post(_server.rpcUrl())));

  EXPECT_FALSE(_server.requests()[1].hasHeader("Cookie"));
  EXPECT_EQ(_server.service().profileIds().size(), 2U);
}

TEST_F(CurlHttpClientTest, DestroyingTheClientCancelsWhatIsInFlight) {
  _server.delayNextAnswers(std::chrono::seconds(30));
  auto promise = std::make_shared<std::promise<HttpResult>>();
  auto future = promise->get_future();
  {
    CurlHttpClient client;
    client.send(post(_server.rpcUrl()),
                [promise](HttpResult result) { promise->set_value(std::move(result)); });
    ASSERT_TRUE(_server.waitForRequests(1, std::chrono::seconds(10)));
  }

  ASSERT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
  HttpResult result = future.get();
  ASSERT_TRUE(result.error.has_value());
  EXPECT_EQ(result.error->code, UrlError::kCancelled);
}

TEST_F(CurlHttpClientTest, WaitUntilIdleWaitsForCompletions) {
  CurlHttpClient client;
  int completed = 0;
  client.send(post(_server.rpcUrl()), [&](const HttpResult&) { ++completed; });
  client.send(post(_server.rpcUrl()), [&](const HttpResult&) { ++completed; });

  ASSERT_TRUE(client.waitUntilIdle(std::chrono::seconds(10)));

  EXPECT_EQ(completed, 2);
}

TEST_F(CurlHttpClientTest, IdleWorkerSleepsUntilARequestComes) {
  CurlHttpClient client;
  ASSERT_TRUE(sendAndWait(client, post(_server.rpcUrl())).has_value());

  const CurlHttpClient::WorkerSleep idle = client.waitUntilWorkerSleeps(std::chrono::seconds(10));

  ASSERT_TRUE(idle.asleep);
  // No time limit: nothing but a new request (or the end) wakes it.
  EXPECT_EQ(idle.limit, std::nullopt);

  // A request wakes it; once answered it sleeps without a limit again.
  auto answered = sendAndWait(client, post(_server.rpcUrl()));
  ASSERT_TRUE(answered.has_value());
  EXPECT_FALSE(answered->error.has_value());
  const CurlHttpClient::WorkerSleep again = client.waitUntilWorkerSleeps(std::chrono::seconds(10));
  ASSERT_TRUE(again.asleep);
  EXPECT_EQ(again.limit, std::nullopt);
  EXPECT_GT(again.wakeUps, idle.wakeUps);
}

TEST_F(CurlHttpClientTest, WorkerWaitingForAnAnswerSleepsNoLongerThanTheTimeout) {
  _server.delayNextAnswers(std::chrono::seconds(30));
  CurlHttpClient client;
  HttpRequest request = post(_server.rpcUrl());
  client.send(request, [](const HttpResult&) {});
  ASSERT_TRUE(_server.waitForRequests(1, std::chrono::seconds(10)));

  // In flight: the worker is not idle, so it does not count as asleep.
  const CurlHttpClient::WorkerSleep busy = client.waitUntilWorkerSleeps(std::chrono::seconds(0));

  EXPECT_FALSE(busy.asleep);
}

TEST(CurlHttpClientIdleTest, WorkerNeverStartedDoesNotSleep) {
  CurlHttpClient client;
  const CurlHttpClient::WorkerSleep sleep = client.waitUntilWorkerSleeps(std::chrono::seconds(0));
  EXPECT_FALSE(sleep.asleep);
  EXPECT_EQ(sleep.wakeUps, 0U);
}

}  // namespace
}  // namespace pelorin
