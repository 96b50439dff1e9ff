// The devserver's inspector over HTTP: what its JSON API records of each batch, its bounds,
// and the headers and host check that keep its page safe.
#include "devserver/inspector.h"
#include "json/json_value_access.h"

#include <httplib.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include <boost/json.hpp>

#include "devserver/dev_server.h"

namespace pelorin::devserver {
namespace {

namespace json = boost::json;
using ::testing::HasSubstr;
using ::testing::Not;

// 1 May 2026, 12:00:00.250 UTC.
std::chrono::system_clock::time_point pinnedTime() {
  using namespace std::chrono;
  return sys_days{year{2026} / May / 1} + hours{12} + milliseconds{250};
}

// One command as the client sends it: "params" is the JSON text of an object.
json::object command(std::string_view method, std::string_view id, const json::object& params) {
  return json::object{
      {"method", method}, {"alt", "json"}, {"id", id}, {"params", json::serialize(params)}};
}

json::value parse(const std::string& text) {
  boost::system::error_code error;
  json::value value = json::parse(text, error);
  EXPECT_FALSE(error) << text;
  return value;
}

class InspectorTest : public ::testing::Test {
 protected:
  explicit InspectorTest(DevServerOptions options = withPinnedClock())
      : _server(std::move(options)) {}

  static DevServerOptions withPinnedClock() {
    DevServerOptions options;
    options.inspector.clock = pinnedTime;
    return options;
  }

  void SetUp() override {
    ASSERT_TRUE(_server.start());
    _client = std::make_unique<httplib::Client>("127.0.0.1", _server.port());
  }

  // POSTs a batch to the protocol's address with the given headers and waits until the
  // server has recorded its answer.
  httplib::Result postBatch(const json::array& batch, const httplib::Headers& headers = {}) {
    const std::size_t before = _handled;
    auto result = _client->Post("/DG/DEFAULT/rest/rpc/json/?time=12:00", headers,
                                json::serialize(batch), "text/plain");
    _handled = before + 1;
    EXPECT_TRUE(_server.waitForHandled(_handled, std::chrono::seconds(10)));
    return result;
  }

  json::value getJson(const std::string& path, int expectedStatus = 200) {
    auto result = _client->Get(path);
    EXPECT_TRUE(result);
    if (!result) return nullptr;
    EXPECT_EQ(result->status, expectedStatus) << path;
    EXPECT_EQ(result->get_header_value("Content-Type"), "application/json");
    return parse(result->body);
  }

