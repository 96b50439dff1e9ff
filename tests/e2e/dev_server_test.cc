#include "devserver/dev_server.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>

#include "e2e/send_and_wait.h"
#include "pelorin/platform/curl_http_client.h"

extern char** environ;  // NOLINT(readability-redundant-declaration)

namespace pelorin::devserver {
namespace {

using pelorin::testing::sendAndWait;
using platform::CurlHttpClient;
using platform::HttpRequest;
using platform::UrlError;
using ::testing::ElementsAre;

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

class DevServerTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(_server.start()); }

  // The body of a successful answer; "" when there was none.
  std::string answerBody(HttpRequest request) {
    auto result = sendAndWait(_client, std::move(request));
    return result && result->data ? *result->data : "";
  }

  DevServer _server;
  CurlHttpClient _client;
};

TEST_F(DevServerTest, ListensOnLoopbackOnAFreePort) {
  EXPECT_GT(_server.port(), 0);
  EXPECT_TRUE(_server.isRunning());
  EXPECT_EQ(_server.baseUrl(), "http://127.0.0.1:" + std::to_string(_server.port()));
}

TEST_F(DevServerTest, InspectorIsAtTheRootOfALoopbackAddress) {
  EXPECT_EQ(_server.inspectorUrl(), _server.baseUrl() + "/");
  EXPECT_TRUE(_server.loopbackOnly());
}

TEST(DevServerListenTest, AnyAddressIsNotLoopbackOnlyAndAnswersUnderAnyHostName) {
  DevServerOptions options;
  options.host = "0.0.0.0";
  DevServer server(std::move(options));
  ASSERT_TRUE(server.start());
  CurlHttpClient client;
  HttpRequest request;
  request.url = "http://127.0.0.1:" + std::to_string(server.port()) + "/inspect/profiles";
  request.headers = {{"Host", "shop-laptop.example:" + std::to_string(server.port())}};
  request.timeout = std::chrono::seconds(10);

  auto result = sendAndWait(client, request);

  EXPECT_FALSE(server.loopbackOnly());
  ASSERT_TRUE(result && result->response);
  EXPECT_EQ(result->response->statusCode, 200);
}

TEST_F(DevServerTest, RpcUrlHasTheClientsAddressForm) {
  EXPECT_EQ(_server.rpcUrl(), _server.baseUrl() + "/DG/DEFAULT/rest/rpc/json/?");
  EXPECT_EQ(_server.rpcUrl("g", "z"), _server.baseUrl() + "/DG/g/rest/rpc/json/z/?");
}

TEST_F(DevServerTest, AnswersTheProtocolOnAZonePath) {
  const std::string body = answerBody(post(_server.rpcUrl("g1", "z1") + "x=1"));

  const std::string id = _server.service().profileIds().at(0);
  EXPECT_EQ(body, R"([{"id":"0","profileId":")" + id +
                      R"(","zoneId":"z1","result":{"domainGroupId":"g1"}}])");
}

TEST_F(DevServerTest, RecordsPathQueryHeadersAndBody) {
  HttpRequest request = post(_server.rpcUrl() + "overruleReferrer=a.b&time=13:2");
  request.headers = {{"referer", "app://a.b/home"}};

  ASSERT_TRUE(sendAndWait(_client, request));

  ASSERT_EQ(_server.requestCount(), 1U);
  const RecordedRequest received = _server.requests()[0];
  EXPECT_EQ(received.method, "POST");
  EXPECT_EQ(received.path, "/DG/DEFAULT/rest/rpc/json/");
  EXPECT_EQ(received.query, "overruleReferrer=a.b&time=13:2");
  EXPECT_EQ(received.header("Referer"), "app://a.b/home");
  EXPECT_FALSE(received.hasHeader("REMOTE_ADDR"));
  EXPECT_EQ(received.body, kGetProfile);
  EXPECT_EQ(_server.service().pageViewCount("PAGEVIEW", "home"), 0);
}

