// The devserver's inspector page rendered in headless Chromium: after the demo's journey it
// shows the visitor's final properties and the checkout page view; markup the app sends is
// shown as text. Skipped when no Chromium is installed.
#include <httplib.h>

#include <sys/wait.h>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json.hpp>

#include "devserver/dev_server.h"
#include "json/json_value_access.h"
#include "support/child_process.h"
#include "support/chromium.h"
#include "support/temp_folder.h"

namespace pelorin::devserver {
namespace {

namespace json = boost::json;
using ::testing::HasSubstr;
using ::testing::Not;

// Text as the browser writes a text node back out.
std::string escaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

// The row the page shows for a property: its name, then its values separated by commas.
std::string propertyRow(const std::string& name, const std::vector<std::string>& values) {
  std::string row = "<tr><th>" + escaped(name) + "</th><td><span>";
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) row += ", ";
    row += R"(<span class="json-string">)" + escaped(values[i]) + "</span>";
  }
  return row + "</span></td></tr>";
}

class InspectorBrowserTest : public ::testing::Test {
 protected:
  void SetUp() override {
    _chromium = testing::findChromium();
    if (!_chromium) GTEST_SKIP() << testing::kChromiumSkipMessage;
    ASSERT_TRUE(_server.start()) << _server.startError();
  }

  static DevServerOptions demoOptions() {
    DevServerOptions options;
    options.configFile = PELORIN_DEMO_CONFIG;
    return options;
  }

  // The page at `address` once its script has fetched and shown what the server holds.
  std::string renderedPage(const std::string& address) {
    return testing::runChromium(*_chromium, _folder.path(),
                                {"--virtual-time-budget=5000", "--dump-dom", address})
        .value_or("");
  }

  std::optional<std::filesystem::path> _chromium;
  testing::TempFolder _folder;
  DevServer _server{demoOptions()};
};

TEST_F(InspectorBrowserTest, AfterTheDemosJourneyShowsTheFinalPropertiesAndTheCheckoutPageView) {
  testing::ChildProcess demo({PELORIN_DEMO_EXECUTABLE, "--server", _server.baseUrl() + "/"});
  ASSERT_TRUE(demo.started());
  demo.readAll(std::chrono::seconds(150));
  const int status = demo.wait();
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << demo.output();
  ASSERT_EQ(_server.service().profileIds().size(), 1U);
  const std::string id = _server.service().profileIds()[0];
  const Parameters properties = _server.service().properties(id).value_or(Parameters());
  ASSERT_GT(properties.size(), 20U);

  const std::string page = renderedPage(_server.inspectorUrl());

  EXPECT_THAT(page, HasSubstr("<title>Pelorin inspector</title>"));
  EXPECT_THAT(page, HasSubstr("<h3>Profile <span class=\"profile-id\">" + id + "</span></h3>"));
  for (const auto& [name, values] : properties) {
    if (name.starts_with("_")) continue;  // folded away as hidden point data
    EXPECT_THAT(page, HasSubstr(propertyRow(name, values))) << name;
  }
  EXPECT_THAT(page, HasSubstr(propertyRow("city", {"Utrecht"})));
  EXPECT_THAT(page, HasSubstr(propertyRow("engagement_score", {"23"})));
  EXPECT_THAT(page, HasSubstr(propertyRow("interest_ranking", {"running", "hiking"})));
  // The checkout page view: in the visitor's screens, and in the list of requests.
  EXPECT_THAT(page, HasSubstr("<tr><td>PAGEVIEW</td><td>checkout</td><td>1</td><td><div>"
                              "PelorinClient.FullscreenLightbox · spring-sale · Spring sale"
                              "</div>"));
  EXPECT_THAT(page, HasSubstr(R"(<span class="screen">screen checkout</span>)"));
  EXPECT_THAT(page, HasSubstr(R"(<span class="tag">Customers</span>)"));
}

TEST_F(InspectorBrowserTest, AFilterInTheAddressShowsOnlyTheMatchingRequests) {
  httplib::Client client("127.0.0.1", _server.port());
  const std::string getProfile =
      R"([{"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"}])";
  const std::string pageView =
      R"([{"method":"createEvent","alt":"json","id":"1","params":"{\"type\":[\"PAGEVIEW\"]}"}])";
  for (const std::string& body : {getProfile, pageView, getProfile}) {
    ASSERT_TRUE(client.Post("/DG/DEFAULT/rest/rpc/json/", body, "text/plain"));
  }
  ASSERT_TRUE(_server.waitForHandled(3, std::chrono::seconds(10)));

  const std::string page = renderedPage(_server.inspectorUrl() + "?filter=PageView");

  EXPECT_THAT(page, HasSubstr(R"(<li id="request-2">)"));
  EXPECT_THAT(page, Not(HasSubstr(R"(<li id="request-1">)")));
  EXPECT_THAT(page, Not(HasSubstr(R"(<li id="request-3">)")));
  EXPECT_THAT(page, HasSubstr(R"(<span id="request-count">(1)</span>)"));
}

TEST_F(InspectorBrowserTest, MarkupFromTheAppIsShownAsText) {
  const std::string screen = R"(<img src=x onerror="document.title='owned'">)";
  const std::string value = "<script>document.title='owned'</script>";
  auto command = [](std::string_view method, std::string_view id, const json::object& params) {
    return json::object{
        {"method", method}, {"alt", "json"}, {"id", id}, {"params", json::serialize(params)}};
  };
  const json::array batch = {
      command("getProfile", "0", {{"forceCreate", json::array{"true"}}}),
      command("setProperties", "1", {{"properties", {{"note", json::array{value}}}}}),
      command("createEvent", "2", {{"type", json::array{"PAGEVIEW"}}})};
  httplib::Client client("127.0.0.1", _server.port());
  auto posted =
      client.Post("/DG/DEFAULT/rest/rpc/json/",
                  {{"referer", "app://com.example.shop/" + screen}, {"User-Agent", "<b>agent</b>"}},
                  json::serialize(batch), "text/plain");
  ASSERT_TRUE(posted);
  ASSERT_EQ(posted->status, 200);
  ASSERT_TRUE(_server.waitForHandled(1, std::chrono::seconds(10)));

  // With the request opened, so its headers and commands are on the page too.
  const std::string page = renderedPage(_server.inspectorUrl() + "#request-1");

  EXPECT_THAT(page, HasSubstr("<title>Pelorin inspector</title>"));
  EXPECT_THAT(page, Not(HasSubstr("owned</title>")));
  EXPECT_THAT(page, HasSubstr(propertyRow("note", {value})));
  EXPECT_THAT(page, HasSubstr(R"(<span class="screen">screen )" + escaped(screen) + "</span>"));
  EXPECT_THAT(page, HasSubstr("<td>PAGEVIEW</td><td>" + escaped(screen) + "</td>"));
  EXPECT_THAT(page, HasSubstr("<td>app://com.example.shop/" + escaped(screen) + "</td>"));
  EXPECT_THAT(page, HasSubstr("<td>&lt;b&gt;agent&lt;/b&gt;</td>"));
  EXPECT_THAT(page, Not(HasSubstr("<img")));
  EXPECT_THAT(page, Not(HasSubstr("<script>document")));
  EXPECT_THAT(page, Not(HasSubstr("<b>")));
}

}  // namespace
}  // namespace pelorin::devserver