  DevServer _server;
  std::unique_ptr<httplib::Client> _client;
  std::size_t _handled = 0;
};

TEST_F(InspectorTest, RecordsABatchWithItsHeadersCommandsAndAnswer) {
  const json::array batch = {command("getProfile", "0", {{"forceCreate", json::array{"true"}}}),
                             command("createEvent", "4", {{"type", json::array{"PAGEVIEW"}}})};
  auto posted = postBatch(
      batch, {{"User-Agent", "Pelorin iOS SDK 2.8.2"}, {"referer", "app://com.example.shop/home"}});
  ASSERT_TRUE(posted);
  ASSERT_EQ(_server.service().profileIds().size(), 1U);
  const std::string profileId = _server.service().profileIds()[0];

  const json::value page = getJson("/inspect/requests?since=0");

  const std::string body = json::serialize(batch);
  const json::value expected = {
      {"cursor", 2},
      {"capacity", 1000},
      {"kept", 1},
      {"dropped", 0},
      {"requests",
       json::array{json::object{
           {"seq", 1},
           {"time", "2026-05-01T12:00:00.250Z"},
           {"method", "POST"},
           {"path", "/DG/DEFAULT/rest/rpc/json/"},
           {"query", "time=12:00"},
           {"profileId", profileId},
           {"headers",
            json::array{json::array{"Accept", "*/*"}, json::array{"Connection", "close"},
                        json::array{"Content-Length", std::to_string(body.size())},
                        json::array{"Content-Type", "text/plain"},
                        json::array{"Host", "127.0.0.1:" + std::to_string(_server.port())},
                        json::array{"referer", "app://com.example.shop/home"},
                        json::array{"User-Agent", "Pelorin iOS SDK 2.8.2"}}},
           {"commands",
            json::array{json::object{{"method", "getProfile"},
                                     {"alt", "json"},
                                     {"id", "0"},
                                     {"params", {{"forceCreate", json::array{"true"}}}}},
                        json::object{{"method", "createEvent"},
                                     {"alt", "json"},
                                     {"id", "4"},
                                     {"params", {{"type", json::array{"PAGEVIEW"}}}}}}},
           {"body", {{"size", body.size()}, {"truncated", false}}},
           {"answer",
            {{"size", posted->body.size()},
             {"truncated", false},
             {"json", parse(posted->body)},
             {"status", 200},
             {"fault", ""}}}}}}};
  EXPECT_EQ(page, expected) << json::serialize(page);
}

TEST_F(InspectorTest, SinceGivesOnlyWhatChangedAfterTheCursor) {
  postBatch({command("getProfile", "0", {{"forceCreate", json::array{"true"}}})});
  const json::value first = getJson("/inspect/requests?since=0");
  postBatch({command("getProperties", "1", {})});

  const json::value later =
      getJson("/inspect/requests?since=" + std::to_string(first.at("cursor").as_int64()));

  EXPECT_EQ(first.at("cursor"), json::value(2));
  EXPECT_EQ(later.at("cursor"), json::value(4));
  ASSERT_EQ(later.at("requests").as_array().size(), 1U);
  EXPECT_EQ(later.at("requests").at(0).at("seq"), json::value(2));
  EXPECT_EQ(getJson("/inspect/requests?since=4").at("requests"), json::array());
  EXPECT_EQ(getJson("/inspect/requests").at("requests").as_array().size(), 2U);
}

TEST_F(InspectorTest, ARequestWaitingForItsAnswerComesAgainOnceAnswered) {
  _server.delayNextAnswers(std::chrono::seconds(30));
  std::thread waiting([this] {
    httplib::Client client("127.0.0.1", _server.port());
    client.Post("/DG/DEFAULT/rest/rpc/json/", "[]", "text/plain");
  });
  ASSERT_TRUE(_server.waitForRequests(1, std::chrono::seconds(10)));

  const json::value during = getJson("/inspect/requests?since=0");
  _server.stop();  // cuts the delay short: the request is answered
  waiting.join();
  ASSERT_TRUE(_server.waitForHandled(1, std::chrono::seconds(10)));

  EXPECT_EQ(during.at("cursor"), json::value(1));
  EXPECT_EQ(during.at("requests").at(0).at("answer"), json::value(nullptr));
  // The inspector still holds the record after the server stopped.
  _server.start();
  _client = std::make_unique<httplib::Client>("127.0.0.1", _server.port());
  const json::value after = getJson("/inspect/requests?since=1");
  ASSERT_EQ(after.at("requests").as_array().size(), 1U);
  EXPECT_EQ(after.at("requests").at(0).at("answer").at("fault"), json::value("delay"));
  EXPECT_EQ(after.at("requests").at(0).at("answer").at("json"), json::array());
}

TEST_F(InspectorTest, KeepsTheLastThousandRequestsAndCountsTheDropped) {
  for (int i = 0; i < 1001; ++i) {
    ASSERT_TRUE(_client->Post("/elsewhere", "", "text/plain"));
  }
  ASSERT_TRUE(_server.waitForHandled(1001, std::chrono::seconds(10)));

  const json::value page = getJson("/inspect/requests?since=0");

  EXPECT_EQ(page.at("capacity"), json::value(1000));
  EXPECT_EQ(page.at("kept"), json::value(1000));
  EXPECT_EQ(page.at("dropped"), json::value(1));
  const json::array& requests = page.at("requests").as_array();
  ASSERT_EQ(requests.size(), 1000U);
  EXPECT_EQ(requests.front().at("seq"), json::value(2));
  EXPECT_EQ(requests.back().at("seq"), json::value(1001));
  EXPECT_EQ(requests.back().at("path"), json::value("/elsewhere"));
  EXPECT_EQ(requests.back().at("answer").at("status"), json::value(404));
}

TEST_F(InspectorTest, ABodyOverTheAnswerLimitIsKeptAsItsSizeAndFirstKilobytes) {
  // Over the library's answer limit of 16 MiB.
  const std::string body = "[" + std::string(std::size_t{16} * 1024 * 1024, ' ') + "]";
  ASSERT_TRUE(_client->Post("/DG/DEFAULT/rest/rpc/json/", body, "text/plain"));
  ASSERT_TRUE(_server.waitForHandled(1, std::chrono::seconds(10)));

  const json::value page = getJson("/inspect/requests?since=0");

  const json::object& request = page.at("requests").at(0).as_object();
  EXPECT_EQ(
      request.at("body"),
      json::value({{"size", body.size()}, {"truncated", true}, {"text", body.substr(0, 4096)}}));
  EXPECT_FALSE(request.contains("commands"));
  EXPECT_EQ(request.at("answer").at("json"), json::array());
}

// cpp-httplib compresses the answer for a client that accepts gzip; the record keeps what
// the handler answered.
TEST_F(InspectorTest, AnAnswerSentCompressedIsRecordedAsAnswered) {
  auto posted = postBatch({command("getProfile", "0", {{"forceCreate", json::array{"true"}}})},
                          {{"Accept-Encoding", "gzip"}});
  ASSERT_TRUE(posted);
  ASSERT_EQ(posted->get_header_value("Content-Encoding"), "gzip");

  const json::value page = getJson("/inspect/requests?since=0");

  EXPECT_EQ(page.at("requests").at(0).at("answer").at("json"), parse(posted->body));
}

TEST_F(InspectorTest, InspectorRequestsAreNotRecorded) {
  getJson("/inspect/requests");
  getJson("/inspect/profiles");
  ASSERT_TRUE(_client->Get("/"));
  ASSERT_TRUE(_client->Get("/favicon.ico"));

  EXPECT_EQ(_server.requestCount(), 0U);
  EXPECT_EQ(getJson("/inspect/requests").at("requests"), json::array());
}

TEST_F(InspectorTest, SinceThatIsNotAWholeNumberIsABadRequest) {
  EXPECT_EQ(getJson("/inspect/requests?since=x", 400),
            json::value({{"error", "since must be a whole number"}}));
  EXPECT_EQ(getJson("/inspect/requests?since=-1", 400),
            json::value({{"error", "since must be a whole number"}}));
}

class InspectorProfileTest : public InspectorTest {
 protected:
  InspectorProfileTest() : InspectorTest(withConfig()) {}