TEST_F(DevServerTest, RecognisesTheVisitorByItsCookie) {
  ASSERT_TRUE(sendAndWait(_client, post(_server.rpcUrl())));
  ASSERT_TRUE(sendAndWait(_client, post(_server.rpcUrl())));

  EXPECT_EQ(_server.service().profileIds().size(), 1U);
}

TEST_F(DevServerTest, ClearRequestsForgetsWhatWasRecorded) {
  ASSERT_TRUE(sendAndWait(_client, post(_server.rpcUrl())));

  _server.clearRequests();

  EXPECT_EQ(_server.requestCount(), 0U);
}

TEST_F(DevServerTest, OtherPathsAreNotFound) {
  auto result = sendAndWait(_client, post(_server.baseUrl() + "/elsewhere"));

  ASSERT_TRUE(result && result->response);
  EXPECT_EQ(result->response->statusCode, 404);
  EXPECT_EQ(_server.requests().at(0).path, "/elsewhere");
}

TEST_F(DevServerTest, GetOnTheProtocolAddressIsMethodNotAllowed) {
  HttpRequest request = post(_server.rpcUrl());
  request.method = "GET";
  request.body.clear();

  auto result = sendAndWait(_client, request);

  ASSERT_TRUE(result && result->response);
  EXPECT_EQ(result->response->statusCode, 405);
}

TEST_F(DevServerTest, DropsAsManyConnectionsAsAsked) {
  _server.dropNextConnections(2);

  auto first = sendAndWait(_client, post(_server.rpcUrl()));
  auto second = sendAndWait(_client, post(_server.rpcUrl()));
  auto third = sendAndWait(_client, post(_server.rpcUrl()));

  ASSERT_TRUE(first && first->error && second && second->error);
  EXPECT_EQ(first->error->code, UrlError::kNetworkConnectionLost);
  EXPECT_EQ(second->error->code, UrlError::kNetworkConnectionLost);
  ASSERT_TRUE(third && third->response);
  EXPECT_EQ(third->response->statusCode, 200);
  EXPECT_EQ(_server.requestCount(), 3U);
  EXPECT_EQ(_server.pendingFaults(), 0U);
}

