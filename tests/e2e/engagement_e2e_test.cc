// The engagement plug-ins end to end: the devserver's configuration starts a score and a
// ranking interaction on the Shop screen, content and taps earn points, the next tick sends
// the hidden point data, and the next page view brings back the visible values the devserver
// derived from it.
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <boost/json.hpp>

#include "e2e/client_fixture.h"
#include "json/json_value_access.h"
#include "pelorin/headless/toolkit.h"

namespace pelorin {
namespace {

using ::testing::ElementsAre;
using Strings = std::vector<std::string>;

constexpr std::string_view kScoreRules = R"({"rules": [
    {"ruletype": "scorecontent", "contentarea": {"selector": "#banner"}, "words": ["sale"],
     "points": 3},
    {"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"}, "points": 5}]})";

constexpr std::string_view kRankingRules = R"({"rules": [
    {"ruletype": "interestcontent", "contentarea": {"selector": "#banner"},
     "interests": ["pre_any"], "points": 2},
    {"ruletype": "interestclick", "clickarea": {"selector": "#buyButton"}, "interests": ["Hats"],
     "points": 4}]})";

boost::json::object interaction(
    std::string_view id, std::string_view pluginClass,
    const std::vector<std::pair<std::string, std::string_view>>& parameters) {
  boost::json::array list;
  for (const auto& [name, value] : parameters) {
    list.push_back(boost::json::object{{"id", name}, {"value", boost::json::array{value}}});
  }
  return boost::json::object{{"id", id},
                             {"pluginClass", pluginClass},
                             {"defaultLocale", "en"},
                             {"parameters", boost::json::array{boost::json::object{
                                                {"locale", "en"}, {"parameter", list}}}}};
}

devserver::DevServerOptions shopServer() {
  devserver::DevServerOptions options;
  boost::json::array shop{
      interaction("score-1", "PelorinClient.EngagementScoreListener",
                  {{"engagement_rules", kScoreRules},
                   {"propertyRules", R"([{"profileproperty": "engagement", "decay": 30}])"}}),
      interaction("ranking-1", "PelorinClient.EngagementRankingListener",
                  {{"engagement_rules", kRankingRules},
                   {"interests", R"({"values": ["Shoes", "Hats", "Bags"]})"}})};
  options.config =
      toJsonValue(boost::json::object{{"screens", boost::json::object{{"Shop", shop}}}});
  return options;
}

class EngagementE2ETest : public testing::ClientE2ETest {
 protected:
  EngagementE2ETest() : ClientE2ETest(shopServer()) {
    _banner->addSubview(std::make_shared<headless::Label>("Shoes on sale"));
    _banner->addSubview(std::make_shared<headless::Label>("Bags"));
    _shop->view()->addSubview(_banner);
    _shop->view()->addSubview(_buy);
    _shop->addOutlet("banner", _banner);
    _shop->addOutlet("buyButton", _buy);
    _test.ui().setKeyWindowRootViewController(_shop);
    PelorinClient::getInstance(_shop);
  }

  std::shared_ptr<headless::ViewController> _shop =
      std::make_shared<headless::ViewController>("Shop");
  std::shared_ptr<headless::View> _banner = std::make_shared<headless::View>();
  std::shared_ptr<headless::Button> _buy = std::make_shared<headless::Button>("Buy");
};

TEST_F(EngagementE2ETest, ContentAndTapsReachTheServerAndComeBackAsScoreAndRanking) {
  pageView("Shop");
  PelorinClient::synchronized([&] { ASSERT_EQ(engine().currentPlugins().size(), 2U); });
  // Given: the content rules scored the banner at load, and the buy button is tapped.
  _buy->tap();

  // When: the next tick sends the hidden values.
  tick();

  // Then the server holds them and has derived the visible values.
  const std::optional<Parameters> server = serverProfile();
  ASSERT_TRUE(server.has_value());
  EXPECT_THAT(server->at("_engagement"),
              ElementsAre(R"({"TIME":"1714568531000","k":{"p4504":3}})",
                          R"({"TIME":"1714568531000","k":{"p4504":5}})"));
  EXPECT_THAT(server->at("_ranking-1"),
              ElementsAre(R"({"TIME":"1714568531000","days":2434,"data":[{"n":"shoes","p":2},)"
                          R"({"n":"bags","p":2}]})",
                          R"({"TIME":"1714568531000","days":2434,"data":[{"n":"hats","p":4}]})"));
  EXPECT_THAT(server->at("engagement"), ElementsAre("8"));
  EXPECT_THAT(server->at("ranking-1"), ElementsAre("hats", "bags", "shoes"));
  // The device has not seen the visible values yet.
  EXPECT_EQ(client().getProfileValues("engagement"), std::nullopt);

  // When the next page view brings the profile back.
  pageView("Shop");

  EXPECT_EQ(client().getProfileValues("engagement"), Strings{"8"});
  EXPECT_EQ(client().getProfileValues("ranking-1"), (Strings{"hats", "bags", "shoes"}));
}

TEST_F(EngagementE2ETest, NextPageViewEndsThePlugInsSubscriptions) {
  pageView("Shop");
  tick();
  pageView("Home");

  _buy->tap();
  tick();

  // Only the points of the first load reached the server.
  EXPECT_EQ(serverProfile()->at("engagement"), Strings{"3"});
  EXPECT_EQ(serverProfile()->at("ranking-1"), (Strings{"bags", "shoes"}));
}

}  // namespace
}  // namespace pelorin