  static DevServerOptions withConfig() {
    DevServerOptions options = withPinnedClock();
    options.config = *JsonValue::parse(R"({
      "screens": {"home": [{"pluginClass": "MyApp.Banner", "id": "interaction-1"}]},
      "segments": [{"id": "everyone", "name": "All visitors"},
                   {"id": "utrecht", "name": "Visitors from Utrecht",
                    "when": {"property": "city", "equals": "Utrecht"}}]})");
    return options;
  }
};

TEST_F(InspectorProfileTest, ProfileShowsPropertiesCountedEventsSegmentsAndScreens) {
  postBatch({command("getProfile", "0", {{"forceCreate", json::array{"true"}}}),
             command("setProperties", "1", {{"properties", {{"city", json::array{"Utrecht"}}}}}),
             command("createEvent", "2", {{"type", json::array{"PAGEVIEW"}}})},
            {{"referer", "app://com.example.shop/home"}});
  const std::string id = _server.service().profileIds().at(0);
  const httplib::Headers visitor = {{"Cookie", "pl_profile=" + id},
                                    {"referer", "app://com.example.shop/home"}};
  postBatch(
      {command("createEvent", "3",
               {{"type", json::array{"CLICK"}}, {"interaction", json::array{"interaction-1"}}}),
       command("createEvent", "4",
               {{"type", json::array{"CLICK"}}, {"interaction", json::array{"interaction-1"}}}),
       command("createEvent", "5", {{"type", json::array{"PAGEVIEW"}}})},
      visitor);

  const json::value profiles = getJson("/inspect/profiles");
  const json::value profile = getJson("/inspect/profiles/" + id);

  EXPECT_EQ(profiles, json::value({{"profiles", json::array{json::object{
                                                    {"id", id},
                                                    {"known", true},
                                                    {"requests", 2},
                                                    {"properties", 1},
                                                    {"lastSeen", "2026-05-01T12:00:00.250Z"}}}}}));
  const json::array banner = {
      json::object{{"pluginClass", "MyApp.Banner"}, {"id", "interaction-1"}}};
  EXPECT_EQ(
      profile,
      json::value(
          {{"id", id},
           {"known", true},
           {"properties", {{"city", json::array{"Utrecht"}}}},
           {"events", json::array{json::object{
                          {"interaction", "interaction-1"}, {"type", "CLICK"}, {"count", 2}}}},
           {"screens", json::array{json::object{{"event", "PAGEVIEW"},
                                                {"screen", "home"},
                                                {"count", 2},
                                                {"interactions", banner}}}},
           {"segments",
            json::array{json::object{{"id", "everyone"}, {"name", "All visitors"}},
                        json::object{{"id", "utrecht"}, {"name", "Visitors from Utrecht"}}}},
           {"requests", 2},
           {"lastSeen", "2026-05-01T12:00:00.250Z"}}))
      << json::serialize(profile);
}

TEST_F(InspectorProfileTest, AProfileSeededByATestIsListedWithoutRequests) {
  const std::string id = _server.service().createProfile();

  EXPECT_EQ(getJson("/inspect/profiles"),
            json::value({{"profiles", json::array{json::object{{"id", id},
                                                               {"known", true},
                                                               {"requests", 0},
                                                               {"properties", 0},
                                                               {"lastSeen", nullptr}}}}}));
  EXPECT_EQ(getJson("/inspect/profiles/" + id).at("segments"), json::value(nullptr));
}

TEST_F(InspectorProfileTest, UnknownProfileIsNotFound) {
  EXPECT_EQ(getJson("/inspect/profiles/0123456789abcdef0000", 404),
            json::value({{"error", "no such profile"}}));
}

TEST_F(InspectorTest, PageAndScriptComeWithAPolicyThatAllowsOnlyTheirOwnFiles) {
  auto page = _client->Get("/");
  auto script = _client->Get("/inspector.js");
  auto style = _client->Get("/inspector.css");

  ASSERT_TRUE(page && script && style);
  const std::string policy =
      "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
      "img-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
  for (const auto* result : {&page, &script, &style}) {
    EXPECT_EQ((*result)->status, 200);
    EXPECT_EQ((*result)->get_header_value("Content-Security-Policy"), policy);
    EXPECT_EQ((*result)->get_header_value("X-Content-Type-Options"), "nosniff");
  }
  EXPECT_EQ(page->get_header_value("Content-Type"), "text/html; charset=utf-8");
  EXPECT_EQ(script->get_header_value("Content-Type"), "text/javascript; charset=utf-8");
  EXPECT_EQ(style->get_header_value("Content-Type"), "text/css; charset=utf-8");
  EXPECT_THAT(page->body, HasSubstr(R"(<script src="/inspector.js" defer></script>)"));
  EXPECT_THAT(page->body, Not(HasSubstr("<script>")));
  EXPECT_THAT(script->body, Not(HasSubstr("innerHTML")));
  EXPECT_THAT(script->body, HasSubstr("/inspect/requests?since="));
}

// A web page whose host name was rebound to 127.0.0.1 reaches the server under that name.
TEST_F(InspectorTest, AnotherHostNameIsRefused) {
  for (const char* path : {"/", "/inspector.js", "/inspect/requests", "/inspect/profiles"}) {
    auto result =
        _client->Get(path, {{"Host", "attacker.example:" + std::to_string(_server.port())}});
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 403) << path;
    EXPECT_EQ(result->body, "The inspector answers only at a loopback address.\n");
  }
  auto local = _client->Get("/inspect/profiles", {{"Host", "localhost:1"}});
  ASSERT_TRUE(local);
  EXPECT_EQ(local->status, 200);
}