TEST_F(DevServerTest, DelayedAnswerIsTheNormalAnswer) {
  _server.delayNextAnswers(std::chrono::milliseconds(50));

  const std::string body = answerBody(post(_server.rpcUrl()));

  EXPECT_TRUE(body.starts_with(R"([{"id":"0","profileId":")")) << body;
}

TEST_F(DevServerTest, AnswersWithAGivenStatusAndBody) {
  _server.answerNextWithStatus(500, "oops");

  auto result = sendAndWait(_client, post(_server.rpcUrl()));

  ASSERT_TRUE(result && result->response && result->data);
  EXPECT_EQ(result->response->statusCode, 500);
  EXPECT_EQ(*result->data, "oops");
}

TEST_F(DevServerTest, MultipleChoicesCarriesTheLocationInItsBody) {
  _server.answerNextWithMultipleChoices("http://127.0.0.1:1/elsewhere");
  _server.answerNextWithMultipleChoices(std::nullopt);

  auto withLocation = sendAndWait(_client, post(_server.rpcUrl()));
  auto withoutLocation = sendAndWait(_client, post(_server.rpcUrl()));

  ASSERT_TRUE(withLocation && withLocation->response && withLocation->data);
  EXPECT_EQ(withLocation->response->statusCode, 300);
  EXPECT_EQ(*withLocation->data, R"({"location":"http://127.0.0.1:1/elsewhere"})");
  ASSERT_TRUE(withoutLocation && withoutLocation->data);
  EXPECT_EQ(*withoutLocation->data, "{}");
}

TEST_F(DevServerTest, RedirectSendsTheClientToAnotherPath) {
  _server.redirectNext(307, "/DG/other/rest/rpc/json/");

  auto result = sendAndWait(_client, post(_server.rpcUrl()));

  ASSERT_TRUE(result && result->response);
  EXPECT_EQ(result->response->url, _server.baseUrl() + "/DG/other/rest/rpc/json/");
  ASSERT_EQ(_server.requestCount(), 2U);
  EXPECT_EQ(_server.requests()[1].path, "/DG/other/rest/rpc/json/");
}

TEST_F(DevServerTest, AnswersWithAGivenBody) {
  _server.answerNextWithBody("garbage");

  EXPECT_EQ(answerBody(post(_server.rpcUrl())), "garbage");
}

TEST_F(DevServerTest, TruncatedBodyIsTheFirstHalfOfTheAnswer) {
  _server.truncateNextAnswers(1);

  const std::string body = answerBody(post(_server.rpcUrl()));

  const std::string id = _server.service().profileIds().at(0);
  const std::string whole =
      R"([{"id":"0","profileId":")" + id + R"(","result":{"domainGroupId":"DEFAULT"}}])";
  EXPECT_EQ(body, whole.substr(0, whole.size() / 2));
}

TEST_F(DevServerTest, CutConnectionLosesTheConnectionMidAnswer) {
  _server.cutNextAnswers(1);

  auto result = sendAndWait(_client, post(_server.rpcUrl()));

  ASSERT_TRUE(result && result->error);
  EXPECT_EQ(result->error->code, UrlError::kNetworkConnectionLost);
}

TEST_F(DevServerTest, FaultsApplyInTheOrderGiven) {
  _server.answerNextWithStatus(501);
  _server.answerNextWithStatus(502);
  _server.clearFaults();
  _server.answerNextWithStatus(503);
  _server.answerNextWithStatus(504);

  auto first = sendAndWait(_client, post(_server.rpcUrl()));
  auto second = sendAndWait(_client, post(_server.rpcUrl()));
  auto third = sendAndWait(_client, post(_server.rpcUrl()));

  ASSERT_TRUE(first && first->response && second && second->response && third && third->response);
  EXPECT_EQ(first->response->statusCode, 503);
  EXPECT_EQ(second->response->statusCode, 504);
  EXPECT_EQ(third->response->statusCode, 200);
}

TEST_F(DevServerTest, StopInterruptsADelayedAnswer) {
  _server.delayNextAnswers(std::chrono::minutes(10));
  _client.send(post(_server.rpcUrl()), [](const platform::HttpResult&) {});
  ASSERT_TRUE(_server.waitForRequests(1, std::chrono::seconds(10)));

  _server.stop();

  EXPECT_FALSE(_server.isRunning());
  EXPECT_TRUE(_client.waitUntilIdle(std::chrono::seconds(10)));
}

TEST_F(DevServerTest, WaitForHandledCountsAnsweredAndDroppedRequests) {
  _server.dropNextConnections(1);

  ASSERT_TRUE(sendAndWait(_client, post(_server.rpcUrl())));
  ASSERT_TRUE(sendAndWait(_client, post(_server.rpcUrl())));

  EXPECT_TRUE(_server.waitForHandled(2, std::chrono::seconds(10)));
  EXPECT_FALSE(_server.waitForHandled(3, std::chrono::milliseconds(1)));
}

TEST(DevServerLogTest, LogsEachRequestWhenAsked) {
  std::vector<std::string> lines;
  std::mutex mutex;
  DevServerOptions options;
  options.logRequests = true;
  options.logSink = [&](std::string_view line) {
    std::lock_guard<std::mutex> lock(mutex);
    lines.emplace_back(line);
  };
  DevServer server(std::move(options));
  ASSERT_TRUE(server.start());
  server.dropNextConnections(1);
  CurlHttpClient client;

  ASSERT_TRUE(sendAndWait(client, post(server.rpcUrl() + "a=1", "[]")));
  ASSERT_TRUE(sendAndWait(client, post(server.rpcUrl() + "a=2", "[]")));
  ASSERT_TRUE(server.waitForHandled(2, std::chrono::seconds(10)));

  std::lock_guard<std::mutex> lock(mutex);
  EXPECT_THAT(lines, ElementsAre("POST /DG/DEFAULT/rest/rpc/json/?a=1 -> drop connection\n"
                                 "  request: []",
                                 "POST /DG/DEFAULT/rest/rpc/json/?a=2 -> 200\n  request: []\n"
                                 "  answer:  []"));
}

TEST(DevServerStartTest, SecondStartFails) {
  DevServer server;
  ASSERT_TRUE(server.start());
  EXPECT_EQ(server.startError(), "");
  EXPECT_FALSE(server.start());
  EXPECT_EQ(server.startError(), "already started");
}

TEST(DevServerStartTest, BusyPortFails) {
  DevServer first;
  ASSERT_TRUE(first.start());
  DevServerOptions options;
  options.port = first.port();
  DevServer second(std::move(options));

  EXPECT_FALSE(second.start());
  EXPECT_EQ(second.startError(), "cannot listen on 127.0.0.1:" + std::to_string(first.port()));
}

// A page view of `screen` by a new visitor: the profile command and the interactions request.
HttpRequest pageViewOf(std::string url, const std::string& screen) {
  HttpRequest request = post(
      std::move(url),
      R"([{"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"},)"
      R"({"method":"createEvent","alt":"json","id":"4","params":"{\"type\":[\"PAGEVIEW\"],\"interaction\":[]}"}])");
  request.setHeader("referer", "app://com.example.shop/" + screen);
  return request;
}

// The "result" of the interactions request in a page view's answer.
std::string interactionsAnswer(const DevServer& server, const std::string& screen) {
  CurlHttpClient client;
  auto result = sendAndWait(client, pageViewOf(server.rpcUrl(), screen));
  if (!result || !result->data) return "(no answer)";
  auto answer = JsonValue::parse(*result->data);
  return answer ? (*answer)[1]["result"].toCompactString() : "(not JSON)";
}

TEST(DevServerConfigTest, ConfiguredServerAnswersEachScreenWithItsInteractions) {
  DevServerOptions options;
  options.config = JsonValue::parse(R"({
      "screens": {"home": [{"pluginClass":"MyApp.Banner","id":"i1"}]},
      "segments": [{"id":"everyone","name":"All"}],
      "connections": [{"id":"crm","parameters":[{"parameter":[]}]}]})");
  DevServer server(std::move(options));
  ASSERT_TRUE(server.start()) << server.startError();

  EXPECT_EQ(interactionsAnswer(server, "home"),
            R"({"interactions":[{"pluginClass":"MyApp.Banner","id":"i1"}],)"
            R"("segments":[{"id":"everyone","name":"All"}],)"
            R"("connections":[{"id":"crm","parameters":[{"parameter":[]}]}]})");
  EXPECT_EQ(interactionsAnswer(server, "cart"),
            R"({"interactions":[],"segments":[{"id":"everyone","name":"All"}],)"
            R"("connections":[{"id":"crm","parameters":[{"parameter":[]}]}]})");
}

TEST(DevServerConfigTest, ConfigurationFileIsRead) {
  DevServerOptions options;
  options.configFile = PELORIN_DEVSERVER_EXAMPLE_CONFIG;
  DevServer server(std::move(options));
  ASSERT_TRUE(server.start()) << server.startError();

  auto result = JsonValue::parse(interactionsAnswer(server, "home"));
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ((*result)["interactions"][0]["id"].string(), "interaction-1");
}

TEST(DevServerConfigTest, UnusableConfigurationStopsTheStart) {
  DevServerOptions options;
  options.config = JsonValue::parse(R"({"screens":{"home":[1]}})");
  DevServer server(std::move(options));

  EXPECT_FALSE(server.start());
  EXPECT_FALSE(server.isRunning());
  EXPECT_EQ(server.startError(),
            "configuration: screens.home[0]: an interaction must be an object");
}

TEST(DevServerConfigTest, MissingConfigurationFileStopsTheStart) {
  DevServerOptions options;
  options.configFile = "/nonexistent/pelorin-config.json";
  DevServer server(std::move(options));

  EXPECT_FALSE(server.start());
  EXPECT_EQ(server.startError(), "/nonexistent/pelorin-config.json: cannot be read");
}

TEST(DevServerConfigTest, OnlyOneSourceOfScreenContent) {
  DevServerOptions options;
  options.config = JsonValue::parse("{}");
  options.screenContent = std::make_unique<EmptyScreenContent>();
  DevServer server(std::move(options));

  EXPECT_FALSE(server.start());
  EXPECT_EQ(server.startError(), "give only one of screenContent, config and configFile");
}