TEST(InspectorCapacityTest, ASmallerCapacityKeepsFewerRequests) {
  DevServerOptions options;
  options.inspector.capacity = 3;
  DevServer server(std::move(options));
  ASSERT_TRUE(server.start());
  httplib::Client client("127.0.0.1", server.port());
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(client.Post("/elsewhere", "", "text/plain"));
  ASSERT_TRUE(server.waitForHandled(5, std::chrono::seconds(10)));

  auto result = client.Get("/inspect/requests?since=0");

  ASSERT_TRUE(result);
  const json::value page = parse(result->body);
  EXPECT_EQ(page.at("capacity"), json::value(3));
  EXPECT_EQ(page.at("kept"), json::value(3));
  EXPECT_EQ(page.at("dropped"), json::value(2));
  EXPECT_EQ(page.at("requests").at(0).at("seq"), json::value(3));
  // Every request is still recorded for tests.
  EXPECT_EQ(server.requestCount(), 5U);
}

TEST(InspectorCapacityTest, ABodyAtTheLimitIsKeptWholeAndOneByteMoreIsCut) {
  DevServerOptions options;
  options.inspector.bodyLimit = 10;
  options.inspector.bodyPrefix = 4;
  DevServer server(std::move(options));
  ASSERT_TRUE(server.start());
  httplib::Client client("127.0.0.1", server.port());
  ASSERT_TRUE(client.Post("/elsewhere", "abcdefghij", "text/plain"));
  ASSERT_TRUE(client.Post("/elsewhere", "abcdefghijk", "text/plain"));
  ASSERT_TRUE(server.waitForHandled(2, std::chrono::seconds(10)));

  auto result = client.Get("/inspect/requests?since=0");

  ASSERT_TRUE(result);
  const json::value page = parse(result->body);
  EXPECT_EQ(page.at("requests").at(0).at("body"),
            json::value({{"size", 10}, {"truncated", false}, {"text", "abcdefghij"}}));
  EXPECT_EQ(page.at("requests").at(1).at("body"),
            json::value({{"size", 11}, {"truncated", true}, {"text", "abcd"}}));
}

TEST(InspectorCapacityTest, CapacityZeroRecordsNothing) {
  DevServerOptions options;
  options.inspector.capacity = 0;
  DevServer server(std::move(options));
  ASSERT_TRUE(server.start());
  httplib::Client client("127.0.0.1", server.port());
  ASSERT_TRUE(client.Post("/elsewhere", "", "text/plain"));
  ASSERT_TRUE(server.waitForHandled(1, std::chrono::seconds(10)));

  auto result = client.Get("/inspect/requests?since=0");

  ASSERT_TRUE(result);
  EXPECT_EQ(parse(result->body), json::value({{"cursor", 0},
                                              {"capacity", 0},
                                              {"kept", 0},
                                              {"dropped", 0},
                                              {"requests", json::array()}}));
}

}  // namespace
}  // namespace pelorin::devserver