// The executable, started as a user would, prints where it listens and serves there.
TEST(DevServerExecutableTest, PrintsTheAddressItListensOn) {
  int out[2];
  ASSERT_EQ(pipe(out), 0);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  std::string program = PELORIN_DEVSERVER_EXECUTABLE;
  std::string portFlag = "--port";
  std::string portValue = "0";
  char* argv[] = {program.data(), portFlag.data(), portValue.data(), nullptr};
  pid_t child = 0;
  ASSERT_EQ(posix_spawn(&child, program.c_str(), &actions, nullptr, argv, environ), 0);
  posix_spawn_file_actions_destroy(&actions);
  close(out[1]);
  FILE* output = fdopen(out[0], "r");
  char line[256] = {};
  const bool gotLine = fgets(line, sizeof(line), output) != nullptr;

  std::string printed(line);
  std::string url;
  const std::string prefix = "pelorin-devserver listening on ";
  if (printed.starts_with(prefix))
    url = printed.substr(prefix.size(), printed.size() - prefix.size() - 1);
  CurlHttpClient client;
  auto result =
      url.empty() ? std::nullopt : sendAndWait(client, post(url + "/DG/DEFAULT/rest/rpc/json/?"));

  kill(child, SIGTERM);
  int status = 0;
  waitpid(child, &status, 0);
  fclose(output);
  ASSERT_TRUE(gotLine);
  EXPECT_TRUE(url.starts_with("http://127.0.0.1:")) << printed;
  ASSERT_TRUE(result && result->response);
  EXPECT_EQ(result->response->statusCode, 200);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

// The executable started with `args`, its standard output and error read through pipes.
class DevServerProcess {
 public:
  explicit DevServerProcess(std::vector<std::string> args) {
    int out[2];
    int err[2];
    if (pipe(out) != 0 || pipe(err) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    posix_spawn_file_actions_addclose(&actions, err[0]);
    args.insert(args.begin(), PELORIN_DEVSERVER_EXECUTABLE);
    std::vector<char*> argv;
    argv.reserve(args.size() + 1);
    for (auto& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    if (posix_spawn(&_pid, args[0].c_str(), &actions, nullptr, argv.data(), environ) != 0) {
      _pid = 0;
    }
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    close(err[1]);
    _out = fdopen(out[0], "r");
    _err = fdopen(err[0], "r");
  }
  ~DevServerProcess() {
    if (_pid != 0) {
      kill(_pid, SIGKILL);
      waitpid(_pid, nullptr, 0);
    }
    if (_out != nullptr) fclose(_out);
    if (_err != nullptr) fclose(_err);
  }
  DevServerProcess(const DevServerProcess&) = delete;
  DevServerProcess& operator=(const DevServerProcess&) = delete;

  bool started() const { return _pid != 0; }
  // The next line of standard output or error, without its end; "" at the end.
  std::string outputLine() { return lineOf(_out); }
  std::string errorLine() { return lineOf(_err); }
  // Sends `signal` (none: 0) and waits for the exit; the wait status.
  int exit(int signal) {
    if (signal != 0) kill(_pid, signal);
    int status = 0;
    waitpid(_pid, &status, 0);
    _pid = 0;
    return status;
  }

 private:
  static std::string lineOf(FILE* file) {
    char line[512] = {};
    if (file == nullptr || fgets(line, sizeof(line), file) == nullptr) return "";
    std::string text(line);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
  }

  pid_t _pid = 0;
  FILE* _out = nullptr;
  FILE* _err = nullptr;
};

TEST(DevServerExecutableTest, ServesTheConfigurationGivenWithConfig) {
  DevServerProcess process({"--port", "0", "--config", PELORIN_DEVSERVER_EXAMPLE_CONFIG});
  ASSERT_TRUE(process.started());
  const std::string printed = process.outputLine();
  const std::string prefix = "pelorin-devserver listening on ";
  ASSERT_TRUE(printed.starts_with(prefix)) << printed;
  CurlHttpClient client;
  auto result = sendAndWait(
      client, pageViewOf(printed.substr(prefix.size()) + "/DG/DEFAULT/rest/rpc/json/?", "home"));

  const int status = process.exit(SIGTERM);
  ASSERT_TRUE(result && result->data);
  auto answer = JsonValue::parse(*result->data);
  ASSERT_TRUE(answer.has_value()) << *result->data;
  EXPECT_EQ((*answer)[1]["result"]["interactions"][0]["pluginClass"].string(), "MyApp.Banner");
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(DevServerExecutableTest, PrintsTheInspectorsAddress) {
  DevServerProcess process({"--port", "0"});
  ASSERT_TRUE(process.started());
  const std::string listening = process.outputLine();
  const std::string client = process.outputLine();
  const std::string inspector = process.outputLine();
  const std::string prefix = "pelorin-devserver listening on ";
  ASSERT_TRUE(listening.starts_with(prefix)) << listening;
  const std::string base = listening.substr(prefix.size());
  CurlHttpClient curl;
  HttpRequest page;
  page.url = base + "/";
  page.timeout = std::chrono::seconds(10);
  auto result = sendAndWait(curl, page);

  const int status = process.exit(SIGTERM);
  EXPECT_TRUE(base.starts_with("http://127.0.0.1:")) << base;
  EXPECT_EQ(client, "client address: " + base + "/DG/DEFAULT/rest/rpc/json/?");
  EXPECT_EQ(inspector, "inspector: " + base + "/");
  ASSERT_TRUE(result && result->response && result->data);
  EXPECT_EQ(result->response->statusCode, 200);
  EXPECT_THAT(*result->data, ::testing::HasSubstr("<title>Pelorin inspector</title>"));
  EXPECT_TRUE(WIFEXITED(status));
}

TEST(DevServerExecutableTest, ListenOnAnotherAddressSaysTheInspectorIsReachableFromTheNetwork) {
  DevServerProcess process({"--port", "0", "--listen", "0.0.0.0"});
  ASSERT_TRUE(process.started());
  const std::string listening = process.outputLine();
  process.outputLine();
  const std::string inspector = process.outputLine();
  process.exit(SIGTERM);

  const std::string prefix = "pelorin-devserver listening on ";
  ASSERT_TRUE(listening.starts_with(prefix + "http://0.0.0.0:")) << listening;
  EXPECT_EQ(inspector, "inspector: " + listening.substr(prefix.size()) +
                           "/ (reachable from the network: anyone who can reach this port sees "
                           "what the apps send)");
}

TEST(DevServerExecutableTest, UnusableConfigurationIsReportedAndEndsTheProgram) {
  DevServerProcess process({"--config", "/nonexistent/pelorin-config.json"});
  ASSERT_TRUE(process.started());

  EXPECT_EQ(process.errorLine(),
            "pelorin-devserver: /nonexistent/pelorin-config.json: cannot be read");
  const int status = process.exit(0);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_EQ(process.outputLine(), "");
}

}  // namespace
}  // namespace pelorin::devserver
